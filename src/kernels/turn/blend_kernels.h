// Pixels blended from the four around a position, by vectors.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tnk {

// Positions are 1 / 32768 of a pixel, from the centre of the pixel at `pixels`; the fraction counts to 1/256.
struct LinearStretch {
    const uint8_t* pixels;
    ptrdiff_t stride;
    int64_t x, y;
    int64_t stepX, stepY;
};

// `count` pixels of 3 or 4 bytes: sums of the channels of four pixels by the products of their weights, rounded. Reads 8 bytes
// from the upper left pixel on, and from the one below it.
void blendThreeSsse3(const LinearStretch& stretch, uint8_t* target, int32_t count);
void blendFourSsse3(const LinearStretch& stretch, uint8_t* target, int32_t count);

}  // namespace tnk
