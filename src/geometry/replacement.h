// A bitmap built beside the one that it takes the place of.
#pragma once

#include "bitmap/lifecycle.h"
#include "system/status.h"
#include "tnkrn.h"

namespace tnk {

class Replacement {
  public:
    explicit Replacement(BitmapHandle& original) : original_(original) {}

    // Makes a bitmap of the new size and of the original's kind, palette, region, overlays and other properties.
    Result make(int32_t width, int32_t height, Content content = contentToFill()) {
        return duplicateBitmap(made_.record, original_, width, height, original_.BitsPerPixel, kEverything, content);
    }
    BitmapHandle& bitmap() { return made_.record; }

    // Frees the original's pixels and puts the new bitmap in its record. Until then a failure leaves the original as it was.
    void take() {
        freeBitmap(original_);
        made_.moveTo(original_);
    }

  private:
    static constexpr uint32_t kEverything = DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | DUP_OVERLAYS;

    BitmapHandle& original_;
    TempBitmap made_;
};

}  // namespace tnk
