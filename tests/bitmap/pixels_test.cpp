// Single pixels held against the rules written out plainly.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <random>
#include <vector>

#include "reference/convert.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

using Palette = std::vector<PaletteEntry>;

bool usesTable(const BitmapHandle& b) { return (b.Flags & BMF_WINDOW) != 0 && b.pLUT != nullptr && b.LUTLength > 0; }
uint32_t plainColor(uint32_t red, uint32_t green, uint32_t blue) { return red | green << 8 | blue << 16; }
uint32_t entryColor(const PaletteEntry* entries, uint32_t count, uint32_t i) {
    return entries && i < count ? plainColor(entries[i].Red, entries[i].Green, entries[i].Blue) : 0;
}

uint32_t plainGet(const BitmapHandle& b, const uint8_t* row, int32_t x) {
    const int32_t bits = b.BitsPerPixel;
    if (bits <= 8) return entryColor(b.Palette, b.ColorCount, referenceGetPacked(row, x, bits));
    uint8_t pixel[8];
    std::copy_n(row + x * bits / 8, bits / 8, pixel);
    if (b.Order == 2) {
        if (bits == 32) return COLOR_ERROR;
        const uint32_t sample = bits == 12 ? referenceGet12(row, x) : pixel[0] | uint32_t{pixel[1]} << 8;
        const ReferenceGrayParams window = referenceGrayParams(bits, bits, b.LowBit, b.HighBit);
        if (usesTable(b)) return entryColor(b.pLUT, b.LUTLength, window.read(sample));
        return COLOR_TAG_GRAY | (window.mask == 0 ? 0 : window.read(sample) * 65535 / window.mask);
    }
    referenceConvert(pixel, 1, bits, 24, static_cast<int32_t>(b.Order), 1, nullptr, nullptr, 0, -1, -1);
    return plainColor(pixel[2], pixel[1], pixel[0]);
}

uint32_t plainSample(const BitmapHandle& b, uint32_t color) {
    const int64_t low = std::max(b.LowBit, 0), high = b.HighBit >= 0 ? b.HighBit : b.BitsPerPixel - 1;
    const int64_t width = high - low + 1;
    const uint32_t red = color & 255, green = color >> 8 & 255, blue = color >> 16 & 255;
    if (color >> 24 == 2) return color;
    if (width < 1 || low >= b.BitsPerPixel) return 0;
    const auto byte = [&](uint32_t shift) { return static_cast<uint8_t>(color >> shift); };
    if (usesTable(b)) return T_FindPaletteIndex(b.pLUT, b.LUTLength, byte(0), byte(8), byte(16)) << low;
    const uint32_t gray = color >> 24 == 4 ? color & 0xFFFF : ((green * 5 + red * 2 + blue + 4) >> 3) * 257;
    return (width < 16 ? (gray * ((1u << width) - 1) + 65534) / 65535 : gray) << low;
}

void plainPut(const BitmapHandle& b, uint8_t* row, int32_t x, uint32_t color) {
    const int32_t bits = b.BitsPerPixel;
    if (color >> 24 == 4 && (b.Order != 2 || usesTable(b))) color = (color >> 8 & 255) * 0x010101;
    uint8_t pixel[8] = {};
    for (uint32_t i = 0; i < 3; ++i) pixel[i] = static_cast<uint8_t>(color >> (16 - 8 * i));
    if (bits <= 8) {
        const uint32_t count = std::min(b.ColorCount, 1u << bits);
        const uint32_t nearest = T_FindPaletteIndex(b.Palette, count, pixel[2], pixel[1], pixel[0]);
        return referenceSetPacked(row, x, bits, (color >> 24 == 1 ? color : nearest) & ((1u << bits) - 1));
    }
    if (bits == 12) return referenceSet12(row, x, plainSample(b, color) & 0xFFF);
    if (b.Order == 2) {
        if (bits == 16) color = plainSample(b, color);
        std::memcpy(pixel, &color, 4);
    } else {
        const auto order = static_cast<int32_t>(b.Order);
        referenceConvert(pixel, 1, 24, bits, 1, order == 5 ? 1 : order, nullptr, nullptr, 0, -1, -1);
        if (order == 5) referenceConvert(pixel, 1, bits, bits, 1, 5, nullptr, nullptr, 0, -1, -1);
    }
    const bool keepsAlpha = (bits == 32 && b.Order != 2) || bits == 64;
    std::copy_n(pixel, keepsAlpha ? bits / 32 * 3 : bits / 8, row + x * bits / 8);
}

class Pixels : public ::testing::Test {
  protected:
    uint32_t below(uint32_t count) { return static_cast<uint32_t>(random()) % count; }
    int32_t between(int32_t low, int32_t high) { return low + static_cast<int32_t>(below(high - low + 1u)); }
    uint8_t byte() { return static_cast<uint8_t>(random()); }
    uint32_t anyColor() {
        constexpr uint32_t kTags[] = {0, 0, 1, 2, 4, 4, 0x80};
        return kTags[below(7)] << 24 | (below(8) == 0 ? 0xFFFFFF * below(2) : below(1u << 24));
    }
    // Also windows that are empty, negative or beyond the sample, and palettes and tables that are too short.
    void change(BitmapHandle& b) {
        const int32_t bits = b.BitsPerPixel;
        for (PaletteEntry& entry : table) entry = {byte(), byte(), byte(), byte()};
        if (bits <= 8 && below(4) != 0) T_SetBitmapNewPalette(&b, table.data(), 1 + below(256));
        b.LowBit = below(3) == 0 ? between(-2, bits + 2) : between(0, bits / 2);
        b.HighBit = below(8) == 0 ? INT_MAX : between(-1, bits + between(0, 1) * 25);
        b.Flags = (b.Flags & ~BMF_WINDOW) | (below(2) != 0 ? BMF_WINDOW : 0);
        b.pLUT = below(2) != 0 ? table.data() : nullptr;
        b.LUTLength = below(8) * 40;
    }

    std::mt19937 random{1717};
    Palette table = Palette(280);
};

TEST_F(Pixels, FollowTheRules) {
    for (const auto& format : kFormats) {
        StoredBitmap stored(Kind::section, 21, 2, format.bits);
        BitmapHandle& b = stored.record;
        b.Order = format.order;
        Bytes row(b.BytesPerLine), now(row);
        for (int i = 0; i < 500; ++i) {
            if (i % 10 == 0) change(b);
            const int32_t x = between(0, 12);  // bits behind the last pixel need not be kept
            const uint32_t color = anyColor();
            SCOPED_TRACE(::testing::Message()
                         << format.bits << " bits, order " << format.order << ", window " << b.LowBit << ".."
                         << b.HighBit << ", column " << x << ", colour " << color);
            const auto bits = static_cast<uint32_t>(format.bits), column = static_cast<uint32_t>(x);
            const uint32_t at = column * bits / 8, needed = (column * bits + bits + 7) / 8 - at;
            uint8_t raw[8];
            for (uint32_t n = 0; n < needed; ++n) row[at + n] = raw[n] = byte();
            ASSERT_EQ(T_PutPixelData(&b, raw, 1, column, 8), SUCCESS);
            ASSERT_EQ(T_GetPixelColor(&b, 1, x), plainGet(b, row.data(), x));
            ASSERT_EQ(T_PutPixelColor(&b, 1, x, color), SUCCESS);
            plainPut(b, row.data(), x, color);
            ASSERT_EQ(T_GetPixelData(&b, raw, 1, column, needed - 1), ERROR_INVALID_PARAMETER);
            ASSERT_EQ(T_GetPixelData(&b, raw, 1, column, needed), SUCCESS);
            ASSERT_EQ(std::memcmp(raw, &row[at], needed), 0);
            ASSERT_GT(T_GetBitmapRow(&b, now.data(), 1, b.BytesPerLine), 0);
            ASSERT_EQ(now, row);
        }
        b.pLUT = nullptr;
    }
}

TEST(PixelValues, ByHand) {
    const struct {
        const char* what;
        int32_t bits;
        uint32_t order;
        int32_t column;
        uint32_t put;
        Bytes stored;  // before it is 0
        uint32_t got;
    } kCases[] = {
        {"an index without a search", 4, 0, 3, 0x01000003, {0, 0x03}, 0x00008080},
        {"white is index 1", 1, 0, 9, 0x00FFFFFF, {0, 0x40}, 0x00FFFFFF},
        {"red in the low bits", 16, 0, 0, 0x000000FF, {0x1F, 0x00}, 0x000000FF},
        {"full 12-bit level", 12, 2, 1, 0x0400FFFF, {0x00, 0xF0, 0xFF}, 0x0400FFFF},
        {"raw 12-bit sample", 12, 2, 0, 0x02000ABC, {0xBC, 0x0A}, 0x0400ABCA},
        {"colour to 16-bit gray", 16, 2, 0, 0x001E140A, {0x13, 0x13}, 0x04001313},
        {"a level as a colour", 24, 0, 0, 0x0400AB12, {0xAB, 0xAB, 0xAB}, 0x00ABABAB},
        {"32-bit gray takes all bits", 32, 2, 0, 0x84010203, {3, 2, 1, 0x84}, COLOR_ERROR},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        BitmapHandle b;
        ASSERT_EQ(T_CreateBitmap(&b, sizeof b, 1, 16, 2, c.bits, c.order, nullptr, 1, nullptr, 0), SUCCESS);
        EXPECT_EQ(T_PutPixelColor(&b, 1, c.column, c.put), SUCCESS);
        Bytes row(c.stored.size());
        T_GetBitmapRow(&b, row.data(), 1, static_cast<uint32_t>(row.size()));
        EXPECT_EQ(row, c.stored);
        EXPECT_EQ(T_GetPixelColor(&b, 1, c.column), c.got);
        T_FreeBitmap(&b);
    }
}

TEST(PixelValues, WhatIsRefused) {
    const auto diagonal = [](BitmapHandle*, int32_t row, int32_t column) TNK_CALL -> int32_t { return row == column; };
    int32_t(TNK_CALL* const routine)(BitmapHandle*, int32_t, int32_t) = diagonal;
    uintptr_t words[DISPATCH_WORDS] = {1};
    words[DISPATCH_WRITABLE] = reinterpret_cast<uintptr_t>(routine);
    BitmapHandle b;
    ASSERT_EQ(T_CreateBitmap(&b, sizeof b, MEM_CONVENTIONAL, 5, 4, 24, ORDER_BGR, nullptr, 1, nullptr, 0), SUCCESS);
    uint8_t raw[8] = {};
    for (const auto& [row, column] : {std::pair{-1, 0}, {4, 0}, {0, -1}, {0, 5}, {7, 7}, {INT_MIN, INT_MAX}}) {
        EXPECT_EQ(T_GetPixelColor(&b, row, column), COLOR_ERROR);
        EXPECT_EQ(T_PutPixelColor(&b, row, column, 0), ERROR_INVALID_SIZE);
        T_SetDisDispatch(words);
        EXPECT_EQ(T_PutPixelColor(&b, row, column, 0), ERROR_INVALID_SIZE) << "even if allowed";
        T_ResetDisDispatch();
        EXPECT_EQ(T_GetPixelData(&b, raw, row, static_cast<uint32_t>(column), 8), FAILURE) << row << ' ' << column;
        EXPECT_EQ(T_PutPixelData(&b, raw, row, static_cast<uint32_t>(column), 8), FAILURE);
    }
    T_SetDisDispatch(words);
    EXPECT_EQ(T_PutPixelColor(&b, 2, 2, 0), SUCCESS);
    EXPECT_EQ(T_PutPixelColor(&b, 2, 1, 0), ERROR_INVALID_SIZE);
    T_ResetDisDispatch();
    EXPECT_EQ(T_GetPixelData(&b, nullptr, 0, 0, 8), ERROR_NOT_ALLOCATED);
    b.Order = ORDER_GRAY;  // which 24 bits do not have
    EXPECT_EQ(T_PutPixelColor(&b, 0, 0, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_GetPixelColor(&b, 0, 0), COLOR_ERROR);
    b.Flags |= BMF_SIGNED | BMF_WINDOW;
    EXPECT_EQ(T_PutPixelColor(&b, 9, 9, 0), ERROR_SIGNED_DATA);
    T_FreeBitmap(&b);

    ASSERT_EQ(T_CreateBitmap(&b, sizeof b, MEM_USER, 5, 4, 7, 0, nullptr, 1, nullptr, 0), SUCCESS);
    EXPECT_EQ(T_GetPixelColor(&b, 0, 0), COLOR_ERROR) << "without data";
    EXPECT_EQ(T_PutPixelColor(&b, 0, 0, 0), ERROR_NOT_ALLOCATED);
    EXPECT_EQ(T_GetPixelData(&b, raw, 0, 0, 8), FAILURE);
    T_FreeBitmap(&b);
}

}  // namespace
}  // namespace tnk::test
