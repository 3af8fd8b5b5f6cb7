// The pixels of a bitmap as histograms take them.
#pragma once

#include <algorithm>
#include <cstdint>

#include "base/result.h"
#include "base/scratch.h"
#include "base/shape.h"
#include "bitmap/lifecycle.h"
#include "bitmap/rows.h"
#include "color/dither/color_fetch.h"
#include "color/dither/dither_modes.h"
#include "convert/row_converter.h"
#include "kernels/kernels.h"
#include "tnkrn.h"

namespace tnk {

// Rows as they are fetched: those in other orders than RGB and BGR become 24-bit BGR first.
class FetchedRows {
  public:
    explicit FetchedRows(BitmapHandle& bitmap) : bitmap_(bitmap), reader_(bitmap) {}

    Result prepare() {
        TRY(reader_.prepare());
        if (!needsPlainOrder(bitmap_)) return SUCCESS;
        TRY(converter_.prepare(
            {.bitsSrc = bitmap_.BitsPerPixel, .bitsDst = 24, .orderSrc = bitmap_.Order, .orderDst = ORDER_BGR}));
        return plain_.allocate(uint64_t{Shape(bitmap_).width} * 3) ? SUCCESS : FAILURE;
    }

    Result read(int32_t row, const uint8_t** pixels) {
        uint8_t* stored;
        TRY(reader_.read(row, 1, &stored));
        *pixels = stored;
        if (!plain_) return SUCCESS;
        *pixels = plain_.data();
        return converter_.run(stored, plain_.data(), bitmap_.Width);
    }

    int32_t bits() const { return plain_ ? 24 : bitmap_.BitsPerPixel; }
    uint32_t order() const { return plain_ ? ORDER_BGR : bitmap_.Order; }

  private:
    BitmapHandle& bitmap_;
    RowReader reader_;
    RowConverter converter_;
    Scratch<uint8_t> plain_;
};

// Hands over all pixels, row by row, as take(fetch, pixels, count), at most `block` at a time (a multiple of 8).
template <typename Take>
Result fetchPixels(BitmapHandle& bitmap, int32_t block, Take take) {
    SourceColors colors;
    readSourceColors(bitmap, colors);
    const Locked lock(bitmap);
    FetchedRows rows(bitmap);
    TRY(rows.prepare());
    const ColorFetch fetch =
        chooseColorFetch(ditherKernelsFor(instructionSet()), colors, bitmap, rows.bits(), rows.order());
    for (int32_t row = 0; row < bitmap.Height; ++row) {
        const uint8_t* pixels;
        TRY(rows.read(row, &pixels));
        for (int32_t x = 0; x < bitmap.Width; x += block)
            take(fetch, pixels + fetch.offsetOf(x), std::min(block, bitmap.Width - x));
    }
    return SUCCESS;
}

}  // namespace tnk
