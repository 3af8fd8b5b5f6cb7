#include "color/reduce/color_sums.h"

#include <utility>

#include "base/pixel_values.h"
#include "color/reduce/fetched_rows.h"
#include "color/reduce/histogram.h"

namespace tnk {
namespace {

// A key says the upper five bits of its pixels' channels, so their lower three are summed: those of red, green and blue,
// and the number of pixels, in 16 bits each.
constexpr uint64_t kFull = uint64_t{8192} << 48;
static_assert(8192 * 7 <= UINT16_MAX);

}  // namespace

Result ColorSums::prepare() {
    const bool done = sums_.allocate(kHistogramKeys, true) && packed_.allocate(2 * kHistogramKeys, true);
    return done ? SUCCESS : FAILURE;
}

Result ColorSums::add(BitmapHandle& bitmap) {
    alignas(32) uint8_t channels[3][kColorBlock];
    const ColorPlanes planes{channels[0], channels[1], channels[2]};
    TRY(fetchPixels(bitmap, kColorBlock, [&](const ColorFetch& fetch, const uint8_t* pixels, int32_t count) {
        if (fetch.bits >= 48) {
            addWords(fetch, pixels, static_cast<uint32_t>(count));
            return;
        }
        fetch.fetch(fetch, pixels, count, planes);
        addPlanes(fetch.planesOf(planes), static_cast<uint32_t>(count));
    }));
    unpackAll();
    return SUCCESS;
}

void ColorSums::addPlanes(const PixelPlanes& planes, uint32_t count) {
    uint16_t keys[kColorBlock];  // apart from the sums, where the compiler makes them in vectors
    uint16_t rests[kColorBlock];
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t red = planes.red[i], green = planes.green[i], blue = planes.blue[i];
        keys[i] = static_cast<uint16_t>(word555(red, green, blue));
        rests[i] = static_cast<uint16_t>((red & 7) << 6 | (green & 7) << 3 | (blue & 7));
    }
    uint64_t* const packed = packed_.data();
    for (uint32_t i = 0; i < count; ++i) {
        const uint64_t rest = rests[i];
        const uint32_t place = keys[i] + i % 2 * kHistogramKeys;
        const uint64_t sum = packed[place] + (rest >> 6 | (rest >> 3 & 7) << 16 | (rest & 7) << 32 | uint64_t{1} << 48);
        packed[place] = sum;
        if (sum >= kFull) unpack(place);
    }
}

void ColorSums::addWords(const ColorFetch& fetch, const uint8_t* pixels, uint32_t count) {
    const size_t stride = static_cast<size_t>(fetch.bits) / 8, red = fetch.fields.swap ? 0 : 4;
    for (uint32_t i = 0; i < count; ++i, pixels += stride) {
        const ColorSum pixel{.pixels = 1,
                             .channels = {load16(pixels + red), load16(pixels + 2), load16(pixels + 4 - red)}};
        const auto field = [&](uint32_t c) { return static_cast<uint32_t>(pixel.channels[c] >> 8); };
        sums_[word555(field(0), field(1), field(2))].add(pixel);
    }
}

void ColorSums::unpack(uint32_t place) {
    const uint32_t key = place % kHistogramKeys;
    const uint64_t sums = std::exchange(packed_[place], 0), pixels = sums >> 48;
    const auto channel = [&](uint32_t c) {
        const uint32_t upper = (key >> (10 - 5 * c) & 31) * 8;
        return (pixels * upper + (sums >> 16 * c & 0xFFFF)) * 257;
    };
    sums_[key].add({.pixels = pixels, .channels = {channel(0), channel(1), channel(2)}});
}

void ColorSums::unpackAll() {
    for (uint32_t place = 0; place < 2 * kHistogramKeys; ++place) {
        if (packed_[place] != 0) unpack(place);
    }
}

}  // namespace tnk
