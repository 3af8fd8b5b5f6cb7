// What picture files say, in the words of the program.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tnkrn.h"

namespace tool {

// What goes along with a picture and says nothing about how its pixels stand in the file.
struct Metadata {
    std::vector<uint8_t> exif;     // from its byte order on
    std::vector<uint8_t> profile;  // of colours (ICC)
    std::string xmp;
    std::vector<std::pair<std::string, std::string>> texts;  // keys and what they say, UTF-8
    int gamma = 0;                                           // of the file, times 100,000; 0: not said
    int intent = -1;                                         // of sRGB colours, -1: not said that they are
};

struct Headers {
    const char* format = "";
    int width = 0;
    int height = 0;

    // The bitmap that a decoder fills: 1 to 8 bits with the palette, or the ramp of grays where pixels are no indexes; 16 (grays,
    // or five bits a channel), 24, 32, 48 or 64.
    int bits = 0;
    uint32_t order = ORDER_RGB;  // above 8 bits
    std::vector<PaletteEntry>
        palette;                 // at most 2^bits entries, indexes behind them are black; of colours a suggestion
    std::vector<uint8_t> alpha;  // of the first entries of the palette, the others are opaque

    // In the file.
    int bitsPerPixel = 0;
    int channels = 0;  // a palette counts as the colours it gives
    int bitsPerChannel = 0;
    bool indexed = false;  // the pixels are indexes into a palette; grays are not
    int xResolution = 0;   // dots per inch, 0 when the file has none
    int yResolution = 0;
    int orientation = 0;  // how the rows are to be seen: a view perspective, 0 when the file does not say
    Metadata metadata;
};

constexpr const char* kTruncated = "the file ends before the picture does";
constexpr int kMostPixels = 1000000;  // a side

// Nothing for values that make no sense.
void setDotsPerInch(Headers& headers, double x, double y);

// What a file says in pixels a metre.
void setResolution(Headers& headers, uint32_t xPerMetre, uint32_t yPerMetre);

// The palette of grays of 1 to 8 bits.
std::vector<PaletteEntry> grayRamp(int bits);
// Whether a palette is that one, as far as it goes.
bool isGrayRamp(const std::vector<PaletteEntry>& palette, int bits);

}  // namespace tool
