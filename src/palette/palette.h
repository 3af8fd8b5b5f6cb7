// Palettes for the other families.
#pragma once

#include <cstdint>
#include <span>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

constexpr uint32_t kMaxPaletteEntries = 256;

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

// Writes `count` pixels of one colour value into a row in the bitmap's format. Packed pixels begin at the row's first
// bit; 1, 2 and 4 bits fill the last byte whole, other depths keep what lies after the last pixel. A new alpha
// channel is 0, as in T_ConvertBuffer.
Result fillPixelRun(const BitmapHandle& bitmap, uint8_t* row, int32_t count, uint32_t color);

constexpr bool sameColor(const PaletteEntry& a, const PaletteEntry& b) {
    return a.Blue == b.Blue && a.Green == b.Green && a.Red == b.Red;
}

// Parts of a colour value.
constexpr uint32_t kColorTagMask = 0xFF000000;
constexpr uint32_t colorTag(uint32_t color) { return color & kColorTagMask; }
constexpr uint8_t colorRed(uint32_t color) { return static_cast<uint8_t>(color); }
constexpr uint8_t colorGreen(uint32_t color) { return static_cast<uint8_t>(color >> 8); }
constexpr uint8_t colorBlue(uint32_t color) { return static_cast<uint8_t>(color >> 16); }
constexpr uint32_t colorOf(const PaletteEntry& entry) {
    return uint32_t{entry.Red} | uint32_t{entry.Green} << 8 | uint32_t{entry.Blue} << 16;
}
// The plain colour of a gray level value (COLOR_TAG_GRAY); other values stay.
constexpr uint32_t grayToPlain(uint32_t color) {
    return colorTag(color) == COLOR_TAG_GRAY ? colorGreen(color) * 0x010101u : color;
}

}  // namespace tnk
