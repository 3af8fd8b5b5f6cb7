// Rows and columns exchanged: what is left of a quarter turn when the rows of one side are taken from the last one up.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tnk {

// `columns` pixels of `rows` rows. Every row begins on a byte; strides may be negative.
struct TransposeArea {
    const uint8_t* source;
    ptrdiff_t sourceStride;
    uint8_t* target;
    ptrdiff_t targetStride;
    uint32_t columns;
    uint32_t rows;
};

// Target row x, pixel y becomes source row y, pixel x. Bits behind the last pixel of a target row become zero up to the
// byte's end. Depths of bitmaps only.
void transpose(uint32_t bits, const TransposeArea& area);

}  // namespace tnk
