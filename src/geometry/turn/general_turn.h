// Turns of bitmaps by any angle.
#pragma once

#include "base/progress.h"
#include "base/result.h"
#include "geometry/turn/turn_map.h"
#include "geometry/turn/turn_rows.h"
#include "tnkrn.h"

namespace tnk {

struct GeneralTurnRequest {
    int32_t angle;  // clockwise, of the stored rows
    bool wholePicture;
    TurnFilter filter;
    uint32_t color;
    uint32_t view;  // of the result
};

// The smallest size that holds the turned picture.
Result wholeSize(const BitmapHandle& bitmap, int32_t angle, TurnSize& size);

// Turns a bitmap with storage about its centre. After a failure it is as before.
Result generalTurn(BitmapHandle& bitmap, const GeneralTurnRequest& request, ProgressRange range);

}  // namespace tnk
