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

// Pixel positions of one picture by those of another: where (0, 0) lies, and how far a column and a row further on move.
struct PixelFrame {
    int32_t x;
    int32_t y;
    int32_t xAcross;
    int32_t yAcross;
    int32_t xDown;
    int32_t yDown;

    // Whether a row of the one is a column of the other.
    bool onItsSide() const { return xAcross == 0; }
    int64_t xAt(int64_t column, int64_t row) const { return x + column * xAcross + row * xDown; }
    int64_t yAt(int64_t column, int64_t row) const { return y + column * yAcross + row * yDown; }
};
// Where stored pixels are seen, and where seen ones are stored. A view that there is not counts as upright.
PixelFrame seenFrame(const BitmapHandle& bitmap);
PixelFrame storedFrame(const BitmapHandle& bitmap);

// The view that a stored turn by 90 degrees clockwise, as seen, stands for; -13 for one that there is not.
int32_t quarterTurnOf(uint32_t view);

}  // namespace tnk
