// Pixels of any format as 8-bit red, green and blue, for dithering and for histograms.
#pragma once

#include <cstdint>
#include <span>

#include "base/sample_rules.h"
#include "kernels/dither/dither_kernels.h"
#include "kernels/kernels.h"
#include "palette/palette.h"
#include "tnkrn.h"

namespace tnk {

constexpr int32_t kColorBlock = 256;  // pixels that are fetched at a time: whole bytes at every depth

// Pixels of a block. Gray pixels have one plane for all three.
struct PixelPlanes {
    const uint8_t* red;
    const uint8_t* green;
    const uint8_t* blue;
};

// What the values of a bitmap's pixels stand for, as of one moment.
struct SourceColors {
    PaletteEntry palette[kMaxPaletteEntries] = {};  // of 8 bits or fewer
    bool paletteGray = false;
    bool paletteLevels = false;   // entry i is the gray level i
    GrayParams gray;              // above 8 bits, also where the order is not gray
    uint8_t grayScale[256] = {};  // window value to 8-bit level
};
void readSourceColors(const BitmapHandle& bitmap, SourceColors& colors);

bool isGrayPalette(const PaletteEntry (&palette)[kMaxPaletteEntries]);

// Where the channels of a block go.
struct ColorPlanes {
    uint8_t* red;
    uint8_t* green;
    uint8_t* blue;
};

// How the rows of a bitmap are fetched, chosen once a call.
struct ColorFetch {
    const SourceColors& colors;
    const DitherKernels* kernels = nullptr;
    std::span<const PaletteEntry> table{};  // lookup table of gray samples
    int32_t bits = 0;
    bool gray = false;    // pixels have one plane for all channels
    bool levels = false;  // pixels are their own gray levels, a byte each
    bool bytes = false;   // colour pixels of a byte a channel, whose 5-5-5 words are those of `fields`
    Fields555 fields{};
    // Writes `count` pixels, at most kColorBlock, to the planes; gray ones to the red plane only.
    void (*fetch)(const ColorFetch& source, const uint8_t* pixels, int32_t count, const ColorPlanes& planes) = nullptr;

    // Byte offset of a column that is a multiple of 8.
    size_t offsetOf(int32_t column) const { return static_cast<size_t>(column) / 8 * static_cast<size_t>(bits); }
    PixelPlanes planesOf(const ColorPlanes& planes) const {
        return gray ? PixelPlanes{planes.red, planes.red, planes.red}
                    : PixelPlanes{planes.red, planes.green, planes.blue};
    }
};

// Writes the 15-bit keys of `count` pixels, red << 10 | green << 5 | blue by their upper five bits.
void fetchKeys(const ColorFetch& source, const uint8_t* pixels, int32_t count, uint16_t* keys);

// `order` and the bits stand for the rows as they are fetched, which for 24- and 48-bit rows in other orders than RGB
// and BGR are 24-bit BGR.
ColorFetch chooseColorFetch(const DitherKernels* kernels, const SourceColors& colors, const BitmapHandle& bitmap,
                            int32_t bits, uint32_t order);

// Whether rows of the bitmap are to be made 24-bit BGR before they are fetched.
inline bool needsPlainOrder(const BitmapHandle& bitmap) {
    return (bitmap.BitsPerPixel == 24 || bitmap.BitsPerPixel == 48) && bitmap.Order != ORDER_RGB &&
           bitmap.Order != ORDER_BGR;
}

}  // namespace tnk
