// The palette that a bitmap carries, the palette map, and colours translated between bitmaps.
#include "color/palette.h"

#include <algorithm>
#include <cstring>

#include "bitmap/lifecycle.h"
#include "format/convert.h"
#include "platform/platform.h"
#include "system/entry_rule.h"

namespace tnk {
namespace {

constexpr EntryRule kGetColorsEntry = {ERROR_NOT_ALLOCATED, 0, ERROR_STRUCT_SIZE};
constexpr EntryRule kPutColorsEntry = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};

bool sameColor(const PaletteEntry& a, const PaletteEntry& b) {
    return a.Blue == b.Blue && a.Green == b.Green && a.Red == b.Red;
}

// Entries from `first` on that the bitmap has, at most `count`.
std::span<const PaletteEntry> paletteEntries(const BitmapHandle& bitmap, int32_t first, int32_t count) {
    if (bitmap.Palette == nullptr || first < 0 || count <= 0) return {};
    const int64_t end = std::min<int64_t>(int64_t{first} + count, bitmap.ColorCount);
    if (end <= first) return {};
    return {bitmap.Palette + first, static_cast<size_t>(end - first)};
}

void freePalette(BitmapHandle& bitmap) {
    if (bitmap.Palette != nullptr) platform->freeGlobal(bitmap.Palette);
    bitmap.Palette = nullptr;
}

Result putColors(BitmapHandle& bitmap, int32_t first, int32_t count, const PaletteEntry* entries) {
    if (entries == nullptr || first < 0 || count < 0 || bitmap.BitsPerPixel > 8) return ERROR_INVALID_PARAMETER;
    if (int64_t{first} + count > bitmap.ColorCount) return ERROR_INVALID_PARAMETER;
    if (bitmap.Palette == nullptr) {
        const uint64_t bytes = uint64_t{bitmap.ColorCount} * sizeof(PaletteEntry);
        if (bytes > SIZE_MAX) return FAILURE;
        bitmap.Palette = static_cast<PaletteEntry*>(platform->allocateGlobal(static_cast<size_t>(bytes), true));
        if (bitmap.Palette == nullptr) return FAILURE;
    }
    std::memmove(bitmap.Palette + first, entries, static_cast<size_t>(count) * sizeof(PaletteEntry));
    return SUCCESS;
}

// The index value of the entry that stands for a colour in a bitmap of 8 bits or fewer.
uint32_t nearestIndexValue(const BitmapHandle& bitmap, uint32_t color) {
    return COLOR_TAG_INDEX | (T_GetNearestPaletteIndex(&bitmap, color) & 0xFFFF);
}

uint32_t translateGrayLevel(const BitmapHandle& destination, uint32_t color) {
    if (!hasGrayTable(destination)) return color;
    const std::span<const PaletteEntry> table{destination.pLUT, std::min(destination.LUTLength, 65535u)};
    const uint32_t index = findNearest(table, colorRed(color), colorGreen(color), colorBlue(color));
    return COLOR_TAG_INDEX | (index & 0xFFFF);
}

uint32_t translateIndex(const BitmapHandle& destination, const BitmapHandle* source, uint32_t color) {
    const bool toPalette = destination.BitsPerPixel <= 8;
    const int32_t index = static_cast<int32_t>(color & 0xFF);
    PaletteEntry wanted;
    if (source == nullptr || source->BitsPerPixel > 8 || T_GetBitmapColors(source, index, 1, &wanted) != SUCCESS)
        return toPalette ? nearestIndexValue(destination, 0) : 0;
    if (!toPalette) return colorOf(wanted);
    PaletteEntry same;
    if (T_GetBitmapColors(&destination, index, 1, &same) == SUCCESS && sameColor(wanted, same)) return color;
    return nearestIndexValue(destination, colorOf(wanted));
}

uint32_t translateColor(const BitmapHandle& destination, const BitmapHandle* source, uint32_t color) {
    if (colorTag(color) == COLOR_TAG_GRAY && isGray(destination)) return translateGrayLevel(destination, color);
    if (colorTag(color) == COLOR_TAG_INDEX) return translateIndex(destination, source, color);
    color = grayToPlain(color);
    return destination.BitsPerPixel <= 8 ? nearestIndexValue(destination, color) : color;
}

}  // namespace

void readBitmapPalette(const BitmapHandle& bitmap, PaletteEntry (&palette)[kMaxPaletteEntries]) {
    const auto entries = paletteEntries(bitmap, 0, kMaxPaletteEntries);
    std::fill(std::copy(entries.begin(), entries.end(), palette), std::end(palette), PaletteEntry{});
}

bool buildPaletteMap(const PaletteEntry* source, uint32_t sourceCount, const PaletteEntry* destination,
                     uint32_t destinationCount, uint8_t* map) {
    if (source == nullptr && destination == nullptr) return true;
    // All four bytes count here: palettes that differ in the reserved byte alone are searched.
    const bool samePalette = source != nullptr && destination != nullptr && destinationCount >= sourceCount &&
                             std::memcmp(source, destination, sourceCount * sizeof(PaletteEntry)) == 0;
    bool identity = true;
    for (uint32_t i = 0; i < sourceCount; ++i) {
        const auto gray = static_cast<uint8_t>(i);
        const PaletteEntry color = source != nullptr ? source[i] : PaletteEntry{gray, gray, gray, 0};
        if (samePalette)
            map[i] = static_cast<uint8_t>(i);
        else if (destination == nullptr)
            map[i] = grayLevel(color.Red, color.Green, color.Blue);
        else
            map[i] =
                static_cast<uint8_t>(findNearest({destination, destinationCount}, color.Red, color.Green, color.Blue));
        identity &= map[i] == i;
    }
    return identity;
}

}  // namespace tnk

using namespace tnk;

extern "C" PaletteEntry* TNK_CALL T_CreateNewPalette(const PaletteEntry* Palette, uint32_t Count) {
    if (Palette == nullptr || Count == 0 || Count > kMaxPaletteEntries) return nullptr;
    auto* copy = static_cast<PaletteEntry*>(platform->allocateGlobal(Count * sizeof(PaletteEntry), false));
    if (copy != nullptr) std::copy_n(Palette, Count, copy);
    return copy;
}

extern "C" int32_t TNK_CALL T_GetBitmapColors(const BitmapHandle* Bitmap, int32_t First, int32_t Count,
                                              PaletteEntry* Palette) {
    if (const Result entry = checkEntry(kGetColorsEntry, Bitmap); !entry.ok()) return entry.code;
    if (Count <= 0 || Bitmap->BitsPerPixel > 8) return ERROR_INVALID_PARAMETER;
    return T_GetBitmapPaletteEntries(Bitmap, First, Count, Palette) == Count ? SUCCESS : ERROR_INVALID_PARAMETER;
}

extern "C" int32_t TNK_CALL T_PutBitmapColors(BitmapHandle* Bitmap, int32_t First, int32_t Count,
                                              const PaletteEntry* Palette) {
    if (const Result entry = checkEntry(kPutColorsEntry, Bitmap); !entry.ok()) return entry.code;
    return putColors(*Bitmap, First, Count, Palette).code;
}

extern "C" int32_t TNK_CALL T_GetBitmapPaletteEntries(const BitmapHandle* Bitmap, int32_t First, int32_t Count,
                                                      PaletteEntry* Palette) {
    if (Bitmap == nullptr || Palette == nullptr) return 0;
    const auto entries = paletteEntries(*Bitmap, First, Count);
    if (!entries.empty()) std::memmove(Palette, entries.data(), entries.size_bytes());
    return static_cast<int32_t>(entries.size());
}

extern "C" int32_t TNK_CALL T_SetBitmapNewPalette(BitmapHandle* Bitmap, const PaletteEntry* Palette, uint32_t Count) {
    if (Bitmap == nullptr) return 0;
    // The copy is made before the old array goes: the two may be the same.
    PaletteEntry* copy = T_CreateNewPalette(Palette, Count);
    freePalette(*Bitmap);
    if (Palette == nullptr) return SUCCESS;
    Bitmap->ColorCount = Count;
    Bitmap->Palette = copy;
    return copy != nullptr ? SUCCESS : 0;
}

extern "C" int32_t TNK_CALL T_CopyBitmapPalette(BitmapHandle* Destination, const BitmapHandle* Source) {
    if (Destination == nullptr || Source == nullptr) return ERROR_INVALID_PARAMETER;
    if (Destination->StructSize != sizeof(BitmapHandle) || Source->StructSize != sizeof(BitmapHandle))
        return ERROR_STRUCT_SIZE;
    const int32_t result = T_SetBitmapNewPalette(Destination, Source->Palette, Source->ColorCount);
    if (Source->Palette == nullptr) Destination->ColorCount = 0;
    return result;
}

extern "C" int32_t TNK_CALL T_CompareBitmapToPalette(const BitmapHandle* Bitmap, const PaletteEntry* Palette,
                                                     uint32_t Count) {
    if (Bitmap == nullptr || Palette == nullptr) return 0;
    const auto entries = paletteEntries(*Bitmap, 0, static_cast<int32_t>(std::min(Count, 0x7FFFFFFFu)));
    return std::equal(entries.begin(), entries.end(), Palette, sameColor) ? 1 : 0;
}

extern "C" uint32_t TNK_CALL T_TranslateBitmapColor(const BitmapHandle* Destination, const BitmapHandle* Source,
                                                    uint32_t Color) {
    return Destination != nullptr ? translateColor(*Destination, Source, Color) : Color;
}
