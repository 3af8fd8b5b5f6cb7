// Pixels that do not fill whole bytes: 1 to 7 bits, one stream of bits, most significant first; and 12 bits, two pixels
// in three bytes. Rows begin on a byte.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tnk {

// One byte a pixel. Packing writes zero after the last pixel up to the byte's end, and may work in place.
void unpackPixels(uint32_t bits, const uint8_t* packed, uint8_t* indexes, size_t count);
void packPixels(uint32_t bits, const uint8_t* indexes, uint8_t* packed, size_t count);

// 12-bit samples. Packing writes zero into the nibble after an odd last pixel.
void unpack12(const uint8_t* packed, uint32_t* samples, size_t count);
void pack12(const uint32_t* samples, uint8_t* packed, size_t count);

}  // namespace tnk
