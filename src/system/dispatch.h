// The display dispatch table: optional routines of a display module. This is the one place through which the kernel
// asks about regions and overlays.
#pragma once

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// The routines are asked whenever they are installed, also about a bitmap without a region: a display module may keep
// regions of its own.

// Deletes the bitmap's region, where it has one.
void deleteRegion(BitmapHandle& bitmap);

// Gives `destination` a copy of the source's region, moved by (dx, dy); without a routine it gets none.
// The source keeps its own region on every path.
Result copyRegion(BitmapHandle& destination, BitmapHandle& source, int32_t dx, int32_t dy);

// Gives a copy that has the source's region the region moved by (dx, dy) in its place. Without a routine nothing changes;
// after a failure the copy has none.
Result moveRegion(BitmapHandle& destination, BitmapHandle& source, int32_t dx, int32_t dy);

// Whether the position lies in the bitmap.
inline bool isInside(const BitmapHandle& bitmap, int32_t row, int32_t column) {
    return row >= 0 && row < bitmap.Height && column >= 0 && column < bitmap.Width;
}
// Whether a pixel there may be written: by the routine where there is one. Outside the bitmap is nothing to write to,
// whatever the routine says.
bool positionWritable(BitmapHandle& bitmap, int32_t row, int32_t column);

// Whether a display module has installed any of the three routines below.
bool hasRegionRoutines();

// The rectangle that holds the bitmap's region, inside the bitmap; the values that a list of a row's segments must have
// room for; the segments themselves, `count` values. Without a routine the whole bitmap is one rectangle.
Result regionBounds(BitmapHandle& bitmap, BitmapRect* bounds);
Result segmentCount(BitmapHandle& bitmap, uint32_t* count);
Result rowSegments(BitmapHandle& bitmap, int32_t row, uint32_t* segments, uint32_t* count);

// Tell of what became of a bitmap's rows, and of the size that it is about to get.
Result tellFlip(BitmapHandle& bitmap);
Result tellReversal(BitmapHandle& bitmap);
Result tellResize(BitmapHandle& bitmap, int32_t width, int32_t height);

}  // namespace tnk
