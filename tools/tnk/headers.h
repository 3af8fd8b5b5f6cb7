// What the headers of a picture file say beyond its pixels, and whether the file is whole: the decoders fill in what
// is missing without a word.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tnkrn.h"

namespace tool {

struct Headers {
    const char* format = "";
    int bitsPerPixel = 0;  // of the file, 0 where the pixels say it (JPEG, PNM of more than 1 bit)
    int xResolution = 0;   // dots per inch, 0 when the file has none
    int yResolution = 0;
    int orientation = 0;                // how the rows are to be seen: a view perspective, 0 when the file does not say
    std::vector<PaletteEntry> palette;  // of pictures that have one, and the one that a PNG of colours suggests
    bool indexed = false;               // the pixels are indexes into the palette
    bool transparent = false;           // some colours or entries of a PNG stand for transparent pixels
    bool fiveBitChannels = false;       // of a BMP of 16 bits
};

enum class FileKind { kUnknown, kPng, kJpeg, kBmp, kPnm };

FileKind kindOf(const std::vector<uint8_t>& data);

constexpr const char* kTruncated = "the file ends before the picture does";

// What a file says in pixels a metre; nothing for values that make no sense.
void setResolution(Headers& headers, uint32_t xPerMetre, uint32_t yPerMetre);

// Throw a Failure when the file ends early or is damaged.
Headers readPngHeaders(const std::string& file, const std::vector<uint8_t>& data);
Headers readJpegHeaders(const std::string& file, const std::vector<uint8_t>& data);

}  // namespace tool
