// Counting of distinct colours.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// Counts the colours inside the bitmap's region, or of all of it. With `colors` it stops at the first one that the array,
// of *count entries, has no room for; see T_GetBitmapColorCountExt.
Result countColors(BitmapHandle& bitmap, PaletteEntry* colors, uint32_t* count);

}  // namespace tnk
