// Rotation of bitmaps.
#pragma once

#include "base/progress.h"
#include "base/result.h"
#include "geometry/turn/turn_map.h"
#include "tnkrn.h"

namespace tnk {

// Turns a bitmap with storage and its overlays; see T_IntRotateBitmap.
Result rotateBitmap(BitmapHandle& bitmap, int32_t angle, uint32_t flags, uint32_t color, ProgressRange range = {});
// The bitmap alone.
Result rotatePixels(BitmapHandle& bitmap, int32_t angle, uint32_t flags, uint32_t color, ProgressRange range = {});

// What a turn of the picture by `angle` is to its stored rows.
struct StoredTurn {
    int32_t angle;  // clockwise, 0 to 35999
    uint32_t view;  // afterwards
};
StoredTurn storedTurn(const BitmapHandle& bitmap, int32_t angle);
// And the size that these get by ROTATE_* flags.
Result sizeOfTurn(const BitmapHandle& bitmap, const StoredTurn& turn, uint32_t flags, TurnSize& size);

}  // namespace tnk
