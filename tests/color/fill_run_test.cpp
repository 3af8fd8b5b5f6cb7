// Runs of one colour against pixels written one by one.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "color/palette.h"

namespace tnk {
namespace {

using Bytes = std::vector<uint8_t>;

// Puts the `bits` low bits of `value` at a bit position, most significant first.
void putBits(Bytes& row, size_t position, uint32_t bits, uint32_t value) {
    for (uint32_t i = bits; i-- > 0; ++position) {
        const auto mask = static_cast<uint8_t>(0x80 >> position % 8);
        row[position / 8] =
            static_cast<uint8_t>((value >> i & 1) != 0 ? row[position / 8] | mask : row[position / 8] & ~mask);
    }
}

BitmapHandle record(int32_t bits, uint32_t order) {
    BitmapHandle bitmap{};
    bitmap.StructSize = sizeof(bitmap);
    bitmap.BitsPerPixel = bits;
    bitmap.Order = order;
    bitmap.HighBit = -1;
    return bitmap;
}

TEST(FillPixelRun, WritesIndexesOfEveryDepth) {
    PaletteEntry palette[256];
    fillGrayRamp(palette);
    for (int32_t bits = 1; bits <= 8; ++bits) {
        BitmapHandle bitmap = record(bits, 0);
        bitmap.ColorCount = 1u << bits;
        fillGrayRamp({palette, bitmap.ColorCount});
        bitmap.Palette = palette;
        const uint32_t last = bitmap.ColorCount - 1;
        const bool wholeBytes = 8 % bits == 0;  // these fill the last byte
        struct {
            uint32_t color, index;
        } const colors[] = {{COLOR_TAG_INDEX | (0x5Au & last), 0x5Au & last},
                            {COLOR_TAG_INDEX | 0xFF00, 0},
                            {0xFFFFFF, last},
                            {0x000000, 0},
                            {COLOR_TAG_GRAY | 0xFF00, last}};
        for (const auto& c : colors)
            for (int32_t count = 0; count <= 33; ++count) {
                Bytes row(40, 0xC3), wanted = row;
                int32_t pixels = count;
                while (wholeBytes && pixels * bits % 8 != 0) ++pixels;
                for (int32_t i = 0; i < pixels; ++i)
                    putBits(wanted, static_cast<size_t>(i * bits), static_cast<uint32_t>(bits), c.index);
                EXPECT_TRUE(fillPixelRun(bitmap, row.data(), count, c.color).ok());
                ASSERT_EQ(row, wanted) << bits << " bits, " << count << " pixels of " << std::hex << c.color;
            }
    }
    BitmapHandle bare = record(4, 0);  // without a palette everything is index 0
    uint8_t byte = 0xFF;
    EXPECT_TRUE(fillPixelRun(bare, &byte, 2, 0xFFFFFF).ok());
    EXPECT_EQ(byte, 0);
}

TEST(FillPixelRun, Writes12BitPairs) {
    const BitmapHandle bitmap = record(12, ORDER_GRAY);
    for (int32_t count = 1; count <= 5; ++count) {
        Bytes row(9, 0xC3), wanted = row;
        for (size_t i = 0; i < static_cast<size_t>(count); ++i) {
            uint8_t* at = &wanted[i / 2 * 3];
            if (i % 2 == 0) {
                at[0] = 0xBC;
                at[1] = static_cast<uint8_t>((at[1] & 0xF0) | 0x0A);
            } else {
                at[1] = static_cast<uint8_t>((at[1] & 0x0F) | 0xC0);
                at[2] = 0xAB;
            }
        }
        EXPECT_TRUE(fillPixelRun(bitmap, row.data(), count, COLOR_TAG_GRAY | 0x0ABC).ok());
        EXPECT_EQ(row, wanted) << count;
    }
}

TEST(FillPixelRun, PlacesGraySamples) {
    PaletteEntry table[256];
    fillGrayRamp(table);
    struct {
        const char* what;
        int32_t bits, low, high;
        bool useTable;
        uint32_t color, sample;
    } const cases[] = {
        {"a level as it is", 16, 0, -1, false, COLOR_TAG_GRAY | 0xABCD, 0xABCD},
        {"an index as it is", 16, 4, 11, false, COLOR_TAG_INDEX | 0xABCD, 0xABCD},
        {"a raw sample into its window", 16, 4, 11, false, COLOR_TAG_RAW | 0xABCD, 0xAB0},
        {"a raw sample to 12 bits", 12, 0, -1, false, COLOR_TAG_RAW | 0xABCD, 0xABC},
        {"a colour's gray level", 16, 0, 15, false, 0x0000FF, ((2 * 255 + 4) >> 3) * 257},
        {"white in a window", 16, 2, 9, false, 0xFFFFFF, 0x3FC},
        {"white in 12 bits", 12, 0, 11, false, 0xFFFFFF, 0xFFF},
        {"the table's index", 16, 2, 9, true, 0x646464, 0x64 << 2},
        {"the table does not serve raw samples", 16, 0, 7, true, COLOR_TAG_RAW | 0x8000, 0x80},
        {"a damaged window", 16, 20, 40, false, 0xFFFFFF, 0},
    };
    for (const auto& c : cases) {
        BitmapHandle bitmap = record(c.bits, ORDER_GRAY);
        bitmap.LowBit = c.low;
        bitmap.HighBit = c.high;
        bitmap.pLUT = table;
        bitmap.LUTLength = 256;
        if (c.useTable) bitmap.Flags |= BMF_WINDOW;
        uint8_t row[4] = {};
        EXPECT_TRUE(fillPixelRun(bitmap, row, 2, c.color).ok());
        EXPECT_EQ(static_cast<uint32_t>(row[0] | (row[1] << 8 & (c.bits == 12 ? 0x0F00 : 0xFF00))), c.sample) << c.what;
    }
}

TEST(FillPixelRun, WritesColorsInEveryOrder) {
    constexpr uint32_t kColor = 0x1E96C8;  // red 200, green 150, blue 30
    struct {
        int32_t bits;
        uint32_t order, color;
        Bytes pixel;
    } const cases[] = {
        {16, ORDER_BGR, kColor, {0x43, 0x66}},
        {16, ORDER_RGB, kColor, {0x59, 0x0E}},
        {24, ORDER_BGR, kColor, {30, 150, 200}},
        {24, ORDER_RGB, kColor, {200, 150, 30}},
        {32, ORDER_BGR, kColor, {30, 150, 200, 0}},
        {32, ORDER_RGB, kColor, {200, 150, 30, 0}},
        {48, ORDER_BGR, kColor, {30, 30, 150, 150, 200, 200}},
        {64, ORDER_RGB, kColor, {200, 200, 150, 150, 30, 30, 0, 0}},
        {24, ORDER_RGB, COLOR_TAG_GRAY | 0x5A11, {0x5A, 0x5A, 0x5A}},
        {32, ORDER_GRAY, 0xFFFFFF, {255, 255, 255, 255}},
        {24, ORDER_MATRIX_RGB, 0x0A141E, {11, 20, 24}},
    };
    for (const auto& c : cases)
        for (const int32_t count : {0, 1, 2, 3, 7, 20}) {
            Bytes row(20 * 8 + 1, 0xC3), wanted = row;
            for (size_t i = 0; i < static_cast<size_t>(count); ++i)
                std::copy(c.pixel.begin(), c.pixel.end(), wanted.begin() + static_cast<ptrdiff_t>(i * c.pixel.size()));
            EXPECT_TRUE(fillPixelRun(record(c.bits, c.order), row.data(), count, c.color).ok());
            EXPECT_EQ(row, wanted) << c.bits << " bits, order " << c.order << ", " << count << " pixels";
        }
    uint8_t untouched = 0xC3;
    EXPECT_TRUE(fillPixelRun(record(9, 0), &untouched, 1, kColor).ok());
    EXPECT_TRUE(fillPixelRun(record(24, ORDER_BGR), &untouched, -1, kColor).ok());
    EXPECT_FALSE(fillPixelRun(record(24, 7), &untouched, 1, kColor).ok());
    EXPECT_EQ(untouched, 0xC3);
}

}  // namespace
}  // namespace tnk
