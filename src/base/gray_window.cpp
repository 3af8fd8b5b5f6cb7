// The export that tells windows of gray samples.
#include "base/sample_rules.h"

extern "C" int32_t TNK_CALL T_GetGrayParams(int32_t BitsPerPixel, int32_t MaxBits, int32_t LowBit, int32_t HighBit,
                                            int32_t* Bits, uint32_t* Mask, int32_t* Shift) {
    if (Mask == nullptr || Shift == nullptr) return ERROR_INVALID_PARAMETER;
    const tnk::GrayParams params = tnk::grayParams(BitsPerPixel, MaxBits, LowBit, HighBit);
    if (Bits != nullptr) *Bits = params.bits;
    *Mask = params.mask;
    *Shift = params.shift;
    return SUCCESS;
}
