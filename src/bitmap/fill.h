// Whole bitmaps of one colour.
#pragma once

#include <cstdint>

#include "base/progress.h"
#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// See T_ClearBitmap and T_FillBitmap; the bitmap has storage. Reports in the range.
Result clearBitmap(BitmapHandle& bitmap, ProgressRange range = {});
Result fillBitmap(BitmapHandle& bitmap, uint32_t color, ProgressRange range = {});

}  // namespace tnk
