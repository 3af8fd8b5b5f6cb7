// Picture files into bitmaps.
#pragma once

#include <string>
#include <vector>

#include "bitmap.h"
#include "formats/decoder.h"

namespace tool {

struct Picture {
    Headers headers;
    Bitmap bitmap;
    // What the bitmap is read into as colours or bytes: the depth that keeps every pixel, where it is another one than the
    // bitmap's, and the palette. Pixels with alpha have no such depth, though the palette of their colours stays.
    int depth = 0;
    std::vector<PaletteEntry> palette;
};

// The bitmap is held as `request`, a memory request of the library, says.
Picture readPicture(const std::string& file, GrayAlpha grayAlpha, uint32_t request);

}  // namespace tool
