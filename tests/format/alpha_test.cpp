// Alpha channels out to masks and back, held against a model of pixels.
#include <gtest/gtest.h>

#include "geometry/pixel_model.h"
#include "support/entry_rule_cases.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

constexpr int32_t alphaBits(int32_t bits) { return bits == 64 ? 16 : bits == 32 ? 8 : bits == 16 ? 1 : 0; }
constexpr int32_t alphaShift(int32_t bits) { return bits - alphaBits(bits); }

TEST(Alpha, GoesOutAsGray) {
    RandomNumbers random(41);
    for (const Format format : kFormats) {
        SCOPED_TRACE(::testing::Message() << format.bits << " bits, order " << format.order);
        StoredBitmap picture(Kind::section, 19, 7, format);
        BitmapHandle& b = picture.record;
        b.ViewPerspective = 6;
        b.XResolution = 77;
        fill(b, random);
        BitmapHandle mask;
        ASSERT_EQ(T_GetBitmapAlpha(&b, &mask, sizeof mask), SUCCESS);
        const int32_t bits = alphaBits(b.BitsPerPixel);
        EXPECT_EQ(mask.BitsPerPixel, bits == 16 ? 16 : 8);
        EXPECT_EQ(T_IsGrayScaleBitmap(&mask), GRAYSCALE_NORMAL);
        EXPECT_TRUE(mask.ViewPerspective == 6 && mask.XResolution == 77);
        PixelModel expected(b);
        for (uint64_t& pixel : expected.pixels) {
            pixel = bits == 0 ? 0 : pixel >> alphaShift(b.BitsPerPixel);
            if (bits == 1) pixel *= 255;
        }
        EXPECT_EQ(PixelModel(mask).pixels, expected.pixels);
        T_FreeBitmap(&mask);
    }
}

struct Mask {
    const char* name;
    Format format;
    uint32_t view;
    bool inverted;
};

// A mask of any form for a bitmap of any depth: as many bits of its levels as the channel has, seen from where the bitmap is.
void putMask(const Mask& row, Format format, RandomNumbers& random) {
    StoredBitmap picture(Kind::section, 12, 14, format), stored(Kind::section, 13, 11, row.format);
    BitmapHandle &b = picture.record, &mask = stored.record;
    fill(b, random);
    fill(mask, random);
    mask.ViewPerspective = row.view;
    if (row.format.bits <= 8) {
        T_SetBitmapNewPalette(&mask, nullptr, 0);
        EXPECT_EQ(T_CreateBitmapGrayPalette(&mask), SUCCESS);
        if (row.inverted) std::reverse(mask.Palette, mask.Palette + mask.ColorCount);
    }
    const Bytes maskBefore = contents(mask);
    const int32_t bits = format.bits == 48 ? 64 : alphaBits(format.bits) != 0 ? format.bits : 32;
    BitmapHandle turned, levels, colors;
    ASSERT_EQ(T_ChangeBitmapViewPerspective(&turned, &mask, sizeof mask, int32_t(b.ViewPerspective)), SUCCESS);
    ASSERT_EQ(T_CreateGrayScaleBitmap(&levels, &turned, sizeof mask, bits == 64 ? 16 : 8), SUCCESS);
    const uint32_t order = format.order == ORDER_RGB && format.bits > 8 ? 0 : CRF_BGR;
    ASSERT_EQ(bits == format.bits
                  ? T_CopyBitmap(&colors, &b, sizeof b)
                  : T_ColorResBitmap(&b, &colors, sizeof b, bits, order, nullptr, 0, 0, nullptr, nullptr),
              SUCCESS);
    PixelModel expected(colors);
    const PixelModel alpha(levels);
    for (int32_t y = 0; y < std::min(b.Height, levels.Height); ++y) {
        for (int32_t x = 0; x < std::min(b.Width, levels.Width); ++x) {
            const uint64_t level = bits == 16 ? alpha.at(x, y) >> 7 : alpha.at(x, y);
            const uint64_t colorsOnly = expected.at(x, y) & ((uint64_t{1} << alphaShift(bits)) - 1);
            expected.at(x, y) = colorsOnly | level << alphaShift(bits);
        }
    }
    EXPECT_EQ(T_SetBitmapAlpha(&b, &mask), SUCCESS);
    EXPECT_TRUE(b.BitsPerPixel == bits && b.Order == colors.Order);
    EXPECT_EQ(PixelModel(b), expected);
    EXPECT_EQ(contents(mask), maskBefore);
    for (BitmapHandle* made : {&turned, &levels, &colors}) T_FreeBitmap(made);
}

TEST(Alpha, ComesFromAnyMask) {
    const Mask masks[] = {{"levels", {8, 0}, 4, false},      {"inverted levels", {8, 0}, 4, true},
                          {"upside down", {8, 0}, 1, false}, {"on its side", {8, 0}, 7, false},
                          {"bits", {1, 0}, 4, false},        {"inverted bits", {1, 0}, 4, true},
                          {"samples", {16, 2}, 4, false},    {"colours", {24, 1}, 4, false}};
    RandomNumbers random(42);
    for (const Mask& mask : masks) {
        for (const Format format :
             {Format{16, 1}, {32, 1}, {32, 0}, {64, 0}, {24, 0}, {24, 1}, {48, 0}, {8, 0}, {12, 2}}) {
            SCOPED_TRACE(::testing::Message() << mask.name << " for " << format.bits << ", order " << format.order);
            putMask(mask, format, random);
        }
    }
}

TEST(Alpha, OfItself) {
    StoredBitmap picture(Kind::section, 9, 5, {8, 0});
    BitmapHandle& b = picture.record;
    fillRandomly(b);
    BitmapHandle same = b, gray;
    ASSERT_EQ(T_CreateGrayScaleBitmap(&gray, &b, sizeof b, 8), SUCCESS);
    EXPECT_EQ(T_SetBitmapAlpha(&b, &same), SUCCESS) << "the pixels go with the first record";
    BitmapHandle mask;
    ASSERT_EQ(T_GetBitmapAlpha(&b, &mask, sizeof mask), SUCCESS);
    EXPECT_EQ(rowsOf(mask), rowsOf(gray));
    T_FreeBitmap(&mask);
    T_FreeBitmap(&gray);
}

TEST(Alpha, RowsAndRefusals) {
    Bytes row(24, 1);
    T_SetRowAlphaValues(24, row.data(), 24, 0x1234);
    T_SetRowAlphaValues(0, row.data(), 24, 0x1234);
    EXPECT_EQ(row, Bytes(24, 1));
    T_SetRowAlphaValues(64, row.data(), 23, 0x1234);
    EXPECT_TRUE(row[6] == 0x34 && row[7] == 0x12 && row[15] == 0x12 && row[22] == 1);
    T_SetRowAlphaValues(32, row.data() + 16, 8, 0x1234);
    EXPECT_TRUE(row[19] == 0x34 && row[23] == 0x34 && row[20] == 1);

    static BitmapHandle other;
    ASSERT_EQ(T_CreateBitmap(&other, sizeof other, 1, 9, 5, 32, 1, nullptr, 0, nullptr, 0), SUCCESS);
    const EntryCase entries[] = {
        {"values", -13, -13, -789, [](BitmapHandle* b) { return T_SetBitmapAlphaValues(b, 1); }},
        {"out", -13, -13, -789, [](BitmapHandle* b) { return T_GetBitmapAlpha(b, &other + 1, sizeof *b); }},
        {"in", -13, -13, -789, [](BitmapHandle* b) { return T_SetBitmapAlpha(b, &other); }},
        {"mask", -13, -13, -789, [](BitmapHandle* b) { return T_SetBitmapAlpha(&other, b); }},
    };
    checkEntryCases(entries);
    BitmapHandle mask;
    EXPECT_EQ(T_GetBitmapAlpha(&other, &other, sizeof other), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_GetBitmapAlpha(&other, &mask, sizeof other - 4), ERROR_STRUCT_SIZE);
    other.Flags |= BMF_SIGNED | BMF_WINDOW;
    EXPECT_EQ(T_GetBitmapAlpha(&other, &mask, sizeof other), ERROR_SIGNED_DATA);
    EXPECT_EQ(T_SetBitmapAlpha(&other, &other), ERROR_SIGNED_DATA);
    T_FreeBitmap(&other);
    StoredBitmap colors(Kind::section, 4, 4, {24, 1});
    EXPECT_EQ(T_SetBitmapAlphaValues(&colors.record, 1), ERROR_BPP_NOT_SUPPORTED);
}

}  // namespace
}  // namespace tnk::test
