// Random palettes by any generator.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "reference/palette.h"
#include "tnkrn.h"

namespace tnk::test {

using Bytes = std::vector<uint8_t>;
using Rows = std::vector<Bytes>;
using Palette = std::vector<PaletteEntry>;
using Random = std::mt19937;

inline const ReferenceColor* asReference(const PaletteEntry* palette) {
    return reinterpret_cast<const ReferenceColor*>(palette);
}

inline uint32_t below(Random& random, uint32_t limit) { return static_cast<uint32_t>(random()) % limit; }

// Every third entry or so may not be chosen where `blocked`.
inline Palette randomPalette(Random& random, uint32_t count, bool gray = false, bool blocked = false) {
    Palette palette(count);
    for (PaletteEntry& entry : palette) {
        const uint32_t bits = random();
        entry = {static_cast<uint8_t>(bits), static_cast<uint8_t>(bits >> 8), static_cast<uint8_t>(bits >> 16), 0};
        if (gray) entry.Red = entry.Green = entry.Blue;
        if (blocked && below(random, 3) == 0) entry.Reserved = static_cast<uint8_t>(bits >> 24);
    }
    palette[0].Reserved = 0;
    return palette;
}

}  // namespace tnk::test
