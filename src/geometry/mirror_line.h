// Rows end to end.
#pragma once

#include <cstdint>

namespace tnk {

// Reverses the order of `width` pixels; see T_MirrorLine.
void mirrorPixels(uint8_t* row, uint32_t width, int32_t bits);

}  // namespace tnk
