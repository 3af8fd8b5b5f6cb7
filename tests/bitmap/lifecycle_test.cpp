#include "bitmap/lifecycle.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "support/failing_platform.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

bool same(const BitmapHandle& a, const BitmapHandle& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(InitBitmap, FillsTheRecordByDepth) {
    const int32_t x = T_SetDefaultXResolution(300), y = T_SetDefaultYResolution(-1);
    for (const int32_t bits : kAllDepths) {
        BitmapHandle bitmap;
        std::memset(&bitmap, 0xA5, sizeof bitmap);
        ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 33, 7, bits), SUCCESS);
        BitmapHandle expected{};
        expected.StructSize = sizeof bitmap;
        expected.Width = 33;
        expected.Height = 7;
        expected.BitsPerPixel = bits;
        expected.BytesPerLine = static_cast<uint32_t>((33 * bits + 31) / 32 * 4);
        expected.Size = expected.BytesPerLine * 7;
        expected.ColorCount = bits <= 8 ? 1u << bits : 0;
        expected.Order = usualOrder(bits);
        expected.ViewPerspective = 4;
        expected.DitherMethod = static_cast<uint32_t>(T_GetDefaultDithering());
        expected.XResolution = 300;
        expected.YResolution = 150;  // for a default that is no resolution
        expected.HighBit = expected.DataHighBit = bits == 24 ? 7 : bits == 32 ? -1 : std::min(bits, 16) - 1;
        expected.ByteMapParam1 = 100;
        EXPECT_TRUE(same(bitmap, expected)) << bits;
    }
    T_SetDefaultXResolution(x);
    T_SetDefaultYResolution(y);
}

TEST(InitBitmap, Refuses) {
    BitmapHandle bitmap{};
    EXPECT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 0, 0, 0), SUCCESS);
    bitmap.StructSize -= sizeof bitmap;
    EXPECT_TRUE(same(bitmap, BitmapHandle{})) << "the empty record has its size only";
    constexpr int32_t kLarge = ERROR_SIZE_TOO_LARGE, kDepth = ERROR_BPP_NOT_SUPPORTED,
                      kNegative = ERROR_INVALID_PARAMETER;
    // 4 GB and 0xFFFF0000 bytes; products and rows that wrap in 32 bits; the longest rows.
    constexpr int32_t sizes[][4] = {{65536, 65536, 8, kLarge},  {65536, 65535, 8, SUCCESS}, {32, INT32_MAX, 1, kLarge},
                                    {0x1FFFFFF0, 8, 8, kLarge}, {0x20000000, 1, 8, kLarge}, {0x10000000, 1, 64, kLarge},
                                    {INT32_MAX, 1, 2, kLarge},  {INT32_MAX, 1, 1, SUCCESS}, {0x7FFFFFF, 1, 32, SUCCESS},
                                    {-1, 5, 24, kNegative},     {5, -1, 24, kNegative},     {1, 1, 9, kDepth},
                                    {1, 1, 0, kDepth}};
    for (const auto& [width, height, bits, result] : sizes) {
        SCOPED_TRACE(::testing::Message() << width << " x " << height << " x " << bits);
        ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 5, 5, 24), SUCCESS);
        const BitmapHandle before = bitmap;
        EXPECT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, width, height, bits), result);
        EXPECT_EQ(same(bitmap, before), result == ERROR_INVALID_PARAMETER);
        EXPECT_EQ(same(bitmap, BitmapHandle{}), result == ERROR_SIZE_TOO_LARGE);
    }
}

int32_t create(BitmapHandle& bitmap, int32_t bits, uint32_t order, const PaletteEntry* palette = nullptr,
               uint32_t perspective = 1, uint32_t memory = MEM_CONVENTIONAL, void* data = nullptr) {
    return T_CreateBitmap(&bitmap, sizeof bitmap, memory, 16, 16, bits, order, palette, perspective, data, 0);
}

TEST(CreateBitmap, AttachesAPaletteAndChecksOrderAndPerspective) {
    const Palette own = RandomNumbers(1).palette(256);
    BitmapHandle bitmap;
    for (const PaletteEntry* given : {own.data(), static_cast<const PaletteEntry*>(nullptr)}) {
        ASSERT_EQ(create(bitmap, 8, ORDER_BGR, given, 0), SUCCESS);
        EXPECT_NE(bitmap.Palette, given);
        EXPECT_EQ(T_CompareBitmapToPalette(&bitmap, given != nullptr ? given : T_IntGetFixedPalette(8), 256), 1);
        EXPECT_TRUE(bitmap.Order == ORDER_RGB && bitmap.ViewPerspective == 1);
        T_FreeBitmap(&bitmap);
    }
    ASSERT_EQ(create(bitmap, 0, ORDER_BGR, own.data(), 8), SUCCESS);
    EXPECT_EQ(T_IsGrayScaleBitmap(&bitmap), GRAYSCALE_NORMAL);
    EXPECT_TRUE(bitmap.BitsPerPixel == 8 && bitmap.ViewPerspective == 8);
    T_FreeBitmap(&bitmap);
    for (const int32_t bits : {0, 8, 12, 16, 32, 48, 64}) {
        EXPECT_EQ(create(bitmap, bits, ORDER_MATRIX_RGB), bits == 48 ? SUCCESS : ERROR_BPP_NOT_SUPPORTED) << bits;
        EXPECT_EQ(isAllocated(bitmap), bits == 48);
        EXPECT_EQ(bitmap.Width, 16) << "the record stays initialised";
        T_FreeBitmap(&bitmap);
    }
    EXPECT_EQ(create(bitmap, 12, ORDER_RGB, nullptr, 9), ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(isAllocated(bitmap)) << "for the caller to free";
    EXPECT_EQ(bitmap.ViewPerspective, 4u);
    EXPECT_EQ(bitmap.Order, ORDER_RGB) << "stored as asked for";
    T_FreeBitmap(&bitmap);
}

TEST(FreeBitmap, LeavesNoDanglingField) {
    FailingPlatform failing;
    BitmapHandle bitmap, description;
    ASSERT_EQ(create(bitmap, 8, 0), SUCCESS);
    bitmap.Region = 77;
    bitmap.pOverlays = &bitmap;
    bitmap.pLUT = T_CreateNewPalette(T_IntGetFixedPalette(8), bitmap.LUTLength = 256);
    ASSERT_EQ(T_StartDithering(&bitmap, nullptr, 16), SUCCESS);
    T_FreeBitmap(&bitmap);
    EXPECT_EQ(failing.live(), LiveObjects{});
    EXPECT_EQ(failing.deletedRegions(), 1);
    ASSERT_EQ(T_InitBitmap(&description, sizeof description, 16, 16, 8), SUCCESS);
    description.ViewPerspective = 1;
    EXPECT_TRUE(same(bitmap, description)) << "only the description stays";

    bitmap.pLUT = T_CreateNewPalette(T_IntGetFixedPalette(8), 256);
    T_FreeBitmap(&bitmap);
    EXPECT_NE(bitmap.pLUT, nullptr) << "gray parameters go with the storage";
    ASSERT_EQ(T_AllocateBitmap(&bitmap, MEM_CONVENTIONAL), SUCCESS) << "and can be allocated again";
    T_FreeBitmap(&bitmap);
    EXPECT_EQ(failing.live(), LiveObjects{});
}

TEST(SetBitmapDataPointer, ReplacesThePointerAndNothingElse) {
    FailingPlatform failing;
    Bytes memory(257, 7);
    for (const uint32_t request : {MEM_USER, MEM_CONVENTIONAL, MEM_NOCONVENTIONAL}) {
        const bool user = request == MEM_USER, disk = request == MEM_NOCONVENTIONAL;
        BitmapHandle bitmap;
        ASSERT_EQ(create(bitmap, 8, 0, nullptr, 1, request, user ? memory.data() + 1 : nullptr), SUCCESS);
        const BitmapHandle before = bitmap;
        EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, memory.data(), 255), user ? SUCCESS : ERROR_INVALID_PARAMETER)
            << "any size where memory of the caller is replaced";
        for (uint8_t* const data : {memory.data(), before.pData, memory.data()}) {
            EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, data, 256), SUCCESS);
            EXPECT_TRUE(bitmap.pData == data && bitmap.Flags == before.Flags);
            // Rows on disk have no pointer.
            EXPECT_EQ(rowsOf(bitmap), Bytes(256, user || (data == memory.data() && !disk) ? 7 : 0));
        }
        if (request == MEM_CONVENTIONAL) {
            ASSERT_EQ(T_ChangeBitmapHeight(&bitmap, 30), SUCCESS);
            EXPECT_TRUE(bitmap.pData != memory.data() && bitmap.pData[255] == 7 && bitmap.pData[256] == 0);
            EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, nullptr, bitmap.Size), SUCCESS);
        }
        T_FreeBitmap(&bitmap);
        EXPECT_EQ(failing.live(), LiveObjects{}) << "the bitmap's own storage went";
        EXPECT_EQ(memory, Bytes(257, 7));
    }
    StoredBitmap table(Kind::compressed, 16, 16, 1);
    for (const uint32_t size : {table.record.Size, 64u}) {  // of the encoded rows, of plain ones
        EXPECT_EQ(T_SetBitmapDataPointer(&table.record, memory.data(), size), ERROR_INVALID_PARAMETER);
    }
}

}  // namespace
}  // namespace tnk::test
