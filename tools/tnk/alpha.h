// Masks of pictures: their alpha channels, and pictures that become parts of others.
#pragma once

#include <cstdint>
#include <string>

#include "bitmap.h"
#include "picture.h"

namespace tool {

// A picture of the same size as the bitmap of `file`, as both are seen; upright.
Picture readMask(const std::string& maskFile, const Bitmap& bitmap, const std::string& file, uint32_t request);

// Makes the grays of a picture of the same size, as both are seen, the bitmap's alpha.
void putAlpha(Bitmap& bitmap, const std::string& file, const std::string& maskFile, uint32_t request);

bool hasAlpha(const Bitmap& bitmap);

// Lays a bitmap with alpha over a colour: it has none then.
void layOver(Bitmap& bitmap, const std::string& file, uint32_t color, uint32_t request);

}  // namespace tool
