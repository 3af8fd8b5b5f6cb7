#include "geometry/turn/turn_rows.h"

namespace tnk {

TurnRows turnRowsFor(const BitmapHandle& bitmap, TurnFilter filter) {
    const auto bits = static_cast<uint32_t>(bitmap.BitsPerPixel);
    if (filter != TurnFilter::nearest) {
        if (const TurnRoutine blend = blendRoutine(bitmap, filter); blend != nullptr) {
            return filter == TurnFilter::linear ? TurnRows{blend, bits, 0, 1} : TurnRows{blend, bits, 1, 2};
        }
    }
    return {nearestRoutine(bits), bits};
}

void TurnRows::settleSpans(TurnStretch& stretch, int32_t count) const {
    const auto within = [&](PixelSpan span, int64_t margin, int64_t low, int64_t high) {
        const TurnPoint& start = stretch.start;
        const TurnPoint& step = stretch.step;
        span = spanWithin(span, start.x - margin, step.x, (stretch.left + low) * kStep, (stretch.right + high) * kStep);
        return spanWithin(span, start.y - margin, step.y, (stretch.top + low) * kStep, (stretch.bottom + high) * kStep);
    };
    const PixelSpan all = {0, count};
    if (!blends()) {
        stretch.covered = stretch.inner = within(all, 0, 0, 0);
        return;
    }
    stretch.covered = within(all, kHalfPixel, -after, before);
    stretch.inner = within(stretch.covered, kHalfPixel, before, -after);
}

}  // namespace tnk
