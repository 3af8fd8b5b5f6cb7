// How many colours a bitmap has.
#pragma once

#include <cstdint>
#include <string>

#include "bitmap.h"

namespace tool {

// Alpha aside; of channels of 16 bits the high bytes count.
uint32_t colorCount(Bitmap& bitmap, const std::string& file);

// A count in words.
std::string describeCount(const Bitmap& bitmap, uint32_t count);

}  // namespace tool
