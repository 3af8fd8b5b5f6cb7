// Colour values carried from one bitmap to another.
#include <algorithm>

#include "base/sample_rules.h"
#include "palette/palette.h"

namespace tnk {
namespace {

// The index value of the entry that stands for a colour in a bitmap of 8 bits or fewer.
uint32_t nearestIndexValue(const BitmapHandle& bitmap, uint32_t color) {
    return COLOR_TAG_INDEX | (platformNearestIndex(bitmap, color) & 0xFFFF);
}

uint32_t translateGrayLevel(const BitmapHandle& destination, uint32_t color) {
    const std::span<const PaletteEntry> table = sampleTable(destination);
    if (table.empty()) return color;
    const uint32_t index = findNearest(table.first(std::min<size_t>(table.size(), 65535)), colorRed(color),
                                       colorGreen(color), colorBlue(color));
    return COLOR_TAG_INDEX | (index & 0xFFFF);
}

// The palette entry behind an index; null for a bitmap that the exports would not read it from.
const PaletteEntry* indexedColor(const BitmapHandle& bitmap, int32_t index) {
    if (bitmap.StructSize != sizeof bitmap || bitmap.BitsPerPixel > 8) return nullptr;
    const auto entries = paletteEntries(bitmap, index, 1);
    return entries.empty() ? nullptr : entries.data();
}

uint32_t translateIndex(const BitmapHandle& destination, const BitmapHandle* source, uint32_t color) {
    const bool toPalette = destination.BitsPerPixel <= 8;
    const int32_t index = static_cast<int32_t>(color & 0xFF);
    const PaletteEntry* const wanted = source != nullptr ? indexedColor(*source, index) : nullptr;
    if (wanted == nullptr) return toPalette ? nearestIndexValue(destination, 0) : 0;
    if (!toPalette) return colorOf(*wanted);
    const PaletteEntry* const same = indexedColor(destination, index);
    if (same != nullptr && sameColor(*wanted, *same)) return color;
    return nearestIndexValue(destination, colorOf(*wanted));
}

}  // namespace

uint32_t translateColor(const BitmapHandle& destination, const BitmapHandle* source, uint32_t color) {
    if (colorTag(color) == COLOR_TAG_GRAY && hasGraySamples(destination)) return translateGrayLevel(destination, color);
    if (colorTag(color) == COLOR_TAG_INDEX) return translateIndex(destination, source, color);
    color = grayToPlain(color);
    return destination.BitsPerPixel <= 8 ? nearestIndexValue(destination, color) : color;
}

void copyPlayback(BitmapHandle& destination, const BitmapHandle& source) {
    constexpr uint32_t kFlags = BMF_PLAYBACK_A | BMF_PLAYBACK_B;
    destination.Flags = (destination.Flags & ~kFlags) | (source.Flags & kFlags);
    destination.PlaybackValue1 = source.PlaybackValue1;
    destination.PlaybackValue2 = source.PlaybackValue2;
    destination.PlaybackValue3 = source.PlaybackValue3;
    destination.PlaybackMode = source.PlaybackMode;
    destination.PlaybackColor1 = translateColor(destination, &source, source.PlaybackColor1);
    destination.PlaybackColor2 = translateColor(destination, &source, source.PlaybackColor2);
}

}  // namespace tnk

using namespace tnk;

extern "C" uint32_t TNK_CALL T_TranslateBitmapColor(const BitmapHandle* Destination, const BitmapHandle* Source,
                                                    uint32_t Color) {
    return Destination != nullptr ? translateColor(*Destination, Source, Color) : Color;
}

extern "C" int32_t TNK_CALL T_CopyPlaybackParms(BitmapHandle* Destination, const BitmapHandle* Source) {
    if (Destination == nullptr || Source == nullptr) return ERROR_INVALID_PARAMETER;
    copyPlayback(*Destination, *Source);
    return SUCCESS;
}
