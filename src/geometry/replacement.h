// A bitmap built beside the one that it takes the place of.
#pragma once

#include <utility>

#include "bitmap/lifecycle.h"
#include "system/status.h"
#include "tnkrn.h"

namespace tnk {

class Replacement {
  public:
    explicit Replacement(BitmapHandle& original) : original_(original) {}

    // Makes a bitmap of the new size and of the original's kind, palette, region and other properties. Overlays
    // stay with the original until it is replaced.
    Result make(int32_t width, int32_t height, Content content = contentToFill()) {
        const int32_t bits = original_.BitsPerPixel;
        const Result made = duplicateBitmap(made_.record, original_, width, height, bits, kButOverlays, content);
        made_.record.pOverlays = nullptr;
        return made;
    }
    BitmapHandle& bitmap() { return made_.record; }

    // Frees the original's pixels and puts the new bitmap in its record. Until then a failure leaves the original as it was.
    void take() {
        std::swap(made_.record.pOverlays, original_.pOverlays);
        freeBitmap(original_);
        made_.moveTo(original_);
    }

  private:
    static constexpr uint32_t kButOverlays = DUP_ALLOCATE | DUP_PALETTE | DUP_REGION;

    BitmapHandle& original_;
    TempBitmap made_;
};

}  // namespace tnk
