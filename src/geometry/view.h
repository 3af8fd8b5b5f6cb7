// View perspectives: how the stored rows lie in the picture that is seen.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

constexpr bool isView(int32_t view) { return view >= TOP_LEFT && view <= LEFT_BOTTOM; }
inline int32_t viewOf(const BitmapHandle& bitmap) { return static_cast<int32_t>(bitmap.ViewPerspective); }

// Whether the stored picture is the seen one's mirror image, in any position.
constexpr bool isMirroredView(int32_t view) {
    return view == TOP_RIGHT || view == BOTTOM_LEFT || view == LEFT_TOP || view == RIGHT_BOTTOM;
}

// Whether the stored picture lies on its side.
inline bool isRotatedView(const BitmapHandle& bitmap) {
    return bitmap.ViewPerspective >= LEFT_TOP && bitmap.ViewPerspective <= LEFT_BOTTOM;
}
inline int32_t visibleWidth(const BitmapHandle& bitmap) { return isRotatedView(bitmap) ? bitmap.Height : bitmap.Width; }
inline int32_t visibleHeight(const BitmapHandle& bitmap) {
    return isRotatedView(bitmap) ? bitmap.Width : bitmap.Height;
}

// What carries coordinates of one view to another: upside down first, then a rotation clockwise.
struct ViewChange {
    bool flip = false;
    int32_t rotation = 0;  // degrees: 0, 90, 180, 270; -90 from 2 to 8
};
// -13 for views that there are not.
Result viewChange(int32_t from, int32_t to, ViewChange& change);

// Rectangles of the picture as it is seen and as it is stored. They may lie outside; coordinates wrap around.
BitmapRect storedRect(const BitmapHandle& bitmap, BitmapRect seen);
BitmapRect seenRect(const BitmapHandle& bitmap, BitmapRect stored);

// The view that a stored turn by 90 degrees clockwise, as seen, stands for; -13 for one that there is not.
int32_t quarterTurnOf(uint32_t view);

}  // namespace tnk
