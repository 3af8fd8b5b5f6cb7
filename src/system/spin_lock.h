// A lock for short work on one object, where a lock of the system for each would be too much.
#pragma once

#include <atomic>

#include "platform/platform.h"

namespace tnk {

class SpinLock {
  public:
    void acquire() {
        while (taken_.test_and_set(std::memory_order_acquire)) platform->yieldThread();
    }
    void release() { taken_.clear(std::memory_order_release); }

  private:
    std::atomic_flag taken_;
};

class SpinGuard {
  public:
    explicit SpinGuard(SpinLock& lock) : lock_(lock) { lock_.acquire(); }
    ~SpinGuard() { lock_.release(); }
    SpinGuard(const SpinGuard&) = delete;
    SpinGuard& operator=(const SpinGuard&) = delete;

  private:
    SpinLock& lock_;
};

}  // namespace tnk
