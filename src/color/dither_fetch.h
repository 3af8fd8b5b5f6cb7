// Pixels of any format as 8-bit red, green and blue for the dithering cores.
#pragma once

#include <cstdint>

#include "color/dither_cores.h"
#include "color/dither_state.h"
#include "tnkrn.h"

namespace tnk {

// Where the channels of a block go.
struct DitherPlanes {
    uint8_t* red;
    uint8_t* green;
    uint8_t* blue;
};

// How the rows of a bitmap are fetched, chosen once a call.
struct DitherSource {
    const DitherState& state;
    const DitherKernels* kernels = nullptr;
    const PaletteEntry* table = nullptr;  // lookup table of gray samples
    uint32_t tableLength = 0;
    int32_t bits = 0;
    bool gray = false;  // pixels have one plane for all channels
    // Writes `count` pixels, at most kDitherBlock, to the planes; gray ones to the red plane only.
    void (*fetch)(const DitherSource& source, const uint8_t* pixels, int32_t count,
                  const DitherPlanes& planes) = nullptr;

    // Byte offset of a column that is a multiple of 8.
    size_t offsetOf(int32_t column) const { return static_cast<size_t>(column) / 8 * static_cast<size_t>(bits); }
    PixelPlanes planesOf(const DitherPlanes& planes) const {
        return gray ? PixelPlanes{planes.red, planes.red, planes.red}
                    : PixelPlanes{planes.red, planes.green, planes.blue};
    }
};

// `order` and the bits stand for the rows as they are fetched, which for 24- and 48-bit rows in other orders than RGB
// and BGR are 24-bit BGR.
DitherSource chooseDitherSource(const DitherKernels* kernels, const DitherState& state, const BitmapHandle& bitmap,
                                int32_t bits, uint32_t order);

}  // namespace tnk
