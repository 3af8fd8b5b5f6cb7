// Warps against maps worked out in other ways.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "geometry/combine_model.h"

namespace tnk::test {
namespace {

using Quad = std::array<BitmapPoint, 4>;

// Of the way from a to b and that to a place in half pixels.
int64_t cross(const BitmapPoint& a, const BitmapPoint& b, int64_t x, int64_t y) {
    return (b.x - a.x) * (y - 2 * a.y) - (b.y - a.y) * (x - 2 * a.x);
}

// Whether the quadrilateral, which goes round clockwise or the other way, has the centre of a pixel.
bool covers(const Quad& quad, int32_t x, int32_t y) {
    const bool clockwise = cross(quad[0], quad[1], 2 * quad[2].x, 2 * quad[2].y) > 0;
    for (size_t i = 0; i < 4; ++i) {
        const BitmapPoint from = quad[clockwise ? i : (i + 1) % 4], to = quad[clockwise ? (i + 1) % 4 : i];
        const int64_t side = cross(from, to, 2 * x + 1, 2 * y + 1);
        if (side < 0 || (side == 0 && to.y >= from.y)) return false;
    }
    return true;
}

// Where the centre of a pixel lies in the source: x and y are the first two by the third.
std::array<int64_t, 3> inParallelogram(const Quad& to, const Quad& from, int32_t x, int32_t y) {
    const int64_t all = cross(to[0], to[1], 2 * to[3].x, 2 * to[3].y);
    const int64_t first = -cross(to[0], to[3], 2 * x + 1, 2 * y + 1);
    const int64_t last = cross(to[0], to[1], 2 * x + 1, 2 * y + 1);
    const auto sum = [&](int32_t BitmapPoint::*c) {
        return from[0].*c * all + (from[1].*c - from[0].*c) * first + (from[3].*c - from[0].*c) * last;
    };
    return {sum(&BitmapPoint::x), sum(&BitmapPoint::y), all};
}

int64_t floored(int64_t n, int64_t d) { return d < 0 ? floored(-n, -d) : n / d - (n % d < 0); }

// The blend of the four pixels around a position.
uint64_t blended(const PixelModel& s, int64_t x512, int64_t y512, const std::vector<Channel>& channels) {
    const int64_t x = (x512 - 255) >> 1, y = (y512 - 255) >> 1;
    uint64_t result = 0;
    for (const Channel& c : channels) {
        uint64_t sum = 1 << 15;
        for (int n = 0; n < 4; ++n) {
            const auto column = std::clamp<int64_t>((x >> 8) + n % 2, 0, s.width - 1);
            const auto row = std::clamp<int64_t>((y >> 8) + n / 2, 0, s.height - 1);
            const int64_t weight = (n % 2 ? x & 255 : 256 - (x & 255)) * (n / 2 ? y & 255 : 256 - (y & 255));
            sum += static_cast<uint64_t>(weight) * part(s.at(int32_t(column), int32_t(row)), c);
        }
        result |= (sum >> 16) << c.shift;
    }
    return result;
}

// Whether a position lies outside the source, beyond an end that a corner goes past: a quadrilateral inside has its edge.
bool beyond(const Quad& quad, int32_t BitmapPoint::*axis, int64_t at, int32_t extent) {
    const auto [least, most] = std::minmax({quad[0].*axis, quad[1].*axis, quad[2].*axis, quad[3].*axis});
    return (at < 0 && least < 0) || (at >= extent && most > extent);
}

Quad parallelogram(RandomNumbers& random, int32_t reach) {
    const auto at = [&] { return BitmapPoint{random.between(-9, reach), random.between(-9, reach)}; };
    while (true) {
        const BitmapPoint a = at(), b = at(), d = at();
        if (std::abs(cross(a, b, 2 * d.x, 2 * d.y)) > 2 * reach) return {a, b, {b.x + d.x - a.x, b.y + d.y - a.y}, d};
    }
}
class Warps : public ::testing::TestWithParam<Kind> {};

TEST_P(Warps, OfParallelogramsAreExact) {
    RandomNumbers random(4122);
    for (int i = 0; i < 500 && !HasFailure(); ++i) {
        const Format from = kFormats[random.below(std::size(kFormats))];
        const Format to = random.below(2) == 0 ? from : kFormats[random.below(std::size(kFormats))];
        if (!kindTakes(GetParam(), to.bits) || !kindTakes(GetParam(), from.bits)) continue;
        StoredBitmap target(GetParam(), random.between(1, 50), random.between(1, 40), to);
        StoredBitmap source(GetParam(), random.between(1, 40), random.between(1, 40), from);
        fillAnyhow(target.record, random);
        fillAnyhow(source.record, random);
        const bool linear = random.below(2) != 0, itself = i % 8 == 0, whole = i % 3 == 0;
        BitmapHandle& read = itself ? target.record : source.record;
        const uint32_t flags = random.below(13) | (random.below(4) == 0 ? random.below(16) << 8 : 0);
        SCOPED_TRACE(::testing::Message() << i << ": " << from.bits << " to " << to.bits << ", flags " << flags);
        PixelModel s = seen(read);
        const int32_t width = s.width, height = s.height;
        const Quad corners = parallelogram(random, 50);
        const Quad part = whole ? Quad{{{0, 0}, {width, 0}, {width, height}, {0, height}}} : parallelogram(random, 40);
        const bool asColors = linear && read.BitsPerPixel <= 8 && !isRamp(read);
        BitmapHandle format = read;
        if (asColors) {
            T_InitBitmap(&format, sizeof format, 1, 1, 24);
            for (uint64_t& pixel : s.pixels) pixel = colorOf(read, pixel);
        }
        const Model model(target.record, format, flags);
        PixelModel expected = seen(target.record);
        for (int32_t y = 0; y < expected.height; ++y)
            for (int32_t x = 0; x < expected.width; ++x) {
                if (!covers(corners, x, y)) continue;
                const auto at = inParallelogram(corners, part, x, y);
                const int64_t sx = floored(at[0], at[2]), sy = floored(at[1], at[2]);
                if (beyond(part, &BitmapPoint::x, sx, width) || beyond(part, &BitmapPoint::y, sy, height)) continue;
                const int32_t column = std::min(int32_t(sx), width - 1), row = std::min(int32_t(sy), height - 1);
                expected.at(x, y) = model(
                    expected.at(x, y),
                    linear ? blended(s, floored(512 * at[0], at[2]), floored(512 * at[1], at[2]), channelsOf(format))
                           : s.at(column, row));
            }
        ASSERT_EQ(T_CombineBitmapWarp(&target.record, corners.data(), &read, whole ? nullptr : part.data(),
                                      flags | (linear ? COMBINE_LINEAR : 0)),
                  SUCCESS);
        EXPECT_EQ(seen(target.record), expected);
    }
}

// Corners' positions by elimination, for pixels that tell where they come from.
TEST(Warps, FollowPerspective) {
    constexpr int32_t kWidth = 200, kHeight = 150;
    StoredBitmap source(Kind::section, kWidth, kHeight, Format{16, 2}), target(Kind::section, 120, 120, Format{16, 2});
    source.record.ViewPerspective = target.record.ViewPerspective = TOP_LEFT;
    for (int32_t i = 0; i < kWidth * kHeight; ++i) {
        const auto place = static_cast<uint16_t>(i / kWidth * 256 + i % kWidth);
        std::memcpy(source.record.pData + 2 * i, &place, 2);
    }
    const BitmapPoint from[] = {{0, 0}, {kWidth, 0}, {kWidth, kHeight}, {0, kHeight}};
    for (const Quad& to :
         {Quad{{{10, 5}, {110, 30}, {90, 115}, {20, 80}}}, Quad{{{100, 9}, {7, 40}, {30, 60}, {118, 119}}}}) {
        double m[8][9];
        for (size_t i = 0; i < 8; ++i) {
            const double x = to[i / 2].x, y = to[i / 2].y, u = i % 2 == 0 ? from[i / 2].x : from[i / 2].y;
            const double row[] = {x, y, 1, 0, 0, 0, -u * x, -u * y, u}, other[] = {0, 0, 0, x, y, 1, -u * x, -u * y, u};
            std::copy_n(i % 2 == 0 ? row : other, 9, m[i]);
        }
        for (size_t i = 0; i < 8; ++i) {
            std::swap(m[i], *std::max_element(m + i, m + 8,
                                              [&](auto& a, auto& b) { return std::abs(a[i]) < std::abs(b[i]); }));
            for (size_t row = 0; row < 8; ++row)
                for (size_t c = 9; row != i && c-- > i;) m[row][c] -= m[i][c] * (m[row][i] / m[i][i]);
        }
        const auto at = [&](size_t i) { return m[i][8] / m[i][i]; };
        ASSERT_EQ(T_FillBitmap(&target.record, COLOR_TAG_GRAY | 0xFFFF), SUCCESS);
        ASSERT_EQ(T_CombineBitmapWarp(&target.record, to.data(), &source.record, nullptr, 0), SUCCESS);
        const PixelModel warped(target.record);
        for (int32_t i = 0; i < 120 * 120; ++i) {
            const double x = i % 120 + 0.5, y = i / 120 + 0.5, w = at(6) * x + at(7) * y + 1;
            const double u = (at(0) * x + at(1) * y + at(2)) / w, v = (at(3) * x + at(4) * y + at(5)) / w;
            const bool clear = std::abs(u - std::round(u)) > 1e-6 && std::abs(v - std::round(v)) > 1e-6;
            const bool inside = u > 0 && u < kWidth && v > 0 && v < kHeight && w > 0;
            const auto expected = inside ? static_cast<uint64_t>(v) * 256 + static_cast<uint64_t>(u) : 0xFFFF;
            if (!clear) continue;
            ASSERT_EQ(warped.at(i % 120, i / 120), expected) << i % 120 << ", " << i / 120;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Warps, ::testing::ValuesIn(kAllKinds), kindName);

TEST(Warps, Refusals) {
    StoredBitmap target(Kind::section, 9, 7, 24), source(Kind::section, 9, 7, 24);
    const auto warp = [&](Quad quad, uint32_t flags = 0, const BitmapPoint* from = nullptr) {
        return T_CombineBitmapWarp(&target.record, quad.data(), &source.record, from, flags);
    };
    const Quad widest = {{{-32768, -32768}, {32767, -32768}, {32767, 32767}, {-32768, 32767}}};
    EXPECT_EQ(warp(widest, COMBINE_LINEAR, widest.data()), SUCCESS);
    EXPECT_EQ(warp(widest, 0x1000), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_CombineBitmapWarp(&target.record, nullptr, &source.record, nullptr, 0), ERROR_INVALID_PARAMETER);
    const Quad refused[] = {{{{0, 0}, {4, 0}, {8, 0}, {0, 8}}},          // three on a line
                            {{{0, 0}, {8, 8}, {8, 0}, {0, 8}}},          // crossed
                            {{{0, 0}, {8, 0}, {2, 2}, {0, 8}}},          // a dart
                            {{{0, 0}, {32768, 0}, {32768, 8}, {0, 8}}},  // too far
                            {{{0, INT32_MIN}, {8, 0}, {8, 8}, {0, 8}}}};
    for (const Quad& quad : refused) {
        EXPECT_EQ(warp(quad), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(warp(widest, 0, quad.data()), ERROR_INVALID_PARAMETER);
    }
    // The picture's horizon nearly touches a corner: pixels may stay out, but nothing is read outside.
    const Quad steep = {{{0, 0}, {32767, 1}, {32766, 2}, {0, 32767}}}, small = {{{0, 0}, {9, 0}, {9, 7}, {0, 7}}};
    for (const uint32_t flags : {0u, COMBINE_LINEAR}) {
        EXPECT_EQ(warp(steep, flags), SUCCESS);
        EXPECT_EQ(warp(widest, flags, steep.data()), SUCCESS);
        EXPECT_EQ(warp(small, flags, steep.data()), SUCCESS);
    }
}

}  // namespace
}  // namespace tnk::test
