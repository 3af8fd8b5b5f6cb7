// Which storage a request gets.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <vector>

#ifdef __linux__
#include <sys/resource.h>
#include <unistd.h>
#endif

#include "platform/platform.h"
#include "support/failing_platform.h"
#include "support/files.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

constexpr uint32_t kMemory = BMF_ALLOCATED | BMF_MEMORY, kTiles = kMemory | BMF_TILED;
constexpr uint32_t kDisk = BMF_ALLOCATED | BMF_DISK;
constexpr uint32_t kNothing = 0;
constexpr int32_t kMegabyte = 1 << 20;

class AllocateBitmap : public ::testing::Test {
  protected:
    ~AllocateBitmap() override { T_SetMemoryThresholds(0, INT32_MAX, 0, 0, 0, 7); }
    FailingPlatform failing;
};

// Flags that storage of 1 MB gets, or kNothing after `code`.
uint32_t flagsOf(uint32_t request, int32_t code = FAILURE) {
    BitmapHandle bitmap;
    EXPECT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 1024, 1024, 8), SUCCESS);
    const int32_t result = T_AllocateBitmap(&bitmap, request);
    const uint32_t flags = bitmap.Flags;
    EXPECT_EQ(result, flags == kNothing ? code : SUCCESS);
    EXPECT_EQ(bitmap.pByteMap != nullptr, flags != kNothing);
    T_FreeBitmap(&bitmap);
    return flags;
}

TEST_F(AllocateBitmap, ValidatesTheRequest) {
    // Run-compressed rows are for 1 bit, where their bit rules the request; elsewhere the bit goes. Super-compression is
    // for 1, 8 and 24 bits.
    const struct {
        int32_t result, bits;
        std::vector<uint32_t> requests;
    } cases[] = {
        {ERROR_INVALID_PARAMETER, 8, {0, 3, 5, 6, 10, 12, 16, 129, 136, 257, 264, 515, 1026, 1280, 2048}},
        {ERROR_INVALID_PARAMETER, 1, {0, 3, 1026, 2048}},
        {SUCCESS, 8, {1, 2, 4, 8, 9, 128, 256, 512, 513, 768}},
        {SUCCESS, 4, {1, 1024, 1025, 1026, 1536}},
        {SUCCESS, 1, {512, 513, 515, 768, 1536}},
        {ERROR_CODEC_MISSING, 1, {1024, 1025}},
        {ERROR_CODEC_MISSING, 8, {1024, 1025, 1536}},
        {ERROR_CODEC_MISSING, 24, {1024, 1025, 1536}},
        {ERROR_INVALID_SIZE, 0, {3}},  // comes first
    };
    failing.failFrom(1, kModuleFailures);
    for (const auto& test : cases) {
        for (const uint32_t request : test.requests) {
            SCOPED_TRACE(::testing::Message() << "request " << request << " at " << test.bits << " bits");
            BitmapHandle bitmap;
            const int32_t side = test.bits != 0 ? 10 : 0;
            ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, side, side, test.bits), SUCCESS);
            const BitmapHandle before = bitmap;
            EXPECT_EQ(T_AllocateBitmap(&bitmap, request), test.result);
            EXPECT_EQ(std::memcmp(&before, &bitmap, sizeof bitmap) == 0, test.result != SUCCESS);
            T_FreeBitmap(&bitmap);
        }
    }
}

TEST_F(AllocateBitmap, ChoosesByThresholds) {
    const struct {
        int32_t reserve, maxMemory;
        uint32_t physical, pageFile, flags;  // available, in half megabytes
    } cases[] = {
        {0, INT32_MAX, 1, 1, kMemory},  // both budgets count
        {1, INT32_MAX, 1, 1, kTiles},
        {0, kMegabyte, 16, 0, kMemory},
        {0, kMegabyte - 1, 16, 0, kTiles},
        {INT32_MAX, INT32_MAX, 16, 0, kTiles},  // a rest below zero
        {0, -50, 2, 2, kMemory},                // percent of what is available
        {0, -49, 2, 2, kTiles},
        {-25, INT32_MAX, 6, 4, kMemory},  // percent of all, 16 MB
        {-26, INT32_MAX, 6, 4, kTiles},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.reserve << ", " << c.maxMemory);
        T_SetMemoryThresholds(c.reserve, c.maxMemory, 0, 0, 0, 7);
        failing.setMemoryStatus({12 << 20, uint64_t{c.physical} << 19, 4 << 20, uint64_t{c.pageFile} << 19});
        for (const uint32_t request : {MEM_CONVENTIONAL, MEM_TILED}) EXPECT_EQ(flagsOf(request), c.flags) << request;
        EXPECT_EQ(flagsOf(MEM_NOTILES), c.flags == kTiles ? kDisk : c.flags);
        EXPECT_EQ(flagsOf(MEM_USER), BMF_ALLOCATED | BMF_MEMORY | BMF_USERDATA);
    }
    failing.failFrom(1, kBudgetFailures);  // then a limit in bytes is all there is
    for (const int32_t most : {kMegabyte, kMegabyte - 1, -1}) {
        T_SetMemoryThresholds(0, most, 0, 0, 0, 7);
        EXPECT_EQ(flagsOf(MEM_CONVENTIONAL), most == kMegabyte - 1 ? kTiles : kMemory) << most;
    }
}

TEST_F(AllocateBitmap, ChoosesByTileSizeHandlesAndFailure) {
    for (const int32_t tileSize : {kMegabyte, 0, kMegabyte - 1}) {  // 0 is 16 MB
        T_SetMemoryThresholds(0, 1, tileSize, 0, 0, 7);
        EXPECT_EQ(flagsOf(MEM_DISK), tileSize == kMegabyte - 1 ? kTiles : kMemory) << "whatever the other thresholds";
    }
    T_SetMemoryThresholds(0, INT32_MAX, kMegabyte - 1, 0, 0, 7);
    failing.failFrom(1, kModuleFailures);
    for (const uint32_t handles : {17'999u, 18'000u}) {
        const bool few = handles == 17'999;
        failing.setHandleCount(handles);
        EXPECT_EQ(flagsOf(MEM_DISK), few ? kTiles : kMemory) << "before disk, or no more files";
        EXPECT_EQ(flagsOf(MEM_SUPERCOMPRESSED, ERROR_CODEC_MISSING), few ? kNothing : kMemory);
        EXPECT_EQ(flagsOf(MEM_NOCONVENTIONAL), kDisk) << "whatever is open";
    }
    failing.setHandleCount(1);
    failing.failAt(1, kBudgetFailures);
    EXPECT_EQ(flagsOf(MEM_DISK), kMemory) << "a count that cannot be read";
    for (const uint32_t request : {MEM_CONVENTIONAL, MEM_NOTILES, MEM_DISK, MEM_TILED}) {
        failing.failFrom(1, kSectionFailures);
        EXPECT_EQ(flagsOf(request), request == MEM_TILED ? kNothing : kDisk) << "no memory for " << request;
    }
}

TEST_F(AllocateBitmap, FillsAByteMapAndFreesNothing) {
    BitmapHandle bitmap;
    ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 8, 8, 8), SUCCESS);
    uint8_t* first = nullptr;
    for (const uint32_t request : {MEM_USER, MEM_CONVENTIONAL}) {
        failing.failFrom(request == MEM_USER ? 1 : 2);  // the map, or all that follows it
        EXPECT_EQ(T_AllocateBitmap(&bitmap, request), FAILURE);
        failing.stopFailing();
        EXPECT_EQ(bitmap.pByteMap, first) << "named as before";
        ASSERT_EQ(T_AllocateBitmap(&bitmap, request), SUCCESS);
        if (first == nullptr) first = bitmap.pByteMap;
        for (uint32_t i = 0; i < 256; ++i) ASSERT_EQ(bitmap.pByteMap[i], i);
        bitmap.pByteMap[5] = 0;
    }
    EXPECT_EQ(reinterpret_cast<uintptr_t>(bitmap.pData) % 32, 0u);
    EXPECT_EQ(first[5], 0) << "it may be another record's";
    T_FreeBitmap(&bitmap);
    EXPECT_EQ(failing.live().global, 1);
    T_GlobalFree(first, 0, nullptr);
}

TEST_F(AllocateBitmap, MakesAFileThatVanishes) {
    const TempDirectorySetting directory;
    StoredBitmap stored(Kind::disk, 100, 10, 8);
    EXPECT_EQ(T_OsSeek(stored.record.DataHandle, 0, 1, nullptr), 0) << "left at its start";
    EXPECT_EQ(T_OsSeek(stored.record.DataHandle, 0, 2, nullptr), 1001) << "one byte more than the pixels";
    for (uint64_t room = 0; room < 2; ++room) {
        T_FreeBitmap(&stored.record);
        EXPECT_EQ(directory.folder().entries(), 0);
        failing.setDiskRoom(room);
        EXPECT_EQ(T_AllocateBitmap(&stored.record, MEM_NOCONVENTIONAL), ERROR_DISK_FULL);
    }
    EXPECT_EQ(directory.folder().entries(), 0);
}

// The bytes that are kept.
uint32_t keptBytes() {
    uint32_t kept = 0;
    EXPECT_EQ(T_GetKeptMemory(nullptr, &kept), SUCCESS);
    return kept;
}

// A bitmap in a section, its bytes 0xFF, made and freed.
void makeAndFree(int32_t height) {
    StoredBitmap stored(Kind::section, 4096, height, 8);
    std::memset(stored.record.pData, 0xFF, plainBytes(stored.record));
}

TEST(KeptMemory, ShowsNothingOld) {
    for (const int32_t height : {256, 255, 206}) {
        T_SetKeptMemory(0);
        T_SetKeptMemory(UINT32_MAX);
        makeAndFree(256);
        ASSERT_GE(keptBytes(), 1u << 20);
        StoredBitmap stored(Kind::section, 4096, height, 8);
        EXPECT_EQ(keptBytes(), 0u) << "the one that is kept serves";
        EXPECT_EQ(rowsOf(stored.record), Bytes(plainBytes(stored.record)));
        ASSERT_EQ(T_ChangeBitmapHeight(&stored.record, 300), SUCCESS);
        EXPECT_EQ(rowsOf(stored.record), Bytes(plainBytes(stored.record)));
    }
    // Operations that write each pixel get memory that is not clear, but nobody sees what they do not write.
    for (const int32_t bits : {1, 12, 24}) {
        StoredBitmap stored(Kind::section, 4091, 256, bits);
        Bytes rows[2];
        for (Bytes& seen : rows) {
            T_SetKeptMemory(0);
            T_SetKeptMemory(UINT32_MAX);
            BitmapHandle made[3];
            if (&seen == &rows[1]) makeAndFree(static_cast<int32_t>(stored.record.BytesPerLine / 16 + 2));
            ASSERT_EQ(T_CopyBitmap(&made[0], &stored.record, sizeof made[0]), SUCCESS);
            if (&seen == &rows[1]) makeAndFree(98);
            ASSERT_EQ(T_ColorResBitmap(&stored.record, &made[1], sizeof made[1], 3, CRF_FIXEDPALETTE, nullptr, 0, 0,
                                       nullptr, nullptr),
                      SUCCESS);
            if (&seen == &rows[1]) makeAndFree(static_cast<int32_t>(stored.record.BytesPerLine / 16));
            ASSERT_EQ(T_CopyBitmapRect(&made[2], &stored.record, sizeof made[2], 3, 2, 4083, 250), SUCCESS);
            EXPECT_EQ(keptBytes(), 0u);
            for (BitmapHandle& bitmap : made) {
                const Bytes all = rowsOf(bitmap);
                seen.insert(seen.end(), all.begin(), all.end());
                T_FreeBitmap(&bitmap);
            }
        }
        EXPECT_EQ(rows[0], rows[1]) << bits << " bits";
    }
}

TEST(KeptMemory, StaysWithinItsBounds) {
    uint32_t limit = 0;
    T_SetKeptMemory(8 << 20);
    EXPECT_EQ(T_GetKeptMemory(&limit, nullptr), SUCCESS);
    EXPECT_EQ(limit, 8u << 20);
    RandomNumbers random(1);
    for (int32_t i = 0; i < 100; ++i) {
        makeAndFree(random.between(1, 2200));
        ASSERT_LE(keptBytes(), limit);
    }
    makeAndFree(1000);
    const uint32_t before = keptBytes();
    makeAndFree(2100);
    EXPECT_EQ(keptBytes(), before) << "larger than all that may be kept";
    BitmapHandle shared;
    {
        StoredBitmap stored(Kind::section, 4096, 64, 8);
        shared = stored.record;
    }
    const uint32_t once = keptBytes();
    shared.pByteMap = nullptr;
    T_FreeBitmap(&shared);
    EXPECT_EQ(keptBytes(), once) << "freed through two records";
    {
        FailingPlatform failing;
        makeAndFree(256);
        EXPECT_NE(keptBytes(), 0u);
        failing.setMemoryStatus({1ull << 40, 1ull << 36, 0, 0});
        makeAndFree(64);
        EXPECT_EQ(keptBytes(), 0u) << "memory is short";
    }
    T_SetKeptMemory(UINT32_MAX);
    makeAndFree(256);
    T_SetKeptMemory(0);
    EXPECT_EQ(keptBytes(), 0u);
    T_SetKeptMemory(UINT32_MAX);
}

#if defined(__linux__) && !defined(__SANITIZE_ADDRESS__)
// The address space is what ends, so that the allocation itself fails and not a stand-in.
TEST(KeptMemory, GoesWhenAnAllocationFails) {
    makeAndFree(8192);
    ASSERT_GE(keptBytes(), 32u << 20);
    rlimit old;
    ASSERT_EQ(getrlimit(RLIMIT_AS, &old), 0);
    uint64_t pages = 0;
    ASSERT_TRUE(std::ifstream("/proc/self/statm") >> pages);
    const rlimit tight{pages * static_cast<uint64_t>(sysconf(_SC_PAGESIZE)) + (4u << 20), old.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
    void* const block = platform->allocateLocal(24u << 20, false);
    setrlimit(RLIMIT_AS, &old);
    EXPECT_NE(block, nullptr);
    EXPECT_EQ(keptBytes(), 0u);
    platform->freeLocal(block);
}
#endif

}  // namespace
}  // namespace tnk::test
