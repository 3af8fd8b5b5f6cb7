// The window of significant bits of gray samples.
#include <algorithm>

#include "bitmap/lifecycle.h"
#include "format/convert.h"

namespace tnk {

GrayParams grayParams(int32_t bitsPerPixel, int32_t maxBits, int32_t lowBit, int32_t highBit) {
    const int64_t low = std::max(lowBit, 0);
    const int64_t high = highBit < 0 ? int64_t{bitsPerPixel} - 1 : highBit;
    // An empty window has no bits or fewer, and the mask 0; a shift of 32 or more leaves nothing of a sample.
    const int64_t bits = std::min<int64_t>(high - low + 1, maxBits);
    GrayParams params;
    params.bits = static_cast<int32_t>(bits);
    params.mask = bits <= 0 ? 0 : bits >= 32 ? 0xFFFFFFFF : (1u << bits) - 1;
    params.shift = static_cast<int32_t>(high - bits + 1);
    return params;
}

Result checkGrayTable(const BitmapHandle& bitmap) {
    if (!isGray(bitmap) || !hasGrayTable(bitmap)) return SUCCESS;
    const GrayParams window = grayParams(bitmap.BitsPerPixel, bitmap.BitsPerPixel, bitmap.LowBit, bitmap.HighBit);
    return bitmap.LUTLength == uint64_t{window.mask} + 1 ? SUCCESS : ERROR_LUT_LENGTH;
}

}  // namespace tnk

extern "C" int32_t TNK_CALL T_GetGrayParams(int32_t BitsPerPixel, int32_t MaxBits, int32_t LowBit, int32_t HighBit,
                                            int32_t* Bits, uint32_t* Mask, int32_t* Shift) {
    if (Mask == nullptr || Shift == nullptr) return ERROR_INVALID_PARAMETER;
    const tnk::GrayParams params = tnk::grayParams(BitsPerPixel, MaxBits, LowBit, HighBit);
    if (Bits != nullptr) *Bits = params.bits;
    *Mask = params.mask;
    *Shift = params.shift;
    return SUCCESS;
}
