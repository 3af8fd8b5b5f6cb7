// Resized rows of nearest pixels.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "base/scratch.h"
#include "bitmap/rows.h"
#include "geometry/size/dimensions.h"
#include "kernels/size/size_kernels.h"

namespace tnk {

class NearestRows {
  public:
    explicit NearestRows(BitmapHandle& source)
        : source_(source), reader_(source), kernels_(sizeKernelsFor(instructionSet())) {}

    Result prepare(const Dimensions& size);
    // Writes the pixels of a row, and zero up to the end of their last byte.
    Result make(int32_t row, uint8_t* target);

  private:
    Result scale(int32_t from, uint8_t* target);
    void pick(const uint8_t* row, uint8_t* target);
    void pickPixels(const uint8_t* row, uint8_t* target) const;
    Result prepareRuns();

    BitmapHandle& source_;
    RowReader reader_;
    const SizeKernels& kernels_;
    Dimensions size_{};
    uint32_t pickedBytes_ = 0;   // of a pixel when it is picked
    size_t rowBytes_ = 0;        // of the pixels of a resized row
    Scratch<uint32_t> columns_;  // where each pixel lies; none: the width stays
    Scratch<PickRun> runs_;      // the same for kernels, as far as they go
    uint32_t runPixels_ = 1;     // of these
    Scratch<uint8_t> unpacked_;  // a source row, and
    Scratch<uint8_t> picked_;    // a resized one, whose pixels share bytes
    Scratch<uint8_t> kept_;      // row `keptRow_` of the source, resized, when it is needed again
    int32_t keptRow_ = -1;
};

}  // namespace tnk
