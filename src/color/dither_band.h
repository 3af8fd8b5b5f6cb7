// Error diffusion of many rows at once.
#pragma once

#include <cstdint>

#include "color/dither_fetch.h"
#include "color/dither_state.h"

namespace tnk {

// Rows that a band takes on this machine; 0 when the run's rows go one by one.
int32_t ditherBandRows(const DitherState& state);

// Dithers the next ditherBandRows rows, `width` pixels each. False, with nothing done, when memory ran out.
bool ditherBand(DitherState& state, const DitherSource& source, int32_t width, uint8_t* const* input,
                uint8_t* const* output);

}  // namespace tnk
