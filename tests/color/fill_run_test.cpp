// Runs of one colour against pixels written one by one.
#include "convert/fill_run.h"

#include <gtest/gtest.h>

#include <vector>

#include "palette/palette.h"
#include "reference/convert.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

constexpr uint32_t kIndexTag = COLOR_TAG_INDEX, kGrayTag = COLOR_TAG_GRAY, kRawTag = COLOR_TAG_RAW;
constexpr uint32_t kColor = 0x1E96C8;  // red 200, green 150, blue 30

struct Fill {
    const char* what;
    Format format;
    uint32_t color;
    uint64_t pixel;  // as it lies in memory; up to 12 bits the sample
    int32_t low = 0, high = -1;
    bool useTable = false;
};

const Fill kFills[] = {
    {"12 bits: a gray level as it is", {12, 2}, kGrayTag | 0xFF00, 0xF00},
    {"12 bits: white", {12, 2}, 0xFFFFFF, 0xFFF},
    {"12 bits: the top of a raw sample", {12, 2}, kRawTag | 0xABCD, 0xABC},
    {"a level as it is", {16, 2}, kGrayTag | 0xABCD, 0xABCD},
    {"a raw sample into its window", {16, 2}, kRawTag | 0xABCD, 0xAB0, 4, 11},
    {"a colour's gray level", {16, 2}, 0x0000FF, ((2 * 255 + 4) >> 3) * 257, 0, 15},
    {"white in a window", {16, 2}, 0xFFFFFF, 0x3FC, 2, 9},
    {"the table's index", {16, 2}, 0x646464, 0x64 << 2, 2, 9, true},
    {"the table does not serve raw samples", {16, 2}, kRawTag | 0x8000, 0x80, 0, 7, true},
    {"a damaged window", {16, 2}, 0xFFFFFF, 0, 20, 40},
    {"5-5-5", {16, ORDER_BGR}, kColor, 0x6643},
    {"5-5-5 turned round", {16, ORDER_RGB}, kColor, 0x0E59},
    {"colour", {24, ORDER_BGR}, kColor, 0xC8961E},
    {"wide without alpha", {64, ORDER_RGB}, kColor, 0x1E1E9696C8C8},
    {"a gray level in a colour", {24, ORDER_RGB}, kGrayTag | 0x5A11, 0x5A5A5A},
    {"32-bit gray", {32, ORDER_GRAY}, 0xFFFFFF, 0xFFFFFFFF},
    {"matrix", {24, ORDER_MATRIX_RGB}, 0x0A141E, 0x18140B},
};

void expectRun(const BitmapHandle& bitmap, const Fill& fill) {
    const int32_t bits = bitmap.BitsPerPixel;
    for (int32_t count = -1; count <= 33; ++count) {
        Bytes row(33 * 8 + 1, 0xC3), wanted = row;
        int32_t pixels = count;
        while (8 % bits == 0 && pixels > 0 && pixels * bits % 8 != 0) ++pixels;  // these depths fill the last byte
        for (int32_t x = 0; x < pixels; ++x) {
            if (bits < 8) referenceSetPacked(wanted.data(), x, bits, static_cast<uint32_t>(fill.pixel));
            if (bits == 12) referenceSet12(wanted.data(), x, static_cast<uint32_t>(fill.pixel));
            for (int32_t i = 0; bits % 8 == 0 && i < bits / 8; ++i)
                wanted[static_cast<size_t>(x * bits / 8 + i)] = static_cast<uint8_t>(fill.pixel >> 8 * i);
        }
        EXPECT_TRUE(fillPixelRun(bitmap, row.data(), count, fill.color).ok());
        ASSERT_EQ(row, wanted) << fill.what << ", " << bits << " bits, " << count << " pixels";
    }
}

TEST(FillPixelRun, EqualsPixelsOneByOne) {
    Palette table(256);
    BitmapHandle bitmap{};
    bitmap.StructSize = sizeof(bitmap);
    bitmap.Palette = bitmap.pLUT = table.data();
    for (bitmap.BitsPerPixel = 1; bitmap.BitsPerPixel <= 8; ++bitmap.BitsPerPixel) {
        bitmap.ColorCount = 1u << bitmap.BitsPerPixel;
        const uint32_t last = bitmap.ColorCount - 1;
        fillGrayRamp({table.data(), bitmap.ColorCount});
        expectRun(bitmap, {"an index", {}, kIndexTag | (0x5A & last), 0x5A & last});
        expectRun(bitmap, {"an index beyond the palette", {}, kIndexTag | 0xFF00, 0});
        expectRun(bitmap, {"white", {}, 0xFFFFFF, last});
        expectRun(bitmap, {"black", {}, 0, 0});
        expectRun(bitmap, {"a gray level", {}, kGrayTag | 0xFF00, last});
    }
    fillGrayRamp(table);
    bitmap.LUTLength = 256;
    for (const Fill& fill : kFills) {
        bitmap.BitsPerPixel = fill.format.bits;
        bitmap.Order = fill.format.order;
        bitmap.LowBit = fill.low;
        bitmap.HighBit = fill.high;
        bitmap.Flags = fill.useTable ? BMF_WINDOW : 0;
        expectRun(bitmap, fill);
    }
    Bytes untouched(1, 0xC3);
    bitmap.Order = 7;
    EXPECT_FALSE(fillPixelRun(bitmap, untouched.data(), 1, kColor).ok());
    bitmap.BitsPerPixel = 9;
    EXPECT_TRUE(fillPixelRun(bitmap, untouched.data(), 1, kColor).ok());
    EXPECT_EQ(untouched[0], 0xC3);
    bitmap.BitsPerPixel = 8;
    bitmap.Palette = nullptr;  // everything is index 0
    expectRun(bitmap, {"no palette", {}, 0xFFFFFF, 0});
}

}  // namespace
}  // namespace tnk::test
