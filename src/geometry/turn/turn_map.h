// Where the pixels of a picture that is turned about its centre come from.
#pragma once

#include <algorithm>
#include <cstdint>

#include "geometry/sine.h"

namespace tnk {

// Positions in the source are 1 / kStep of a pixel, from the corner of its first pixel. Pixel centres of both pictures lie
// on whole steps, so that every position is an exact integer and no row drifts.
constexpr int32_t kStepBits = 15;
constexpr int64_t kStep = int64_t{1} << kStepBits;
static_assert(kStep == 2 * kSineUnit);

struct TurnPoint {
    int64_t x;
    int64_t y;
};

struct TurnSize {
    int32_t width;
    int32_t height;
};

// A turn by `angle`, clockwise, of stored rows.
class TurnMap {
  public:
    TurnMap(TurnSize source, TurnSize target, int32_t angle)
        : source_(source), target_(target), cosine_(cosine(angle)), sine_(sine(angle)) {}

    // The centre of a target pixel.
    TurnPoint at(int32_t column, int32_t row) const {
        const int64_t x = 2 * int64_t{column} + 1 - target_.width;
        const int64_t y = 2 * int64_t{row} + 1 - target_.height;
        return {x * cosine_ + y * sine_ + source_.width * int64_t{kSineUnit},
                y * cosine_ - x * sine_ + source_.height * int64_t{kSineUnit}};
    }
    // From one target pixel of a row to the next.
    TurnPoint step() const { return {2 * int64_t{cosine_}, -2 * int64_t{sine_}}; }

    TurnSize source() const { return source_; }
    TurnSize target() const { return target_; }

  private:
    TurnSize source_;
    TurnSize target_;
    int32_t cosine_;
    int32_t sine_;
};

// Pixels first .. end - 1 of a row.
struct PixelSpan {
    int32_t first;
    int32_t end;
};

// Those of `span` that lie, counted from 0 at `start` and in equal steps, in low .. high - 1.
inline PixelSpan spanWithin(PixelSpan span, int64_t start, int64_t step, int64_t low, int64_t high) {
    const auto floorOf = [](int64_t a, int64_t b) { return a / b - (a % b < 0); };  // b > 0
    int64_t first = span.first, end = span.end;
    if (step == 0) {
        if (start < low || start >= high) end = first;
    } else if (step > 0) {
        first = std::max(first, -floorOf(start - low, step));
        end = std::min(end, -floorOf(start - high, step));
    } else {
        first = std::max(first, floorOf(start - high, -step) + 1);
        end = std::min(end, floorOf(start - low, -step) + 1);
    }
    if (first >= end) return {span.first, span.first};
    return {static_cast<int32_t>(first), static_cast<int32_t>(end)};
}

}  // namespace tnk
