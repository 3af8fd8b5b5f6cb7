// The dithering engine for the other families.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// `ownsTable`: nobody else sees the match table while the run lasts.
Result startDithering(BitmapHandle& bitmap, const PaletteEntry* palette, uint32_t count, uint32_t outputBits,
                      uint32_t* matchTable, bool ownsTable = false);
void stopDithering(BitmapHandle& bitmap);

// Dithers the next `count` rows, with the same result to the bit as one call a row. An input row may be changed where
// T_DitherLine says so: `input[i]` must then be a scratch copy. An output row may be its input row as there; else the rows
// are disjoint.
Result ditherRows(BitmapHandle& bitmap, uint8_t* const* input, uint8_t* const* output, int32_t count);

// Whether ditherRows changes its input rows for this bitmap.
bool ditherChangesInput(const BitmapHandle& bitmap);

// Rows that ditherRows likes to get at a time.
constexpr int32_t kDitherBandRows = 32;

// Stops dithering when it goes.
class DitherRun {
  public:
    explicit DitherRun(BitmapHandle& bitmap) : bitmap_(bitmap) {}
    ~DitherRun() { stopDithering(bitmap_); }
    DitherRun(const DitherRun&) = delete;
    DitherRun& operator=(const DitherRun&) = delete;

  private:
    BitmapHandle& bitmap_;
};

}  // namespace tnk
