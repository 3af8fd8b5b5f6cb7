// Views, flips and reversals, fills: all depths, storages and views against pictures moved pixel by pixel.
#include <gtest/gtest.h>

#include <cmath>

#include "geometry/pixel_model.h"
#include "support/entry_rule_cases.h"

namespace tnk::test {
namespace {

struct Size {
    int32_t width;
    int32_t height;
};
constexpr Size kSizes[] = {{1, 1}, {1, 7}, {10, 2}, {67, 5}, {200, 3}};

TEST(Views, ChangesOfCoordinatesShowTheSamePicture) {
    PixelModel stored(5, 3);
    for (size_t i = 0; i < stored.pixels.size(); ++i) stored.pixels[i] = i;
    BitmapHandle bitmap;
    ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 5, 3, 8), SUCCESS);
    for (uint32_t from = 1; from <= 8; ++from) {
        for (uint32_t to = 1; to <= 8; ++to) {
            SCOPED_TRACE(::testing::Message() << from << " to " << to);
            // The rows that show the same picture in the other view.
            PixelModel other = stored;
            for (int turns = 0; seen(other, to) != seen(stored, from); ++turns) {
                other = turns == 3 ? other.clockwise().flipped() : other.clockwise();
                ASSERT_LT(turns, 8);
            }
            bitmap.ViewPerspective = from;
            const bool flipsOnly = from == TOP_RIGHT && to == LEFT_BOTTOM;
            for (int32_t y = 0; y < 3; ++y) {
                for (int32_t x = 0; x < 5; ++x) {
                    int32_t newX = x, newY = y;
                    BitmapRect rect{x, y, x + 1, y + 1};
                    ASSERT_EQ(T_PointFromBitmap(&bitmap, static_cast<int32_t>(to), &newX, &newY), SUCCESS);
                    ASSERT_EQ(T_RectFromBitmap(&bitmap, static_cast<int32_t>(to), &rect), SUCCESS);
                    if (flipsOnly) {
                        EXPECT_TRUE(newX == x && newY == 2 - y);
                    } else {
                        EXPECT_EQ(other.at(newX, newY), stored.at(x, y));
                    }
                    EXPECT_TRUE(rect.Left == newX && rect.Top == newY && rect.Right == newX + 1 &&
                                rect.Bottom == newY + 1);
                    if (flipsOnly || from == LEFT_TOP || from == RIGHT_BOTTOM) continue;
                    // And back, to a bitmap of the other view.
                    BitmapHandle there = bitmap;
                    there.ViewPerspective = to;
                    there.Width = other.width;
                    there.Height = other.height;
                    int32_t backX = x, backY = y;
                    ASSERT_EQ(T_PointToBitmap(&there, static_cast<int32_t>(from), &backX, &backY), SUCCESS);
                    ASSERT_EQ(T_RectToBitmap(&there, static_cast<int32_t>(from), &(rect = {x, y, x + 1, y + 1})),
                              SUCCESS);
                    EXPECT_TRUE(backX == newX && backY == newY && rect.Left == newX && rect.Bottom == newY + 1);
                }
            }
        }
    }
}

TEST(Views, ParametersAndCodes) {
    int32_t flip = 0, rotation = 0;
    EXPECT_EQ(T_GetChangeViewPerspectiveParams(2, 8, &flip, &rotation), SUCCESS);
    EXPECT_TRUE(flip == 1 && rotation == -90);
    EXPECT_EQ(T_GetChangeViewPerspectiveParams(5, 3, &flip, &rotation), SUCCESS);
    EXPECT_TRUE(flip == 1 && rotation == 270);
    for (const int32_t view : {0, 9, -1}) {
        EXPECT_EQ(T_GetChangeViewPerspectiveParams(view, 3, &flip, &rotation), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_GetChangeViewPerspectiveParams(3, view, &flip, &rotation), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(T_GetChangeViewPerspectiveParams(1, 2, nullptr, &rotation), ERROR_INVALID_PARAMETER);
    BitmapRect rect{0, 0, 2, 1};
    EXPECT_EQ(T_ChangeRectViewPerspective(1, 10, 4, 3, &rect), SUCCESS);
    EXPECT_TRUE(rect.Left == 8 && rect.Top == 3 && rect.Right == 10 && rect.Bottom == 4);
    EXPECT_EQ(T_ChangeRectViewPerspective(1, 10, 4, 9, &rect), SUCCESS);
    EXPECT_EQ(rect.Left, 8);
    BitmapHandle bitmap;
    ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 10, 4, 8), SUCCESS);
    bitmap.ViewPerspective = TOP_LEFT;
    // By the width and height as they are: from 5 the picture is first turned upside down in 4 rows, not in 10.
    int32_t x = 1, y = 0;
    EXPECT_EQ(T_PointToBitmap(&bitmap, LEFT_TOP, &x, &y), SUCCESS);
    EXPECT_TRUE(x == 0 && y == 1) << x << ", " << y;
    EXPECT_EQ(T_PointToBitmap(&bitmap, 5, nullptr, &y), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_PointFromBitmap(&bitmap, 5, &x, nullptr), ERROR_INVALID_PARAMETER);

    const PixelModel upright = [] {
        PixelModel model(4, 3);
        for (size_t i = 0; i < model.pixels.size(); ++i) model.pixels[i] = i;
        return model;
    }();
    bitmap.XResolution = 100;
    bitmap.YResolution = 200;
    for (uint32_t view = 1; view <= 8; ++view) {
        const auto after = [&](auto call) {
            bitmap.ViewPerspective = view;
            EXPECT_EQ(call(), SUCCESS);
            return seen(upright, bitmap.ViewPerspective);
        };
        const PixelModel before = seen(upright, view);
        EXPECT_EQ(after([&] { return T_FlipBitmapViewPerspective(&bitmap); }), before.flipped()) << view;
        EXPECT_EQ(after([&] { return T_IntReverseBitmapViewPerspective(&bitmap); }), before.reversed()) << view;
        EXPECT_EQ(after([&] { return T_RotateBitmapViewPerspective(&bitmap, -270); }), before.clockwise()) << view;
        EXPECT_EQ(bitmap.XResolution, 200);
        EXPECT_EQ(after([&] { return T_IntRotateBitmapViewPerspective(&bitmap, -90); }),
                  before.clockwise().clockwise().clockwise());
        EXPECT_EQ(bitmap.XResolution, 100);
    }
    EXPECT_EQ(T_RotateBitmapViewPerspective(&bitmap, 45), ERROR_INVALID_PARAMETER);
    bitmap.ViewPerspective = 9;
    EXPECT_EQ(T_ReverseBitmapViewPerspective(&bitmap), SUCCESS);
    EXPECT_EQ(bitmap.ViewPerspective, 9u);
    EXPECT_EQ(T_RotateBitmapViewPerspective(&bitmap, 90), SUCCESS);
    EXPECT_EQ(static_cast<int32_t>(bitmap.ViewPerspective), ERROR_INVALID_PARAMETER);
}

TEST(Flips, LinesOfAnyDepth) {
    RandomNumbers random(901);
    for (const int32_t bits : kAllDepths) {
        for (int32_t width = 0; width <= 150; width += 1 + width / 40) {
            SCOPED_TRACE(::testing::Message() << width << " pixels of " << bits << " bits");
            const size_t used = (static_cast<size_t>(width * bits) + 7) / 8;
            const Bytes row = random.bytes(used + 9);
            Bytes expected = row;
            for (int32_t x = 0; x < width; ++x)
                putPixel(expected.data(), width - 1 - x, bits, getPixel(row.data(), x, bits));
            if (bits == 1 || bits == 2 || bits == 4) {
                for (int32_t x = width; static_cast<size_t>(x) < used * 8 / static_cast<size_t>(bits); ++x)
                    putPixel(expected.data(), x, bits, 0);
            }
            Bytes mirrored = row;
            EXPECT_EQ(T_MirrorLine(mirrored.data(), static_cast<uint32_t>(width), bits), SUCCESS);
            EXPECT_EQ(mirrored, expected);
        }
    }
    Bytes row = random.bytes(16);
    const Bytes before = row;
    for (const int32_t bits : {0, 9, 65, -1}) EXPECT_EQ(T_MirrorLine(row.data(), 2, bits), SUCCESS);
    EXPECT_EQ(row, before);
    EXPECT_EQ(T_MirrorLine(nullptr, 2, 8), ERROR_INVALID_PARAMETER);
}

class Flips : public ::testing::TestWithParam<Kind> {};

TEST_P(Flips, TurnWhatIsSeen) {
    RandomNumbers random(902);
    for (const Format& format : kFormats) {
        if (!kindTakes(GetParam(), format.bits)) continue;
        for (const auto [width, height] : kSizes) {
            SCOPED_TRACE(::testing::Message() << width << " x " << height << " of " << format.bits << " bits");
            StoredBitmap picture(GetParam(), width, height, format);
            BitmapHandle& bitmap = picture.record;
            fill(bitmap, random, format.bits == 1 ? Content::runs : Content::noise);
            bitmap.ViewPerspective = static_cast<uint32_t>(random.between(1, 8));
            PixelModel expected = seen(bitmap).flipped();
            EXPECT_EQ(T_FlipBitmap(&bitmap), SUCCESS);
            EXPECT_EQ(seen(bitmap), expected);
            expected = expected.reversed();
            EXPECT_EQ(T_ReverseBitmap(&bitmap), SUCCESS);
            EXPECT_EQ(seen(bitmap), expected);
            const PixelModel stored(bitmap);
            EXPECT_EQ(T_IntFlipBitmap(&bitmap), SUCCESS);
            EXPECT_EQ(PixelModel(bitmap), stored.flipped());
            EXPECT_EQ(T_IntReverseBitmap(&bitmap), SUCCESS);
            EXPECT_EQ(PixelModel(bitmap), stored.flipped().reversed());
        }
    }
}

// A tall bitmap goes through several bands, and a row that grows pushes others about in run-compressed groups.
TEST_P(Flips, TallBitmaps) {
    RandomNumbers random(903);
    StoredBitmap picture(GetParam(), 300, 1001, depthFor(GetParam(), 24));
    BitmapHandle& bitmap = picture.record;
    fill(bitmap, random, bitmap.BitsPerPixel == 1 ? Content::noise : Content::slopes);
    const PixelModel before(bitmap);
    EXPECT_EQ(T_IntFlipBitmap(&bitmap), SUCCESS);
    EXPECT_EQ(PixelModel(bitmap), before.flipped());
    EXPECT_EQ(T_IntReverseBitmap(&bitmap), SUCCESS);
    EXPECT_EQ(PixelModel(bitmap), before.flipped().reversed());
}

INSTANTIATE_TEST_SUITE_P(Kinds, Flips, ::testing::ValuesIn(kAllKinds), kindName);

// A display module that is told of flips and has regions of its own.
struct Display {
    static int32_t TNK_CALL tell(BitmapHandle*) {
        ++told;
        return answer;
    }
    static int32_t TNK_CALL bounds(BitmapHandle*, BitmapRect* out) {
        *out = {0, 1, 9, 4};
        return SUCCESS;
    }
    static int32_t TNK_CALL count(BitmapHandle*, uint32_t* out) {
        *out = values;
        return SUCCESS;
    }
    static int32_t TNK_CALL segments(BitmapHandle*, int32_t row, uint32_t* out, uint32_t* used) {
        const uint32_t pairs[] = {1, 3, 5, 700};  // goes on past the row
        *used = row == 2 ? 0 : 4;
        std::copy_n(pairs, *used, out);
        return SUCCESS;
    }

    Display() {
        uintptr_t words[DISPATCH_WORDS] = {1};
        words[DISPATCH_FLIP] = words[DISPATCH_REVERSE] = reinterpret_cast<uintptr_t>(&tell);
        words[DISPATCH_BOUNDS] = reinterpret_cast<uintptr_t>(&bounds);
        words[DISPATCH_SEGMENT_COUNT] = reinterpret_cast<uintptr_t>(&count);
        words[DISPATCH_ROW_SEGMENTS] = reinterpret_cast<uintptr_t>(&segments);
        T_SetDisDispatch(words);
        told = 0;
        answer = SUCCESS;
        values = 4;
    }
    ~Display() { T_ResetDisDispatch(); }

    static inline int told;
    static inline int32_t answer;
    static inline uint32_t values;
};

TEST(Flips, TellTheDisplay) {
    const Display display;
    StoredBitmap picture(Kind::section, 9, 4, 8);
    EXPECT_EQ(T_FlipBitmap(&picture.record), SUCCESS);
    Display::answer = -77;
    EXPECT_EQ(T_IntReverseBitmap(&picture.record), -77);
    EXPECT_EQ(Display::told, 2);
}

struct Fill {
    Format format;
    uint32_t color;
    uint64_t pixel;
};

TEST(Fills, ColoursAsPixels) {
    const Fill fills[] = {
        {{1, 0}, 0xFFFFFF, 1},
        {{1, 0}, COLOR_TAG_INDEX | 2, 0},
        {{4, 0}, COLOR_TAG_INDEX | 0x1B, 0xB},
        {{7, 0}, COLOR_TAG_INDEX | 77, 77},
        {{8, 0}, COLOR_TAG_INDEX | 200, 200},
        {{12, 2}, COLOR_TAG_GRAY | 0x0ABC, 0xABC},
        {{16, 2}, COLOR_TAG_GRAY | 0xBEEF, 0xBEEF},
        {{16, 1}, 0x0000FF, 0x7C00},
        {{16, 0}, 0x0000FF, 0x001F},
        {{24, 1}, 0x123456, 0x563412},
        {{24, 0}, 0x123456, 0x123456},
        {{24, 1}, COLOR_TAG_GRAY | 0x7F12, 0x7F7F7F},
        {{32, 1}, 0x123456, 0x563412},
        {{48, 1}, 0x123456, 0x565634341212},
        {{64, 0}, 0x123456, 0x121234345656},
    };
    for (const Fill& row : fills) {
        SCOPED_TRACE(::testing::Message() << row.format.bits << " bits, " << std::hex << row.color);
        for (const Kind kind : {Kind::section, Kind::disk}) {
            StoredBitmap picture(kind, 9, 4, row.format), stamp(Kind::section, 9, 4, row.format);
            RandomNumbers random(7);
            fill(picture.record, random);
            fill(stamp.record, random);
            PixelModel expected(picture.record);
            const PixelModel other(stamp.record);
            {  // rows 1 and 3, columns 1, 2 and 5 to 8
                const Display display;
                EXPECT_EQ(T_CombineBitmapKrn(&picture.record, 2, 0, 7, 4, &stamp.record, 0, 0, COMBINE_COPY), SUCCESS);
                for (const int32_t y : {1, 3})
                    for (const int32_t x : {2, 5, 6, 7, 8}) expected.at(x, y) = other.at(x - 2, y);
                EXPECT_EQ(PixelModel(picture.record), expected);
                EXPECT_EQ(T_FillBitmap(&picture.record, row.color), SUCCESS);
            }
            for (const int32_t y : {1, 3})
                for (const int32_t x : {1, 2, 5, 6, 7, 8}) expected.at(x, y) = row.pixel;
            EXPECT_EQ(PixelModel(picture.record), expected);
            {
                const Display display;
                Display::values = 0;
                EXPECT_EQ(T_ClearBitmap(&picture.record), SUCCESS);
            }
            EXPECT_EQ(PixelModel(picture.record), expected);
            EXPECT_EQ(T_FillBitmap(&picture.record, row.color), SUCCESS);
            expected.pixels.assign(expected.pixels.size(), row.pixel);
            EXPECT_EQ(PixelModel(picture.record), expected);
            EXPECT_EQ(T_ClearBitmap(&picture.record), SUCCESS);
            EXPECT_EQ(rowsOf(picture.record), Bytes(plainBytes(picture.record)));
        }
    }
}

TEST(Fills, AlphaValues) {
    RandomNumbers random(8);
    for (const Format format : {Format{32, 1}, {64, 0}}) {
        for (const Kind kind : {Kind::section, Kind::disk}) {
            StoredBitmap picture(kind, 9, 4, format);
            fill(picture.record, random);
            PixelModel expected(picture.record);
            const int32_t shift = format.bits == 32 ? 24 : 48;
            const uint64_t alpha = format.bits == 32 ? 0x34 : 0x1234;
            const auto put = [&](uint64_t& pixel) { pixel = (pixel & ((uint64_t{1} << shift) - 1)) | alpha << shift; };
            {
                const Display display;
                EXPECT_EQ(T_SetBitmapAlphaValues(&picture.record, 0x1234), SUCCESS);
            }
            for (const int32_t y : {1, 3})
                for (const int32_t x : {1, 2, 5, 6, 7, 8}) put(expected.at(x, y));
            EXPECT_EQ(PixelModel(picture.record), expected);
            EXPECT_EQ(T_SetBitmapAlphaValues(&picture.record, 0x1234), SUCCESS);
            for (uint64_t& pixel : expected.pixels) put(pixel);
            EXPECT_EQ(PixelModel(picture.record), expected);
        }
    }
}

TEST(EntryRules, Geometry) {
    static BitmapRect rect;
    static int32_t x, y;
    StoredBitmap stored(Kind::section, 3, 3, 24);
    BitmapHandle& other = stored.record;
    const BitmapPoint corners[] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    constexpr int32_t kNull = ERROR_INVALID_PARAMETER, kBare = ERROR_NOT_ALLOCATED, kSize = ERROR_STRUCT_SIZE;
    using Record = BitmapHandle*;
    const EntryCase cases[] = {
        {"clear", kNull, kNull, kSize, T_ClearBitmap},
        {"fill", kNull, kNull, kSize, [](Record r) { return T_FillBitmap(r, 0); }},
        {"combine into", kNull, kNull, kSize,
         [&](Record r) { return T_CombineBitmapKrn(r, 0, 0, 1, 1, &other, 0, 0, 0); }},
        {"combine from", kNull, kNull, kSize,
         [&](Record r) { return T_CombineBitmapKrn(&other, 0, 0, 1, 1, r, 0, 0, 0); }},
        {"warp into", kNull, kNull, kSize,
         [&](Record r) { return T_CombineBitmapWarp(r, corners, &other, nullptr, 0); }},
        {"warp from", kNull, kNull, kSize,
         [&](Record r) { return T_CombineBitmapWarp(&other, corners, r, nullptr, 0); }},
        {"scramble", kNull, kNull, kSize, [](Record r) { return T_ScrambleBitmap(r, 0, 0, 1, 1, 5); }},
        {"flip", kNull, kNull, kSize, T_FlipBitmap},
        {"reverse", kNull, kNotLookedAt, kSize, T_ReverseBitmap},
        {"stored flip", kBare, kBare, kNotLookedAt, T_IntFlipBitmap},
        {"stored reverse", kBare, kBare, kNotLookedAt, T_IntReverseBitmap},
        {"rectangle to", kNull, kNotLookedAt, kSize, [](Record r) { return T_RectToBitmap(r, 3, &rect); }},
        {"rectangle from", kNull, kNotLookedAt, kSize, [](Record r) { return T_RectFromBitmap(r, 3, &rect); }},
        {"point to", kNull, kNotLookedAt, kSize, [](Record r) { return T_PointToBitmap(r, 3, &x, &y); }},
        {"point from", kNull, kNotLookedAt, kSize, [](Record r) { return T_PointFromBitmap(r, 3, &x, &y); }},
        {"view flip", kNull, kNotLookedAt, kSize, T_FlipBitmapViewPerspective},
        {"view reverse", kNull, kNotLookedAt, kSize, T_ReverseBitmapViewPerspective},
        {"view flip inside", kBare, kNotLookedAt, kNotLookedAt, T_IntFlipBitmapViewPerspective},
        {"view reverse inside", kBare, kNotLookedAt, kNotLookedAt, T_IntReverseBitmapViewPerspective},
        {"view rotation", kNull, kNotLookedAt, kSize, [](Record r) { return T_RotateBitmapViewPerspective(r, 90); }},
        {"view rotation inside", kNull, kNotLookedAt, kNotLookedAt,
         [](Record r) { return T_IntRotateBitmapViewPerspective(r, 90); }},
    };
    checkEntryCases(cases);
}

TEST(Sines, TableAndQuadrants) {
    EXPECT_EQ(T_SinValue(3000), 8192);
    EXPECT_EQ(T_SinValue(4500), 11585);
    EXPECT_EQ(T_SinValue(1), 3);
    EXPECT_EQ(T_SinValue(27000), -16384);
    EXPECT_EQ(T_CosValue(18000), -16384);
    for (int32_t angle = 0; angle <= 36000; ++angle) {
        EXPECT_EQ(T_SinValue(angle), T_CosValue(angle < 9000 ? angle + 27000 : angle - 9000)) << angle;
        EXPECT_EQ(T_SinValue(angle), std::lround(std::sin(angle * 3.14159265358979323846 / 18000) * 16384)) << angle;
    }
    EXPECT_EQ(T_SinValue(INT32_MIN), -T_SinValue(2147483648 % 36000));
}

}  // namespace
}  // namespace tnk::test
