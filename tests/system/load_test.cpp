// The shared library comes and goes, and threads with it, and leaves nothing behind. It lies beside the test program.
#ifdef _WIN32
#include <windows.h>
#else
#include <malloc.h>
#include <pthread.h>
#endif

#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "platform/platform.h"
#include "support/files.h"

namespace tnk::test {
namespace {

using GetDithering = int32_t(TNK_CALL*)(void);

#ifdef _WIN32

constexpr const char* kLibrary = "Tnkrn15u.dll";

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

constexpr const char* kLibrary = "libtnkrn15u.so";

// Sanitizers have a heap of their own, which is 0 here; they look for leaks at the program's end.
size_t heapBytesInUse() { return mallinfo2().uordblks; }

unsigned nextThreadSlot() {
    pthread_key_t slot;
    if (pthread_key_create(&slot, nullptr) != 0) return UINT32_MAX;
    pthread_key_delete(slot);
    return slot;
}

#endif

class Library {
  public:
    Library() : module_(platform->loadModule(wide(kLibrary).c_str())) {
        EXPECT_NE(module_, 0) << "not beside this program";
    }
    ~Library() { platform->unloadModule(module_); }
    GetDithering getDithering() const {
        return reinterpret_cast<GetDithering>(platform->findSymbol(module_, "T_GetDefaultDithering"));
    }

  private:
    T_HANDLE module_;
};

void loadUseUnload() {
    const Library library;
    const GetDithering getDithering = library.getDithering();
    ASSERT_NE(getDithering, nullptr);
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
}  // namespace tnk::test
