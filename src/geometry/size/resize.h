// Bitmaps at another size.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "geometry/size/resized_rows.h"
#include "tnkrn.h"

namespace tnk {

// How T_SizeBitmap resizes a bitmap by RESIZE_* flags.
ResizeMethod methodOfSize(const BitmapHandle& bitmap, const Dimensions& size, uint32_t flags);

// Gives an allocated bitmap another size; see T_SizeBitmap. It stays as it was after a failure.
Result sizeBitmap(BitmapHandle& bitmap, Dimensions size, uint32_t flags);

}  // namespace tnk
