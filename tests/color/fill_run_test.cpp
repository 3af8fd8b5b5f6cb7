// Runs of one colour against pixels written one by one.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "convert/fill_run.h"
#include "palette/palette.h"
#include "reference/convert.h"

namespace tnk {
namespace {

using Bytes = std::vector<uint8_t>;

BitmapHandle record(int32_t bits, uint32_t order) {
    BitmapHandle bitmap{};
    bitmap.StructSize = sizeof(bitmap);
    bitmap.BitsPerPixel = bits;
    bitmap.Order = order;
    bitmap.HighBit = -1;
    return bitmap;
}

TEST(FillPixelRun, WritesPackedPixelsOfEveryDepth) {
    for (const int32_t bits : {1, 2, 3, 4, 5, 6, 7, 8, 12}) {
        PaletteEntry palette[256];
        BitmapHandle bitmap = record(bits, bits == 12 ? ORDER_GRAY : ORDER_RGB);
        bitmap.ColorCount = bits == 12 ? 0 : 1u << bits;
        fillGrayRamp({palette, bits == 12 ? 256 : bitmap.ColorCount});
        bitmap.Palette = palette;
        const uint32_t last = (1u << bits) - 1;
        struct {
            uint32_t color, value;
        } const colors[] = {{COLOR_TAG_INDEX | (0x5Au & last), 0x5Au & last},
                            {COLOR_TAG_INDEX | 0xFF00, bits == 12 ? 0xF00u : 0},
                            {0xFFFFFF, last},
                            {0x000000, 0},
                            {COLOR_TAG_GRAY | 0xFF00, bits == 12 ? 0xF00 : last}};
        for (const auto& c : colors) {
            for (int32_t count = 0; count <= 33; ++count) {
                Bytes row(56, 0xC3), wanted = row;
                int32_t pixels = count;
                while (8 % bits == 0 && pixels * bits % 8 != 0) ++pixels;  // these depths fill the last byte
                for (int32_t x = 0; x < pixels; ++x) {
                    bits == 12 ? test::referenceSet12(wanted.data(), x, c.value)
                               : test::referenceSetPacked(wanted.data(), x, bits, c.value);
                }
                EXPECT_TRUE(fillPixelRun(bitmap, row.data(), count, c.color).ok());
                ASSERT_EQ(row, wanted) << bits << " bits, " << count << " pixels of " << std::hex << c.color;
            }
        }
    }
    uint8_t byte = 0xFF;  // without a palette everything is index 0
    EXPECT_TRUE(fillPixelRun(record(4, 0), &byte, 2, 0xFFFFFF).ok());
    EXPECT_EQ(byte, 0);
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
        EXPECT_EQ(c.bits == 12 ? test::referenceGet12(row, 0) : row[0] | row[1] << 8u, c.sample) << c.what;
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
        {32, ORDER_RGB, kColor, {200, 150, 30, 0}},
        {48, ORDER_BGR, kColor, {30, 30, 150, 150, 200, 200}},
        {64, ORDER_RGB, kColor, {200, 200, 150, 150, 30, 30, 0, 0}},
        {24, ORDER_RGB, COLOR_TAG_GRAY | 0x5A11, {0x5A, 0x5A, 0x5A}},
        {32, ORDER_GRAY, 0xFFFFFF, {255, 255, 255, 255}},
        {24, ORDER_MATRIX_RGB, 0x0A141E, {11, 20, 24}},
    };
    for (const auto& c : cases) {
        for (const int32_t count : {0, 1, 2, 3, 7, 20}) {
            Bytes row(20 * 8 + 1, 0xC3), wanted = row;
            for (size_t i = 0; i < static_cast<size_t>(count) * c.pixel.size(); ++i)
                wanted[i] = c.pixel[i % c.pixel.size()];
            EXPECT_TRUE(fillPixelRun(record(c.bits, c.order), row.data(), count, c.color).ok());
            EXPECT_EQ(row, wanted) << c.bits << " bits, order " << c.order << ", " << count << " pixels";
        }
    }
    uint8_t untouched = 0xC3;
    EXPECT_TRUE(fillPixelRun(record(9, 0), &untouched, 1, kColor).ok());
    EXPECT_TRUE(fillPixelRun(record(24, ORDER_BGR), &untouched, -1, kColor).ok());
    EXPECT_FALSE(fillPixelRun(record(24, 7), &untouched, 1, kColor).ok());
    EXPECT_EQ(untouched, 0xC3);
}

}  // namespace
}  // namespace tnk
