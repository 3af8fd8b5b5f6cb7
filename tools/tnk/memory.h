// Where bitmaps are held while the program works on them.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "bitmap.h"

namespace tool {

constexpr std::array<const char*, 5> kMemoryNames = {"plain", "tiled", "disk", "compressed", "super"};

// The request for bitmaps of a kind; depths that the kind does not hold go to plain memory. For tiles it also sets the
// thread's thresholds, so that whatever the library makes from then on is tiled too.
uint32_t memoryRequest(const std::string& kind);

// A copy of `source` held as requested.
Bitmap copyTo(uint32_t request, Bitmap& source, const std::string& file);

// Where a bitmap is, and what it takes.
struct MemoryUse {
    const char* kind = "";  // a name of a kind of memory; empty: nowhere
    uint64_t bytes = 0;
    // Of tiles.
    uint32_t tiles = 0;
    uint32_t tileBytes = 0;
    uint32_t tilesInMemory = 0;
    uint32_t mostBytesInMemory = 0;
    uint32_t leastTilesInMemory = 0;
};
MemoryUse memoryUse(Bitmap& bitmap);

// The same in words.
std::string describeMemory(Bitmap& bitmap);

}  // namespace tool
