// BMP files of palette indexes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "headers.h"
#include "pixels.h"

namespace tool {

// Of 1, 2, 4 or 8 bits, not packed; `headers` are the file's own. The decoder of other pictures loses entries of short
// headers and fills pixels without an entry from memory that nobody wrote: here they are black.
Pixels decodeIndexedBmp(const std::string& file, const std::vector<uint8_t>& data, const Headers& headers);

}  // namespace tool
