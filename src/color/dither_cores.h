// The cores of the dithering engine: blocks of 8-bit red, green and blue in, one index byte a pixel out.
#pragma once

#include <cstdint>

#include "color/dither_methods.h"
#include "color/dither_state.h"

namespace tnk {

constexpr int32_t kDitherBlock = 256;  // pixels that are fetched, dithered and packed at a time: whole bytes everywhere

// Pixels of a block. Gray pixels have one plane for all three.
struct PixelPlanes {
    const uint8_t* red;
    const uint8_t* green;
    const uint8_t* blue;
};

// A row while it is dithered, block after block.
struct DitherRow {
    const DitherState& state;
    const int16_t* ordered = nullptr;  // the line of the matrix
    DitherChannel channels[kChannels] = {};
};

// `count` is at most kDitherBlock; every block but the last is full. `indexes` may be one of the planes.
using DitherCore = void (*)(DitherRow& row, const PixelPlanes& pixels, int32_t count, uint8_t* indexes);

// The core for the run's method and mode. `gray`: the three channels are one, also in the errors.
DitherCore chooseDitherCore(const DitherState& state, bool gray);

// Takes the sums for the row's first pixels, or the line of the matrix.
void beginDitherRow(DitherState& state, DitherRow& row);

}  // namespace tnk
