// The palette that a bitmap carries, and the palette map.
#include "palette/palette.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/entry_rule.h"
#include "base/pixel_values.h"
#include "platform/platform.h"

namespace tnk {
namespace {

constexpr EntryRule kGetColorsEntry = {ERROR_NOT_ALLOCATED, 0, ERROR_STRUCT_SIZE};
constexpr EntryRule kPutColorsEntry = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};

// The number that the bitmap has of them; 0 without a place to put them.
int32_t getColors(const BitmapHandle& bitmap, int32_t first, int32_t count, PaletteEntry* colors) {
    if (colors == nullptr) return 0;
    const auto entries = paletteEntries(bitmap, first, count);
    if (!entries.empty()) std::memmove(colors, entries.data(), entries.size_bytes());
    return static_cast<int32_t>(entries.size());
}

Result putColors(BitmapHandle& bitmap, int32_t first, int32_t count, const PaletteEntry* entries) {
    if (entries == nullptr || first < 0 || count < 0 || bitmap.BitsPerPixel > 8) return ERROR_INVALID_PARAMETER;
    if (int64_t{first} + count > bitmap.ColorCount) return ERROR_INVALID_PARAMETER;
    if (bitmap.Palette == nullptr) {
        // The count may be what a call that failed has left.
        if (bitmap.BitsPerPixel < 0 || bitmap.ColorCount > 1u << bitmap.BitsPerPixel) return ERROR_INVALID_PARAMETER;
        const size_t bytes = bitmap.ColorCount * sizeof(PaletteEntry);
        bitmap.Palette = static_cast<PaletteEntry*>(platform->allocateGlobal(bytes, true));
        if (bitmap.Palette == nullptr) return FAILURE;
    }
    std::memmove(bitmap.Palette + first, entries, static_cast<size_t>(count) * sizeof(PaletteEntry));
    return SUCCESS;
}

}  // namespace

std::span<const PaletteEntry> paletteEntries(const BitmapHandle& bitmap, int32_t first, int32_t count) {
    if (bitmap.Palette == nullptr || first < 0 || count <= 0) return {};
    const int64_t end = std::min<int64_t>(int64_t{first} + count, paletteLength(bitmap));
    if (end <= first) return {};
    return {bitmap.Palette + first, static_cast<size_t>(end - first)};
}

PaletteEntry* newPalette(const PaletteEntry* entries, uint32_t count) {
    if (entries == nullptr || count == 0 || count > kMaxPaletteEntries) return nullptr;
    auto* copy = static_cast<PaletteEntry*>(platform->allocateGlobal(count * sizeof(PaletteEntry), false));
    if (copy != nullptr) std::copy_n(entries, count, copy);
    return copy;
}

void freeBitmapPalette(BitmapHandle& bitmap) {
    if (bitmap.Palette != nullptr) platform->freeGlobal(bitmap.Palette);
    bitmap.Palette = nullptr;
}

Result replacePalette(BitmapHandle& bitmap, const PaletteEntry* entries, uint32_t count) {
    // The copy is made before the old array goes: the two may be the same.
    PaletteEntry* copy = newPalette(entries, count);
    freeBitmapPalette(bitmap);
    if (entries == nullptr) return SUCCESS;
    bitmap.ColorCount = count;
    bitmap.Palette = copy;
    return copy != nullptr ? SUCCESS : 0;
}

Result copyPalette(BitmapHandle& destination, const BitmapHandle& source) {
    const Result result = replacePalette(destination, source.Palette, source.ColorCount);
    if (source.Palette == nullptr) destination.ColorCount = 0;
    return result;
}

void readBitmapPalette(const BitmapHandle& bitmap, PaletteEntry (&palette)[kMaxPaletteEntries]) {
    const auto entries = paletteEntries(bitmap, 0, kMaxPaletteEntries);
    std::fill(std::copy(entries.begin(), entries.end(), palette), std::end(palette), PaletteEntry{});
}

bool buildPaletteMap(const PaletteEntry* source, uint32_t sourceCount, const PaletteEntry* destination,
                     uint32_t destinationCount, uint8_t* map) {
    assert(sourceCount <= kMaxPaletteEntries && destinationCount <= kMaxPaletteEntries);
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
    return newPalette(Palette, Count);
}

extern "C" int32_t TNK_CALL T_GetBitmapColors(const BitmapHandle* Bitmap, int32_t First, int32_t Count,
                                              PaletteEntry* Palette) {
    if (const Result entry = checkEntry(kGetColorsEntry, Bitmap); !entry.ok()) return entry.code;
    if (Count <= 0 || Bitmap->BitsPerPixel > 8) return ERROR_INVALID_PARAMETER;
    return getColors(*Bitmap, First, Count, Palette) == Count ? SUCCESS : ERROR_INVALID_PARAMETER;
}

extern "C" int32_t TNK_CALL T_PutBitmapColors(BitmapHandle* Bitmap, int32_t First, int32_t Count,
                                              const PaletteEntry* Palette) {
    if (const Result entry = checkEntry(kPutColorsEntry, Bitmap); !entry.ok()) return entry.code;
    return putColors(*Bitmap, First, Count, Palette).code;
}

extern "C" int32_t TNK_CALL T_GetBitmapPaletteEntries(const BitmapHandle* Bitmap, int32_t First, int32_t Count,
                                                      PaletteEntry* Palette) {
    if (Bitmap == nullptr) return 0;
    return getColors(*Bitmap, First, Count, Palette);
}

extern "C" int32_t TNK_CALL T_SetBitmapNewPalette(BitmapHandle* Bitmap, const PaletteEntry* Palette, uint32_t Count) {
    return Bitmap != nullptr ? replacePalette(*Bitmap, Palette, Count).code : 0;
}

extern "C" int32_t TNK_CALL T_CopyBitmapPalette(BitmapHandle* Destination, const BitmapHandle* Source) {
    if (Destination == nullptr || Source == nullptr) return ERROR_INVALID_PARAMETER;
    if (Destination->StructSize != sizeof(BitmapHandle) || Source->StructSize != sizeof(BitmapHandle))
        return ERROR_STRUCT_SIZE;
    return copyPalette(*Destination, *Source).code;
}

extern "C" int32_t TNK_CALL T_CompareBitmapToPalette(const BitmapHandle* Bitmap, const PaletteEntry* Palette,
                                                     uint32_t Count) {
    if (Bitmap == nullptr || Palette == nullptr) return 0;
    const auto entries = paletteEntries(*Bitmap, 0, static_cast<int32_t>(std::min(Count, 0x7FFFFFFFu)));
    return std::equal(entries.begin(), entries.end(), Palette, sameColor) ? 1 : 0;
}
