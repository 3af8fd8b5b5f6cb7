#include <gtest/gtest.h>

#include <cstring>
#include <vector>

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
    const struct {
        int32_t bits, width;
        uint32_t bytesPerLine, colors, order;
        int32_t highBit;
    } cases[] = {
        {1, 33, 8, 2, ORDER_RGB, 0},  {2, 16, 4, 4, ORDER_RGB, 1},   {3, 11, 8, 8, ORDER_RGB, 2},
        {4, 9, 8, 16, ORDER_RGB, 3},  {5, 6, 4, 32, ORDER_RGB, 4},   {6, 6, 8, 64, ORDER_RGB, 5},
        {7, 5, 8, 128, ORDER_RGB, 6}, {8, 5, 8, 256, ORDER_RGB, 7},  {12, 3, 8, 0, ORDER_GRAY, 11},
        {16, 3, 8, 0, ORDER_BGR, 15}, {24, 1, 4, 0, ORDER_BGR, 7},   {32, 2, 8, 0, ORDER_BGR, -1},
        {48, 1, 8, 0, ORDER_BGR, 15}, {64, 3, 24, 0, ORDER_BGR, 15},
    };
    const int32_t x = T_SetDefaultXResolution(300);
    const int32_t y = T_SetDefaultYResolution(-1);
    const auto method = static_cast<uint32_t>(T_GetDefaultDithering());
    T_DefaultDithering(DITHER_STUCKI);
    for (const auto& c : cases) {
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
        expected.DitherMethod = DITHER_STUCKI;
        expected.XResolution = 300;
        expected.YResolution = 150;  // for a default that is no resolution
        expected.HighBit = c.highBit;
        expected.DataHighBit = c.highBit;
        expected.ByteMapParam1 = 100;
        EXPECT_EQ(std::memcmp(&bitmap, &expected, sizeof bitmap), 0) << c.bits;
    }
    T_SetDefaultXResolution(x);
    T_SetDefaultYResolution(y);
    T_DefaultDithering(method);
}

TEST(InitBitmap, Refuses) {
    BitmapHandle bitmap{};
    EXPECT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 0, 0, 0), SUCCESS);
    bitmap.StructSize -= sizeof bitmap;
    EXPECT_TRUE(isZero(bitmap)) << "the empty record has its size only";
    for (const int32_t bits : {-8, 0, 9, 13, 40, 65, 128}) {
        EXPECT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 1, 1, bits), ERROR_BPP_NOT_SUPPORTED) << bits;
    }
    ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 5, 5, 24), SUCCESS);
    const BitmapHandle before = bitmap;
    EXPECT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, -1, 5, 24), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 5, -1, 24), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(std::memcmp(&before, &bitmap, sizeof bitmap), 0);

    const struct {
        int32_t width, height, bits;
        bool fits;
    } sizes[] = {
        {65536, 65536, 8, false},  {65536, 65535, 8, true},     // 4 GB, and 0xFFFF0000 bytes
        {32, INT32_MAX, 1, false}, {0x1FFFFFF0, 8, 8, false},   // the product, not the row
        {0x20000000, 1, 8, false}, {0x10000000, 1, 64, false},  // rows that wrap in 32 bits
        {INT32_MAX, 1, 2, false},  {INT32_MAX, 1, 1, true},    {0x7FFFFFF, 1, 32, true},
    };
    for (const auto& size : sizes) {
        SCOPED_TRACE(::testing::Message() << size.width << " x " << size.height << " x " << size.bits);
        const int32_t result = T_InitBitmap(&bitmap, sizeof bitmap, size.width, size.height, size.bits);
        EXPECT_EQ(result, size.fits ? SUCCESS : ERROR_SIZE_TOO_LARGE);
        EXPECT_EQ(isZero(bitmap), !size.fits);
    }
}

int32_t create(BitmapHandle& bitmap, int32_t bits, uint32_t order, const PaletteEntry* palette = nullptr,
               uint32_t perspective = 1, uint32_t memory = MEM_CONVENTIONAL, void* data = nullptr) {
    return T_CreateBitmap(&bitmap, sizeof bitmap, memory, 16, 16, bits, order, palette, perspective, data, 0);
}

TEST(CreateBitmap, AttachesAPalette) {
    PaletteEntry own[256] = {{1, 2, 3, 4}, {5, 6, 7, 8}};
    BitmapHandle bitmap;
    for (const PaletteEntry* given : {own, static_cast<PaletteEntry*>(nullptr)}) {
        const int32_t bits = given != nullptr ? 4 : 8;
        ASSERT_EQ(create(bitmap, bits, ORDER_BGR, given, 0), SUCCESS);
        EXPECT_NE(bitmap.Palette, given);
        EXPECT_EQ(T_CompareBitmapToPalette(&bitmap, given != nullptr ? own : T_IntGetFixedPalette(8), 1u << bits), 1);
        EXPECT_EQ(bitmap.Order, ORDER_RGB);
        EXPECT_EQ(bitmap.ViewPerspective, 1u);
        T_FreeBitmap(&bitmap);
    }
    ASSERT_EQ(create(bitmap, 0, ORDER_BGR, own, 8), SUCCESS);
    EXPECT_EQ(T_IsGrayScaleBitmap(&bitmap), GRAYSCALE_NORMAL);
    EXPECT_TRUE(bitmap.BitsPerPixel == 8 && bitmap.ViewPerspective == 8);
    T_FreeBitmap(&bitmap);
}

TEST(CreateBitmap, ChecksOrderAndPerspective) {
    BitmapHandle bitmap;
    for (const int32_t bits : {0, 8, 12, 16, 32, 48, 64}) {
        EXPECT_EQ(create(bitmap, bits, ORDER_MATRIX_RGB), bits == 48 ? SUCCESS : ERROR_BPP_NOT_SUPPORTED) << bits;
        EXPECT_EQ(isAllocated(bitmap), bits == 48);
        EXPECT_EQ(bitmap.Width, 16) << "the record stays initialised";
        T_FreeBitmap(&bitmap);
    }
    EXPECT_EQ(create(bitmap, 9, 0), ERROR_BPP_NOT_SUPPORTED);
    ASSERT_EQ(create(bitmap, 12, ORDER_RGB), SUCCESS);
    EXPECT_EQ(bitmap.Order, ORDER_RGB) << "stored as asked for";
    T_FreeBitmap(&bitmap);
    EXPECT_EQ(create(bitmap, 24, ORDER_RGB, nullptr, 9), ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(isAllocated(bitmap)) << "for the caller to free";
    EXPECT_EQ(bitmap.ViewPerspective, 4u);
    T_FreeBitmap(&bitmap);
}

TEST(FreeBitmap, LeavesNoDanglingField) {
    FailingPlatform failing;
    BitmapHandle bitmap;
    ASSERT_EQ(create(bitmap, 8, 0), SUCCESS);
    bitmap.Region = 77;
    bitmap.pLUT = T_CreateNewPalette(T_IntGetFixedPalette(8), 256);
    bitmap.LUTLength = 256;
    ASSERT_EQ(T_StartDithering(&bitmap, nullptr, 16), SUCCESS);
    T_FreeBitmap(&bitmap);
    EXPECT_EQ(failing.live(), LiveObjects{});
    EXPECT_EQ(failing.deletedRegions(), 1);

    BitmapHandle description;
    ASSERT_EQ(T_InitBitmap(&description, sizeof description, 16, 16, 8), SUCCESS);
    description.ViewPerspective = 1;
    EXPECT_EQ(std::memcmp(&bitmap, &description, sizeof bitmap), 0) << "only the description stays";
    bitmap.pLUT = T_CreateNewPalette(T_IntGetFixedPalette(8), 256);
    T_FreeBitmap(&bitmap);
    EXPECT_NE(bitmap.pLUT, nullptr) << "gray parameters go with the storage";
    ASSERT_EQ(T_AllocateBitmap(&bitmap, MEM_CONVENTIONAL), SUCCESS) << "and can be allocated again";
    T_FreeBitmap(&bitmap);
    EXPECT_EQ(failing.live(), LiveObjects{});
}

TEST(SetBitmapDataPointer, ReplacesThePointerAndNothingElse) {
    FailingPlatform failing;
    std::vector<uint8_t> memory(257, 7);
    uint8_t row[16];
    for (const uint32_t request : {MEM_USER, MEM_CONVENTIONAL, MEM_NOCONVENTIONAL}) {
        BitmapHandle bitmap;
        ASSERT_EQ(create(bitmap, 8, 0, nullptr, 1, request, request == MEM_USER ? memory.data() + 1 : nullptr),
                  SUCCESS);
        const BitmapHandle before = bitmap;
        EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, memory.data(), 255),
                  request == MEM_USER ? SUCCESS : ERROR_INVALID_PARAMETER)
            << "any size where memory of the caller is replaced";
        for (const bool grows : {false, true}) {
            EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, memory.data(), 256), SUCCESS);
            EXPECT_EQ(bitmap.pData, memory.data());
            ASSERT_EQ(T_GetBitmapRow(&bitmap, row, 15, 16), 16);
            EXPECT_EQ(row[0], request == MEM_NOCONVENTIONAL ? 0 : 7) << "rows on disk have no pointer";
            if (grows) continue;
            EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, before.pData, 256), SUCCESS);
            EXPECT_EQ(bitmap.pData, before.pData);
            EXPECT_EQ(bitmap.Flags, before.Flags);
            ASSERT_EQ(T_GetBitmapRow(&bitmap, row, 15, 16), 16);
            EXPECT_EQ(row[0], request == MEM_USER ? 7 : 0);
        }
        if (request == MEM_CONVENTIONAL) {
            ASSERT_EQ(T_ChangeBitmapHeight(&bitmap, 30), SUCCESS);
            EXPECT_TRUE(bitmap.pData != memory.data() && bitmap.pData[255] == 7 && bitmap.pData[256] == 0);
            EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, nullptr, bitmap.Size), SUCCESS);
        }
        T_FreeBitmap(&bitmap);
        EXPECT_EQ(failing.live(), LiveObjects{}) << "the bitmap's own storage went";
        EXPECT_EQ(memory, std::vector<uint8_t>(257, 7));
    }
    BitmapHandle table;
    ASSERT_EQ(create(table, 1, 0, nullptr, 1, MEM_COMPRESSED), SUCCESS);
    for (const uint32_t size : {table.Size, 64u}) {  // of the encoded rows, of plain ones
        EXPECT_EQ(T_SetBitmapDataPointer(&table, memory.data(), size), ERROR_INVALID_PARAMETER) << "no pixels there";
    }
    T_FreeBitmap(&table);
}

}  // namespace
}  // namespace tnk::test
