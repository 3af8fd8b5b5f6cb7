// How a picture lies, in the words of EXIF.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tool {

// The orientation tag, 1 to 8; 0 where there is none, or none that is sound.
int exifOrientation(const uint8_t* data, size_t bytes);

// The data that has this tag alone.
std::vector<uint8_t> exifOf(int orientation);

}  // namespace tool
