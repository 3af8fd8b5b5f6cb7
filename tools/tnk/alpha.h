// Alpha channels of pictures, out to masks and in from them.
#pragma once

#include <cstdint>
#include <string>

#include "bitmap.h"

namespace tool {

// Makes the grays of a picture of the same size, as both are seen, the bitmap's alpha.
void putAlpha(Bitmap& bitmap, const std::string& file, const std::string& maskFile, uint32_t request);

}  // namespace tool
