// What whole copies and rectangles share.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "bitmap/lifecycle.h"
#include "tnkrn.h"

namespace tnk {

// The record of a copy with its storage, of the source's kind or, with a request, of that. A failure frees it.
Result makeCopyRecord(BitmapHandle& destination, BitmapHandle& source, int32_t width, int32_t height,
                      const uint32_t* request, Content content = Content::zero);

// The pixels alone, between two bitmaps with storage; see T_CopyBitmapData.
Result copyData(BitmapHandle& destination, BitmapHandle& source);

// A whole copy; see T_CopyBitmap, and with a request T_CopyBitmap2.
Result copyBitmap(BitmapHandle& destination, BitmapHandle& source, const uint32_t* request);

}  // namespace tnk
