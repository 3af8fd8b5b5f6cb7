#include "geometry/flip.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/shape.h"
#include "bitmap/hooks.h"
#include "bitmap/lifecycle.h"
#include "bitmap/row_edit.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "bitmap/runs/run_edit.h"
#include "bitmap/storage/storage.h"
#include "bitmap/storage/storage_compressed.h"
#include "geometry/mirror_line.h"
#include "geometry/view.h"
#include "system/dispatch.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kFlipRule = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, ERROR_STRUCT_SIZE};
constexpr EntryRule kReverseRule = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};
constexpr EntryRule kDataRule = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, 0};

void exchangeBytes(uint8_t* a, uint8_t* b, size_t bytes) {
    constexpr size_t kStep = 64;
    uint8_t fromA[kStep], fromB[kStep];
    for (; bytes >= kStep; bytes -= kStep, a += kStep, b += kStep) {
        std::memcpy(fromA, a, kStep);
        std::memcpy(fromB, b, kStep);
        std::memcpy(a, fromB, kStep);
        std::memcpy(b, fromA, kStep);
    }
    std::swap_ranges(a, a + bytes, b);
}

// Row i of `top` with row count - 1 - i of `bottom`.
void exchangeRows(const Shape& shape, uint8_t* top, uint8_t* bottom, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
        exchangeBytes(top + shape.offset(i), bottom + shape.offset(count - 1 - i), shape.lineBytes);
    }
}

// Rows that have no address: as many as a band holds of both ends are in memory at a time.
class RowExchange {
  public:
    explicit RowExchange(BitmapHandle& bitmap) : bitmap_(bitmap), shape_(bitmap) {}

    Result prepare() {
        TRY(storageOf(bitmap_).lend(bitmap_, 0, bitmap_.Height, &rows_));
        if (rows_ != nullptr) {
            band_ = bitmap_.Height;
            return SUCCESS;
        }
        band_ = bandRows(bitmap_);
        return top_.allocate(shape_.bytes(band_)) && bottom_.allocate(shape_.bytes(band_)) ? SUCCESS : FAILURE;
    }

    int32_t band() const { return band_; }

    // Exchanges the pairs first .. first + count - 1.
    Result exchange(int32_t first, int32_t count) {
        const int32_t last = bitmap_.Height - first - count;
        if (rows_ != nullptr) {
            exchangeRows(shape_, rows_ + shape_.offset(first), rows_ + shape_.offset(last), count);
            return SUCCESS;
        }
        TRY(get(first, count, top_.data()));
        TRY(get(last, count, bottom_.data()));
        exchangeRows(shape_, top_.data(), bottom_.data(), count);
        Result result = put(first, count, top_.data());
        if (result.ok()) result = put(last, count, bottom_.data());
        if (!result.ok()) restore(first, last, count);
        return result;
    }

  private:
    Result get(int32_t row, int32_t count, uint8_t* rows) {
        const auto bytes = static_cast<uint32_t>(shape_.bytes(count));
        return wholeTransfer(getRow(bitmap_, rows, row, bytes), bytes);
    }
    Result put(int32_t row, int32_t count, const uint8_t* rows) {
        const auto bytes = static_cast<uint32_t>(shape_.bytes(count));
        return wholeTransfer(putRow(bitmap_, rows, row, bytes), bytes);
    }
    // Rows whose partners could not be stored would be lost. What fails here as well fails for the same reason.
    void restore(int32_t first, int32_t last, int32_t count) {
        exchangeRows(shape_, top_.data(), bottom_.data(), count);
        (void)put(first, count, top_.data());
        (void)put(last, count, bottom_.data());
    }

    BitmapHandle& bitmap_;
    Shape shape_;
    uint8_t* rows_ = nullptr;
    int32_t band_ = 1;
    Scratch<uint8_t> top_;
    Scratch<uint8_t> bottom_;
};

// Run-compressed rows, as they are encoded.
class EncodedExchange {
  public:
    explicit EncodedExchange(BitmapHandle& bitmap) : bitmap_(bitmap) {}

    Result prepare() {
        const uint64_t bytes = maxEncodedBytes(Shape(bitmap_).width);
        return top_.allocate(bytes) && bottom_.allocate(bytes) ? SUCCESS : FAILURE;
    }

    int32_t band() const { return kMostBandRows; }

    Result exchange(int32_t first, int32_t count) {
        for (int32_t row = first; row < first + count; ++row) TRY(exchangePair(row, bitmap_.Height - 1 - row));
        return SUCCESS;
    }

  private:
    // The longer row goes first: it may not fit, and then nothing has moved; the shorter one always does.
    Result exchangePair(int32_t top, int32_t bottom) {
        TRY(getEncodedRow(bitmap_, top, top_.data()));
        TRY(getEncodedRow(bitmap_, bottom, bottom_.data()));
        const bool topFirst = Runs::ofRow(bottom_.data()).count() >= Runs::ofRow(top_.data()).count();
        if (topFirst) TRY(putEncodedRow(bitmap_, top, bottom_.data()));
        TRY(putEncodedRow(bitmap_, bottom, top_.data()));
        return topFirst ? Result(SUCCESS) : putEncodedRow(bitmap_, top, bottom_.data());
    }

    BitmapHandle& bitmap_;
    Scratch<uint8_t> top_;
    Scratch<uint8_t> bottom_;
};

template <typename Exchange>
Result flipBy(Exchange exchange, BitmapHandle& bitmap, ProgressRange range) {
    TRY(exchange.prepare());
    const int32_t pairs = bitmap.Height / 2;
    // A middle row counts as a pair, though it stays where it is.
    const int32_t reported = pairs + bitmap.Height % 2;
    Progress progress = statusProgress(reported, range);
    return forBands(reported, exchange.band(), progress, [&](int32_t first, int32_t count) {
        return first < pairs ? exchange.exchange(first, std::min(count, pairs - first)) : Result(SUCCESS);
    });
}

Result mirrorStored(BitmapHandle& bitmap, Progress& progress) {
    const Shape shape(bitmap);
    return editRows(bitmap, 0, bitmap.Height, progress, [&](int32_t, int32_t count, uint8_t* rows) {
        for (int32_t i = 0; i < count; ++i) mirrorPixels(rows + shape.offset(i), bitmap.Width, bitmap.BitsPerPixel);
        return Result(SUCCESS);
    });
}

Result mirrorEncoded(BitmapHandle& bitmap, Progress& progress) {
    return forBands(bitmap.Height, kMostBandRows, progress, [&](int32_t first, int32_t count) {
        for (int32_t row = first; row < first + count; ++row) {
            CompressedRow stored;
            TRY(stored.open(bitmap, row));
            mirrorRuns(stored.work(), stored.runs(), Shape(bitmap).width);
            TRY(stored.store());
        }
        return Result(SUCCESS);
    });
}

}  // namespace

Result flipRows(BitmapHandle& bitmap, ProgressRange range) {
    assert(isAllocated(bitmap));
    const Locked lock(bitmap);
    TRY(isCompressed(bitmap) ? flipBy(EncodedExchange(bitmap), bitmap, range)
                             : flipBy(RowExchange(bitmap), bitmap, range));
    return tellFlip(bitmap);
}

Result reverseRows(BitmapHandle& bitmap, ProgressRange range) {
    assert(isAllocated(bitmap));
    const Locked lock(bitmap);
    Progress progress = statusProgress(bitmap.Height, range);
    TRY(isCompressed(bitmap) ? mirrorEncoded(bitmap, progress) : mirrorStored(bitmap, progress));
    return tellReversal(bitmap);
}

Result flipPicture(BitmapHandle& bitmap) {
    TRY(isRotatedView(bitmap) ? reverseRows(bitmap) : flipRows(bitmap));
    return moveOverlays(&BitmapHooks::flipOverlays, bitmap);
}

Result reversePicture(BitmapHandle& bitmap, ProgressRange range) {
    TRY(isRotatedView(bitmap) ? flipRows(bitmap, range) : reverseRows(bitmap, range));
    return moveOverlays(&BitmapHooks::reverseOverlays, bitmap);
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_FlipBitmap(BitmapHandle* Bitmap) {
    const Result entry = checkEntry(kFlipRule, Bitmap);
    return entry.ok() ? flipPicture(*Bitmap).code : entry.code;
}

extern "C" int32_t TNK_CALL T_ReverseBitmap(BitmapHandle* Bitmap) {
    if (const Result entry = checkEntry(kReverseRule, Bitmap); !entry.ok()) return entry.code;
    const Result data = checkEntry(kDataRule, Bitmap);
    return data.ok() ? reversePicture(*Bitmap).code : data.code;
}

extern "C" int32_t TNK_CALL T_IntFlipBitmap(BitmapHandle* Bitmap) {
    const Result entry = checkEntry(kDataRule, Bitmap);
    return entry.ok() ? flipRows(*Bitmap).code : entry.code;
}

extern "C" int32_t TNK_CALL T_IntReverseBitmap(BitmapHandle* Bitmap) {
    const Result entry = checkEntry(kDataRule, Bitmap);
    return entry.ok() ? reverseRows(*Bitmap).code : entry.code;
}
