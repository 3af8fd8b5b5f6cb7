// Whole bitmaps as gray, for the other families of the room.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// Whether the pixels are plain unsigned levels of the depth: 8 bits through the gray ramp, 12 or 16 bits of gray samples.
bool hasGrayForm(const BitmapHandle& bitmap, int32_t bits);

// Makes `destination`, a record that holds nothing, a gray copy of 8, 12 or 16 bits; see T_CreateGrayScaleBitmap.
Result createGray(BitmapHandle& destination, BitmapHandle& source, int32_t bits);

}  // namespace tnk
