// The histogram behind palettes of full precision: pixels by the upper five bits of their channels, with the sums of the
// channels.
#pragma once

#include <cstdint>
#include <span>

#include "base/result.h"
#include "base/scratch.h"
#include "color/dither/color_fetch.h"
#include "tnkrn.h"

namespace tnk {

// Channels of 16 bits; those of 8 bits count 257 times.
struct ColorSum {
    uint64_t pixels = 0;
    uint64_t channels[3] = {};  // red, green, blue

    void add(const ColorSum& other) {
        pixels += other.pixels;
        for (uint32_t c = 0; c < 3; ++c) channels[c] += other.channels[c];
    }
    uint32_t mean(uint32_t channel) const { return static_cast<uint32_t>((channels[channel] + pixels / 2) / pixels); }
};

class ColorSums {
  public:
    Result prepare();

    // Adds every pixel of the bitmap. Reports nothing.
    Result add(BitmapHandle& bitmap);

    std::span<const ColorSum> sums() const { return sums_.span(); }  // kHistogramKeys

  private:
    void addPlanes(const PixelPlanes& planes, uint32_t count);
    void addWords(const ColorFetch& fetch, const uint8_t* pixels, uint32_t count);
    void unpack(uint32_t place);
    void unpackAll();

    Scratch<ColorSum> sums_;
    // Four sums a word; of pixels in even places, then in odd ones: equal neighbours do not wait for each other.
    Scratch<uint64_t> packed_;
};

}  // namespace tnk
