#include "geometry/combine/warp_map.h"

#include <algorithm>
#include <cmath>

namespace tnk {
namespace {

struct Offset {
    int64_t x;
    int64_t y;
};
Offset operator-(const BitmapPoint& a, const BitmapPoint& b) { return {int64_t{a.x} - b.x, int64_t{a.y} - b.y}; }
int64_t cross(const Offset& a, const Offset& b) { return a.x * b.y - a.y * b.x; }

// 1 for corners that go round clockwise as they are seen, -1 for the others, 0 for those of no convex shape.
int windingOf(const BitmapPoint (&corners)[4]) {
    int sum = 0;
    for (int i = 0; i < 4; ++i) {
        const BitmapPoint& at = corners[(i + 1) % 4];
        const int64_t turn = cross(at - corners[i], corners[(i + 2) % 4] - at);
        sum += turn > 0 ? 1 : turn < 0 ? -1 : 0;
    }
    return sum / 4;
}

bool isInRange(const BitmapPoint (&corners)[4]) {
    const auto inside = [](int32_t value) { return value >= -kWarpReach && value < kWarpReach; };
    return std::all_of(corners, corners + 4, [&](const BitmapPoint& p) { return inside(p.x) && inside(p.y); });
}

// The map of the unit square to a quadrilateral whose first corner is the origin: rows (a, b, 0), (d, e, 0), (g, h, i).
struct SquareMap {
    double a, b, d, e, g, h, i;

    explicit SquareMap(const BitmapPoint (&corners)[4]) {
        const Offset first = corners[1] - corners[0], last = corners[3] - corners[0];
        const Offset one = corners[1] - corners[2], two = corners[3] - corners[2];
        const Offset sum = {corners[2].x - corners[0].x - first.x - last.x,
                            corners[2].y - corners[0].y - first.y - last.y};
        // Times the determinant, by which a parallelogram has no need to be divided.
        const bool affine = sum.x == 0 && sum.y == 0;
        const int64_t determinant = affine ? 1 : cross(one, two);
        const int64_t across = affine ? 0 : cross(sum, two);
        const int64_t down = affine ? 0 : cross(one, sum);
        a = static_cast<double>(first.x) * static_cast<double>(determinant + across);
        d = static_cast<double>(first.y) * static_cast<double>(determinant + across);
        b = static_cast<double>(last.x) * static_cast<double>(determinant + down);
        e = static_cast<double>(last.y) * static_cast<double>(determinant + down);
        g = static_cast<double>(across);
        h = static_cast<double>(down);
        i = static_cast<double>(determinant);
    }
};

}  // namespace

Result WarpMap::settle(const BitmapPoint (&target)[4], const BitmapPoint (&source)[4]) {
    const int winding = isInRange(target) && isInRange(source) ? windingOf(target) : 0;
    if (winding == 0 || windingOf(source) == 0) return ERROR_INVALID_PARAMETER;
    const SquareMap t(target), s(source);
    // The source's map after the inverse of the target's, whose common divisor is left out.
    const double acrossX = t.e * t.i, acrossY = -t.b * t.i;
    const double downX = -t.d * t.i, downY = t.a * t.i;
    const double depthX = t.d * t.h - t.e * t.g, depthY = t.b * t.g - t.a * t.h, depthAll = t.a * t.e - t.b * t.d;
    const double wanted[] = {s.a * acrossX + s.b * downX,
                             s.a * acrossY + s.b * downY,
                             s.d * acrossX + s.e * downX,
                             s.d * acrossY + s.e * downY,
                             s.g * acrossX + s.h * downX + s.i * depthX,
                             s.g * acrossY + s.h * downY + s.i * depthY,
                             s.i * depthAll};
    constexpr double kLimits[] = {0x1p42, 0x1p42, 0x1p42, 0x1p42, 0x1p26, 0x1p26, 0x1p43};
    double scale = wanted[6] < 0 ? -1 : 1;
    for (int k = 0; k < 7; ++k) {
        while (std::abs(wanted[k] * scale) > kLimits[k]) scale /= 2;
    }
    const auto whole = [&](int k) { return static_cast<int64_t>(std::floor(wanted[k] * scale + 0.5)); };
    // Planes count in half pixels, of which depths are to be halves too.
    across = {whole(0), whole(1), 0};
    down = {whole(2), whole(3), 0};
    depth = {whole(4), whole(5), 2 * whole(6)};

    for (int k = 0; k < 4; ++k) {
        const BitmapPoint& from = target[winding > 0 ? k : (k + 1) % 4];
        const BitmapPoint& to = target[winding > 0 ? (k + 1) % 4 : k];
        const Offset way = to - from, start = from - target[0];
        // To the right of a way that goes up, below one that goes right.
        const bool own = way.y < 0 || (way.y == 0 && way.x > 0);
        edges[k] = {-way.y, way.x, 2 * (way.y * start.x - way.x * start.y) - (own ? 0 : 1)};
    }
    return SUCCESS;
}

}  // namespace tnk
