#include "indexed_bmp.h"

#include <algorithm>
#include <cstdlib>

#include "bytes.h"
#include "failure.h"
#include "file.h"

namespace tool {

Pixels decodeIndexedBmp(const std::string& file, const std::vector<uint8_t>& data, const Headers& headers) {
    const uint32_t bits = static_cast<uint32_t>(headers.bitsPerPixel);
    if (bits != 1 && bits != 2 && bits != 4 && bits != 8) throw fileFailure(file, "the file is damaged (bad depth)");
    Pixels out;
    out.width = headers.width;
    out.height = headers.height;
    out.channels = out.fileChannels = 3;
    out.bitsPerChannel = 8;
    const uint64_t bytes = uint64_t{out.rowBytes()} * static_cast<uint32_t>(out.height);
    if (bytes > kMaxBytes) throw fileFailure(file, kTooManyPixels);
    out.data.reset(static_cast<uint8_t*>(std::malloc(static_cast<size_t>(bytes))));
    if (!out.data) throw fileFailure(file, "not enough memory");

    std::vector<PaletteEntry> palette = headers.palette;
    palette.resize(256, PaletteEntry{0, 0, 0, 0});
    const size_t width = static_cast<size_t>(out.width), rowBytes = (width * bits + 31) / 32 * 4;
    uint8_t* pixel = out.data.get();
    for (int y = 0; y < out.height; y++) {
        const size_t stored = static_cast<size_t>(headers.topRowFirst ? y : out.height - 1 - y);
        const uint8_t* row = data.data() + headers.pixelsAt + stored * rowBytes;
        for (size_t x = 0; x < width; x++) {
            const size_t bit = x * bits;
            const PaletteEntry& entry = palette[row[bit / 8] >> (8 - bits - bit % 8) & ((1u << bits) - 1)];
            *pixel++ = entry.Red;
            *pixel++ = entry.Green;
            *pixel++ = entry.Blue;
        }
    }
    return out;
}

}  // namespace tool
