// Rotation of bitmaps.
#pragma once

#include "base/progress.h"
#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// Turns a bitmap with storage and its overlays; see T_IntRotateBitmap.
Result rotateBitmap(BitmapHandle& bitmap, int32_t angle, uint32_t flags, uint32_t color, ProgressRange range = {});

}  // namespace tnk
