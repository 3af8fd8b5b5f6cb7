// Combining, warping and scrambling against plain models that work on one pixel at a time.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

#include "geometry/pixel_model.h"

namespace tnk::test {
namespace {

bool isGray(const BitmapHandle& b) {
    return b.BitsPerPixel == 12 || ((b.BitsPerPixel == 16 || b.BitsPerPixel == 32) && b.Order == ORDER_GRAY);
}
bool hasAlpha(const BitmapHandle& b) {
    return b.BitsPerPixel == 64 || (!isGray(b) && (b.BitsPerPixel == 16 || b.BitsPerPixel == 32));
}
bool isRamp(const BitmapHandle& b) {
    return b.BitsPerPixel == 8 && b.ColorCount == 256 && T_IsGrayScaleBitmap(&b) == GRAYSCALE_NORMAL;
}

struct Channel {
    int32_t shift;
    int32_t bits;
    uint32_t flag;
};
std::vector<Channel> channelsOf(const BitmapHandle& b) {
    const int32_t bits = b.BitsPerPixel;
    if (bits <= 8 || isGray(b)) return {{0, bits, 0}};
    const bool redFirst = b.Order == ORDER_RGB;
    const uint32_t first = redFirst ? COMBINE_RED : COMBINE_BLUE, third = redFirst ? COMBINE_BLUE : COMBINE_RED;
    const int32_t size = bits == 16 ? 5 : bits >= 48 ? 16 : 8;
    std::vector<Channel> all = {{0, size, first}, {size, size, COMBINE_GREEN}, {2 * size, size, third}};
    if (hasAlpha(b)) all.push_back({3 * size, bits == 16 ? 1 : size, COMBINE_CHANNEL_ALPHA});
    return all;
}
uint64_t mostOf(int32_t bits) { return (uint64_t{1} << bits) - 1; }
uint64_t part(uint64_t pixel, const Channel& c) { return pixel >> c.shift & mostOf(c.bits); }

uint64_t combined(uint32_t mode, uint64_t d, uint64_t s, uint64_t most) {
    switch (mode) {
        case COMBINE_NOT:
            return ~s & most;
        case COMBINE_AND:
            return d & s;
        case COMBINE_OR:
            return d | s;
        case COMBINE_XOR:
            return d ^ s;
        case COMBINE_ADD:
            return std::min(d + s, most);
        case COMBINE_SUBTRACT:
            return d > s ? d - s : 0;
        case COMBINE_DIFFERENCE:
            return d > s ? d - s : s - d;
        case COMBINE_MULTIPLY:
            return d * s / most + (d * s % most > most / 2);
        case COMBINE_AVERAGE:
            return (d + s + 1) / 2;
        case COMBINE_MINIMUM:
            return std::min(d, s);
        case COMBINE_MAXIMUM:
            return std::max(d, s);
        default:
            return s;
    }
}

uint64_t rounded(uint64_t a, uint64_t b) { return a / b + (a % b >= b - a % b); }

// One pixel by one pixel: what the source's becomes in the destination.
class Model {
  public:
    Model(const BitmapHandle& destination, const BitmapHandle& source, uint32_t flags)
        : d_(destination), s_(source), mode_(flags & 0xFF), channels_(flags & 0xF00) {}

    uint64_t operator()(uint64_t d, uint64_t s) const {
        const bool indexed = d_.BitsPerPixel <= 8;
        const uint64_t alpha = alphaOf(s);
        const uint32_t mode = mode_ == COMBINE_ALPHA && !hasAlpha(s_) ? COMBINE_COPY : mode_;
        if (indexed && !isRamp(d_) && (mode > COMBINE_XOR)) {
            const uint64_t from = colorOf(d);
            const uint64_t to = perChannel(mode, from, converted(s, 24, ORDER_BGR), {{0, 8, 0}, {8, 8, 0}, {16, 8, 0}},
                                           alpha, colors(24));
            return to == from ? d : match(to);
        }
        const uint64_t same = sameFormat() ? s : converted(s, d_.BitsPerPixel, d_.Order);
        return perChannel(mode, d, withAlpha(same, alpha), channelsOf(d_), alpha, d_);
    }

  private:
    static BitmapHandle colors(int32_t bits) {
        BitmapHandle format{};
        format.BitsPerPixel = bits;
        format.Order = ORDER_BGR;
        return format;
    }

    bool sameFormat() const {
        if (d_.BitsPerPixel != s_.BitsPerPixel) return false;
        if (d_.BitsPerPixel > 8) return d_.Order == s_.Order || d_.BitsPerPixel == 12;
        return d_.ColorCount == s_.ColorCount &&
               std::memcmp(d_.Palette, s_.Palette, d_.ColorCount * sizeof(PaletteEntry)) == 0;
    }
    // 0 .. 65535
    uint64_t alphaOf(uint64_t s) const {
        if (!hasAlpha(s_)) return 65535;
        return s_.BitsPerPixel == 16 ? (s >> 15) * 65535 : s_.BitsPerPixel == 32 ? (s >> 24) * 257 : s >> 48;
    }
    uint64_t withAlpha(uint64_t pixel, uint64_t alpha) const {
        if (sameFormat() || !hasAlpha(d_)) return pixel;
        const Channel c = channelsOf(d_)[3];
        return (pixel & ~(mostOf(c.bits) << c.shift)) | alpha >> (16 - c.bits) << c.shift;
    }
    uint64_t colorOf(uint64_t index) const {
        if (index >= d_.ColorCount) return 0;
        const PaletteEntry& e = d_.Palette[index];
        return e.Blue | uint64_t{e.Green} << 8 | uint64_t{e.Red} << 16;
    }
    uint64_t match(uint64_t color) const {
        return T_FindPaletteIndex(d_.Palette, d_.ColorCount, uint8_t(color >> 16), uint8_t(color >> 8), uint8_t(color));
    }
    static uint64_t convert(uint64_t pixel, const BitmapHandle& from, int32_t bits, uint32_t order) {
        uint8_t row[16] = {};
        putPixel(row, 0, from.BitsPerPixel, pixel);
        PaletteEntry palette[256] = {};
        if (from.Palette != nullptr) std::copy_n(from.Palette, from.ColorCount, palette);
        EXPECT_EQ(T_ConvertBufferExt(row, 1, from.BitsPerPixel, bits, from.Order, order,
                                     from.BitsPerPixel <= 8 ? palette : nullptr, nullptr, CONVERT_ALPHA_OPAQUE, -1, -1),
                  SUCCESS);
        return getPixel(row, 0, bits == 0 ? 8 : bits);
    }
    uint64_t converted(uint64_t s, int32_t bits, uint32_t order) const {
        if (bits <= 8) {
            if (isRamp(d_)) return convert(s, s_, 0, 0);
            return match(converted(s, 24, ORDER_BGR));
        }
        if (order != ORDER_MATRIX_RGB || s_.BitsPerPixel == 24 || s_.BitsPerPixel == 48)
            return convert(s, s_, bits, order);
        return convert(convert(s, s_, bits, ORDER_BGR), colors(bits), bits, order);
    }
    uint64_t perChannel(uint32_t mode, uint64_t d, uint64_t s, const std::vector<Channel>& channels, uint64_t alpha,
                        const BitmapHandle& format) const {
        uint64_t result = d;
        // Alpha of both with the precision of the channels.
        const uint64_t most = channels[0].bits == 8 ? 255 : 65535;
        const uint64_t as = most == 255 ? alpha >> 8 : alpha;
        const uint64_t ad = channels.size() == 4 ? part(d, channels[3]) * most / mostOf(channels[3].bits) : most;
        const uint64_t both = as * most + ad * (most - as);
        for (const Channel& c : channels) {
            const bool selectable = c.flag != 0 && format.BitsPerPixel > 8 && &format == &d_;
            if (selectable && channels_ != 0 && (channels_ & c.flag) == 0) continue;
            uint64_t value = combined(mode, part(d, c), part(s, c), mostOf(c.bits));
            if (mode == COMBINE_ALPHA) {
                if (both == 0) return d;
                value = c.flag == COMBINE_CHANNEL_ALPHA
                            ? rounded(both * mostOf(c.bits), most * most)
                            : rounded(part(s, c) * as * most + part(d, c) * ad * (most - as), both);
            }
            result = (result & ~(mostOf(c.bits) << c.shift)) | value << c.shift;
        }
        return result;
    }

    const BitmapHandle& d_;
    const BitmapHandle& s_;
    uint32_t mode_;
    uint32_t channels_;
};

void setPalette(BitmapHandle& bitmap, RandomNumbers& random) {
    if (bitmap.BitsPerPixel > 8) return;
    const uint32_t most = 1u << bitmap.BitsPerPixel;
    Palette colors = random.palette(random.below(2) != 0 ? most : 1 + random.below(most));
    if (bitmap.BitsPerPixel == 8 && random.below(2) != 0) {
        colors.clear();
        for (int level = 0; level < 256; ++level) colors.push_back({uint8_t(level), uint8_t(level), uint8_t(level), 0});
    }
    if (random.below(3) != 0) {
        ASSERT_EQ(T_SetBitmapNewPalette(&bitmap, colors.data(), uint32_t(colors.size())), SUCCESS);
    }
}

// Of seen pictures.
void combineModels(PixelModel& d, int32_t left, int32_t top, int32_t width, int32_t height, const PixelModel& s,
                   int32_t sourceLeft, int32_t sourceTop, const Model& model) {
    for (int32_t y = 0; y < height; ++y)
        for (int32_t x = 0; x < width; ++x) {
            const int32_t dx = left + x, dy = top + y, sx = sourceLeft + x, sy = sourceTop + y;
            const bool inside = dx >= 0 && dx < d.width && dy >= 0 && dy < d.height && sx >= 0 && sx < s.width &&
                                sy >= 0 && sy < s.height;
            if (inside) d.at(dx, dy) = model(d.at(dx, dy), s.at(sx, sy));
        }
}

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
        for (BitmapHandle* b : {&target.record, &source.record}) {
            setPalette(*b, random);
            fill(*b, random, random.below(2) != 0 ? Content::noise : Content::runs);
            b->ViewPerspective = static_cast<uint32_t>(random.between(1, 8));
        }
        BitmapHandle shared;
        ASSERT_EQ(T_CopyBitmapHandle(&shared, &target.record, sizeof shared), SUCCESS);
        shared.ViewPerspective = source.record.ViewPerspective;
        BitmapHandle& read = i % 8 == 0 ? target.record : i % 8 == 1 ? shared : source.record;
        if (random.below(2) != 0) source.record.ViewPerspective = target.record.ViewPerspective;
        const uint32_t mode = random.below(3) == 0 ? COMBINE_ALPHA : random.below(13);
        const uint32_t flags = mode | (random.below(2) != 0 ? random.below(16) << 8 : 0);
        const int32_t left = random.between(-9, 12), top = random.between(-9, 12);
        const int32_t sourceLeft = random.between(-9, 12), sourceTop = random.between(-9, 12);
        const int32_t width = random.between(0, 45), height = random.between(0, 45);
        SCOPED_TRACE(::testing::Message() << i << ": " << from.bits << '/' << from.order << " to " << to.bits << '/'
                                          << to.order << ", flags " << std::hex << flags);
        PixelModel expected = seen(target.record);
        combineModels(expected, left, top, width, height, seen(read), sourceLeft, sourceTop,
                      Model(target.record, read, flags));
        ASSERT_EQ(T_CombineBitmapKrn(&target.record, left, top, width, height, &read, sourceLeft, sourceTop, flags),
                  SUCCESS);
        EXPECT_EQ(seen(target.record), expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Combines, ::testing::ValuesIn(kAllKinds), kindName);

TEST(Combines, Refusals) {
    StoredBitmap target(Kind::section, 9, 7, 24), source(Kind::section, 9, 7, 8);
    BitmapHandle& d = target.record;
    const auto combine = [&](int32_t width, uint32_t flags) {
        return T_CombineBitmapKrn(&d, INT32_MIN, INT32_MAX, width, INT32_MAX, &source.record, INT32_MAX, INT32_MIN,
                                  flags);
    };
    EXPECT_EQ(combine(INT32_MAX, COMBINE_ALPHA | 0xF00), SUCCESS) << "they lie apart";
    EXPECT_EQ(combine(-1, 0), ERROR_INVALID_SIZE);
    for (const uint32_t flags : {13u, 0xFFu, 0x1000u, COMBINE_LINEAR, 0x80000000u}) {
        EXPECT_EQ(combine(1, flags), ERROR_INVALID_PARAMETER);
    }
    source.record.ViewPerspective = 9;
    EXPECT_EQ(combine(1, 0), ERROR_INVALID_PARAMETER);
    source.record.ViewPerspective = 1;
    d.Flags |= BMF_SIGNED;
    EXPECT_EQ(combine(1, 0), ERROR_SIGNED_DATA);
}

class Scrambles : public ::testing::TestWithParam<Kind> {};

int32_t TNK_CALL stopAt(int32_t percent, void* stop) { return percent >= *static_cast<int32_t*>(stop) ? -77 : SUCCESS; }

// Changes about every second bit inside the rectangle and none outside; again, all is as before, in any view and by parts
// of the picture as well.
TEST_P(Scrambles, HideAndBringBack) {
    RandomNumbers random(4121);
    for (const int32_t bits : kAllDepths) {
        if (!kindTakes(GetParam(), bits)) continue;
        SCOPED_TRACE(bits);
        StoredBitmap picture(GetParam(), 57, 43, Format{bits, usualOrder(bits)});
        BitmapHandle& b = picture.record;
        fill(b, random, Content::runs);
        b.ViewPerspective = static_cast<uint32_t>(random.between(1, 8));
        const PixelModel clear = seen(b);
        const int32_t left = random.between(-5, 9), top = random.between(-5, 9);
        const int32_t width = random.between(25, 60), height = random.between(25, 60);
        const uint32_t key = random.below(2) != 0 ? 0 : random();
        const auto scramble = [&](BitmapHandle& bitmap, int32_t x, int32_t y) {
            return T_ScrambleBitmap(&bitmap, left - x, top - y, width, height, key);
        };
        ASSERT_EQ(scramble(b, 0, 0), SUCCESS);
        const PixelModel hidden = seen(b);
        int64_t inside = 0, changed = 0;
        for (int32_t y = 0; y < clear.height; ++y)
            for (int32_t x = 0; x < clear.width; ++x) {
                const int bitsChanged = std::popcount(clear.at(x, y) ^ hidden.at(x, y));
                if (x >= left && x < left + width && y >= top && y < top + height) {
                    inside += bits;
                    changed += bitsChanged;
                } else {
                    EXPECT_EQ(bitsChanged, 0) << x << ", " << y;
                }
            }
        EXPECT_NEAR(static_cast<double>(changed), static_cast<double>(inside) / 2, static_cast<double>(inside) / 20);

        BitmapHandle cut;
        ASSERT_EQ(T_CopyBitmapRect(&cut, &b, sizeof cut, 7, 5, 23, 31), SUCCESS);
        BitmapRect part = {7, 5, 30, 36};  // as it is stored
        ASSERT_EQ(T_RectFromBitmap(&b, TOP_LEFT, &part), SUCCESS);
        T_AccessBitmap(&cut);
        EXPECT_EQ(scramble(cut, part.Left, part.Top), SUCCESS);
        EXPECT_EQ(seen(cut), clear.moved(part.Right - part.Left, part.Bottom - part.Top,
                                         [&](int32_t x, int32_t y) { return std::pair(x + part.Left, y + part.Top); }));
        T_FreeBitmap(&cut);

        int32_t stop = 60;
        T_SetStatusCallBack(stopAt, &stop, nullptr, nullptr);
        EXPECT_EQ(scramble(b, 0, 0), -77);
        T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
        EXPECT_EQ(seen(b), hidden);
        ASSERT_EQ(T_ChangeBitmapViewPerspective(nullptr, &b, sizeof b, random.between(1, 8)), SUCCESS);
        T_AccessBitmap(&b);
        EXPECT_EQ(scramble(b, 0, 0), SUCCESS);
        EXPECT_EQ(seen(b), clear);
        EXPECT_EQ(T_ScrambleBitmap(&b, 5, 5, -1, 5, key), ERROR_INVALID_SIZE);
        EXPECT_EQ(T_ScrambleBitmap(&b, INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX, key), SUCCESS);
        EXPECT_EQ(seen(b), clear);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, Scrambles, ::testing::ValuesIn(kOwnKinds.begin(), kOwnKinds.end()), kindName);

// ---- warps ----

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
