// The shared library comes and goes, and threads with it, and leaves nothing behind. It lies beside the test program.
#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>
#endif

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <thread>

#include "tnkrn.h"

namespace {

using GetDithering = int32_t(TNK_CALL*)(void);

#ifdef _WIN32

class Library {
  public:
    Library() : module_(LoadLibraryW(L"Tnkrn15u.dll")) {}
    ~Library() { FreeLibrary(module_); }
    GetDithering getDithering() const {
        return reinterpret_cast<GetDithering>(
            reinterpret_cast<void*>(GetProcAddress(module_, "T_GetDefaultDithering")));
    }

  private:
    HMODULE module_;
};

size_t heapBytesInUse() {
    HANDLE heaps[64];
    const DWORD count = GetProcessHeaps(64, heaps);
    size_t bytes = 0;
    for (DWORD i = 0; i < count && i < 64; ++i) {
        HeapLock(heaps[i]);
        PROCESS_HEAP_ENTRY entry{};
        while (HeapWalk(heaps[i], &entry)) {
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
        }
        HeapUnlock(heaps[i]);
    }
    return bytes;
}

// The slot that would be handed out next.
unsigned nextThreadSlot() {
    const DWORD slot = TlsAlloc();
    TlsFree(slot);
    return slot;
}

#else

class Library {
  public:
    Library() {
        const auto program = std::filesystem::read_symlink("/proc/self/exe");
        handle_ = dlopen((program.parent_path() / "libtnkrn15u.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    }
    ~Library() { dlclose(handle_); }
    GetDithering getDithering() const {
        return reinterpret_cast<GetDithering>(dlsym(handle_, "T_GetDefaultDithering"));
    }

  private:
    void* handle_ = nullptr;
};

// Sanitizers have a heap of their own, which is 0 here; they look for leaks at the program's end.
size_t heapBytesInUse() { return mallinfo2().uordblks; }

unsigned nextThreadSlot() {
    pthread_key_t slot;
    if (pthread_key_create(&slot, nullptr) != 0) return UINT32_MAX;
    pthread_key_delete(slot);
    return slot;
}

#endif

void loadUseUnload() {
    const Library library;
    const GetDithering getDithering = library.getDithering();
    ASSERT_NE(getDithering, nullptr) << "the shared library is not beside the test program";
    std::thread([=] { EXPECT_EQ(getDithering(), 7); }).join();
    EXPECT_EQ(getDithering(), 7);
}

// Once the library comes and goes each time, once only the threads do.
TEST(Loading, LeavesNothingBehind) {
    for (const bool stays : {false, true}) {
        const auto held = stays ? std::make_unique<Library>() : nullptr;
        for (int i = 0; i < 5; ++i) loadUseUnload();
        const size_t before = heapBytesInUse();
        const unsigned slot = nextThreadSlot();
        constexpr int kRounds = 50;
        for (int i = 0; i < kRounds && !HasFatalFailure(); ++i) loadUseUnload();
        // A thread's settings are more than 5,000 bytes; loading itself may keep a little.
        EXPECT_LT(heapBytesInUse(), before + kRounds * 1000);
        EXPECT_EQ(nextThreadSlot(), slot);
    }
}

}  // namespace
