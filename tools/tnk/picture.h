// Picture files into bitmaps.
#pragma once

#include <string>
#include <vector>

#include "bitmap.h"
#include "headers.h"

namespace tool {

struct Picture {
    Headers headers;
    int channels = 0;  // of the file's pixels; a palette counts as the colours it gives
    int bitsPerChannel = 0;
    Bitmap bitmap;
    // What the bitmap is read into as colours or bytes: the depth that keeps every pixel, where it is another one than the
    // bitmap's, and the palette. Pixels with alpha have no such depth, though the palette of their colours stays.
    int depth = 0;
    std::vector<PaletteEntry> palette;
};

// What becomes of the alpha channel of a gray picture: no bitmap holds gray with alpha.
enum class GrayAlpha { kDrop, kAsColor };

// The bitmap is held as `request`, a memory request of the library, says.
Picture readPicture(const std::string& file, GrayAlpha grayAlpha, uint32_t request);

}  // namespace tool
