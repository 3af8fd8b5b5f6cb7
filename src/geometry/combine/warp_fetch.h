// The pixels of a picture at positions of a warp.
#pragma once

#include <cstddef>
#include <cstdint>

#include "geometry/combine/warp_map.h"
#include "geometry/view.h"
#include "tnkrn.h"

namespace tnk {

// A run of target pixels by the numbers of WarpMap at the first one and from one to the next, and the source.
struct WarpRun {
    int64_t across, down, depth;
    int64_t acrossStep, downStep, depthStep;

    const uint8_t* pixels;
    ptrdiff_t stride;
    PixelFrame stored;  // where seen pixels lie in them
    int32_t x, y;       // the source's first corner, as it is seen
    // Seen columns and rows that there are.
    int32_t left, top, right, bottom;
};

// Writes pixels in the format of the source, spread: 1 to 7 bits a byte, 12 bits four.
using WarpRoutine = void (*)(const WarpRun& run, uint8_t* target, size_t count);

WarpRoutine nearestWarp(uint32_t bits);
// Null for what cannot be blended.
WarpRoutine linearWarp(const BitmapHandle& format);

}  // namespace tnk
