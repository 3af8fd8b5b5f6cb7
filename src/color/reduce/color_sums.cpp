#include "color/reduce/color_sums.h"

#include <cstring>

#include "base/pixel_values.h"
#include "color/reduce/fetched_rows.h"
#include "color/reduce/histogram.h"

namespace tnk {
namespace {

constexpr uint32_t kPackedLimit = UINT32_MAX / 255 - kColorBlock;  // pixels whose sums fit 32 bits

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
    unpack();
    return SUCCESS;
}

void ColorSums::addPlanes(const PixelPlanes& planes, uint32_t count) {
    if (packedPixels_ > kPackedLimit) unpack();
    packedPixels_ += count;
    Packed* const packed = packed_.data();
    for (uint32_t i = 0; i < count; ++i) {
        const uint32_t red = planes.red[i], green = planes.green[i], blue = planes.blue[i];
        Packed& sum = packed[word555(red, green, blue) + i % 2 * kHistogramKeys];
        sum.redGreen += red | uint64_t{green} << 32;
        sum.bluePixels += blue | uint64_t{1} << 32;
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

void ColorSums::unpack() {
    if (packedPixels_ == 0) return;
    for (uint32_t i = 0; i < 2 * kHistogramKeys; ++i) {
        const Packed& from = packed_[i];
        const auto low = [](uint64_t word) { return (word & UINT32_MAX) * 257; };
        if (from.bluePixels == 0) continue;
        sums_[i % kHistogramKeys].add(
            {.pixels = from.bluePixels >> 32,
             .channels = {low(from.redGreen), (from.redGreen >> 32) * 257, low(from.bluePixels)}});
    }
    std::memset(packed_.data(), 0, packed_.size() * sizeof(Packed));
    packedPixels_ = 0;
}

}  // namespace tnk
