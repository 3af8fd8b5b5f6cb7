// Palettes for the other families.
#pragma once

#include <cstdint>
#include <span>

#include "system/result.h"
#include "tnkrn.h"

namespace tnk {

constexpr uint32_t kMaxPaletteEntries = 256;

// The fixed palette of 1-8 bits; the web palette; 2^bits entries and 256 entries.
const PaletteEntry* fixedPalette(int32_t bits);
const PaletteEntry* webPalette();

// Fills a ramp from black to white; 2 entries or more.
void fillGrayRamp(std::span<PaletteEntry> palette);

// The nearest entry by the library's rule (T_FindPaletteIndex).
uint32_t findNearest(std::span<const PaletteEntry> palette, uint8_t red, uint8_t green, uint8_t blue);

// A bitmap's palette as 256 entries: the entries that it has, the others black.
void readBitmapPalette(const BitmapHandle& bitmap, PaletteEntry (&palette)[kMaxPaletteEntries]);

// Maps each source entry to a destination index, or to a gray level without a destination; without a source the
// entries are the gray levels 0 .. count - 1. Writes one byte a source entry; returns whether it is the identity.
bool buildPaletteMap(const PaletteEntry* source, uint32_t sourceCount, const PaletteEntry* destination,
                     uint32_t destinationCount, uint8_t* map);

// Writes `count` pixels of one colour value into a row in the bitmap's format.
Result fillPixelRun(const BitmapHandle& bitmap, uint8_t* row, int32_t count, uint32_t color);

}  // namespace tnk
