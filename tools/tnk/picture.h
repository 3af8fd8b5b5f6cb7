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
    int pages = 1;  // of the file
};

// The bitmap is held as `request`, a memory request of the library, says.
Picture readPicture(const std::string& file, GrayAlpha grayAlpha, uint32_t request, int page = 0);

// What the channels of a file are.
std::vector<std::string> channelNames(int channels);

// How many pictures are in a file; of standard input the first one alone can be had.
int pagesIn(const std::string& file);

// What can be blended: bytes of gray for grays of fewer bits, and colours for palettes (with alpha, where entries have it) and
// for five bits a channel. Others stay.
void widen(Bitmap& bitmap, const Headers& headers, const std::string& file, uint32_t request);

// Both.
Picture readWide(const std::string& file, GrayAlpha grayAlpha, uint32_t request);

}  // namespace tool
