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

    // With a region, and a lookup table where it is gray.
    void makeSource(int32_t bits, uint32_t request = MEM_CONVENTIONAL) {
        T_CreateBitmap(&source, sizeof source, request, 20, 10, bits, ORDER_GRAY, nullptr, 6, nullptr, 0);
        ASSERT_TRUE(isAllocated(source));
        source.Region = 77;
        source.Flags |= BMF_SIGNED | 0x10000 | BMF_PLAYBACK_A | BMF_BYTEMAP;
        source.pByteMap[9] = 200;
        int32_t value = 2;
        for (int32_t* field : {&source.XResolution, &source.YResolution, &source.ByteMapParam2, &source.MinVal,
                               &source.MaxVal, &source.DataLowBit, &source.DataHighBit, &source.LowBit}) {
            *field = value++;
        }
        source.Reserved2 = source.PlaybackValue1 = 3;
        if (bits <= 8) return;
        source.Flags |= BMF_WINDOW;
        source.pLUT = T_CreateNewPalette(T_IntGetFixedPalette(4), 16);
        source.LUTLength = 16;
    }
    int32_t duplicate(uint32_t what, int32_t bits = 8) {
        return T_DupBitmapNewDim(&copy, &source, sizeof copy, 30, 40, bits, what);
    }

    FailingPlatform failing;
    BitmapHandle source{};
    BitmapHandle copy{};
};

TEST_F(DuplicateBitmap, CarriesTheAttributes) {
    makeSource(16);
    ASSERT_EQ(duplicate(kEverything, 16), SUCCESS);
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

    T_FreeBitmap(&copy);
    copy = source;
    ASSERT_EQ(T_CopyGrayParams(&copy, &source), SUCCESS);
    EXPECT_NE(copy.pLUT, source.pLUT) << "a table of its own";
    T_GlobalFree(copy.pLUT, 0, nullptr);

    source.Region = 0;
    ASSERT_EQ(duplicate(kEverything, 12), SUCCESS);
    EXPECT_TRUE(copy.Region == 88 && source.Region == 0) << "the routine is asked also without a region";
    EXPECT_EQ(copy.HighBit, 11) << "another depth has its own window";
    T_FreeBitmap(&copy);
    regionResult = -77;
    EXPECT_EQ(duplicate(kEverything), -77);
    EXPECT_FALSE(isAllocated(copy));
    T_ResetDisDispatch();
    ASSERT_EQ(duplicate(kEverything), SUCCESS);
    EXPECT_EQ(copy.Region, 0) << "no routine, no region";
    T_FreeBitmap(&copy);
}

TEST_F(DuplicateBitmap, SharesWhatIsNotCopied) {
    makeSource(8, MEM_NOCONVENTIONAL);
    ASSERT_EQ(duplicate(0), SUCCESS);
    EXPECT_FALSE(isAllocated(copy));
    EXPECT_NE(copy.Flags & BMF_DISK, 0u) << "the kind is remembered without storage";
    EXPECT_TRUE(copy.Palette == source.Palette && copy.Region == 77);
    EXPECT_EQ(T_FreeDuplicateBitmap(&copy, 0), SUCCESS);
    EXPECT_TRUE(copy.Palette == nullptr && copy.Region == 0 && source.Palette != nullptr);

    ASSERT_EQ(duplicate(DUP_PALETTE | DUP_REGION), SUCCESS);
    EXPECT_NE(copy.Palette, source.Palette);
    EXPECT_EQ(T_CompareBitmapToPalette(&copy, source.Palette, 256), 1);
    copy.pLUT = copy.Palette;
    EXPECT_EQ(T_FreeDuplicateBitmap(&copy, DUP_PALETTE | DUP_REGION), SUCCESS);
    EXPECT_NE(copy.pLUT, nullptr) << "nothing else is freed";
    EXPECT_EQ(failing.deletedRegions(), 1) << "the copy's";

    failing.failFrom(1, kModuleFailures);
    source.Flags |= BMF_SUPERCOMPRESSED;
    EXPECT_EQ(duplicate(kEverything), ERROR_CODEC_MISSING) << "of the source's kind";
    source.Flags &= ~BMF_SUPERCOMPRESSED;
}

}  // namespace
}  // namespace tnk::test
