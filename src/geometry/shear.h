// Pictures slanted by whole pixels.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// Slants a bitmap with storage by an angle of less than a right one, and its overlays; see T_ShearBitmap. After a failure
// it is as before.
Result shearBitmap(BitmapHandle& bitmap, int32_t angle, bool horizontal, uint32_t color);

// What becomes of a rectangle of the stored picture that is slanted by itself, so that it lies where the slanted picture
// has it. Slants begin at whole pixels in both: a row may be off by one.
struct PartOfShear {
    bool alongRows;  // the shift is one of columns, else of rows
    int64_t shift;   // of the rectangle's first column or row
    int64_t growth;  // of the picture that way
};
PartOfShear shearPart(const BitmapHandle& bitmap, const BitmapRect& part, int32_t angle, bool horizontal);

}  // namespace tnk
