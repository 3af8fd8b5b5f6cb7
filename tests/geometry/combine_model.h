// Combining one pixel with one, in the plainest form.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "geometry/pixel_model.h"

namespace tnk::test {

inline bool isGray(const BitmapHandle& b) {
    return b.BitsPerPixel == 12 || ((b.BitsPerPixel == 16 || b.BitsPerPixel == 32) && b.Order == ORDER_GRAY);
}
inline bool hasAlpha(const BitmapHandle& b) {
    return b.BitsPerPixel == 64 || (!isGray(b) && (b.BitsPerPixel == 16 || b.BitsPerPixel == 32));
}
inline bool isRamp(const BitmapHandle& b) {
    return b.BitsPerPixel == 8 && b.ColorCount == 256 && T_IsGrayScaleBitmap(&b) == GRAYSCALE_NORMAL;
}

struct Channel {
    int32_t shift;
    int32_t bits;
    uint32_t flag;
};
inline std::vector<Channel> channelsOf(const BitmapHandle& b) {
    const int32_t bits = b.BitsPerPixel;
    if (bits <= 8 || isGray(b)) return {{0, bits, 0}};
    const bool redFirst = b.Order == ORDER_RGB;
    const uint32_t first = redFirst ? COMBINE_RED : COMBINE_BLUE, third = redFirst ? COMBINE_BLUE : COMBINE_RED;
    const int32_t size = bits == 16 ? 5 : bits >= 48 ? 16 : 8;
    std::vector<Channel> all = {{0, size, first}, {size, size, COMBINE_GREEN}, {2 * size, size, third}};
    if (hasAlpha(b)) all.push_back({3 * size, bits == 16 ? 1 : size, COMBINE_CHANNEL_ALPHA});
    return all;
}
inline uint64_t mostOf(int32_t bits) { return (uint64_t{1} << bits) - 1; }
inline uint64_t part(uint64_t pixel, const Channel& c) { return pixel >> c.shift & mostOf(c.bits); }
inline uint64_t withPart(uint64_t pixel, const Channel& c, uint64_t value) {
    return (pixel & ~(mostOf(c.bits) << c.shift)) | value << c.shift;
}

// By modes up to COMBINE_MAXIMUM; beyond, the source's.
inline uint64_t combined(uint32_t mode, uint64_t d, uint64_t s, uint64_t most) {
    const uint64_t greater = std::max(d, s), less = std::min(d, s);
    const uint64_t product = d * s / most + (d * s % most > most / 2);
    const uint64_t values[] = {s,        ~s & most,      d & s,   d | s,           d ^ s, std::min(d + s, most),
                               d - less, greater - less, product, (d + s + 1) / 2, less,  greater};
    return mode < std::size(values) ? values[mode] : s;
}

inline uint64_t colorOf(const BitmapHandle& b, uint64_t index) {
    const PaletteEntry e = index < b.ColorCount ? b.Palette[index] : PaletteEntry{};
    return e.Blue | uint64_t{e.Green} << 8 | uint64_t{e.Red} << 16;
}

inline uint64_t rounded(uint64_t a, uint64_t b) { return a / b + (a % b >= b - a % b); }

// One pixel by one pixel: what the source's becomes in the destination.
class Model {
  public:
    Model(const BitmapHandle& destination, const BitmapHandle& source, uint32_t flags)
        : d_(destination), s_(source), mode_(flags & 0xFF), channels_(flags & 0xF00) {}

    uint64_t operator()(uint64_t d, uint64_t s) const {
        const uint64_t alpha = alphaOf(s);
        const uint32_t mode = mode_ == COMBINE_ALPHA && !hasAlpha(s_) ? COMBINE_COPY : mode_;
        if (d_.BitsPerPixel <= 8 && !isRamp(d_) && mode > COMBINE_XOR) {
            const uint64_t from = colorOf(d_, d), color = converted(s, 24, ORDER_BGR);
            const uint64_t to = perChannel(mode, from, color, {{0, 8, 0}, {8, 8, 0}, {16, 8, 0}}, alpha);
            return to == from ? d : match(to);
        }
        const uint64_t same = sameFormat() ? s : converted(s, d_.BitsPerPixel, d_.Order);
        return perChannel(mode, d, withAlpha(same, alpha), channelsOf(d_), alpha);
    }

  private:
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
        const Channel c = channelsOf(d_).back();
        return sameFormat() || !hasAlpha(d_) ? pixel : withPart(pixel, c, alpha >> (16 - c.bits));
    }
    uint64_t match(uint64_t color) const {
        return T_FindPaletteIndex(d_.Palette, d_.ColorCount, uint8_t(color >> 16), uint8_t(color >> 8), uint8_t(color));
    }
    static uint64_t convert(uint64_t pixel, const BitmapHandle& from, int32_t bits, uint32_t order) {
        uint8_t row[16] = {};
        putPixel(row, 0, from.BitsPerPixel, pixel);
        Palette palette(256);
        if (from.Palette != nullptr) std::copy_n(from.Palette, from.ColorCount, palette.begin());
        EXPECT_EQ(T_ConvertBufferExt(row, 1, from.BitsPerPixel, bits, from.Order, order,
                                     from.BitsPerPixel <= 8 ? palette.data() : nullptr, nullptr, CONVERT_ALPHA_OPAQUE,
                                     -1, -1),
                  SUCCESS);
        return getPixel(row, 0, bits == 0 ? 8 : bits);
    }
    uint64_t converted(uint64_t s, int32_t bits, uint32_t order) const {
        if (bits <= 8) return isRamp(d_) ? convert(s, s_, 0, 0) : match(converted(s, 24, ORDER_BGR));
        const bool once = order != ORDER_MATRIX_RGB || s_.BitsPerPixel == 24 || s_.BitsPerPixel == 48;
        if (once) return convert(s, s_, bits, order);
        BitmapHandle between = s_;
        between.BitsPerPixel = bits;
        between.Order = ORDER_BGR;
        return convert(convert(s, s_, bits, ORDER_BGR), between, bits, order);
    }
    uint64_t perChannel(uint32_t mode, uint64_t d, uint64_t s, const std::vector<Channel>& channels,
                        uint64_t alpha) const {
        uint64_t result = d;
        // Alpha of both with the precision of the channels.
        const uint64_t most = channels[0].bits == 8 ? 255 : 65535;
        const uint64_t as = most == 255 ? alpha >> 8 : alpha;
        const uint64_t ad = channels.size() == 4 ? part(d, channels[3]) * most / mostOf(channels[3].bits) : most;
        const uint64_t both = as * most + ad * (most - as);
        for (const Channel& c : channels) {
            if (c.flag != 0 && channels_ != 0 && (channels_ & c.flag) == 0) continue;
            uint64_t value = combined(mode, part(d, c), part(s, c), mostOf(c.bits));
            if (mode == COMBINE_ALPHA) {
                if (both == 0) return d;
                value = c.flag == COMBINE_CHANNEL_ALPHA
                            ? rounded(both * mostOf(c.bits), most * most)
                            : rounded(part(s, c) * as * most + part(d, c) * ad * (most - as), both);
            }
            result = withPart(result, c, value);
        }
        return result;
    }

    const BitmapHandle& d_;
    const BitmapHandle& s_;
    uint32_t mode_;
    uint32_t channels_;
};

// Any pixels and view; up to 8 bits any palette, a ramp of grays often.
inline void fillAnyhow(BitmapHandle& bitmap, RandomNumbers& random) {
    const uint32_t most = 1u << std::min(bitmap.BitsPerPixel, 8);
    Palette colors = random.palette(random.below(2) != 0 ? most : 1 + random.below(most));
    if (most == 256 && random.below(2) != 0) {
        colors.clear();
        for (int level = 0; level < 256; ++level) colors.push_back({uint8_t(level), uint8_t(level), uint8_t(level), 0});
    }
    if (bitmap.BitsPerPixel <= 8 && random.below(3) != 0) {
        EXPECT_EQ(T_SetBitmapNewPalette(&bitmap, colors.data(), uint32_t(colors.size())), SUCCESS);
    }
    fill(bitmap, random, random.below(2) != 0 ? Content::noise : Content::runs);
    bitmap.ViewPerspective = uint32_t(random.between(1, 8));
}

}  // namespace tnk::test
