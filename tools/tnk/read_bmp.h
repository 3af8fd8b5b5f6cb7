// BMP files, through the library's device-independent bitmaps.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "headers.h"
#include "pixels.h"

namespace tool {

// Throws a Failure for headers that make no sense and for files that end before plain rows do.
Headers readBmpHeaders(const std::string& file, const std::vector<uint8_t>& data);

// Throws one for pictures that the library does not take.
Pixels decodeBmp(const std::string& file, std::vector<uint8_t> data);

}  // namespace tool
