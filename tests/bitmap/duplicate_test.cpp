#include <gtest/gtest.h>

#include <cstring>

#include "bitmap/lifecycle.h"
#include "support/failing_platform.h"
#include "system/dispatch.h"

namespace tnk::test {
namespace {

constexpr uint32_t kEverything = DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | DUP_OVERLAYS;

int32_t regionResult = SUCCESS;

int32_t TNK_CALL copyRegionRoutine(BitmapHandle* destination, BitmapHandle* source, int32_t dx, int32_t dy) {
    EXPECT_EQ(destination, source);
    destination->Region = 88 + 10 * dx + dy;
    return regionResult;
}

class DuplicateBitmap : public ::testing::Test {
  protected:
    void SetUp() override {
        uintptr_t table[DISPATCH_WORDS] = {1};
        table[DISPATCH_COPY_REGION] = reinterpret_cast<uintptr_t>(copyRegionRoutine);
        ASSERT_EQ(T_SetDisDispatch(table), SUCCESS);
        regionResult = SUCCESS;
    }
    void TearDown() override {
        T_FreeBitmap(&source);
        T_ResetDisDispatch();
        EXPECT_EQ(failing.live(), LiveObjects{});
    }

    // A gray source with a lookup table, or an 8-bit one with a palette, and a region.
    void makeSource(int32_t bits, uint32_t request = MEM_CONVENTIONAL) {
        T_CreateBitmap(&source, sizeof source, request, 20, 10, bits, ORDER_GRAY, nullptr, 6, nullptr, 0);
        ASSERT_TRUE(isAllocated(source));
        source.Region = 77;
        source.Flags |= BMF_SIGNED | 0x10000 | BMF_PLAYBACK_A | BMF_BYTEMAP;
        source.Reserved2 = 3;
        source.PlaybackValue1 = 4;
        source.pByteMap[9] = 200;
        int32_t value = 2;
        for (int32_t* field : {&source.XResolution, &source.YResolution, &source.ByteMapParam2}) *field = value++;
        if (bits <= 8) return;
        source.Flags |= BMF_WINDOW;
        for (int32_t* field : {&source.LowBit, &source.HighBit, &source.MinVal, &source.MaxVal, &source.DataLowBit,
                               &source.DataHighBit}) {
            *field = value++;
        }
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
    EXPECT_EQ(std::memcmp(copy.pByteMap, source.pByteMap, 256), 0);
    EXPECT_NE(copy.pLUT, source.pLUT);
    EXPECT_EQ(std::memcmp(copy.pLUT, source.pLUT, 64), 0);
    EXPECT_EQ(source.Region, 77);
    BitmapHandle expected = source;  // but for what a copy has of its own
    expected.Width = 30;
    expected.Height = 40;
    expected.BytesPerLine = 60;
    expected.Size = 2400;
    expected.Region = 88;
    expected.pData = copy.pData;
    expected.DataHandle = copy.DataHandle;
    expected.pByteMap = copy.pByteMap;
    expected.pLUT = copy.pLUT;
    EXPECT_EQ(std::memcmp(&copy, &expected, sizeof copy), 0);

    BitmapHandle sharing = source;
    const auto part = [&] { return T_CopyGrayParams(&sharing, &source); };
    const auto check = [&](int32_t result, bool injected) {
        EXPECT_EQ(result, injected ? FAILURE : SUCCESS);
        EXPECT_EQ(sharing.pLUT == source.pLUT, injected) << "a table of its own, or all as it was";
        EXPECT_EQ(std::memcmp(sharing.pLUT, copy.pLUT, 64), 0);
        if (!injected) T_GlobalFree(sharing.pLUT, 0, nullptr);
    };
    EXPECT_EQ(sweepFailures(failing, kAllFailures, part, check), 1);

    source.Flags &= ~BMF_WINDOW;
    T_GlobalFree(source.pLUT, 0, nullptr);
    source.pLUT = nullptr;
    EXPECT_EQ(T_CopyGrayParams(&copy, &source), SUCCESS);
    EXPECT_EQ(copy.pLUT, nullptr) << "the source has none";
    EXPECT_EQ(copy.Flags & BMF_WINDOW, 0u);
    T_FreeBitmap(&copy);
    source.Region = 0;
    ASSERT_EQ(T_DupBitmapNewDim(&copy, &source, sizeof copy, 30, 40, 12, kEverything), SUCCESS);
    EXPECT_TRUE(copy.Region == 88 && source.Region == 0) << "the routine is asked also without a region";
    T_FreeBitmap(&copy);
    T_ResetDisDispatch();
    ASSERT_EQ(T_DupBitmapNewDim(&copy, &source, sizeof copy, 30, 40, 12, kEverything), SUCCESS);
    EXPECT_EQ(copy.Region, 0) << "no routine, no region";
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
    EXPECT_TRUE(copy.Palette == nullptr && copy.Region == 0 && source.Palette != nullptr);

    ASSERT_EQ(T_DupBitmapNewDim(&copy, &source, sizeof copy, 5, 5, 8, DUP_PALETTE | DUP_REGION), SUCCESS);
    EXPECT_NE(copy.Palette, source.Palette);
    EXPECT_EQ(T_CompareBitmapToPalette(&copy, source.Palette, 256), 1);
    copy.pLUT = copy.Palette;
    EXPECT_EQ(T_FreeDuplicateBitmap(&copy, DUP_PALETTE | DUP_REGION), SUCCESS);
    EXPECT_NE(copy.pLUT, nullptr) << "nothing else is freed";
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

    failing.failFrom(1, kModuleFailures);
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
}

}  // namespace
}  // namespace tnk::test
