// Rows of 1-bit bitmaps in and out as runs, whatever storage the bitmap has.
#include <cassert>
#include <cstring>

#include "base/entry_rule.h"
#include "base/scratch.h"
#include "base/shape.h"
#include "bitmap/rows.h"
#include "bitmap/runs/run_edit.h"
#include "bitmap/storage/storage.h"
#include "bitmap/storage/storage_compressed.h"

namespace tnk {
namespace {

constexpr EntryRule kEncodedEntry = {ERROR_INVALID_PARAMETER, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};

Result checkEncodedEntry(const BitmapHandle* bitmap, const void* buffer) {
    if (buffer == nullptr) return ERROR_INVALID_PARAMETER;
    TRY(checkEntry(kEncodedEntry, bitmap));
    return bitmap->BitsPerPixel == 1 ? SUCCESS : ERROR_BPP_NOT_SUPPORTED;
}

Result checkRows(const BitmapHandle* bitmap, const void* buffer, int32_t first, int32_t rows) {
    TRY(checkEncodedEntry(bitmap, buffer));
    if (rows < 1) return ERROR_INVALID_PARAMETER;
    return first >= 0 && first < bitmap->Height && rows <= bitmap->Height - first ? SUCCESS : ERROR_INVALID_SIZE;
}

Result checkColumns(const BitmapHandle* bitmap, const void* buffer, int32_t row, uint32_t column, uint32_t pixels) {
    TRY(checkRows(bitmap, buffer, row, 1));
    if (pixels == 0) return ERROR_INVALID_PARAMETER;
    const uint32_t width = Shape(*bitmap).width;
    return column < width && pixels <= width - column ? SUCCESS : ERROR_INVALID_SIZE;
}

// Room for one plain row: the caller's, or scratch. Bitmaps that hold runs need none.
class PlainRow {
  public:
    Result prepare(const BitmapHandle& bitmap, void* work) {
        data_ = static_cast<uint8_t*>(work);
        if (data_ != nullptr || isCompressed(bitmap)) return SUCCESS;
        if (!scratch_.allocate(bitmap.BytesPerLine)) return FAILURE;
        data_ = scratch_.data();
        return SUCCESS;
    }
    uint8_t* data() const { return data_; }

  private:
    Scratch<uint8_t> scratch_;
    uint8_t* data_ = nullptr;
};

// The pixels of a row that a call is about.
struct Span {
    int32_t row;
    uint32_t column;
    uint32_t pixels;
};

Span wholeRow(const BitmapHandle& bitmap, int32_t row) { return {row, 0, Shape(bitmap).width}; }

// Writes the encoded pixels to *buffer and moves it behind them.
Result getEncoded(BitmapHandle& bitmap, const Span& span, uint8_t* plain, uint8_t** buffer) {
    const uint32_t lead = span.column & 7;
    if (!isCompressed(bitmap)) {
        TRY(wholeTransfer(getRow(bitmap, plain, span.row, bitmap.BytesPerLine), bitmap.BytesPerLine));
        *buffer += static_cast<size_t>(encodeRow(*buffer, plain + span.column / 8, lead, span.pixels));
        return SUCCESS;
    }
    CompressedRow stored;
    TRY(stored.open(bitmap, span.row));
    RunBuilder builder(*buffer, lead);
    builder.addPixels(stored.runs(), span.column, span.pixels);
    *buffer += static_cast<size_t>(builder.finish());
    return SUCCESS;
}

Result putPlainSpan(BitmapHandle& bitmap, const Span& span, uint8_t* plain, const Runs& runs) {
    const uint32_t lead = span.column & 7;
    expandRuns(runs, plain, lead, 0, span.pixels);
    if (span.pixels < Shape(bitmap).width) {
        const uint32_t segment[] = {lead, lead + span.pixels};
        return putRowSegments(bitmap, plain, span.row, span.column - lead, segment, 2, false);
    }
    const uint32_t used = (span.pixels + 7) / 8;
    std::memset(plain + used, 0, bitmap.BytesPerLine - used);
    return wholeTransfer(putRow(bitmap, plain, span.row, bitmap.BytesPerLine), bitmap.BytesPerLine);
}

// The caller's runs are brought into form: pixels that they lack are 0, what they have beyond the span goes.
Result putEncoded(BitmapHandle& bitmap, const Span& span, uint8_t* plain, const Runs& runs) {
    if (!isCompressed(bitmap)) return putPlainSpan(bitmap, span, plain, runs);
    CompressedRow stored;
    TRY(stored.open(bitmap, span.row));
    const uint32_t end = span.column + span.pixels;
    RunBuilder builder(stored.work());
    builder.addPixels(stored.runs(), 0, span.column);
    builder.addPixels(runs, 0, span.pixels);
    builder.addPixels(stored.runs(), end, Shape(bitmap).width - end);
    builder.finish();
    return stored.store();
}

}  // namespace

Result getEncodedRow(BitmapHandle& bitmap, int32_t row, uint8_t* encoded) {
    assert(isCompressed(bitmap) && row >= 0 && row < bitmap.Height);
    return getEncoded(bitmap, wholeRow(bitmap, row), nullptr, &encoded);
}

Result putEncodedRow(BitmapHandle& bitmap, int32_t row, const uint8_t* encoded) {
    assert(isCompressed(bitmap) && row >= 0 && row < bitmap.Height);
    return putEncoded(bitmap, wholeRow(bitmap, row), nullptr, Runs::ofRow(encoded));
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_GetBitmapRowCompressed(BitmapHandle* Bitmap, void* WorkBuffer, void* Buffer,
                                                     int32_t FirstRow, int32_t Rows) {
    PlainRow plain;
    Result result = checkRows(Bitmap, Buffer, FirstRow, Rows);
    if (result.ok()) result = plain.prepare(*Bitmap, WorkBuffer);
    auto* to = static_cast<uint8_t*>(Buffer);
    for (int32_t i = 0; result.ok() && i < Rows; ++i) {
        result = getEncoded(*Bitmap, wholeRow(*Bitmap, FirstRow + i), plain.data(), &to);
    }
    return result.ok() ? Rows : result.code;
}

extern "C" int32_t TNK_CALL T_PutBitmapRowCompressed(BitmapHandle* Bitmap, void* WorkBuffer, const void* Buffer,
                                                     int32_t FirstRow, int32_t Rows) {
    PlainRow plain;
    Result result = checkRows(Bitmap, Buffer, FirstRow, Rows);
    if (result.ok()) result = plain.prepare(*Bitmap, WorkBuffer);
    for (int32_t i = 0; result.ok() && i < Rows; ++i) {
        const Runs runs = Runs::ofRow(Buffer);
        result = putEncoded(*Bitmap, wholeRow(*Bitmap, FirstRow + i), plain.data(), runs);
        Buffer = runs.end();
    }
    return result.ok() ? Rows : result.code;
}

extern "C" int32_t TNK_CALL T_GetBitmapRowColCompressed(BitmapHandle* Bitmap, void* WorkBuffer, void* Buffer,
                                                        int32_t Row, uint32_t Col, uint32_t Pixels) {
    PlainRow plain;
    Result result = checkColumns(Bitmap, Buffer, Row, Col, Pixels);
    if (result.ok()) result = plain.prepare(*Bitmap, WorkBuffer);
    auto* to = static_cast<uint8_t*>(Buffer);
    if (result.ok()) result = getEncoded(*Bitmap, {Row, Col, Pixels}, plain.data(), &to);
    return result.code;
}

extern "C" int32_t TNK_CALL T_PutBitmapRowColCompressed(BitmapHandle* Bitmap, void* WorkBuffer, const void* Buffer,
                                                        int32_t Row, uint32_t Col, uint32_t Pixels) {
    PlainRow plain;
    Result result = checkColumns(Bitmap, Buffer, Row, Col, Pixels);
    if (result.ok()) result = plain.prepare(*Bitmap, WorkBuffer);
    if (result.ok()) result = putEncoded(*Bitmap, {Row, Col, Pixels}, plain.data(), Runs::ofRow(Buffer));
    return result.code;
}
