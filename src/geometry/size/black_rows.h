// Resized rows of 1-bit pictures of which no black pixel gets lost.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "base/scratch.h"
#include "bitmap/rows.h"
#include "geometry/size/dimensions.h"

namespace tnk {

// Whether black can be favoured: 1 bit with a gray palette.
bool canFavourBlack(const BitmapHandle& bitmap);

// A pixel is black where any pixel of its cell is: cell i reaches from floor(i * m / n) to the next cell, and is a single
// pixel when a dimension grows.
class BlackRows {
  public:
    explicit BlackRows(BitmapHandle& source) : source_(source), reader_(source) {}

    Result prepare(const Dimensions& size);
    // Writes the pixels of a row, and zero up to the end of their last byte.
    Result make(int32_t row, uint8_t* target);

  private:
    Result gather(int32_t from, int32_t end);
    void scale(uint8_t* target) const;
    bool anyBlack(uint64_t from, uint64_t end) const;

    BitmapHandle& source_;
    RowReader reader_;
    Dimensions size_{};
    bool blackIsOne_ = false;
    size_t sourceBytes_ = 0;     // of the pixels of a source row
    Scratch<uint32_t> columns_;  // where cells begin, and where the last one ends
    Scratch<uint64_t> black_;    // a bit for each black column of the cells' rows, and a word of zeros
    int32_t gathered_ = -1;      // first row of these
};

}  // namespace tnk
