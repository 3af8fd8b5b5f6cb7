// Overlays that follow their bitmap: what hooks call, see bitmap/hooks.h.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

Result offsetOverlays(BitmapHandle& bitmap, int32_t dx, int32_t dy);
Result flipOverlays(BitmapHandle& bitmap);
Result reverseOverlays(BitmapHandle& bitmap);
Result resizeOverlays(BitmapHandle& bitmap, int32_t visibleWidth, int32_t visibleHeight, uint32_t flags);
Result rotateOverlays(BitmapHandle& bitmap, int32_t angle, uint32_t flags);
Result shearOverlays(BitmapHandle& bitmap, int32_t angle, bool horizontal);

}  // namespace tnk
