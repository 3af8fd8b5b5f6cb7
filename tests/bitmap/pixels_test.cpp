// Single pixels: what the walk does not meet, by values worked out by hand, and what is refused. Every format, window inside
// the sample and palette runs there.
#include <gtest/gtest.h>

#include <climits>

#include "support/picture.h"

namespace tnk::test {
namespace {

TEST(Pixels, HaveTheColorsWorkedOutByHand) {
    Palette table = {{9, 9, 9, 0}, {0, 0, 255, 0}, {255, 0, 0, 0}};
    const struct {
        const char* what;
        Format format;
        int32_t lowBit, highBit;
        bool hasTable;
        int32_t column;
        uint32_t put;
        Bytes stored;  // before it is 0
        uint32_t got;
    } cases[] = {
        {"across two bytes", {3, 0}, 0, -1, false, 2, 0x01000007, {0x03, 0x80}, 0x00FFFFFF},
        {"full 12-bit level", {12, 2}, 0, -1, false, 1, 0x0400FFFF, {0x00, 0xF0, 0xFF}, 0x0400FFFF},
        {"a window beyond the sample", {16, 2}, 16, 20, false, 0, 0x04008080, {0, 0}, 0x04000000},
        {"an entry of the table", {16, 2}, 4, 11, true, 0, 0x000000F0, {0x10, 0x00}, 0x000000FF},
        {"a level by the table", {16, 2}, 4, 11, true, 1, 0x04000A0A, {0, 0, 0, 0}, 0x00090909},
        {"alpha stays", {64, 1}, 0, -1, false, 0, 0x80332211, {0x33, 0x33, 0x22, 0x22, 0x11, 0x11, 0, 0}, 0x00332211},
        {"32-bit gray takes all bits", {32, 2}, 0, -1, false, 0, 0x84010203, {3, 2, 1, 0x84}, COLOR_ERROR},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        StoredBitmap stored(Kind::section, 16, 2, c.format);
        BitmapHandle& b = stored.record;
        b.LowBit = c.lowBit;
        b.HighBit = c.highBit;
        if (c.lowBit != 0) b.Flags |= BMF_WINDOW;
        b.LUTLength = 3;
        if (c.hasTable) b.pLUT = table.data();
        EXPECT_EQ(T_PutPixelColor(&b, 1, c.column, c.put), SUCCESS);
        Bytes row(c.stored.size());
        T_GetBitmapRow(&b, row.data(), 1, static_cast<uint32_t>(row.size()));
        EXPECT_EQ(row, c.stored);
        EXPECT_EQ(T_GetPixelColor(&b, 1, c.column), c.got);
        uint8_t raw[8] = {};
        const auto bits = static_cast<uint32_t>(c.format.bits), column = static_cast<uint32_t>(c.column);
        const uint32_t needed = (column * bits + bits + 7) / 8 - column * bits / 8;
        EXPECT_EQ(T_GetPixelData(&b, raw, 1, column, needed - 1), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_GetPixelData(&b, raw, 1, column, needed), SUCCESS);
        EXPECT_EQ(raw[0], row[column * bits / 8]);
        b.pLUT = nullptr;
    }
}

TEST(Pixels, RefuseOtherPlacesAndFormats) {
    const auto diagonal = [](BitmapHandle*, int32_t row, int32_t column) TNK_CALL -> int32_t { return row == column; };
    int32_t(TNK_CALL* const routine)(BitmapHandle*, int32_t, int32_t) = diagonal;
    uintptr_t words[DISPATCH_WORDS] = {1};
    words[DISPATCH_WRITABLE] = reinterpret_cast<uintptr_t>(routine);
    StoredBitmap stored(Kind::section, 5, 4, 24);
    BitmapHandle& b = stored.record;
    uint8_t raw[8] = {};
    for (const bool asks : {false, true}) {
        if (asks) T_SetDisDispatch(words);
        for (const auto& [row, column] : {std::pair{-1, 0}, {4, 0}, {0, -1}, {0, 5}, {7, 7}, {INT_MIN, INT_MAX}}) {
            EXPECT_EQ(T_GetPixelColor(&b, row, column), COLOR_ERROR);
            EXPECT_EQ(T_PutPixelColor(&b, row, column, 0), ERROR_INVALID_SIZE) << "even if allowed";
            EXPECT_EQ(T_GetPixelData(&b, raw, row, static_cast<uint32_t>(column), 8), FAILURE) << row << ' ' << column;
            EXPECT_EQ(T_PutPixelData(&b, raw, row, static_cast<uint32_t>(column), 8), FAILURE);
        }
        EXPECT_EQ(T_PutPixelColor(&b, 2, 2, 0), SUCCESS);
        EXPECT_EQ(T_PutPixelColor(&b, 2, 1, 0), asks ? ERROR_INVALID_SIZE : SUCCESS);
    }
    T_ResetDisDispatch();
    b.Order = ORDER_GRAY;  // which 24 bits do not have
    EXPECT_EQ(T_PutPixelColor(&b, 0, 0, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_GetPixelColor(&b, 0, 0), COLOR_ERROR);
    b.Flags |= BMF_SIGNED | BMF_WINDOW;
    EXPECT_EQ(T_PutPixelColor(&b, 9, 9, 0), ERROR_SIGNED_DATA);
}

// The only run whose bits are not all its own; every other one runs in the walk.
TEST(Pixels, ARunOf2BitsFromPixel2LeavesPixel3) {
    StoredBitmap stored(Kind::section, 8, 1, 2);
    const uint32_t run[] = {2, 7, 0};  // without its partner, not looked at
    EXPECT_EQ(T_PutBitmapRowSegments(&stored.record, Bytes(2, 0xFF).data(), 0, 0, run, 3, 0), SUCCESS);
    EXPECT_EQ(rowsOf(stored.record), (Bytes{0x0C, 0xFC, 0, 0}));
}

}  // namespace
}  // namespace tnk::test
