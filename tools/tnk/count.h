// How many colours a bitmap has.
#pragma once

#include <string>

#include "bitmap.h"

namespace tool {

// In words. Alpha aside; of channels of 16 bits the high bytes count.
std::string countColors(Bitmap& bitmap, const std::string& file);

}  // namespace tool
