// Runs of pixels of one colour.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// Writes `count` pixels of one colour value into a row in the bitmap's format. Packed pixels begin at the row's first
// bit; 1, 2 and 4 bits fill the last byte whole, other depths keep what lies after the last pixel. A new alpha
// channel is 0, as in T_ConvertBuffer. -1 when the platform's palette, which matches colours, cannot be made.
Result fillPixelRun(const BitmapHandle& bitmap, uint8_t* row, int32_t count, uint32_t color);

}  // namespace tnk
