// The one table of pixel formats, and the sizes that follow from it.
#pragma once

#include <cstdint>

#include "tnkrn.h"

namespace tnk {

struct PixelFormat {
    int32_t bits;         // 1-8, 12, 16, 24, 32, 48, 64
    uint8_t groupPixels;  // pixels after which the bit pattern repeats on a byte boundary
    uint8_t groupBytes;   // bytes of such a group
    bool hasPalette;      // indexes into a palette
    int8_t dataHighBit;   // as T_InitBitmap sets it; -1: all bits
    uint8_t orders;       // bit (1 << order) for each order that a bitmap of this depth may have
};

constexpr bool acceptsOrder(const PixelFormat& format, uint32_t order) {
    return order < 8 && (format.orders >> order & 1) != 0;
}

// Null for a depth that is none of the table's.
const PixelFormat* findPixelFormat(int32_t bits);

// Bytes of `width` pixels, the last byte rounded up; and of a stored row, rounded up to a multiple of 4 by the rule
// ((width * bits + 31) >> 3) & ~3.
constexpr uint64_t pixelBytes(uint64_t width, uint32_t bits) { return (width * bits + 7) >> 3; }
constexpr uint64_t rowBytes(uint64_t width, uint32_t bits) { return ((width * bits + 31) >> 3) & ~uint64_t{3}; }

// Whether bitmaps of `bits` exist: bit n - 1 of the mask stands for n bits.
constexpr bool isPixelDepth(uint32_t bits) {
    constexpr uint64_t kDepths = 0x8000'8000'8080'88FF;
    return bits - 1 < 64 && (kDepths >> (bits - 1) & 1) != 0;
}

// Byte that holds the first bit of column `column`; the column itself at a depth that is none.
constexpr uint64_t columnOffset(uint64_t column, uint32_t bits) {
    return isPixelDepth(bits) ? (column * bits) >> 3 : column;
}

constexpr uint64_t kSizeLimit = 0xFFFF0001;  // pixel data of this size and above is refused

}  // namespace tnk
