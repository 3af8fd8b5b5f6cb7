// A platform whose fallible routines can be made to fail, and which counts what is alive. Installing it takes the place
// of the native platform until it goes out of scope.
//
//     FailingPlatform failing;
//     sweepFailures(failing, kAllFailures, [&] { return T_AllocateBitmap(&bitmap, MEM_CONVENTIONAL); },
//         [&](int32_t result, bool injected) {
//             if (injected) EXPECT_EQ(result, T_FAILURE);
//             T_FreeBitmap(&bitmap);   // the sweep then expects that nothing is left
//         });
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>

#include "platform/platform.h"

namespace tnk::test {

// Groups of routines that can fail. Combine them to say which calls are counted.
enum FailureKind : uint32_t {
    kLocalFailures = 1,      // allocate, reallocate
    kGlobalFailures = 2,     // allocate, reallocate
    kMovableFailures = 4,    // allocate, reallocate, lock
    kSectionFailures = 8,    // createSection, resizeSection
    kOpenFailures = 16,      // openFile, makeTempName, createTempFile
    kTransferFailures = 32,  // readFile, writeFile, their At forms, seekFile, endFileHere
    kCloseFailures = 64,     // closeFile, deleteFile: they do their work, then report failure
    kPaletteFailures = 128,  // createPalette, get and set entries
    kBudgetFailures = 256,   // memoryStatus, handleCount
    kThreadFailures = 512,   // createThreadSlot, setThreadValue, allocateSlot, setSlotValue
    kModuleFailures = 1024,  // loadModule, findSymbol
};
constexpr uint32_t kMemoryFailures = kLocalFailures | kGlobalFailures | kMovableFailures | kSectionFailures;
constexpr uint32_t kFileFailures = kOpenFailures | kTransferFailures;
// Everything that an operation meets and must report or get around.
constexpr uint32_t kAllFailures = kMemoryFailures | kFileFailures | kPaletteFailures;

struct LiveObjects {
    int local = 0;
    int global = 0;
    int movable = 0;
    int movableLocks = 0;
    int sections = 0;
    int files = 0;
    int palettes = 0;
    int modules = 0;
    bool operator==(const LiveObjects&) const = default;
};
std::ostream& operator<<(std::ostream& out, const LiveObjects& live);

class FailingPlatform {
  public:
    FailingPlatform();
    ~FailingPlatform();
    FailingPlatform(const FailingPlatform&) = delete;
    FailingPlatform& operator=(const FailingPlatform&) = delete;

    // From now on the k-th call (1 is the next) of these kinds fails, or every call from the k-th on. Calls are counted
    // over all threads.
    void failAt(int k, uint32_t kinds = kAllFailures, bool later = false);
    void failFrom(int k, uint32_t kinds = kAllFailures) { failAt(k, kinds, true); }
    void stopFailing();

    bool injected() const;  // whether a call failed on purpose since failAt or failFrom

    // What was made since this platform was installed and is still there, but for conversions that the calling thread keeps:
    // these are dropped, so that each run of a sweep prepares its own.
    LiveObjects live() const;
    // Regions that were handed to deleteRegion; it succeeds for all of them.
    int deletedRegions() const;
    // What was handed to diagnose, which tells nobody else.
    std::string diagnostics() const;

    // Bytes that files can still take; writes beyond it come out short, then fail, and the disk is reported as full.
    void setDiskRoom(uint64_t bytes);
    void setMemoryStatus(const MemoryStatus& status);
    void setHandleCount(uint32_t count);

  private:
    const Platform* previous_;
};

// Runs `operation` with its first fallible call failing, then its second, and so on until it meets no failure any more.
// After each run `check(result, injected)` judges the result and releases what the operation made; then nothing may be
// left that was not there before. The last run is the one with injected = false. Returns the number of failures met.
template <typename Operation, typename Check>
int sweepFailures(FailingPlatform& failing, uint32_t kinds, Operation operation, Check check, bool fromThere = false) {
    constexpr int kEndless = 100'000;
    for (int k = 1; k < kEndless; ++k) {
        SCOPED_TRACE(::testing::Message() << "call " << k << (fromThere ? " and all later ones fail" : " fails"));
        const LiveObjects before = failing.live();
        failing.failAt(k, kinds, fromThere);
        auto result = operation();
        const bool injected = failing.injected();
        failing.stopFailing();
        check(std::move(result), injected);
        EXPECT_EQ(failing.live(), before) << "something is left";
        if (!injected || ::testing::Test::HasFatalFailure()) return k - 1;
    }
    ADD_FAILURE() << "the operation never runs without a failure";
    return kEndless;
}

}  // namespace tnk::test
