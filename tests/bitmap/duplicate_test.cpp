#include <gtest/gtest.h>

#include <cstring>

#include "bitmap/lifecycle.h"
#include "support/failing_platform.h"

namespace tnk::test {
namespace {

constexpr uint32_t kEverything = DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | DUP_OVERLAYS;

T_HANDLE regionOfCopy = 0;
int32_t regionResult = SUCCESS;

int32_t TNK_CALL copyRegionRoutine(BitmapHandle* destination, BitmapHandle* source, int32_t dx, int32_t dy) {
    EXPECT_EQ(destination, source);
    EXPECT_EQ(dx | dy, 0);
    destination->Region = regionOfCopy;
    return regionResult;
}

class DuplicateBitmap : public ::testing::Test {
  protected:
    void SetUp() override {
        uintptr_t table[DISPATCH_WORDS] = {1};
        table[DISPATCH_COPY_REGION] = reinterpret_cast<uintptr_t>(copyRegionRoutine);
        ASSERT_EQ(T_SetDisDispatch(table), SUCCESS);
        regionOfCopy = 88;
        regionResult = SUCCESS;
    }
    void TearDown() override {
        T_FreeBitmap(&source);
        T_ResetDisDispatch();
        EXPECT_EQ(failing.live(), LiveObjects{});
    }

    // A gray source with a lookup table, or an 8-bit one with a palette, and a region.
    void makeSource(int32_t bits, uint32_t request = MEM_CONVENTIONAL) {
        ASSERT_EQ(T_CreateBitmap(&source, sizeof source, request, 20, 10, bits, ORDER_GRAY, nullptr, 6, nullptr, 0),
                  SUCCESS);
        source.Region = 77;
        source.XResolution = 1;
        source.YResolution = 2;
        source.Reserved2 = 3;
        source.Flags |= BMF_SIGNED | 0x10000 | BMF_PLAYBACK_A | BMF_BYTEMAP;
        source.PlaybackValue1 = 4;
        source.ByteMapParam2 = 5;
        source.pByteMap[9] = 200;
        if (bits <= 8) return;
        source.Flags |= BMF_WINDOW;
        source.LowBit = 2;
        source.HighBit = 5;
        source.MinVal = -6;
        source.MaxVal = 7;
        source.DataLowBit = 1;
        source.DataHighBit = 9;
        source.pLUT = T_CreateNewPalette(T_IntGetFixedPalette(4), 16);
        source.LUTLength = 16;
    }

    FailingPlatform failing;
    BitmapHandle source{};
    BitmapHandle copy{};
};

TEST_F(DuplicateBitmap, CarriesTheAttributes) {
    makeSource(16);
    ASSERT_EQ(T_DupBitmapNewDim(&copy, &source, sizeof copy, 30, 40, 16, kEverything), SUCCESS);
    EXPECT_EQ(copy.Width, 30);
    EXPECT_EQ(copy.Height, 40);
    EXPECT_EQ(copy.Flags, source.Flags);
    EXPECT_EQ(copy.ViewPerspective, 6u);
    EXPECT_EQ(copy.XResolution, 1);
    EXPECT_EQ(copy.YResolution, 2);
    EXPECT_EQ(copy.Reserved2, 3u);
    EXPECT_EQ(copy.PlaybackValue1, 4u);
    EXPECT_EQ(copy.ByteMapParam2, 5);
    EXPECT_EQ(copy.Order, ORDER_GRAY);
    EXPECT_EQ(std::memcmp(copy.pByteMap, source.pByteMap, 256), 0);
    EXPECT_EQ(copy.Region, 88);
    EXPECT_EQ(source.Region, 77);
    EXPECT_EQ(copy.LowBit, 2);
    EXPECT_EQ(copy.HighBit, 5);
    EXPECT_EQ(copy.MinVal, -6);
    EXPECT_EQ(copy.MaxVal, 7);
    EXPECT_EQ(copy.DataLowBit, 1);
    EXPECT_EQ(copy.DataHighBit, 9);
    ASSERT_EQ(copy.LUTLength, 16u);
    EXPECT_NE(copy.pLUT, source.pLUT);
    EXPECT_EQ(std::memcmp(copy.pLUT, source.pLUT, 64), 0);
    source.Flags &= ~BMF_WINDOW;
    T_GlobalFree(source.pLUT, 0, nullptr);
    source.pLUT = nullptr;
    EXPECT_EQ(T_CopyGrayParams(&copy, &source), SUCCESS);
    EXPECT_EQ(copy.pLUT, nullptr) << "the source has none";
    EXPECT_EQ(copy.Flags & BMF_WINDOW, 0u);
    T_FreeBitmap(&copy);

    ASSERT_EQ(T_DupBitmapNewDim(&copy, &source, sizeof copy, 30, 40, 12, kEverything), SUCCESS);
    EXPECT_EQ(copy.HighBit, 11) << "another depth has its own window";
    T_FreeBitmap(&copy);
}

TEST_F(DuplicateBitmap, SharesWhatIsNotCopied) {
    makeSource(8);
    ASSERT_EQ(T_DupBitmapNewDim(&copy, &source, sizeof copy, 5, 5, 8, 0), SUCCESS);
    EXPECT_FALSE(isAllocated(copy));
    EXPECT_EQ(copy.Palette, source.Palette);
    EXPECT_EQ(copy.Region, 77);
    EXPECT_EQ(T_FreeDuplicateBitmap(&copy, 0), SUCCESS);
    EXPECT_EQ(copy.Palette, nullptr);
    EXPECT_EQ(copy.Region, 0);
    EXPECT_NE(source.Palette, nullptr);

    ASSERT_EQ(T_DupBitmapNewDim(&copy, &source, sizeof copy, 5, 5, 8, DUP_PALETTE | DUP_REGION), SUCCESS);
    EXPECT_NE(copy.Palette, source.Palette);
    EXPECT_EQ(T_CompareBitmapToPalette(&copy, source.Palette, 256), 1);
    EXPECT_EQ(T_FreeDuplicateBitmap(&copy, DUP_PALETTE | DUP_REGION), SUCCESS);
    EXPECT_EQ(failing.deletedRegions(), 1) << "the copy's";
}

TEST_F(DuplicateBitmap, TakesTheSourcesKindOfStorage) {
    makeSource(8, MEM_NOCONVENTIONAL);
    ASSERT_EQ(T_DupBitmapNewDim(&copy, &source, sizeof copy, 5, 5, 8, kEverything), SUCCESS);
    EXPECT_NE(copy.Flags & BMF_DISK, 0u);
    T_FreeBitmap(&copy);
    ASSERT_EQ(T_DupBitmapNewDim(&copy, &source, sizeof copy, 5, 5, 8, 0), SUCCESS);
    EXPECT_NE(copy.Flags & BMF_DISK, 0u) << "remembered without storage";
    uint8_t byte = 0;
    EXPECT_EQ(T_GetBitmapRow(&copy, &byte, 0, 1), ERROR_FILE_SEEK);
    T_FreeDuplicateBitmap(&copy, 0);

    source.Flags |= BMF_SUPERCOMPRESSED;
    EXPECT_EQ(T_DupBitmapNewDim(&copy, &source, sizeof copy, 5, 5, 8, kEverything), ERROR_CODEC_MISSING);
    source.Flags &= ~BMF_SUPERCOMPRESSED;
}

TEST_F(DuplicateBitmap, UndoesAFailure) {
    makeSource(8);
    regionResult = -77;
    EXPECT_EQ(T_DupBitmapNewDim(&copy, &source, sizeof copy, 5, 5, 8, kEverything), -77);
    EXPECT_EQ(source.Region, 77);
    EXPECT_FALSE(isAllocated(copy));
    regionResult = SUCCESS;
    T_FreeBitmap(&source);

    for (const int32_t bits : {8, 16}) {
        makeSource(bits);
        const int failures = sweepFailures(
            failing, kMemoryFailures | kFileFailures,
            [&] { return T_DupBitmapNewDim(&copy, &source, sizeof copy, 5, 5, bits, kEverything); },
            [&](int32_t result, bool) {
                if (result == SUCCESS) {
                    T_FreeBitmap(&copy);
                } else {
                    EXPECT_EQ(result, FAILURE);
                    EXPECT_FALSE(isAllocated(copy));
                    EXPECT_EQ(copy.Palette, nullptr);
                    EXPECT_EQ(copy.pLUT, nullptr);
                    EXPECT_EQ(copy.Region, 0);
                }
                EXPECT_EQ(source.Region, 77);
            });
        EXPECT_GE(failures, 3);
        T_FreeBitmap(&source);
    }
}

}  // namespace
}  // namespace tnk::test
