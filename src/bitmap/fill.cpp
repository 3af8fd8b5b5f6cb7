#include "bitmap/fill.h"

#include <cassert>
#include <cstring>

#include "base/pixel_format.h"
#include "base/shape.h"
#include "bitmap/lifecycle.h"
#include "bitmap/region_scan.h"
#include "bitmap/rows.h"
#include "convert/fill_run.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kFillRule = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, ERROR_STRUCT_SIZE};

// Writes one row of pixels to all rows of the region.
class RowStamp {
  public:
    explicit RowStamp(BitmapHandle& bitmap) : bitmap_(bitmap), region_(bitmap, AskRegion::always), writer_(bitmap) {}

    // Asks for the region and makes room for the row.
    Result prepare() {
        TRY(region_.prepare());
        if (region_.empty()) return SUCCESS;
        TRY(writer_.prepare());
        return row_.allocate(Shape(bitmap_).bytes(1), true) ? SUCCESS : FAILURE;
    }
    bool empty() const { return region_.empty(); }
    uint8_t* row() const { return row_.data(); }

    Result run(ProgressRange range) {
        const bool byRow = (bitmap_.Flags & BMF_DISK) != 0;
        Progress progress = statusProgress(byRow ? region_.rows() : 1, range);
        TRY(progress.begin());
        for (int32_t row = region_.top(); row < region_.bottom(); ++row) {
            TRY(stamp(row));
            if (byRow) TRY(progress.step());
        }
        return byRow && region_.rows() > 0 ? Result(SUCCESS) : progress.finish();
    }

  private:
    Result stamp(int32_t row) {
        TRY(region_.readRow(row));
        const std::span<const RowSegment> segments = region_.segments();
        if (segments.size() != 1 || segments[0].start != 0 || segments[0].end != Shape(bitmap_).width) {
            if (segments.empty()) return SUCCESS;
            return putRowSegments(bitmap_, row_.data(), row, 0, &segments[0].start,
                                  static_cast<uint32_t>(segments.size() * 2), false);
        }
        uint8_t* target;
        TRY(writer_.lend(row, 1, &target));
        std::memcpy(target, row_.data(), row_.size());
        return writer_.put(1);
    }

    BitmapHandle& bitmap_;
    RegionScan region_;
    RowWriter writer_;
    Scratch<uint8_t> row_;
};

// Runs of 1, 2 and 4 bits fill their last byte whole: the bits behind the last pixel stay zero in a row.
void clearLastBits(const Shape& shape, uint8_t* row) {
    const uint64_t bits = uint64_t{shape.width} * shape.bits;
    if (shape.bits < 8 && bits % 8 != 0) row[static_cast<size_t>(bits / 8)] &= static_cast<uint8_t>(0xFF00 >> bits % 8);
}

Result stampAll(BitmapHandle& bitmap, const uint32_t* color, ProgressRange range) {
    assert(isAllocated(bitmap));
    RowStamp stamp(bitmap);
    const Locked lock(bitmap);
    TRY(stamp.prepare());
    if (stamp.empty()) return SUCCESS;
    if (color != nullptr) {
        TRY(fillPixelRun(bitmap, stamp.row(), bitmap.Width, *color));
        clearLastBits(Shape(bitmap), stamp.row());
    }
    return stamp.run(range);
}

}  // namespace

Result clearBitmap(BitmapHandle& bitmap, ProgressRange range) { return stampAll(bitmap, nullptr, range); }

Result fillBitmap(BitmapHandle& bitmap, uint32_t color, ProgressRange range) { return stampAll(bitmap, &color, range); }

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_ClearBitmap(BitmapHandle* Bitmap) {
    const Result entry = checkEntry(kFillRule, Bitmap);
    return entry.ok() ? clearBitmap(*Bitmap).code : entry.code;
}

extern "C" int32_t TNK_CALL T_FillBitmap(BitmapHandle* Bitmap, uint32_t Color) {
    const Result entry = checkEntry(kFillRule, Bitmap);
    return entry.ok() ? fillBitmap(*Bitmap, Color).code : entry.code;
}
