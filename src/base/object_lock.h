// A lock of the system that belongs to one object: threads that find it taken sleep, however long the work under it is.
#pragma once

#include "platform/platform.h"

namespace tnk {

class ObjectLock {
  public:
    ObjectLock() { platform->makeLock(&lock_); }
    ~ObjectLock() { platform->destroyLock(&lock_); }
    ObjectLock(const ObjectLock&) = delete;
    ObjectLock& operator=(const ObjectLock&) = delete;

    void acquire() { platform->acquireLock(&lock_); }
    void release() { platform->releaseLock(&lock_); }

  private:
    SystemLock lock_;
};

class ObjectGuard {
  public:
    explicit ObjectGuard(ObjectLock& lock) : lock_(lock) { lock_.acquire(); }
    ~ObjectGuard() { lock_.release(); }
    ObjectGuard(const ObjectGuard&) = delete;
    ObjectGuard& operator=(const ObjectGuard&) = delete;

  private:
    ObjectLock& lock_;
};

}  // namespace tnk
