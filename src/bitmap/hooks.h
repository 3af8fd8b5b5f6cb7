// What rooms above this one hang on a bitmap, and what becomes of it with the bitmap. Null where there is nothing yet.
#pragma once

#include <utility>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

struct BitmapHooks {
    // Ends the dithering run that pDitherState names.
    void (*stopDithering)(BitmapHandle& bitmap);
    // Gives `destination`, which has none, its own copy of the source's overlay set; releases a set.
    Result (*copyOverlays)(BitmapHandle& destination, const BitmapHandle& source);
    void (*releaseOverlays)(BitmapHandle& bitmap);
    // Takes storage that is about to go from the overlays that share it with the bitmap.
    void (*leaveOverlays)(const BitmapHandle& bitmap);
    // Move the overlays that follow their bitmap as the exports of these names move it. The record describes the bitmap as
    // it is before, which matters to all but the first three.
    Result (*offsetOverlays)(BitmapHandle& bitmap, int32_t dx, int32_t dy);
    Result (*flipOverlays)(BitmapHandle& bitmap);
    Result (*reverseOverlays)(BitmapHandle& bitmap);
    Result (*resizeOverlays)(BitmapHandle& bitmap, int32_t visibleWidth, int32_t visibleHeight, uint32_t flags);
    Result (*rotateOverlays)(BitmapHandle& bitmap, int32_t angle, uint32_t flags);
    Result (*shearOverlays)(BitmapHandle& bitmap, int32_t angle, bool horizontal);
};

extern const BitmapHooks bitmapHooks;

inline void endDitheringOf(BitmapHandle& bitmap) {
    if (bitmap.pDitherState != nullptr && bitmapHooks.stopDithering != nullptr) bitmapHooks.stopDithering(bitmap);
}

inline Result copyOverlays(BitmapHandle& destination, const BitmapHandle& source) {
    destination.pOverlays = nullptr;
    return bitmapHooks.copyOverlays != nullptr ? bitmapHooks.copyOverlays(destination, source) : Result(SUCCESS);
}

// Has the overlays of a bitmap, where it has any, follow it by one of the routines above.
template <typename Routine, typename... Arguments>
Result moveOverlays(Routine BitmapHooks::*routine, BitmapHandle& bitmap, Arguments... arguments) {
    const Routine move = bitmapHooks.*routine;
    return bitmap.pOverlays != nullptr && move != nullptr ? move(bitmap, arguments...) : Result(SUCCESS);
}

inline void releaseOverlays(BitmapHandle& bitmap) {
    if (bitmap.pOverlays != nullptr && bitmapHooks.releaseOverlays != nullptr) bitmapHooks.releaseOverlays(bitmap);
    bitmap.pOverlays = nullptr;
}

inline void leaveOverlays(const BitmapHandle& bitmap) {
    if (bitmapHooks.leaveOverlays != nullptr) bitmapHooks.leaveOverlays(bitmap);
}

// The overlays of a bitmap, moved aside before the bitmap itself is: a failure on either side leaves both as they were.
class MovedOverlays {
  public:
    MovedOverlays() = default;
    ~MovedOverlays() { releaseOverlays(record_); }
    MovedOverlays(const MovedOverlays&) = delete;
    MovedOverlays& operator=(const MovedOverlays&) = delete;

    template <typename Routine, typename... Arguments>
    Result make(Routine BitmapHooks::*routine, const BitmapHandle& bitmap, Arguments... arguments) {
        if (bitmap.pOverlays == nullptr) return SUCCESS;
        record_ = bitmap;
        TRY(copyOverlays(record_, bitmap));
        return moveOverlays(routine, record_, arguments...);
    }

    void takePlaceIn(BitmapHandle& bitmap) {
        if (record_.pOverlays == nullptr) return;
        releaseOverlays(bitmap);
        bitmap.pOverlays = std::exchange(record_.pOverlays, nullptr);
    }

  private:
    BitmapHandle record_{};
};

}  // namespace tnk
