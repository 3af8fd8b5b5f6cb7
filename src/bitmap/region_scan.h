// The pixels of a bitmap that lie in its region, row by row; all of them without one, whatever routines are installed.
#pragma once

#include <cstdint>
#include <span>

#include "base/result.h"
#include "base/scratch.h"
#include "tnkrn.h"

namespace tnk {

struct RowSegment {
    uint32_t start;
    uint32_t end;  // exclusive
};

class RegionScan {
  public:
    explicit RegionScan(BitmapHandle& bitmap) : bitmap_(bitmap) {}

    // Asks for the bounds.
    Result prepare();

    // Rows that may hold pixels of the region: top .. bottom - 1.
    int32_t top() const { return top_; }
    int32_t bottom() const { return bottom_; }
    int32_t rows() const { return bottom_ - top_; }

    // Makes `segments` those of a row.
    Result readRow(int32_t row);
    std::span<const RowSegment> segments() const { return {segments_.data(), count_}; }

  private:
    bool hasRegion() const { return bitmap_.Region != 0; }

    BitmapHandle& bitmap_;
    Scratch<RowSegment> segments_;
    size_t count_ = 0;
    int32_t top_ = 0;
    int32_t bottom_ = 0;
};

}  // namespace tnk
