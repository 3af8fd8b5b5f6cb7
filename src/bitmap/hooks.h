// What rooms above this one hang on a bitmap, and what becomes of it with the bitmap. Null where there is nothing yet.
#pragma once

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

struct BitmapHooks {
    // Ends the dithering run that pDitherState names.
    void (*stopDithering)(BitmapHandle& bitmap);
    // Gives `destination`, which has none, its own copy of the source's overlay set; releases a set.
    Result (*copyOverlays)(BitmapHandle& destination, const BitmapHandle& source);
    void (*releaseOverlays)(BitmapHandle& bitmap);
    // Move the overlays that follow their bitmap as the bitmap has moved: seen from side to side against a visible extent,
    // from an old size to the bitmap's new one, turned and sheared as the exports of these names do.
    Result (*flipOverlays)(BitmapHandle& bitmap, int32_t visibleHeight);
    Result (*reverseOverlays)(BitmapHandle& bitmap, int32_t visibleWidth);
    Result (*resizeOverlays)(BitmapHandle& bitmap, int32_t oldWidth, int32_t oldHeight, uint32_t flags);
    Result (*rotateOverlays)(BitmapHandle& bitmap, int32_t oldWidth, int32_t oldHeight, int32_t angle, uint32_t flags);
    Result (*shearOverlays)(BitmapHandle& bitmap, int32_t oldWidth, int32_t oldHeight, int32_t angle, bool horizontal);
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

}  // namespace tnk
