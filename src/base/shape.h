// The measures of a bitmap as unsigned numbers. The record has them signed; initialising one refuses negative values, and
// nothing below the entries of the library computes with the sign.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tnkrn.h"

namespace tnk {

struct Shape {
    explicit constexpr Shape(const BitmapHandle& bitmap)
        : width(static_cast<uint32_t>(bitmap.Width)),
          height(static_cast<uint32_t>(bitmap.Height)),
          bits(static_cast<uint32_t>(bitmap.BitsPerPixel)),
          lineBytes(bitmap.BytesPerLine) {}

    constexpr uint64_t bytes(int32_t rows) const { return uint64_t{lineBytes} * static_cast<uint32_t>(rows); }
    // Of rows that lie in memory.
    constexpr size_t offset(int32_t rows) const { return static_cast<size_t>(bytes(rows)); }

    uint32_t width;   // pixels
    uint32_t height;  // rows
    uint32_t bits;    // of a pixel
    uint32_t lineBytes;
};

}  // namespace tnk
