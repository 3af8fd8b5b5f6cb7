// Which way a rotation goes.
#include "geometry/turn/rotate.h"

#include <cassert>

#include "base/entry_rule.h"
#include "bitmap/hooks.h"
#include "geometry/sine.h"
#include "geometry/turn/general_turn.h"
#include "geometry/turn/half_turn.h"
#include "geometry/turn/quarter_turn.h"
#include "geometry/view.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kRotateRule = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE, true};
constexpr EntryRule kIntRule = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, 0};

// By view code: quarter turns clockwise that bring the stored rows, upside down for mirrored views, into sight.
constexpr int32_t kQuarters[9] = {0, 0, 2, 2, 0, 1, 1, 3, 3};

Result reportAll(ProgressRange range) {
    Progress progress = statusProgress(1, range);
    TRY(progress.begin());
    return progress.finish();
}

TurnFilter filterOf(uint32_t flags, int32_t angle) {
    // Pixels that only change places stay what they are.
    if (angle % kQuarterTurn == 0) return TurnFilter::nearest;
    if ((flags & ROTATE_BICUBIC) != 0) return TurnFilter::bicubic;
    return (flags & ROTATE_RESAMPLE) != 0 ? TurnFilter::linear : TurnFilter::nearest;
}

// `angle` is that of the stored rows, clockwise.
Result turnRows(BitmapHandle& bitmap, int32_t angle, uint32_t view, uint32_t flags, uint32_t color,
                ProgressRange range) {
    const bool resizes = (flags & ROTATE_RESIZE) != 0;
    if ((flags & ROTATE_NOFASTPATH) == 0) {
        if (angle == 0) {
            TRY(reportAll(range));
            bitmap.ViewPerspective = view;
            return SUCCESS;
        }
        if (angle == 2 * kQuarterTurn) return halfTurn(bitmap, view, range);
        if (angle % kQuarterTurn == 0 && (resizes || bitmap.Width == bitmap.Height)) {
            return quarterTurn(bitmap, angle == kQuarterTurn, view, range);
        }
    }
    return generalTurn(bitmap, {angle, resizes, filterOf(flags, angle), color, view}, range);
}

}  // namespace

StoredTurn storedTurn(const BitmapHandle& bitmap, int32_t angle) {
    int64_t seen = angle;
    uint32_t view = bitmap.ViewPerspective;
    const bool mirrored = isMirroredView(viewOf(bitmap));
    if (isView(viewOf(bitmap))) {
        seen += kQuarters[view] * int64_t{kQuarterTurn};
        view = mirrored ? BOTTOM_LEFT : TOP_LEFT;
    }
    // Rows that are stored upside down turn the other way.
    return {reduceAngle(mirrored ? -seen : seen), view};
}

Result sizeOfTurn(const BitmapHandle& bitmap, const StoredTurn& turn, uint32_t flags, TurnSize& size) {
    size = {bitmap.Width, bitmap.Height};
    return (flags & ROTATE_RESIZE) != 0 ? wholeSize(bitmap, turn.angle, size) : Result(SUCCESS);
}

Result rotatePixels(BitmapHandle& bitmap, int32_t angle, uint32_t flags, uint32_t color, ProgressRange range) {
    assert(isAllocated(bitmap));
    const StoredTurn turn = storedTurn(bitmap, angle);
    return turnRows(bitmap, turn.angle, turn.view, flags, color, range);
}

Result rotateBitmap(BitmapHandle& bitmap, int32_t angle, uint32_t flags, uint32_t color, ProgressRange range) {
    MovedOverlays overlays;
    TRY(overlays.make(&BitmapHooks::rotateOverlays, bitmap, angle, flags));
    TRY(rotatePixels(bitmap, angle, flags, color, range));
    overlays.takePlaceIn(bitmap);
    return SUCCESS;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_IntRotateBitmap(BitmapHandle* Bitmap, int32_t Angle, uint32_t Flags, uint32_t Color,
                                              int32_t ProgressStart, int32_t ProgressEnd, float, float) {
    const Result entry = checkEntry(kIntRule, Bitmap);
    return entry.ok() ? rotateBitmap(*Bitmap, Angle, Flags, Color, {ProgressStart, ProgressEnd}).code : entry.code;
}

extern "C" int32_t TNK_CALL T_RotateBitmap(BitmapHandle* Bitmap, int32_t Angle, uint32_t Flags, uint32_t Color) {
    const Result entry = checkEntry(kRotateRule, Bitmap);
    return entry.ok() ? rotateBitmap(*Bitmap, Angle, Flags, Color).code : entry.code;
}
