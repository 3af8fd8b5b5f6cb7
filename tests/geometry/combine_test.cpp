// Combining and scrambling against plain models that work on one pixel at a time.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>

#include "geometry/combine_model.h"

namespace tnk::test {
namespace {

class Combines : public ::testing::TestWithParam<Kind> {};

TEST_P(Combines, PixelByPixel) {
    RandomNumbers random(4120);
    for (int i = 0; i < 1200 && !HasFailure(); ++i) {
        const Format from = kFormats[random.below(std::size(kFormats))];
        const Format to = random.below(3) == 0 ? from : kFormats[random.below(std::size(kFormats))];
        const Kind other = kAllKinds[random.below(std::size(kAllKinds))];
        if (!kindTakes(GetParam(), to.bits) || !kindTakes(other, from.bits)) continue;
        StoredBitmap target(GetParam(), random.between(1, 40), random.between(1, 30), to);
        StoredBitmap source(other, random.between(1, 40), random.between(1, 30), from);
        fillAnyhow(target.record, random);
        fillAnyhow(source.record, random);
        BitmapHandle shared;
        ASSERT_EQ(T_CopyBitmapHandle(&shared, &target.record, sizeof shared), SUCCESS);
        shared.ViewPerspective = source.record.ViewPerspective;
        BitmapHandle& read = i % 8 == 0 ? target.record : i % 8 == 1 ? shared : source.record;
        if (random.below(2) != 0) source.record.ViewPerspective = target.record.ViewPerspective;
        const uint32_t mode = random.below(3) == 0 ? COMBINE_ALPHA : random.below(13);
        const uint32_t flags = mode | (random.below(2) != 0 ? random.below(16) << 8 : 0);
        const int32_t left = random.between(-9, 12), top = random.between(-9, 12);
        const int32_t dx = random.between(-9, 12) - left, dy = random.between(-9, 12) - top;  // to the source's place
        const int32_t width = random.between(0, 45), height = random.between(0, 45);
        SCOPED_TRACE(::testing::Message() << i << ": " << from.bits << " to " << to.bits << ", flags " << flags);
        const Model model(target.record, read, flags);
        const PixelModel s = seen(read);
        PixelModel expected = seen(target.record);
        for (int32_t y = std::max({0, top, -dy}); y < std::min({top + height, expected.height, s.height - dy}); ++y)
            for (int32_t x = std::max({0, left, -dx}); x < std::min({left + width, expected.width, s.width - dx}); ++x)
                expected.at(x, y) = model(expected.at(x, y), s.at(x + dx, y + dy));
        ASSERT_EQ(T_CombineBitmapKrn(&target.record, left, top, width, height, &read, left + dx, top + dy, flags),
                  SUCCESS);
        EXPECT_EQ(seen(target.record), expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Combines, ::testing::ValuesIn(kAllKinds), kindName);

TEST(Combines, Refusals) {
    StoredBitmap target(Kind::section, 9, 7, 24), source(Kind::section, 9, 7, 8);
    BitmapHandle &d = target.record, &s = source.record;
    const auto combine = [&](int32_t width, uint32_t flags) {
        return T_CombineBitmapKrn(&d, INT32_MIN, INT32_MAX, width, INT32_MAX, &s, INT32_MAX, INT32_MIN, flags);
    };
    EXPECT_EQ(combine(INT32_MAX, COMBINE_ALPHA | 0xF00), SUCCESS) << "they lie apart";
    EXPECT_EQ(combine(-1, 0), ERROR_INVALID_SIZE);
    for (const uint32_t flags : {13u, 0x1000u, COMBINE_LINEAR}) EXPECT_EQ(combine(1, flags), ERROR_INVALID_PARAMETER);
    s.ViewPerspective = 9;
    EXPECT_EQ(combine(1, 0), ERROR_INVALID_PARAMETER);
    s.ViewPerspective = 1;
    d.Flags |= BMF_SIGNED;
    EXPECT_EQ(combine(1, 0), ERROR_SIGNED_DATA);
}

class Scrambles : public ::testing::TestWithParam<Kind> {};

int32_t TNK_CALL stopAt60(int32_t percent, void*) { return percent >= 60 ? -77 : SUCCESS; }

// Changes about every second bit inside the rectangle and none outside; again, all is as before, in any view and by parts
// of the picture as well.
TEST_P(Scrambles, HideAndBringBack) {
    RandomNumbers random(4121);
    for (const int32_t bits : kAllDepths) {
        if (!kindTakes(GetParam(), bits)) continue;
        SCOPED_TRACE(bits);
        StoredBitmap picture(GetParam(), 57, 43, Format{bits, usualOrder(bits)});
        BitmapHandle& b = picture.record;
        fillAnyhow(b, random);
        const PixelModel clear = seen(b);
        const int32_t left = random.between(-5, 9), top = random.between(-5, 9);
        const int32_t width = random.between(25, 60), height = random.between(25, 60);
        const uint32_t key = random.below(2) != 0 ? 0 : random();
        const auto scramble = [&](BitmapHandle& bitmap, int32_t x, int32_t y) {
            return T_ScrambleBitmap(&bitmap, left - x, top - y, width, height, key);
        };
        ASSERT_EQ(scramble(b, 0, 0), SUCCESS);
        const PixelModel hidden = seen(b);
        int64_t inside = 0, changed = 0, outside = 0;
        for (int32_t y = 0; y < clear.height; ++y)
            for (int32_t x = 0; x < clear.width; ++x) {
                const bool isInside = x >= left && x < left + width && y >= top && y < top + height;
                inside += isInside ? bits : 0;
                (isInside ? changed : outside) += std::popcount(clear.at(x, y) ^ hidden.at(x, y));
            }
        EXPECT_EQ(outside, 0);
        EXPECT_NEAR(double(changed), double(inside) / 2, double(inside) / 20);

        T_SetStatusCallBack(stopAt60, nullptr, nullptr, nullptr);
        EXPECT_EQ(scramble(b, 0, 0), -77);
        T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
        EXPECT_EQ(seen(b), hidden);

        BitmapHandle cut;
        ASSERT_EQ(T_CopyBitmapRect(&cut, &b, sizeof cut, 7, 5, 23, 31), SUCCESS);
        ASSERT_EQ(T_ChangeBitmapViewPerspective(nullptr, &cut, sizeof cut, random.between(1, 8)), SUCCESS);
        BitmapRect part = {7, 5, 30, 36};  // as it is stored
        ASSERT_EQ(T_RectFromBitmap(&b, TOP_LEFT, &part), SUCCESS);
        T_AccessBitmap(&cut);
        EXPECT_EQ(scramble(cut, part.Left, part.Top), SUCCESS);
        EXPECT_EQ(seen(cut), clear.moved(part.Right - part.Left, part.Bottom - part.Top,
                                         [&](int32_t x, int32_t y) { return std::pair(x + part.Left, y + part.Top); }));
        T_FreeBitmap(&cut);
        EXPECT_EQ(scramble(b, 0, 0), SUCCESS);
        EXPECT_EQ(T_ScrambleBitmap(&b, INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX, key), SUCCESS);
        EXPECT_EQ(T_ScrambleBitmap(&b, 5, 5, -1, 5, key), ERROR_INVALID_SIZE);
        EXPECT_EQ(seen(b), clear);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Scrambles, ::testing::ValuesIn(kOwnKinds.begin(), kOwnKinds.end()), kindName);

}  // namespace
}  // namespace tnk::test
