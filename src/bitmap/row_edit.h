// Rows changed where they lie; those without an address in scratch, which is stored again.
#pragma once

#include <cassert>
#include <cstdint>

#include "base/progress.h"
#include "base/scratch.h"
#include "base/shape.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "bitmap/storage/storage.h"
#include "tnkrn.h"

namespace tnk {

// Calls edit(first, count, rows) for bands of rows from `from` on, BytesPerLine apart, of a bitmap that is kept accessed.
template <typename Edit>
Result editRows(BitmapHandle& bitmap, int32_t from, int32_t count, Progress& progress, Edit edit) {
    assert(from >= 0 && count <= bitmap.Height - from);
    const Shape shape(bitmap);
    uint8_t* direct = nullptr;
    if (count > 0) TRY(storageOf(bitmap).lend(bitmap, from, count, &direct));
    const int32_t band = direct != nullptr ? count : bandRows(bitmap);
    Scratch<uint8_t> scratch;
    if (direct == nullptr && !scratch.allocate(shape.bytes(band))) return FAILURE;
    return forBands(count, band, progress, [&](int32_t done, int32_t rows) {
        const int32_t first = from + done;
        if (direct != nullptr) return edit(first, rows, direct + shape.offset(done));
        const auto bytes = static_cast<uint32_t>(shape.bytes(rows));
        TRY(wholeTransfer(getRow(bitmap, scratch.data(), first, bytes), bytes));
        TRY(edit(first, rows, scratch.data()));
        return wholeTransfer(putRow(bitmap, scratch.data(), first, bytes), bytes);
    });
}

}  // namespace tnk
