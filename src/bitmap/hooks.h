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
};

extern const BitmapHooks bitmapHooks;

inline void endDitheringOf(BitmapHandle& bitmap) {
    if (bitmap.pDitherState != nullptr && bitmapHooks.stopDithering != nullptr) bitmapHooks.stopDithering(bitmap);
}

inline Result copyOverlays(BitmapHandle& destination, const BitmapHandle& source) {
    destination.pOverlays = nullptr;
    return bitmapHooks.copyOverlays != nullptr ? bitmapHooks.copyOverlays(destination, source) : Result(SUCCESS);
}

inline void releaseOverlays(BitmapHandle& bitmap) {
    if (bitmap.pOverlays != nullptr && bitmapHooks.releaseOverlays != nullptr) bitmapHooks.releaseOverlays(bitmap);
    bitmap.pOverlays = nullptr;
}

}  // namespace tnk
