// Picture files into bitmaps.
#pragma once

#include <string>
#include <vector>

#include "bitmap.h"
#include "formats/decoder.h"

namespace tool {

struct Picture {
    Headers headers;
    Bitmap bitmap;  // in the file's own depth
    // In which every pixel has its colour, alpha aside; none of pictures that have no such palette.
    std::vector<PaletteEntry> palette;
};

// The bitmap is held as `request`, a memory request of the library, says.
Picture readPicture(const std::string& file, GrayAlpha grayAlpha, uint32_t request);

// What can be blended: bytes of gray for grays of fewer bits, and colours for palettes (with alpha, where entries have it) and
// for five bits a channel. Others stay.
void widen(Bitmap& bitmap, const Headers& headers, const std::string& file, uint32_t request);

// Both.
Picture readWide(const std::string& file, GrayAlpha grayAlpha, uint32_t request);

}  // namespace tool
