// Index bytes to the rows that dithering writes.
#pragma once

#include <cstdint>

#include "kernels/dither/dither_kernels.h"

namespace tnk {

// Packs `count` indexes as pixels of 1-8 bits, most significant bits first; `row` stands on a byte. Of each index the low
// bits count. Bits after the last pixel keep their value, since the row may be the caller's. Other depths write nothing.
// `kernels` may be null.
void packIndexes(const DitherKernels* kernels, const uint8_t* indexes, uint32_t bits, int32_t count, uint8_t* row);

}  // namespace tnk
