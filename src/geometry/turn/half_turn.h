// Exact half turns of bitmaps.
#pragma once

#include "base/progress.h"
#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// Turns the stored rows of a bitmap with storage and gives it the view code. After a failure it is as before. Pixels in
// memory turn where they lie, others into storage that takes the place of theirs: a disk that fails halfway could not put
// rows back.
Result halfTurn(BitmapHandle& bitmap, uint32_t view, ProgressRange range);

}  // namespace tnk
