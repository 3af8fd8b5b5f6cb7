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

int64_t cross(const BitmapPoint& a, const BitmapPoint& b, int64_t x, int64_t y) {
    return int64_t{b.x - a.x} * (y - a.y) - int64_t{b.y - a.y} * (x - a.x);
}
Quad doubled(const Quad& quad) {
    Quad result = quad;
    for (BitmapPoint& p : result) p = {2 * p.x, 2 * p.y};
    return result;
}

// Whether the quadrilateral, which goes round clockwise or the other way, has the centre of a pixel.
bool covers(const Quad& quad, int32_t x, int32_t y) {
    const Quad twice = doubled(quad);
    const bool clockwise = cross(quad[0], quad[1], quad[2].x, quad[2].y) > 0;
    for (size_t i = 0; i < 4; ++i) {
        const BitmapPoint from = twice[clockwise ? i : (i + 1) % 4], to = twice[clockwise ? (i + 1) % 4 : i];
        const int64_t side = cross(from, to, 2 * x + 1, 2 * y + 1);
        if (side < 0 || (side == 0 && to.y >= from.y)) return false;
    }
    return true;
}

// Where the centre of a pixel lies in the source, in 1 / scale: exact, of parallelograms.
struct AffineMap {
    Quad to, from;
    std::pair<int64_t, int64_t> at(int32_t x, int32_t y, int64_t scale) const {
        const auto axis = [&](int32_t BitmapPoint::*c) {
            const Quad t = doubled(to);
            const int64_t all = cross(t[0], t[1], t[3].x, t[3].y);
            const int64_t first = -cross(t[0], t[3], 2 * x + 1, 2 * y + 1),
                          last = cross(t[0], t[1], 2 * x + 1, 2 * y + 1);
            const int64_t sum = from[0].*c * all + (from[1].*c - from[0].*c) * first + (from[3].*c - from[0].*c) * last;
            const int64_t n = (all < 0 ? -sum : sum) * scale, d = all < 0 ? -all : all;
            return n / d - (n % d < 0);
        };
        return {axis(&BitmapPoint::x), axis(&BitmapPoint::y)};
    }
};

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
    const auto anyCorner = [&](auto test) {
        return std::any_of(quad.begin(), quad.end(), [&](const BitmapPoint& p) { return test(p.*axis); });
    };
    return (at < 0 && anyCorner([](int32_t c) { return c < 0; })) ||
           (at >= extent && anyCorner([&](int32_t c) { return c > extent; }));
}

Quad parallelogram(RandomNumbers& random, int32_t reach) {
    const auto at = [&] { return BitmapPoint{random.between(-9, reach), random.between(-9, reach)}; };
    while (true) {
        const BitmapPoint a = at(), b = at(), d = at();
        if (std::abs(cross(a, b, d.x, d.y)) > reach) return {a, b, {b.x + d.x - a.x, b.y + d.y - a.y}, d};
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
        for (BitmapHandle* b : {&target.record, &source.record}) {
            setPalette(*b, random);
            fill(*b, random);
            b->ViewPerspective = static_cast<uint32_t>(random.between(1, 8));
        }
        const bool linear = random.below(2) != 0, itself = i % 8 == 0, whole = i % 3 == 0;
        BitmapHandle& read = itself ? target.record : source.record;
        const uint32_t flags = random.below(13) | (random.below(4) == 0 ? random.below(16) << 8 : 0);
        SCOPED_TRACE(::testing::Message() << i << ": " << from.bits << '/' << from.order << " to " << to.bits << '/'
                                          << to.order << ", flags " << std::hex << flags << (linear ? ", linear" : ""));
        const PixelModel s = seen(read);
        const AffineMap map = {
            parallelogram(random, 50),
            whole ? Quad{{{0, 0}, {s.width, 0}, {s.width, s.height}, {0, s.height}}} : parallelogram(random, 40)};
        BitmapHandle format = read;
        const bool asColors = linear && read.BitsPerPixel <= 8 && !isRamp(read);
        if (asColors) T_InitBitmap(&format, sizeof format, 1, 1, 24);
        const Model model(target.record, format, flags);
        PixelModel expected = seen(target.record);
        PixelModel pixels = s;
        if (asColors) {
            for (uint64_t& pixel : pixels.pixels) {
                const PaletteEntry e = pixel < read.ColorCount ? read.Palette[pixel] : PaletteEntry{};
                pixel = e.Blue | e.Green << 8 | e.Red << 16;
            }
        }
        for (int32_t y = 0; y < expected.height; ++y)
            for (int32_t x = 0; x < expected.width; ++x) {
                const auto [sx, sy] = map.at(x, y, 1);
                if (!covers(map.to, x, y) || beyond(map.from, &BitmapPoint::x, sx, s.width) ||
                    beyond(map.from, &BitmapPoint::y, sy, s.height))
                    continue;
                const auto [finerX, finerY] = map.at(x, y, 512);
                expected.at(x, y) =
                    model(expected.at(x, y),
                          linear ? blended(pixels, finerX, finerY, channelsOf(format))
                                 : s.at(std::min(int32_t(sx), s.width - 1), std::min(int32_t(sy), s.height - 1)));
            }
        ASSERT_EQ(T_CombineBitmapWarp(&target.record, map.to.data(), &read, whole ? nullptr : map.from.data(),
                                      flags | (linear ? COMBINE_LINEAR : 0)),
                  SUCCESS);
        EXPECT_EQ(seen(target.record), expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Warps, ::testing::ValuesIn(kAllKinds), kindName);

// Pixels that tell their place, through quadrilaterals of any shape, against doubles solved another way.
TEST(Warps, FollowPerspective) {
    RandomNumbers random(4123);
    StoredBitmap source(Kind::section, 400, 300, Format{32, ORDER_BGR});
    for (int32_t y = 0; y < 300; ++y)
        for (int32_t x = 0; x < 400; ++x) {
            const uint32_t place = uint32_t(x) | uint32_t(299 - y) << 16;
            std::memcpy(source.record.pData + size_t(y) * source.record.BytesPerLine + size_t(x) * 4, &place, 4);
        }
    int seenShapes = 0, compared = 0;
    for (int i = 0; i < 400; ++i) {
        const int32_t reach = i % 4 == 0 ? 30000 : 150;
        Quad to, from;
        for (BitmapPoint& p : to) p = {random.between(-reach / 2, reach), random.between(-reach / 2, reach)};
        for (BitmapPoint& p : from) p = {random.between(-50, 450), random.between(-50, 350)};
        StoredBitmap target(Kind::section, 120, 110, Format{32, ORDER_BGR});
        const Bytes white(target.record.BytesPerLine, 0xFF);
        for (int32_t y = 0; y < 110; ++y) T_PutBitmapRow(&target.record, white.data(), y, target.record.BytesPerLine);
        const auto isConvex = [](const Quad& q) {
            int turns = 0;
            for (size_t k = 0; k < 4; ++k) {
                const int64_t turn = cross(q[k], q[(k + 1) % 4], q[(k + 2) % 4].x, q[(k + 2) % 4].y);
                turns += turn > 0 ? 1 : turn < 0 ? -1 : 0;
            }
            return std::abs(turns) == 4;
        };
        const bool convex = isConvex(to) && isConvex(from);
        ASSERT_EQ(T_CombineBitmapWarp(&target.record, to.data(), &source.record, from.data(), COMBINE_COPY),
                  convex ? SUCCESS : ERROR_INVALID_PARAMETER);
        if (!convex) continue;
        ++seenShapes;
        // x' = (a x + b y + c) / (g x + h y + 1): eight equations.
        double m[8][9] = {};
        for (size_t k = 0; k < 4; ++k) {
            const double x = to[k].x, y = to[k].y, u = from[k].x, v = from[k].y;
            const double rows[2][9] = {{x, y, 1, 0, 0, 0, -x * u, -y * u, u}, {0, 0, 0, x, y, 1, -x * v, -y * v, v}};
            std::memcpy(m[2 * k], rows, sizeof rows);
        }
        for (int column = 0; column < 8; ++column) {
            int best = column;
            for (int row = column; row < 8; ++row)
                if (std::abs(m[row][column]) > std::abs(m[best][column])) best = row;
            std::swap(m[column], m[best]);
            for (int row = 0; row < 8; ++row) {
                const double factor = row == column ? 0 : m[row][column] / m[column][column];
                for (int k = column; k < 9; ++k) m[row][k] -= factor * m[column][k];
            }
        }
        const auto solved = [&](int k) { return m[k][8] / m[k][k]; };
        const PixelModel pixels = seen(target.record);
        for (int32_t y = 0; y < 110; ++y)
            for (int32_t x = 0; x < 120; ++x) {
                const double cx = x + 0.5, cy = y + 0.5, depth = solved(6) * cx + solved(7) * cy + 1;
                const double u = (solved(0) * cx + solved(1) * cy + solved(2)) / depth;
                const double v = (solved(3) * cx + solved(4) * cy + solved(5)) / depth;
                const uint64_t pixel = pixels.at(x, y);
                if (!covers(to, x, y)) {
                    EXPECT_EQ(pixel, 0xFFFFFFFFu) << i;
                    continue;
                }
                constexpr double kNear = 1e-4;  // to a border between pixels
                if (std::abs(u - std::round(u)) < kNear || std::abs(v - std::round(v)) < kNear) continue;
                const bool inside = u > 0 && u < 400 && v > 0 && v < 300;
                const uint64_t expected = inside ? uint64_t(u) | uint64_t(v) << 16 : 0xFFFFFFFFu;
                EXPECT_EQ(pixel, expected) << i << ": " << u << ", " << v;
                ++compared;
            }
        if (HasFailure()) break;
    }
    EXPECT_GT(seenShapes, 15);
    EXPECT_GT(compared, 50000);
}

// A mesh of quadrilaterals writes each pixel once, whatever way round its corners go.
TEST(Warps, NeighboursShareNoPixel) {
    RandomNumbers random(4124);
    StoredBitmap one(Kind::section, 3, 3, Format{12, ORDER_GRAY});
    ASSERT_EQ(T_FillBitmap(&one.record, COLOR_TAG_GRAY | 0xFFF), SUCCESS);
    for (int i = 0; i < 60; ++i) {
        StoredBitmap target(Kind::section, 64, 64, Format{12, ORDER_GRAY});
        target.record.ViewPerspective = static_cast<uint32_t>(random.between(1, 8));
        BitmapPoint mesh[5][5];
        for (int32_t y = 0; y < 5; ++y)
            for (int32_t x = 0; x < 5; ++x) {
                const bool border = x == 0 || y == 0 || x == 4 || y == 4;
                mesh[y][x] = {16 * x + (border ? 0 : random.between(-4, 4)),
                              16 * y + (border ? 0 : random.between(-4, 4))};
            }
        for (size_t y = 0; y < 4; ++y)
            for (size_t x = 0; x < 4; ++x) {
                Quad quad = {{mesh[y][x], mesh[y][x + 1], mesh[y + 1][x + 1], mesh[y + 1][x]}};
                std::rotate(quad.begin(), quad.begin() + random.below(4), quad.end());
                if (random.below(2) != 0) std::reverse(quad.begin(), quad.end());
                ASSERT_EQ(T_CombineBitmapWarp(&target.record, quad.data(), &one.record, nullptr, COMBINE_XOR), SUCCESS);
            }
        const PixelModel pixels = seen(target.record);
        EXPECT_EQ(std::count(pixels.pixels.begin(), pixels.pixels.end(), 0xFFF), 64 * 64) << i;
    }
}

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
                            {{{3, 3}, {3, 3}, {3, 3}, {3, 3}}},          // a point
                            {{{0, 0}, {32768, 0}, {32768, 8}, {0, 8}}},  // too far
                            {{{0, INT32_MIN}, {8, 0}, {8, 8}, {0, 8}}}};
    for (const Quad& quad : refused) {
        EXPECT_EQ(warp(quad), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(warp(widest, 0, quad.data()), ERROR_INVALID_PARAMETER);
    }
    // The picture's horizon nearly touches a corner: pixels may stay out, but nothing is read outside.
    const Quad steep = {{{0, 0}, {32767, 1}, {32766, 2}, {0, 32767}}};
    for (const uint32_t flags : {0u, COMBINE_LINEAR}) {
        EXPECT_EQ(warp(steep, flags), SUCCESS);
        EXPECT_EQ(warp(widest, flags, steep.data()), SUCCESS);
        EXPECT_EQ(warp({{{0, 0}, {9, 0}, {9, 7}, {0, 7}}}, flags, steep.data()), SUCCESS);
    }
}

}  // namespace
}  // namespace tnk::test
