// Pictures in black and white by a level of gray.
#pragma once

#include <cstdint>
#include <string>

#include "bitmap.h"

namespace tool {

// 0 to 255, or -1 for auto. Throws a usage failure.
int thresholdOf(const std::string& text);

// The level that parts the grays of a picture best: the variance between dark and light pixels is greatest (N. Otsu, "A
// threshold selection method from gray-level histograms", 1979). The middle for pictures of one gray.
int bestThreshold(Bitmap& bitmap, const std::string& file);

// 1 bit a pixel, white from `level` on, in plain memory, tiles or a file, as `request` says.
Bitmap applyThreshold(Bitmap& bitmap, const std::string& file, int level, uint32_t request);

}  // namespace tool
