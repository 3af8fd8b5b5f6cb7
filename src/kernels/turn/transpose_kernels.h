// Squares of pixels with rows and columns exchanged, in vectors.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tnk {

#if defined(__SSE2__)
// The side of the square that a vector of pixels of `bytes` bytes spans.
constexpr uint32_t squareSide(size_t bytes) { return static_cast<uint32_t>(16 / bytes); }

// Exchanges rows and columns of a square of pixels of kBytes bytes: 1, 2, 4 or 8.
template <size_t kBytes>
void transposeSquare(const uint8_t* source, ptrdiff_t sourceStride, uint8_t* target, ptrdiff_t targetStride);
#endif

}  // namespace tnk
