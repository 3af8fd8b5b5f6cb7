// Which palettes and bitmaps are gray scales.
#include <algorithm>

#include "base/entry_rule.h"
#include "base/sample_rules.h"
#include "palette/palette.h"

namespace tnk {
namespace {

constexpr EntryRule kGrayScaleEntry = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};

bool isGrayEntry(const PaletteEntry& entry) { return entry.Red == entry.Green && entry.Red == entry.Blue; }

int32_t classifyEnd(uint8_t gray) {
    return gray == 0 ? GRAYSCALE_NORMAL : gray == 255 ? GRAYSCALE_INVERTED : GRAYSCALE_OTHER;
}

int32_t classifyPaletteBitmap(const BitmapHandle& bitmap) {
    const uint32_t size = paletteLength(bitmap);
    if (bitmap.BitsPerPixel > 8 || size == 0) return GRAYSCALE_NO;
    const int32_t code = classifyPalette(bitmap.Palette, size);
    const bool full = bitmap.BitsPerPixel >= 1 && size == 1u << bitmap.BitsPerPixel;
    return code == GRAYSCALE_NO || full ? code : GRAYSCALE_OTHER;  // a short palette is never a full ramp
}

int32_t classifyGrayBitmap(const BitmapHandle& bitmap) {
    if (bitmap.pLUT == nullptr) return GRAYSCALE_NORMAL;
    const int32_t bits = sampleWindow(bitmap).bits;
    if (bits < 1 || bits > 32 || bitmap.LUTLength != uint64_t{1} << bits) return ERROR_LUT_LENGTH;
    if ((bitmap.Flags & BMF_WINDOW) == 0) return GRAYSCALE_NORMAL;
    if (!std::all_of(bitmap.pLUT, bitmap.pLUT + bitmap.LUTLength, isGrayEntry)) return GRAYSCALE_NO;
    // Signed samples begin in the middle of the table.
    const bool isSigned = (bitmap.Flags & BMF_SIGNED) != 0;
    return classifyEnd(bitmap.pLUT[isSigned ? bitmap.LUTLength / 2 : 0].Red);
}

}  // namespace

// KEEP: the step is an integer, so 0, 128, 255 is no ramp (step 127). Comparing with rounded levels would be the
// tempting repair. An empty palette is judged by its first entry like one of a single entry.
int32_t classifyPalette(const PaletteEntry* palette, uint32_t count) {
    if (!std::all_of(palette, palette + count, isGrayEntry)) return GRAYSCALE_NO;
    if (count <= 1) return classifyEnd(palette[0].Red);
    const bool ascending = palette[0].Red == 0;
    const auto step = static_cast<uint8_t>(255 / (count - 1));
    uint8_t expected = ascending ? 0 : 255;
    for (uint32_t i = 0; i < count; ++i) {
        if (palette[i].Red != expected) return GRAYSCALE_OTHER;
        expected = static_cast<uint8_t>(ascending ? expected + step : expected - step);
    }
    return ascending ? GRAYSCALE_NORMAL : GRAYSCALE_INVERTED;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_IsGrayScalePalette(const PaletteEntry* Palette, uint32_t Count) {
    if (Palette == nullptr || Count > INT32_MAX) return ERROR_INVALID_PARAMETER;  // a negative count of the caller
    return classifyPalette(Palette, Count);
}

extern "C" int32_t TNK_CALL T_IsGrayScaleBitmap(const BitmapHandle* Bitmap) {
    if (const Result entry = checkEntry(kGrayScaleEntry, Bitmap); !entry.ok()) return entry.code;
    return hasGraySamples(*Bitmap) ? classifyGrayBitmap(*Bitmap) : classifyPaletteBitmap(*Bitmap);
}
