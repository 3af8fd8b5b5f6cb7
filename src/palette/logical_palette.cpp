// Logical palettes: the platform's palette objects, in the library's entry format.
#include <algorithm>

#include "base/entry_rule.h"
#include "base/scratch.h"
#include "palette/palette.h"
#include "platform/platform.h"

namespace tnk {
namespace {

constexpr EntryRule kSetPaletteEntry = {ERROR_NOT_ALLOCATED, 0, ERROR_STRUCT_SIZE};

uint32_t paletteSize(T_HANDLE palette) { return palette != 0 ? platform->paletteSize(palette) : 0; }

T_HANDLE makePalette(const PaletteEntry* entries, uint32_t count) {
    return entries != nullptr && count <= kMaxPaletteEntries ? platform->createPalette(entries, count) : 0;
}

// Entries from `first` on that the palette has, at most `count` and 256.
uint32_t clipCount(T_HANDLE palette, uint32_t first, uint32_t count) {
    const uint32_t size = paletteSize(palette);
    return first < size ? std::min({count, size - first, kMaxPaletteEntries}) : 0;
}

Result setBitmapPalette(BitmapHandle& bitmap, T_HANDLE handle) {
    const uint32_t size = paletteSize(handle);
    if (size < 2 || size > kMaxPaletteEntries) return ERROR_INVALID_PARAMETER;
    freeBitmapPalette(bitmap);
    auto* palette = static_cast<PaletteEntry*>(platform->allocateGlobal(size * sizeof(PaletteEntry), false));
    if (palette == nullptr) return FAILURE;
    if (platform->getPaletteEntries(handle, 0, size, palette) != size) {
        platform->freeGlobal(palette);
        return FAILURE;
    }
    bitmap.Palette = palette;
    bitmap.ColorCount = size;
    return SUCCESS;
}

}  // namespace

T_HANDLE logicalPaletteOf(const BitmapHandle& bitmap) { return makePalette(bitmap.Palette, bitmap.ColorCount); }

Result findPlatformNearest(const BitmapHandle& bitmap, uint32_t color, uint32_t& index) {
    index = 0;
    const bool usable = bitmap.StructSize == sizeof bitmap && bitmap.Palette != nullptr && bitmap.ColorCount != 0 &&
                        bitmap.ColorCount <= kMaxPaletteEntries;
    if (!usable) return SUCCESS;
    const T_HANDLE palette = logicalPaletteOf(bitmap);
    if (palette == 0) return FAILURE;
    // Platforms read meanings of their own into the top byte; without it they agree.
    index = platform->nearestPaletteIndex(palette, color & ~kColorTagMask);
    platform->deletePalette(palette);
    return SUCCESS;
}

uint32_t platformNearestIndex(const BitmapHandle& bitmap, uint32_t color) {
    uint32_t index;
    (void)findPlatformNearest(bitmap, color, index);  // 0 then
    return index;
}

}  // namespace tnk

using namespace tnk;

extern "C" T_HANDLE TNK_CALL T_CreatePalette(const PaletteEntry* Palette, uint32_t Count) {
    return makePalette(Palette, Count);
}

extern "C" T_HANDLE TNK_CALL T_CreateSystemPalette(void) {
    PaletteEntry entries[kMaxPaletteEntries];
    const uint32_t count = platform->screenPalette(entries);
    return count != 0 ? makePalette(entries, count) : 0;
}

extern "C" T_HANDLE TNK_CALL T_DupPalette(T_HANDLE Handle) {
    const uint32_t size = paletteSize(Handle);
    Scratch<PaletteEntry> entries;
    if (size == 0 || !entries.allocate(size)) return 0;
    if (platform->getPaletteEntries(Handle, 0, size, entries.data()) != size) return 0;
    return makePalette(entries.data(), size);
}

extern "C" T_HANDLE TNK_CALL T_DupBitmapPalette(const BitmapHandle* Bitmap) {
    if (Bitmap == nullptr || Bitmap->StructSize != sizeof(BitmapHandle)) return 0;
    return logicalPaletteOf(*Bitmap);
}

extern "C" int32_t TNK_CALL T_DeletePalette(T_HANDLE Handle) {
    return Handle != 0 && platform->deletePalette(Handle) ? SUCCESS : 0;
}

extern "C" uint32_t TNK_CALL T_GetPaletteSize(T_HANDLE Handle) { return paletteSize(Handle); }

extern "C" uint32_t TNK_CALL T_GetPaletteEntries(T_HANDLE Handle, uint32_t First, uint32_t Count,
                                                 PaletteEntry* Palette) {
    const uint32_t count = Palette != nullptr ? clipCount(Handle, First, Count) : 0;
    return count != 0 ? platform->getPaletteEntries(Handle, First, count, Palette) : 0;
}

extern "C" uint32_t TNK_CALL T_SetPaletteEntries(T_HANDLE Handle, uint32_t First, uint32_t Count,
                                                 const PaletteEntry* Palette) {
    const uint32_t count = Palette != nullptr ? clipCount(Handle, First, Count) : 0;
    return count != 0 ? platform->setPaletteEntries(Handle, First, count, Palette) : 0;
}

extern "C" int32_t TNK_CALL T_SetBitmapPalette(BitmapHandle* Bitmap, T_HANDLE Handle) {
    if (const Result entry = checkEntry(kSetPaletteEntry, Bitmap); !entry.ok()) return entry.code;
    return setBitmapPalette(*Bitmap, Handle).code;
}

extern "C" uint32_t TNK_CALL T_GetNearestPaletteIndex(const BitmapHandle* Bitmap, uint32_t Color) {
    return Bitmap != nullptr ? platformNearestIndex(*Bitmap, Color) : 0;
}
