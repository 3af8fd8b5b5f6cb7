#include "color/dither/dither_pack.h"

#include <cstring>

#include "convert/packed_pixels.h"

namespace tnk {

void packIndexes(const DitherKernels* kernels, const uint8_t* indexes, uint32_t bits, int32_t count, uint8_t* row) {
    const auto pack = kernels == nullptr ? nullptr
                      : bits == 1        ? kernels->packBits
                      : bits == 4        ? kernels->packFours
                                         : nullptr;
    if (pack != nullptr) {
        const int32_t done = pack(indexes, count, row);
        indexes += done;
        row += static_cast<uint32_t>(done) / 8 * bits;
        count -= done;
    }
    const auto pixels = static_cast<size_t>(count);
    if (bits == 8) std::memcpy(row, indexes, pixels);
    if (bits < 1 || bits > 7) return;
    const size_t whole = pixels / 8 * 8;
    if (whole > 0) packPixels(bits, indexes, row, whole);
    if (whole == pixels) return;
    uint8_t packed[7];
    const size_t restBits = (pixels - whole) * bits;
    packPixels(bits, indexes + whole, packed, pixels - whole);
    row += whole / 8 * bits;
    std::memcpy(row, packed, restBits / 8);
    if (restBits % 8 != 0) {
        uint8_t& last = row[restBits / 8];
        last = static_cast<uint8_t>((last & 0xFF >> restBits % 8) | packed[restBits / 8]);
    }
}

}  // namespace tnk
