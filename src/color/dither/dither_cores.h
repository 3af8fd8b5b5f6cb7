// The cores of the dithering engine: blocks of 8-bit red, green and blue in, one index byte a pixel out.
#pragma once

#include <cstdint>

#include "color/dither/dither_state.h"
#include "kernels/dither/dither_methods.h"

namespace tnk {

// A row while it is dithered, block after block.
class DitherRow {
  public:
    // Takes the next line of the matrix where the method has one.
    DitherRow(DitherState& state, int32_t width);

    const DitherState& state;
    const int16_t* ordered = nullptr;  // the line of the matrix
    int32_t width;
    int32_t done = 0;  // pixels; the cores count them

    // Errors of each channel: those of the block, after the last ones of the block before.
    int32_t errors[kChannels][kPastErrors + kColorBlock + kPastErrors] = {};
};

// `count` is at most kColorBlock; every block but the last is full.
using DitherCore = void (*)(DitherRow& row, const PixelPlanes& pixels, int32_t count, uint8_t* indexes);

// The core for the run's method and mode. `gray`: the three channels are one, also in the errors.
DitherCore chooseDitherCore(const DitherState& state, bool gray);

}  // namespace tnk
