// The pixels of a bitmap that lie in its region, row by row.
#pragma once

#include <cstdint>
#include <span>

#include "base/result.h"
#include "base/scratch.h"
#include "system/dispatch.h"
#include "tnkrn.h"

namespace tnk {

struct RowSegment {
    uint32_t start;
    uint32_t end;  // exclusive
};

// Whether the routines are asked about a bitmap without a region; a display module may keep regions of its own.
enum class AskRegion { whereThereIsOne, always };

class RegionScan {
  public:
    RegionScan(BitmapHandle& bitmap, AskRegion ask)
        : bitmap_(bitmap), asks_(bitmap.Region != 0 || (ask == AskRegion::always && hasRegionRoutines())) {}

    // Asks for the bounds.
    Result prepare();

    // Rows that may hold pixels of the region: top .. bottom - 1.
    int32_t top() const { return top_; }
    int32_t bottom() const { return bottom_; }
    int32_t rows() const { return bottom_ - top_; }

    // Every pixel, and nobody to be asked about it.
    bool whole() const { return !asks_; }
    // A region whose rows need no segments at all has no pixels.
    bool empty() const { return empty_; }

    // Makes `segments` those of a row.
    Result readRow(int32_t row);
    std::span<const RowSegment> segments() const { return {segments_.data(), count_}; }

  private:
    BitmapHandle& bitmap_;
    bool asks_;
    bool empty_ = false;
    Scratch<RowSegment> segments_;
    size_t count_ = 0;
    int32_t top_ = 0;
    int32_t bottom_ = 0;
};

}  // namespace tnk
