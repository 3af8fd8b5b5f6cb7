// Budgets of the process, thread slots, library lock.
#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/native.h"

namespace tnk::native {

namespace {

pthread_mutex_t libraryMutex = PTHREAD_MUTEX_INITIALIZER;
pthread_mutex_t slotMutex = PTHREAD_MUTEX_INITIALIZER;
// The key only tells of a thread's end: what it holds for threads that go on is lost when it is deleted.
pthread_key_t slotKey;
bool slotExists = false;
void (*releaseValue)(void* value) = nullptr;
// In the static block of each thread, which is there without an allocation that could fail.
[[gnu::tls_model("initial-exec")]] thread_local void* ownValue = nullptr;

class SlotLock {
  public:
    SlotLock() { pthread_mutex_lock(&slotMutex); }
    ~SlotLock() { pthread_mutex_unlock(&slotMutex); }
    SlotLock(const SlotLock&) = delete;
    SlotLock& operator=(const SlotLock&) = delete;
};

void endThread(void* value) {
    ownValue = nullptr;
    void (*release)(void* value);
    {
        const SlotLock guard;
        release = releaseValue;
    }
    release(value);
}

bool readField(const char* text, const char* name, uint64_t* bytes) {
    const char* found = std::strstr(text, name);
    if (found == nullptr) return false;
    *bytes = std::strtoull(found + std::strlen(name), nullptr, 10) * 1024;
    return true;
}

static_assert(sizeof(pthread_mutex_t) <= sizeof(SystemLock) && alignof(pthread_mutex_t) <= alignof(SystemLock));
pthread_mutex_t* mutexOf(SystemLock* lock) { return reinterpret_cast<pthread_mutex_t*>(lock); }

}  // namespace

constinit const ProcessTable processTable = {
    .memoryStatus = [](MemoryStatus* status) -> bool {
        const int descriptor = open("/proc/meminfo", O_RDONLY | O_CLOEXEC);
        if (descriptor < 0) return false;
        char text[4096];
        const ssize_t bytes = read(descriptor, text, sizeof text - 1);
        close(descriptor);
        if (bytes <= 0) return false;
        text[bytes] = 0;
        // MemAvailable, not MemFree: the page cache gives way to a bitmap.
        return readField(text, "MemTotal:", &status->totalPhysical) &&
               readField(text, "MemAvailable:", &status->availablePhysical) &&
               readField(text, "SwapTotal:", &status->totalPageFile) &&
               readField(text, "SwapFree:", &status->availablePageFile);
    },

    .handleCount = [](uint32_t* count) -> bool {
        DIR* folder = opendir("/proc/self/fd");
        if (folder == nullptr) return false;
        uint32_t found = 0;
        while (const dirent* entry = readdir(folder)) {
            if (entry->d_name[0] != '.') ++found;
        }
        closedir(folder);
        *count = found - 1;  // without the one that reads the list
        return true;
    },

    .handleLimit = [](uint32_t* count) -> bool {
        rlimit limit;
        if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return false;
        *count = static_cast<uint32_t>(limit.rlim_cur < UINT32_MAX ? limit.rlim_cur : UINT32_MAX);
        return true;
    },

    .createThreadSlot = [](void (*release)(void* value)) -> bool {
        const SlotLock guard;
        if (slotExists) return true;
        releaseValue = release;
        slotExists = pthread_key_create(&slotKey, endThread) == 0;
        return slotExists;
    },

    .threadValue = []() -> void* { return ownValue; },

    .setThreadValue = [](void* value) -> bool {
        const SlotLock guard;
        const bool stored = slotExists ? pthread_setspecific(slotKey, value) == 0 : value == nullptr;
        if (stored) ownValue = value;
        return stored;
    },

    .deleteThreadSlot =
        [] {
            const SlotLock guard;
            if (slotExists) pthread_key_delete(slotKey);
            slotExists = false;
        },

    .allocateSlot = []() -> uint32_t {
        pthread_key_t key;
        return pthread_key_create(&key, nullptr) == 0 ? key : kNoSlot;
    },

    .freeSlot = [](uint32_t slot) -> bool { return pthread_key_delete(slot) == 0; },
    .slotValue = [](uint32_t slot) -> void* { return pthread_getspecific(slot); },
    .setSlotValue = [](uint32_t slot, void* value) -> bool { return pthread_setspecific(slot, value) == 0; },
    .lock = [] { pthread_mutex_lock(&libraryMutex); },
    .unlock = [] { pthread_mutex_unlock(&libraryMutex); },
    .makeLock = [](SystemLock* lock) { pthread_mutex_init(mutexOf(lock), nullptr); },
    .destroyLock = [](SystemLock* lock) { pthread_mutex_destroy(mutexOf(lock)); },
    .acquireLock = [](SystemLock* lock) { pthread_mutex_lock(mutexOf(lock)); },
    .releaseLock = [](SystemLock* lock) { pthread_mutex_unlock(mutexOf(lock)); },
    .diagnose = [](const char* text) { std::fprintf(stderr, "%s\n", text); },
};

}  // namespace tnk::native
