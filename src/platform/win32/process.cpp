// Budgets of the process, thread slots, library lock.
#include <atomic>

#include "platform/win32/windows_api.h"

namespace tnk::native {

namespace {

SRWLOCK libraryLock = SRWLOCK_INIT;
SRWLOCK slotLock = SRWLOCK_INIT;
std::atomic<DWORD> slot = TLS_OUT_OF_INDEXES;

static_assert(sizeof(SRWLOCK) <= sizeof(SystemLock) && alignof(SRWLOCK) <= alignof(SystemLock));
SRWLOCK* slimLockOf(SystemLock* lock) { return reinterpret_cast<SRWLOCK*>(lock); }

}  // namespace

constinit const ProcessTable processTable = {
    .memoryStatus = [](MemoryStatus* status) -> bool {
        // The older call without "Ex" cuts amounts above 2 or 4 GB.
        MEMORYSTATUSEX memory;
        memory.dwLength = sizeof memory;
        if (!GlobalMemoryStatusEx(&memory)) return false;
        *status = {memory.ullTotalPhys, memory.ullAvailPhys, memory.ullTotalPageFile, memory.ullAvailPageFile};
        return true;
    },

    .handleCount = [](uint32_t* count) -> bool {
        // Looked up by name: systems without it load the library all the same.
        using Routine = BOOL(WINAPI*)(HANDLE, DWORD*);
        const FARPROC found = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "GetProcessHandleCount");
        if (found == nullptr) return false;
        DWORD handles = 0;
        if (!reinterpret_cast<Routine>(reinterpret_cast<void*>(found))(GetCurrentProcess(), &handles)) return false;
        *count = handles;
        return true;
    },

    // The system would go on to some sixteen million; far below, it runs short of what stands behind them.
    .handleLimit = [](uint32_t* count) -> bool {
        *count = 20'000;
        return true;
    },

    // `release` is not called from here: the library's entry point is told of the end of threads.
    .createThreadSlot = [](void (*)(void* value)) -> bool {
        AcquireSRWLockExclusive(&slotLock);
        if (slot.load() == TLS_OUT_OF_INDEXES) slot.store(TlsAlloc());
        const bool exists = slot.load() != TLS_OUT_OF_INDEXES;
        ReleaseSRWLockExclusive(&slotLock);
        return exists;
    },

    .threadValue = []() -> void* {
        const DWORD index = slot.load(std::memory_order_acquire);
        return index != TLS_OUT_OF_INDEXES ? processTable.slotValue(index) : nullptr;
    },

    .setThreadValue = [](void* value) -> bool {
        const DWORD index = slot.load(std::memory_order_acquire);
        return index != TLS_OUT_OF_INDEXES && TlsSetValue(index, value) != 0;
    },

    .deleteThreadSlot =
        [] {
            AcquireSRWLockExclusive(&slotLock);
            const DWORD index = slot.exchange(TLS_OUT_OF_INDEXES);
            if (index != TLS_OUT_OF_INDEXES) TlsFree(index);
            ReleaseSRWLockExclusive(&slotLock);
        },

    .allocateSlot = []() -> uint32_t {
        static_assert(kNoSlot == TLS_OUT_OF_INDEXES);
        return TlsAlloc();
    },

    .freeSlot = [](uint32_t index) -> bool { return TlsFree(index) != 0; },

    .slotValue = [](uint32_t index) -> void* {
        // TlsGetValue clears the last error, which a caller may still want to ask for.
        const DWORD error = GetLastError();
        void* value = TlsGetValue(index);
        SetLastError(error);
        return value;
    },

    .setSlotValue = [](uint32_t index, void* value) -> bool { return TlsSetValue(index, value) != 0; },
    .lock = [] { AcquireSRWLockExclusive(&libraryLock); },
    .unlock = [] { ReleaseSRWLockExclusive(&libraryLock); },
    .makeLock = [](SystemLock* lock) { InitializeSRWLock(slimLockOf(lock)); },
    .destroyLock = [](SystemLock*) {},
    .acquireLock = [](SystemLock* lock) { AcquireSRWLockExclusive(slimLockOf(lock)); },
    .releaseLock = [](SystemLock* lock) { ReleaseSRWLockExclusive(slimLockOf(lock)); },
    .diagnose = [](const char* text) { OutputDebugStringA(text); },
};

}  // namespace tnk::native
