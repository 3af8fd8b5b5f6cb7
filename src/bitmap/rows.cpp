// Rows in and out of a bitmap, whatever its storage.
#include "bitmap/rows.h"

#include <cassert>
#include <cstring>

#include "base/pixel_format.h"
#include "base/shape.h"
#include "bitmap/storage/storage.h"

namespace tnk {
namespace {

constexpr EntryRule kRowEntry = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};

Result checkRowEntry(const BitmapHandle* bitmap, const void* buffer) {
    if (buffer == nullptr) return ERROR_INVALID_PARAMETER;
    return checkEntry(kRowEntry, bitmap);
}

// `withoutCode` is the answer where a failed put has none.
int64_t putResult(const BitmapHandle& bitmap, int64_t result, int64_t withoutCode) {
    return result < 0 && storageOf(bitmap).is(kNoPutCode) ? withoutCode : result;
}

// Rows move in one transfer while its byte count stays well inside 32 bits.
constexpr uint64_t kTransferLimit = 1u << 30;

template <typename Byte, typename Move>
Result moveRows(const BitmapHandle& bitmap, int32_t first, int32_t count, Byte* buffer, Move move) {
    const uint32_t rowSize = bitmap.BytesPerLine;
    const int32_t step = uint64_t{rowSize} * static_cast<uint32_t>(count) <= kTransferLimit ? count : 1;
    for (int32_t done = 0; done < count; done += step) {
        const uint32_t bytes = rowSize * static_cast<uint32_t>(step);
        Byte* const start = buffer + size_t{rowSize} * static_cast<uint32_t>(done);
        TRY(wholeTransfer(move(first + done, start, bytes), bytes));
    }
    return SUCCESS;
}

bool allocateRows(const BitmapHandle& bitmap, int32_t count, Scratch<uint8_t>& rows) {
    return rows.allocate(Shape(bitmap).bytes(count), true);
}

// What no pixel fills, to the bit.
void clearPadding(const BitmapHandle& bitmap, uint8_t* rows, int32_t count) {
    const Shape shape(bitmap);
    const uint64_t used = uint64_t{shape.width} * shape.bits / 8;
    if (used >= bitmap.BytesPerLine) return;
    const auto padding = static_cast<size_t>(bitmap.BytesPerLine - used);
    for (int32_t i = 0; i < count; ++i) {
        std::memset(rows + static_cast<size_t>(used), 0, padding);
        rows += bitmap.BytesPerLine;
    }
}

void spreadRows(const BitmapHandle& bitmap, uint8_t* start, int32_t count, uint8_t** rows) {
    for (int32_t i = 0; i < count; ++i, start += bitmap.BytesPerLine) rows[i] = start;
}

}  // namespace

int64_t getRow(BitmapHandle& bitmap, uint8_t* buffer, int32_t row, uint32_t bytes) {
    return storageOf(bitmap).read(bitmap, row, 0, buffer, bytes);
}

int64_t putRow(BitmapHandle& bitmap, const uint8_t* buffer, int32_t row, uint32_t bytes) {
    return storageOf(bitmap).write(bitmap, row, 0, buffer, bytes);
}

Result lendsRows(BitmapHandle& bitmap, bool* direct) {
    uint8_t* rows = nullptr;
    TRY(storageOf(bitmap).lend(bitmap, 0, 1, &rows));
    *direct = rows != nullptr;
    return SUCCESS;
}

void noteRow(BitmapHandle& bitmap, int32_t row) {
    if (!storageOf(bitmap).is(kTable)) seekRow(bitmap, row);
}

Result RowReader::prepare(int32_t window) {
    direct_ = false;
    if (!copies_) TRY(lendsRows(bitmap_, &direct_));
    return direct_ || allocateRows(bitmap_, window, scratch_) ? SUCCESS : FAILURE;
}

Result RowReader::read(int32_t first, int32_t count, uint8_t** rows) {
    assert(first >= 0 && count > 0 && first <= bitmap_.Height - count);
    const StorageKind& storage = storageOf(bitmap_);
    uint8_t* start = scratch_.data();
    if (direct_) {
        TRY(storage.lend(bitmap_, first, count, &start));
    } else {
        TRY(moveRows(bitmap_, first, count, scratch_.data(), [&](int32_t row, uint8_t* buffer, uint32_t bytes) {
            return storage.read(bitmap_, row, 0, buffer, bytes);
        }));
    }
    spreadRows(bitmap_, start, count, rows);
    noteRow(bitmap_, first + count - 1);
    return SUCCESS;
}

Result RowWriter::prepare(int32_t window) {
    TRY(lendsRows(bitmap_, &direct_));
    return direct_ || allocateRows(bitmap_, window, scratch_) ? SUCCESS : FAILURE;
}

Result RowWriter::lend(int32_t first, int32_t count, uint8_t** rows) {
    uint8_t* start;
    TRY(lendBlock(first, count, &start));
    spreadRows(bitmap_, start, count, rows);
    return SUCCESS;
}

Result RowWriter::lendBlock(int32_t first, int32_t count, uint8_t** start) {
    assert(first >= 0 && count > 0 && first <= bitmap_.Height - count);
    next_ = first;
    start_ = scratch_.data();
    if (direct_) TRY(storageOf(bitmap_).lend(bitmap_, first, count, &start_));
    clearPadding(bitmap_, start_, count);
    *start = start_;
    return SUCCESS;
}

Result RowWriter::put(int32_t count) {
    if (!direct_) {
        const StorageKind& storage = storageOf(bitmap_);
        TRY(moveRows(bitmap_, next_, count, start_, [&](int32_t row, const uint8_t* buffer, uint32_t bytes) {
            return storage.write(bitmap_, row, 0, buffer, bytes);
        }));
    }
    assert(count > 0 && next_ <= bitmap_.Height - count);
    next_ += count;
    start_ += Shape(bitmap_).offset(count);
    noteRow(bitmap_, next_ - 1);
    return SUCCESS;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_GetBitmapRow(BitmapHandle* Bitmap, uint8_t* Buffer, int32_t Row, uint32_t Bytes) {
    const Result entry = checkRowEntry(Bitmap, Buffer);
    if (!entry.ok()) return entry.code;
    return static_cast<int32_t>(getRow(*Bitmap, Buffer, Row, Bytes));
}

extern "C" int32_t TNK_CALL T_PutBitmapRow(BitmapHandle* Bitmap, const uint8_t* Buffer, int32_t Row, uint32_t Bytes) {
    const Result entry = checkRowEntry(Bitmap, Buffer);
    if (!entry.ok()) return entry.code;
    return static_cast<int32_t>(putResult(*Bitmap, putRow(*Bitmap, Buffer, Row, Bytes), 0));
}

extern "C" int32_t TNK_CALL T_GetBitmapRowCol(BitmapHandle* Bitmap, uint8_t* Buffer, int32_t Row, uint32_t Col,
                                              uint32_t Bytes) {
    const Result entry = checkRowEntry(Bitmap, Buffer);
    if (!entry.ok()) return entry.code;
    return static_cast<int32_t>(storageOf(*Bitmap).read(*Bitmap, Row, Col, Buffer, Bytes));
}

extern "C" int32_t TNK_CALL T_PutBitmapRowCol(BitmapHandle* Bitmap, const uint8_t* Buffer, int32_t Row, uint32_t Col,
                                              uint32_t Bytes) {
    const Result entry = checkRowEntry(Bitmap, Buffer);
    if (!entry.ok()) return entry.code;
    const int64_t result = storageOf(*Bitmap).write(*Bitmap, Row, Col, Buffer, Bytes);
    return static_cast<int32_t>(putResult(*Bitmap, result, FAILURE));
}
