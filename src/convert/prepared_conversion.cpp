#include "convert/prepared_conversion.h"

#include <algorithm>
#include <cstring>

namespace tnk {
namespace {

// Fixed palettes never change: they need no copy, and their address says all.
bool isFixed(const PaletteEntry* palette, int32_t bits) {
    return palette == fixedPalette(8) || palette == fixedPalette(bits);
}

const PaletteEntry* keep(const PaletteEntry* palette, int32_t bits, PaletteEntry* copy) {
    if (!hasPalette(bits) || isFixed(palette, bits)) return palette;
    return std::copy_n(palette, size_t{1} << bits, copy) - (ptrdiff_t{1} << bits);
}

// All four bytes of an entry count: palettes that differ in the reserved byte alone are searched.
bool isSame(const PaletteEntry* kept, const PaletteEntry* palette, int32_t bits) {
    if (kept == palette) return true;
    return hasPalette(bits) && std::memcmp(kept, palette, sizeof(PaletteEntry) << bits) == 0;
}

}  // namespace

void PreparedConversion::prepare(const Conversion& conversion) {
    conversion_ = conversion;
    conversion_.paletteSrc = keep(conversion.paletteSrc, conversion.bitsSrc, source_);
    conversion_.paletteDst = keep(conversion.paletteDst, conversion.bitsDst, target_);
    converter_.prepare(conversion_);
}

bool PreparedConversion::isFor(const Conversion& conversion) const {
    Conversion like = conversion;
    like.paletteSrc = conversion_.paletteSrc;
    like.paletteDst = conversion_.paletteDst;
    return like == conversion_ && isSame(conversion_.paletteSrc, conversion.paletteSrc, conversion.bitsSrc) &&
           isSame(conversion_.paletteDst, conversion.paletteDst, conversion.bitsDst);
}

}  // namespace tnk
