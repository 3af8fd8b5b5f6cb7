// Portable any-maps, P1 to P6.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "pixels.h"

namespace tool {

Pixels decodePnm(const std::string& file, const std::vector<uint8_t>& data);

}  // namespace tool
