// Palettes for the other families.
#pragma once

#include <cstdint>
#include <span>

#include "base/color_value.h"
#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// The fixed palette of 1-8 bits; the web palette; 2^bits entries and 256 entries.
const PaletteEntry* fixedPalette(int32_t bits);
const PaletteEntry* webPalette();

// Fills a ramp from black to white; 2 entries or more.
void fillGrayRamp(std::span<PaletteEntry> palette);

// New global blocks: a copy of `count` entries, and a ramp of 2^bits. Null without memory, and for what T_CreateNewPalette
// and T_CreateGrayPalette refuse.
PaletteEntry* newPalette(const PaletteEntry* entries, uint32_t count);
PaletteEntry* newGrayPalette(uint32_t bits);

// Attach the fixed palette of ColorCount entries, or the ramp of the depth, to a bitmap without a palette; see
// T_CreateBitmapFixedPalette and T_CreateBitmapGrayPalette.
Result attachFixedPalette(BitmapHandle& bitmap);
Result attachGrayPalette(BitmapHandle& bitmap);

// Entries from `first` on that the bitmap has, at most `count`.
std::span<const PaletteEntry> paletteEntries(const BitmapHandle& bitmap, int32_t first, int32_t count);
// Releases the palette and clears its field; nothing when there is none.
void freeBitmapPalette(BitmapHandle& bitmap);

// Puts a copy of the entries in the place of the bitmap's palette, or nothing for a null array; 0 when the copy cannot be
// made, and the bitmap then has no palette. The entries may be the bitmap's own.
Result replacePalette(BitmapHandle& bitmap, const PaletteEntry* entries, uint32_t count);
// Gives `destination` a copy of the source's palette in the place of its own.
Result copyPalette(BitmapHandle& destination, const BitmapHandle& source);

// GRAYSCALE_*, by the palette alone.
int32_t classifyPalette(const PaletteEntry* palette, uint32_t count);

// A palette object of the platform with the bitmap's entries; 0 without any.
T_HANDLE logicalPaletteOf(const BitmapHandle& bitmap);
// The entry that the platform finds nearest to a colour, whatever its tag; 0 without a palette.
uint32_t platformNearestIndex(const BitmapHandle& bitmap, uint32_t color);
// The same where a wrong answer would be written into pixels: -1 when the palette is there and the platform has no room
// for it.
Result findPlatformNearest(const BitmapHandle& bitmap, uint32_t color, uint32_t& index);

// A colour value of `source`, which may be null, for `destination`; see T_TranslateBitmapColor.
uint32_t translateColor(const BitmapHandle& destination, const BitmapHandle* source, uint32_t color);
// The values of animations, colours translated; see T_CopyPlaybackParms.
void copyPlayback(BitmapHandle& destination, const BitmapHandle& source);

// The nearest entry by the library's rule (T_FindPaletteIndex).
uint32_t findNearest(std::span<const PaletteEntry> palette, uint8_t red, uint8_t green, uint8_t blue);

// Entries of the array that a bitmap has. No palette has more than 256, whatever a failed call or the caller has left in
// the count.
inline uint32_t paletteLength(const BitmapHandle& bitmap) {
    return bitmap.Palette == nullptr                ? 0
           : bitmap.ColorCount < kMaxPaletteEntries ? bitmap.ColorCount
                                                    : kMaxPaletteEntries;
}

// A bitmap's palette as 256 entries: the entries that it has, the others black.
void readBitmapPalette(const BitmapHandle& bitmap, PaletteEntry (&palette)[kMaxPaletteEntries]);

// Maps each source entry to a destination index, or to a gray level without a destination; without a source the
// entries are the gray levels 0 .. count - 1. Writes one byte a source entry; returns whether it is the identity.
bool buildPaletteMap(const PaletteEntry* source, uint32_t sourceCount, const PaletteEntry* destination,
                     uint32_t destinationCount, uint8_t* map);

}  // namespace tnk
