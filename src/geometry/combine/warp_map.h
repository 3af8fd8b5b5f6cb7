// Where the pixels of one quadrilateral lie in another.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "geometry/view.h"
#include "tnkrn.h"

namespace tnk {

constexpr int32_t kWarpReach = 32768;  // corners lie in -kWarpReach .. kWarpReach - 1

// A number that changes evenly over a picture, at (x, y) counted in half pixels from a corner.
struct Plane {
    int64_t x = 0;
    int64_t y = 0;
    int64_t constant = 0;

    int64_t at(int64_t column, int64_t row) const { return column * x + row * y + constant; }
    // From one pixel of a stored row to the next.
    int64_t step(const PixelFrame& seen) const { return 2 * (x * seen.xAcross + y * seen.yAcross); }
};

// The centre of a target pixel, half pixels from the target's first corner, lies in the source at (across / depth,
// down / depth) pixels from the source's first corner. All are whole numbers, exact for parallelograms, else the map of
// Heckbert (1989) in doubles, whose basic operations are the same everywhere, rounded to them once.
// At places inside the quadrilateral: |across|, |down| <= 2^60, depth <= 2^45, and depth is 1 or more unless the
// corners are further out of proportion than that.
struct WarpMap {
    Plane across;
    Plane down;
    Plane depth;
    // The centre lies inside where none is negative. Of two shapes that share an edge, one has the centres on it: the one
    // to the right, or below.
    Plane edges[4];

    // -13 for corners outside the range, and for those of no convex quadrilateral.
    Result settle(const BitmapPoint (&target)[4], const BitmapPoint (&source)[4]);
};

// floor(number * scale / depth), where that is below 2^40: a quotient of doubles is near enough to be put right by its
// remainder, which wraps around on the way.
inline int64_t floorRatio(int64_t number, uint32_t scale, int64_t depth, double inverse) {
    auto ratio = static_cast<int64_t>(static_cast<double>(number) * scale * inverse);
    auto rest = static_cast<int64_t>(static_cast<uint64_t>(number) * scale -
                                     static_cast<uint64_t>(ratio) * static_cast<uint64_t>(depth));
    for (; rest < 0; rest += depth) --ratio;
    for (; rest >= depth; rest -= depth) ++ratio;
    return ratio;
}

}  // namespace tnk
