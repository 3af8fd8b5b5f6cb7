// Exact nearest-entry search for whole rows: equal to findNearest for every colour, ties included. A grid of cells
// over colour space holds, for each cell touched so far, the entries that can win inside it.
#pragma once

#include <cstdint>
#include <span>

#include "tnkrn.h"

namespace tnk {

class NearestMatcher {
  public:
    NearestMatcher() = default;
    ~NearestMatcher();
    NearestMatcher(const NearestMatcher&) = delete;
    NearestMatcher& operator=(const NearestMatcher&) = delete;

    // Copies the palette (1 to 256 entries). False when memory ran out.
    [[nodiscard]] bool prepare(std::span<const PaletteEntry> palette);

    uint8_t find(uint8_t red, uint8_t green, uint8_t blue);

    // `stride` bytes a pixel (3, 4, 6 or 8); the offsets name the byte of each channel.
    void findRow(const uint8_t* pixels, uint32_t stride, uint32_t red, uint32_t green, uint32_t blue, uint8_t* indexes,
                 int32_t width);

  private:
    struct Grid;
    Grid* grid_ = nullptr;
};

}  // namespace tnk
