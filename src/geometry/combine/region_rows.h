// Rows of a bitmap that change where they lie, as far as its region reaches.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "base/scratch.h"
#include "base/shape.h"
#include "bitmap/region_scan.h"
#include "bitmap/rows.h"
#include "bitmap/storage/storage.h"
#include "tnkrn.h"

namespace tnk {

class RegionRows {
  public:
    // The bitmap stays accessed meanwhile.
    explicit RegionRows(BitmapHandle& bitmap) : bitmap_(bitmap), region_(bitmap, AskRegion::always) {}

    Result prepare() {
        TRY(region_.prepare());
        bool direct = false;
        TRY(lendsRows(bitmap_, &direct));
        if (direct && region_.whole()) return SUCCESS;
        return copy_.allocate(Shape(bitmap_).bytes(1)) ? SUCCESS : FAILURE;
    }

    // The rows that may be written; none of an empty region.
    int32_t top() const { return region_.top(); }
    int32_t bottom() const { return region_.empty() ? region_.top() : region_.bottom(); }

    // Has work(bytes) change the pixels of a row. What lies outside the region stays whatever it did.
    template <typename Work>
    Result change(int32_t row, Work work) {
        if (!copy_) {
            uint8_t* bytes = nullptr;
            TRY(storageOf(bitmap_).lend(bitmap_, row, 1, &bytes));
            noteRow(bitmap_, row);
            return work(bytes);
        }
        TRY(region_.readRow(row));
        const std::span<const RowSegment> segments = region_.segments();
        if (segments.empty()) return SUCCESS;
        const uint32_t bytes = bitmap_.BytesPerLine;
        TRY(wholeTransfer(getRow(bitmap_, copy_.data(), row, bytes), bytes));
        TRY(work(copy_.data()));
        if (region_.whole()) return wholeTransfer(putRow(bitmap_, copy_.data(), row, bytes), bytes);
        return putRowSegments(bitmap_, copy_.data(), row, 0, &segments[0].start,
                              static_cast<uint32_t>(segments.size() * 2), false);
    }

  private:
    BitmapHandle& bitmap_;
    RegionScan region_;
    Scratch<uint8_t> copy_;
};

}  // namespace tnk
