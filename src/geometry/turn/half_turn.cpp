#include "geometry/turn/half_turn.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/shape.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "bitmap/runs/run_edit.h"
#include "bitmap/storage/storage_compressed.h"
#include "geometry/mirror_line.h"
#include "geometry/replacement.h"
#include "system/status.h"

namespace tnk {
namespace {

// Rows exchanged with their partners and mirrored, where they lie.
class TurnInPlace {
  public:
    explicit TurnInPlace(BitmapHandle& bitmap) : bitmap_(bitmap), shape_(bitmap) {}

    Result run(ProgressRange range) {
        uint8_t* rows;
        TRY(storageOf(bitmap_).lend(bitmap_, 0, bitmap_.Height, &rows));
        if (!spare_.allocate(shape_.lineBytes)) return FAILURE;
        // A middle row is a pair of its own.
        const int32_t pairs = (bitmap_.Height + 1) / 2;
        Progress progress = statusProgress(pairs, range);
        int32_t done = 0;
        const Result turned = forBands(pairs, kMostBandRows, progress, [&](int32_t first, int32_t count) {
            turn(rows, first, first + count);
            done = first + count;
            return Result(SUCCESS);
        });
        if (!turned.ok()) turn(rows, 0, done);
        return turned;
    }

  private:
    void turn(uint8_t* rows, int32_t first, int32_t end) const {
        for (int32_t row = first; row < end; ++row) {
            uint8_t* const top = rows + shape_.offset(row);
            uint8_t* const bottom = rows + shape_.offset(bitmap_.Height - 1 - row);
            mirrorPixels(top, shape_.width, bitmap_.BitsPerPixel);
            if (top == bottom) continue;
            mirrorPixels(bottom, shape_.width, bitmap_.BitsPerPixel);
            std::memcpy(spare_.data(), top, shape_.lineBytes);
            std::memcpy(top, bottom, shape_.lineBytes);
            std::memcpy(bottom, spare_.data(), shape_.lineBytes);
        }
    }

    BitmapHandle& bitmap_;
    Shape shape_;
    Scratch<uint8_t> spare_;
};

// Bands of source rows from the last one up become bands of the target.
Result turnPlain(BitmapHandle& source, BitmapHandle& target, ProgressRange range) {
    const Shape shape(source);
    const int32_t band = bandRows(source);
    Scratch<uint8_t> rows;
    if (!rows.allocate(shape.bytes(band))) return FAILURE;
    RowWriter writer(target);
    TRY(writer.prepare(band));
    Progress progress = statusProgress(source.Height, range);
    return forBands(source.Height, band, progress, [&](int32_t first, int32_t count) -> Result {
        const auto bytes = static_cast<uint32_t>(shape.bytes(count));
        TRY(wholeTransfer(getRow(source, rows.data(), source.Height - first - count, bytes), bytes));
        uint8_t* to;
        TRY(writer.lendBlock(first, count, &to));
        for (int32_t i = 0; i < count; ++i, to += shape.lineBytes) {
            std::memcpy(to, rows.data() + shape.offset(count - 1 - i), shape.lineBytes);
            mirrorPixels(to, shape.width, source.BitsPerPixel);
        }
        return writer.put(count);
    });
}

// Rows as they are encoded.
Result turnEncoded(BitmapHandle& source, BitmapHandle& target, ProgressRange range) {
    const uint64_t bytes = maxEncodedBytes(Shape(source).width);
    Scratch<uint8_t> row, mirrored;
    if (!row.allocate(bytes) || !mirrored.allocate(bytes)) return FAILURE;
    Progress progress = statusProgress(source.Height, range);
    return forBands(source.Height, kMostBandRows, progress, [&](int32_t first, int32_t count) -> Result {
        for (int32_t to = first; to < first + count; ++to) {
            TRY(getEncodedRow(source, source.Height - 1 - to, row.data()));
            mirrorRuns(mirrored.data(), Runs::ofRow(row.data()), Shape(source).width);
            TRY(putEncodedRow(target, to, mirrored.data()));
        }
        return SUCCESS;
    });
}

}  // namespace

Result halfTurn(BitmapHandle& bitmap, uint32_t view, ProgressRange range) {
    assert(isAllocated(bitmap));
    bool direct = false;
    {
        const Locked lock(bitmap);
        TRY(lendsRows(bitmap, &direct));
        if (direct) TRY(TurnInPlace(bitmap).run(range));
    }
    if (direct) {
        bitmap.ViewPerspective = view;
        return SUCCESS;
    }
    Replacement replacement(bitmap);
    TRY(replacement.make(bitmap.Width, bitmap.Height));
    BitmapHandle& turned = replacement.bitmap();
    const bool encoded = isCompressed(bitmap) && isCompressed(turned);
    {
        const Locked lock(turned);
        TRY(encoded ? turnEncoded(bitmap, turned, range) : turnPlain(bitmap, turned, range));
    }
    turned.ViewPerspective = view;
    replacement.take();
    return SUCCESS;
}

}  // namespace tnk
