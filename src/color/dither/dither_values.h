// Rows of indexes mapped value by value: without errors and offsets each has one answer.
#pragma once

#include <cstdint>

#include "color/dither/dither_state.h"

namespace tnk {

// Whether the run's rows may be mapped so. A table that a caller sees is completed only by what pixels have.
bool mapsValues(const DitherState& state);

// Maps a row of such a run; the first one settles the answers.
void mapValues(DitherState& state, const DitherKernels& by, int32_t width, const uint8_t* input, uint8_t* output);

}  // namespace tnk
