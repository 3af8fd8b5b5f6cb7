#include <gtest/gtest.h>

#include <cstring>
#include <iterator>

#include "bitmap/lifecycle.h"
#include "support/failing_platform.h"
#include "tnkrn.h"

namespace tnk::test {
namespace {

bool isZero(const BitmapHandle& bitmap) {
    const BitmapHandle zero{};
    return std::memcmp(&bitmap, &zero, sizeof zero) == 0;
}

TEST(InitBitmap, FillsTheRecordByDepth) {
    struct Case {
        int32_t bits, width;
        uint32_t bytesPerLine, colors, order;
        int32_t highBit;
    };
    const Case cases[] = {
        {1, 33, 8, 2, ORDER_RGB, 0},  {2, 16, 4, 4, ORDER_RGB, 1},   {3, 11, 8, 8, ORDER_RGB, 2},
        {4, 9, 8, 16, ORDER_RGB, 3},  {5, 6, 4, 32, ORDER_RGB, 4},   {6, 6, 8, 64, ORDER_RGB, 5},
        {7, 5, 8, 128, ORDER_RGB, 6}, {8, 5, 8, 256, ORDER_RGB, 7},  {12, 3, 8, 0, ORDER_GRAY, 11},
        {16, 3, 8, 0, ORDER_BGR, 15}, {24, 1, 4, 0, ORDER_BGR, 7},   {32, 2, 8, 0, ORDER_BGR, -1},
        {48, 1, 8, 0, ORDER_BGR, 15}, {64, 3, 24, 0, ORDER_BGR, 15},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bits);
        BitmapHandle bitmap;
        std::memset(&bitmap, 0xA5, sizeof bitmap);
        ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, c.width, 7, c.bits), SUCCESS);
        BitmapHandle expected{};
        expected.StructSize = sizeof bitmap;
        expected.Width = c.width;
        expected.Height = 7;
        expected.BitsPerPixel = c.bits;
        expected.BytesPerLine = c.bytesPerLine;
        expected.Size = c.bytesPerLine * 7;
        expected.ColorCount = c.colors;
        expected.Order = c.order;
        expected.ViewPerspective = 4;
        expected.DitherMethod = static_cast<uint32_t>(T_GetDefaultDithering());
        expected.XResolution = T_GetDefaultXResolution();
        expected.YResolution = T_GetDefaultYResolution();
        expected.HighBit = c.highBit;
        expected.DataHighBit = c.highBit;
        expected.ByteMapParam1 = 100;
        EXPECT_EQ(std::memcmp(&bitmap, &expected, sizeof bitmap), 0);
    }
}

TEST(InitBitmap, TakesTheThreadsDefaults) {
    const int32_t x = T_SetDefaultXResolution(300);
    const int32_t y = T_SetDefaultYResolution(-1);
    const int32_t method = T_GetDefaultDithering();
    ASSERT_EQ(T_DefaultDithering(DITHER_STUCKI), SUCCESS);
    BitmapHandle bitmap;
    EXPECT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 1, 1, 8), SUCCESS);
    EXPECT_EQ(bitmap.XResolution, 300);
    EXPECT_EQ(bitmap.YResolution, 150) << "a default that is no resolution";
    EXPECT_EQ(bitmap.DitherMethod, DITHER_STUCKI);
    T_SetDefaultXResolution(x);
    T_SetDefaultYResolution(y);
    T_DefaultDithering(static_cast<uint32_t>(method));
}

TEST(InitBitmap, Refuses) {
    BitmapHandle bitmap{};
    EXPECT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 0, 0, 0), SUCCESS);
    EXPECT_EQ(bitmap.StructSize, sizeof bitmap);
    EXPECT_EQ(bitmap.ViewPerspective, 0u);
    bitmap.StructSize = 0;
    EXPECT_TRUE(isZero(bitmap)) << "the empty record has its size only";

    for (const int32_t bits : {-8, 0, 9, 13, 40, 65, 128}) {
        EXPECT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 1, 1, bits), ERROR_BPP_NOT_SUPPORTED) << bits;
    }
    BitmapHandle before;
    ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 5, 5, 24), SUCCESS);
    std::memcpy(&before, &bitmap, sizeof bitmap);
    EXPECT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, -1, 5, 24), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 5, -1, 24), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(std::memcmp(&before, &bitmap, sizeof bitmap), 0);

    struct Size {
        int32_t width, height, bits;
        bool fits;
    };
    const Size sizes[] = {
        {65536, 65536, 8, false},  {65536, 65535, 8, true},     // 4 GB, and 0xFFFF0000 bytes
        {32, INT32_MAX, 1, false}, {0x1FFFFFF0, 8, 8, false},   // the product, not the row
        {0x20000000, 1, 8, false}, {0x10000000, 1, 64, false},  // rows that wrap in 32 bits
        {INT32_MAX, 1, 2, false},  {INT32_MAX, 1, 1, true},
    };
    for (const Size& size : sizes) {
        SCOPED_TRACE(::testing::Message() << size.width << " x " << size.height << " x " << size.bits);
        const int32_t result = T_InitBitmap(&bitmap, sizeof bitmap, size.width, size.height, size.bits);
        EXPECT_EQ(result, size.fits ? SUCCESS : ERROR_SIZE_TOO_LARGE);
        EXPECT_EQ(isZero(bitmap), !size.fits);
    }
}

TEST(CreateBitmap, AttachesAPalette) {
    PaletteEntry own[16];
    for (uint32_t i = 0; i < 16; ++i) own[i] = {static_cast<uint8_t>(i), 2, 3, 4};
    BitmapHandle bitmap;
    ASSERT_EQ(T_CreateBitmap(&bitmap, sizeof bitmap, 1, 4, 4, 4, ORDER_BGR, own, 0, nullptr, 0), SUCCESS);
    EXPECT_EQ(std::memcmp(bitmap.Palette, own, sizeof own), 0);
    EXPECT_NE(bitmap.Palette, own);
    EXPECT_EQ(bitmap.Order, ORDER_RGB);
    EXPECT_EQ(bitmap.ViewPerspective, 1u);
    T_FreeBitmap(&bitmap);

    ASSERT_EQ(T_CreateBitmap(&bitmap, sizeof bitmap, 1, 4, 4, 0, ORDER_BGR, own, 8, nullptr, 0), SUCCESS);
    EXPECT_EQ(bitmap.BitsPerPixel, 8);
    EXPECT_EQ(T_IsGrayScaleBitmap(&bitmap), GRAYSCALE_NORMAL);
    EXPECT_EQ(bitmap.ViewPerspective, 8u);
    T_FreeBitmap(&bitmap);

    ASSERT_EQ(T_CreateBitmap(&bitmap, sizeof bitmap, 1, 4, 4, 8, 0, nullptr, 1, nullptr, 0), SUCCESS);
    EXPECT_EQ(T_CompareBitmapToPalette(&bitmap, T_IntGetFixedPalette(8), 256), 1);
    T_FreeBitmap(&bitmap);
}

TEST(CreateBitmap, ChecksOrderAndPerspective) {
    BitmapHandle bitmap;
    for (const int32_t bits : {0, 8, 12, 16, 32, 64}) {
        EXPECT_EQ(T_CreateBitmap(&bitmap, sizeof bitmap, 1, 4, 4, bits, ORDER_MATRIX_RGB, nullptr, 1, nullptr, 0),
                  ERROR_BPP_NOT_SUPPORTED);
        EXPECT_FALSE(isAllocated(bitmap));
        EXPECT_EQ(bitmap.Width, 4) << "the record stays initialised";
    }
    ASSERT_EQ(T_CreateBitmap(&bitmap, sizeof bitmap, 1, 4, 4, 48, ORDER_MATRIX_RGB, nullptr, 1, nullptr, 0), SUCCESS);
    EXPECT_EQ(bitmap.Order, ORDER_MATRIX_RGB);
    T_FreeBitmap(&bitmap);
    ASSERT_EQ(T_CreateBitmap(&bitmap, sizeof bitmap, 1, 4, 4, 12, ORDER_RGB, nullptr, 1, nullptr, 0), SUCCESS);
    EXPECT_EQ(bitmap.Order, ORDER_RGB) << "stored as asked for";
    T_FreeBitmap(&bitmap);

    EXPECT_EQ(T_CreateBitmap(&bitmap, sizeof bitmap, 1, 4, 4, 24, ORDER_RGB, nullptr, 9, nullptr, 0),
              ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(isAllocated(bitmap)) << "for the caller to free";
    EXPECT_EQ(bitmap.ViewPerspective, 4u);
    T_FreeBitmap(&bitmap);
    EXPECT_EQ(T_CreateBitmap(&bitmap, sizeof bitmap, 1, 0, 4, 24, ORDER_RGB, nullptr, 1, nullptr, 0),
              ERROR_INVALID_SIZE);
}

void sweepCreate(FailingPlatform& failing, uint32_t memory, int32_t bits, bool fromThere) {
    BitmapHandle bitmap;
    const auto create = [&] {
        return T_CreateBitmap(&bitmap, sizeof bitmap, memory, 40, 30, bits, ORDER_RGB, nullptr, 1, nullptr, 0);
    };
    const auto check = [&](int32_t result, bool injected) {
        if (result == SUCCESS) {
            T_FreeBitmap(&bitmap);
            return;
        }
        EXPECT_TRUE(injected && (result == FAILURE || result == ERROR_FILE_WRITE)) << result;
        EXPECT_FALSE(isAllocated(bitmap));
        EXPECT_EQ(bitmap.pByteMap, nullptr);
        EXPECT_EQ(bitmap.Palette, nullptr);
    };
    EXPECT_GE(sweepFailures(failing, kAllFailures, create, check, fromThere), bits == 24 ? 1 : 2);
}

TEST(CreateBitmap, FailuresLeaveNothing) {
    FailingPlatform failing;
    for (const uint32_t memory : {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL, MEM_USER}) {
        for (const int32_t bits : {0, 8, 24}) {
            sweepCreate(failing, memory, bits, false);
            sweepCreate(failing, memory, bits, true);
        }
    }
}

TEST(FreeBitmap, LeavesNoDanglingField) {
    FailingPlatform failing;
    BitmapHandle bitmap;
    ASSERT_EQ(T_CreateBitmap(&bitmap, sizeof bitmap, 1, 20, 10, 8, 0, nullptr, 1, nullptr, 0), SUCCESS);
    bitmap.Region = 77;
    bitmap.pLUT = T_CreateNewPalette(T_IntGetFixedPalette(8), 256);
    bitmap.LUTLength = 256;
    ASSERT_EQ(T_StartDithering(&bitmap, nullptr, 16), SUCCESS);
    T_FreeBitmap(&bitmap);
    EXPECT_EQ(failing.live(), LiveObjects{});
    EXPECT_EQ(failing.deletedRegions(), 1);

    BitmapHandle description;
    ASSERT_EQ(T_InitBitmap(&description, sizeof description, 20, 10, 8), SUCCESS);
    description.ViewPerspective = 1;
    EXPECT_EQ(std::memcmp(&bitmap, &description, sizeof bitmap), 0) << "only the description stays";
    T_FreeBitmap(&bitmap);
    ASSERT_EQ(T_AllocateBitmap(&bitmap, MEM_CONVENTIONAL), SUCCESS) << "and can be allocated again";
    T_FreeBitmap(&bitmap);
    EXPECT_EQ(failing.live(), LiveObjects{});
}

TEST(SetBitmapDataPointer, TakesCallerMemory) {
    FailingPlatform failing;
    uint8_t memory[256];
    uint8_t other[256];
    std::memset(memory, 7, sizeof memory);
    BitmapHandle bitmap;
    EXPECT_EQ(T_CreateBitmap(&bitmap, sizeof bitmap, MEM_USER, 16, 16, 8, 0, nullptr, 1, memory, 0), SUCCESS);
    EXPECT_EQ(bitmap.pData, memory);
    EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, other, 1), SUCCESS) << "any size for memory of the caller";
    EXPECT_EQ(bitmap.pData, other);
    EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, memory, 0), SUCCESS);
    EXPECT_EQ(T_ChangeBitmapHeight(&bitmap, 30), ERROR_INVALID_PARAMETER);
    T_FreeBitmap(&bitmap);
    for (const uint8_t byte : memory) ASSERT_EQ(byte, 7);

    for (const uint32_t request : {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL}) {
        ASSERT_EQ(T_CreateBitmap(&bitmap, sizeof bitmap, request, 16, 16, 8, 0, nullptr, 1, nullptr, 0), SUCCESS);
        EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, memory, 255), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, memory, 256), SUCCESS);
        uint8_t row[16];
        EXPECT_EQ(T_GetBitmapRow(&bitmap, row, 15, 16), 16);
        EXPECT_EQ(row[0], 7);
        T_FreeBitmap(&bitmap);
        EXPECT_EQ(failing.live(), LiveObjects{}) << "the bitmap's own storage went";
    }
}

}  // namespace
}  // namespace tnk::test
