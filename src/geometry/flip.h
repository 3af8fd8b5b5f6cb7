// Rows upside down and end to end, in place.
#pragma once

#include "base/progress.h"
#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// The stored rows of a bitmap with storage; see T_IntFlipBitmap and T_IntReverseBitmap.
Result flipRows(BitmapHandle& bitmap, ProgressRange range = {});
Result reverseRows(BitmapHandle& bitmap, ProgressRange range = {});

// As the picture is seen, with its overlays; see T_FlipBitmap and T_ReverseBitmap.
Result flipPicture(BitmapHandle& bitmap);
Result reversePicture(BitmapHandle& bitmap, ProgressRange range = {});

}  // namespace tnk
