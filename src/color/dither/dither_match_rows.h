// Rows matched by table without offsets.
#pragma once

#include <cstdint>

#include "color/dither/color_fetch.h"
#include "color/dither/dither_state.h"

namespace tnk {

// Pixels that rows of methods without errors take at a time: enough for what a core prepares to cost little, and the
// first-level cache holds their channels or keys.
constexpr int32_t kVectorBlock = 2048;

// Maps a row to the indexes of its 15-bit colours.
void matchRow(DitherState& state, const ColorFetch& source, int32_t width, const uint8_t* input, uint8_t* output);

}  // namespace tnk
