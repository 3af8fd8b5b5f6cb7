// Rows end to end by vectors.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tnk {

// Exchanges pixels of both ends of a row of `bytes` bytes, in reverse order, as far as vectors fit; returns the bytes done
// at each end. Packed pixels are turned in their bytes: their last byte counts as full. 1, 2, 4 and 8 bits and whole bytes
// but no 12.
size_t mirrorEndsSsse3(uint8_t* row, size_t bytes, int32_t pixelBits);

}  // namespace tnk
