// Index bytes from and to packed pixels of 1-8 bits, most significant bits first.
#pragma once

#include <cstdint>

namespace tnk {

// `row` stands at the first pixel, on a byte boundary.
void unpackIndexes(const uint8_t* row, int32_t bits, int32_t count, uint8_t* indexes);

// Of each index the low bits count. Bits after the last pixel keep their value. Depths outside 1-8 write nothing.
void packIndexes(const uint8_t* indexes, uint32_t bits, int32_t count, uint8_t* row);

}  // namespace tnk
