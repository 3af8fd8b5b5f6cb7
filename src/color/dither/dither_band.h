// Error diffusion of many rows at once.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "color/dither/color_fetch.h"
#include "color/dither/dither_state.h"
#include "kernels/dither/dither_kernels.h"

namespace tnk {

// ditherRows with kernels of the caller's choice; null: scalar code.
Result ditherRowsBy(const DitherKernels* kernels, BitmapHandle& bitmap, uint8_t* const* input, uint8_t* const* output,
                    int32_t count);

// Steps and columns of a band are 32-bit numbers.
constexpr int32_t kMaxBandWidth = INT32_MAX - 2 * kBandBlock;

// Dithers the next kernels.bandRows rows, `width` pixels each (at most kMaxBandWidth), of a run that diffuses errors.
// False, with nothing done, when memory ran out.
bool ditherBand(const DitherKernels& kernels, DitherState& state, const ColorFetch& source, int32_t width,
                uint8_t* const* input, uint8_t* const* output);

}  // namespace tnk
