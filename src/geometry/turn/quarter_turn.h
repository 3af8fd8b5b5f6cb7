// Exact quarter turns of bitmaps.
#pragma once

#include "base/progress.h"
#include "base/result.h"
#include "geometry/replacement.h"
#include "tnkrn.h"

namespace tnk {

// Turns the stored rows of a bitmap with storage, exchanges its resolutions and gives it the view code. After a failure
// it is as before.
Result quarterTurn(BitmapHandle& bitmap, bool clockwise, uint32_t view, ProgressRange range);
// The same into what is to take the bitmap's place.
Result turnQuarterInto(Replacement& made, BitmapHandle& source, bool clockwise, uint32_t view, ProgressRange range);

}  // namespace tnk
