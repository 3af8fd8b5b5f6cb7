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

// The kind of storage, and what it takes, in words.
std::string describeMemory(Bitmap& bitmap);

}  // namespace tool
