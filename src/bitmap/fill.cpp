#include "bitmap/fill.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/pixel_format.h"
#include "base/shape.h"
#include "bitmap/lifecycle.h"
#include "bitmap/region_scan.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "convert/fill_run.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kFillRule = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, ERROR_STRUCT_SIZE};

// Writes one row of pixels to all rows of the region.
class RowStamp {
  public:
    explicit RowStamp(BitmapHandle& bitmap)
        : bitmap_(bitmap), region_(bitmap, AskRegion::always), writer_(bitmap), band_(bandRows(bitmap)) {}

    // Asks for the region and makes room for the row.
    Result prepare() {
        TRY(region_.prepare());
        if (region_.empty()) return SUCCESS;
        if (region_.whole()) TRY(writer_.prepare(band_));
        return row_.allocate(Shape(bitmap_).bytes(1), true) ? SUCCESS : FAILURE;
    }
    bool empty() const { return region_.empty(); }
    uint8_t* row() const { return row_.data(); }

    Result run(ProgressRange range) {
        const bool byRow = (bitmap_.Flags & BMF_DISK) != 0 && region_.rows() > 0;
        oneByte_ = std::all_of(row_.data(), row_.data() + row_.size(), [&](uint8_t byte) { return byte == row_[0]; });
        // Only disks report their rows; for others the whole is one step.
        Progress progress = statusProgress(byRow ? region_.rows() : 1, range);
        Progress silent(nullptr, nullptr, region_.rows());
        if (!byRow) TRY(progress.begin());
        TRY(forBands(region_.rows(), band_, byRow ? progress : silent, [&](int32_t first, int32_t count) {
            return region_.whole() ? stampWhole(first, count) : stampSegments(region_.top() + first, count);
        }));
        return byRow ? Result(SUCCESS) : progress.step();
    }

  private:
    Result stampWhole(int32_t first, int32_t count) {
        uint8_t* rows[kMostBandRows];
        TRY(writer_.lend(first, count, rows));
        // The processor fills memory with one byte faster than it copies, since it need not fetch what it overwrites. Lent
        // rows follow each other.
        if (oneByte_) {
            std::memset(rows[0], row_[0], Shape(bitmap_).offset(count));
        } else {
            for (int32_t i = 0; i < count; ++i) std::memcpy(rows[i], row_.data(), row_.size());
        }
        return writer_.put(count);
    }

    Result stampSegments(int32_t first, int32_t count) {
        for (int32_t row = first; row < first + count; ++row) {
            TRY(region_.readRow(row));
            const std::span<const RowSegment> segments = region_.segments();
            if (segments.empty()) continue;
            TRY(putRowSegments(bitmap_, row_.data(), row, 0, &segments[0].start,
                               static_cast<uint32_t>(segments.size() * 2), false));
        }
        return SUCCESS;
    }

    BitmapHandle& bitmap_;
    RegionScan region_;
    RowWriter writer_;
    int32_t band_;
    Scratch<uint8_t> row_;
    bool oneByte_ = false;
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
