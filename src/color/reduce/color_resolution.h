// Colour resolution, for the forms that do more than one bitmap.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "color/reduce/palette_choice.h"
#include "convert/row_converter.h"
#include "tnkrn.h"

namespace tnk {

// One call, its arguments settled.
struct ColorResJob {
    int32_t bits;
    uint32_t flags;
    PaletteRequest palette;               // for 8 bits or fewer
    const uint32_t* listTable = nullptr;  // the match table that a list made for its items
    ColorResRowCallback rowCallback;
    void* userData;

    uint32_t ditherMethod() const { return (flags >> 16) & 0xFF; }
    bool reducesToPalette() const { return bits <= 8; }
};

// The palette choice in the flags.
constexpr uint32_t paletteSelection(uint32_t flags) {
    return flags & 0x3FF & ~(CRF_BGR | CRF_GRAY);  // these two say nothing about a palette
}

// Checks the depth and settles what follows from it.
Result settleColorRes(int32_t bits, uint32_t flags, const PaletteEntry* palette, T_HANDLE paletteHandle,
                      uint32_t colorCount, ColorResJob& job);

// Whether a bitmap of the right size can be a source: allocated, and no signed samples without a window.
Result checkColorResSource(const BitmapHandle& source);

// How pixels of a bitmap are read where rows are converted; `palette` is its palette, for 8 bits or fewer. The target is the
// caller's to fill in.
ConvertSpec conversionFrom(const BitmapHandle& source, const PaletteEntry (&palette)[kMaxPaletteEntries]);

// Converts a checked bitmap; see T_ColorResBitmap.
Result colorResBitmap(const ColorResJob& job, BitmapHandle& source, BitmapHandle* destination);

}  // namespace tnk
