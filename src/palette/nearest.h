// Exact nearest-entry search for whole rows: equal to findNearest for every colour, ties included.
#pragma once

#include <cstdint>
#include <span>

#include "tnkrn.h"

namespace tnk {

constexpr uint32_t squaredDistance(const PaletteEntry& entry, int32_t red, int32_t green, int32_t blue) {
    const int32_t redApart = entry.Red - red;
    const int32_t greenApart = entry.Green - green;
    const int32_t blueApart = entry.Blue - blue;
    return static_cast<uint32_t>(redApart * redApart + greenApart * greenApart + blueApart * blueApart);
}

// The parts of findNearest, for lists of entries that stand for a palette. The search without the shortcuts for black
// and white; the squared distance of each entry, at most 256, with the least as the result; the entries that are, at
// some colour between two corners, as near as `rival` or nearer, in their order, with their number as the result.
uint32_t searchPalette(std::span<const PaletteEntry> palette, const PaletteEntry& color);
uint32_t findDistances(std::span<const PaletteEntry> palette, const PaletteEntry& color, uint32_t* distances);
uint32_t keepContenders(std::span<const PaletteEntry> palette, const PaletteEntry& rival, const PaletteEntry& low,
                        const PaletteEntry& high, PaletteEntry* kept);

class NearestMatcher {
  public:
    NearestMatcher() = default;
    ~NearestMatcher();
    NearestMatcher(const NearestMatcher&) = delete;
    NearestMatcher& operator=(const NearestMatcher&) = delete;

    // Copies the palette (1 to 256 entries). False when memory ran out.
    [[nodiscard]] bool prepare(std::span<const PaletteEntry> palette);

    uint8_t find(uint8_t red, uint8_t green, uint8_t blue);

    // Of memory, with room that is not used yet.
    size_t bytes() const;

    // `stride` bytes a pixel (3, 4, 6 or 8); the offsets name the byte of each channel. `indexes` may be `pixels`.
    void findRow(const uint8_t* pixels, uint32_t stride, uint32_t red, uint32_t green, uint32_t blue, uint8_t* indexes,
                 int32_t width);

  private:
    struct Grid;
    Grid* grid_ = nullptr;
};

}  // namespace tnk
