// Rows of a bitmap in any kind of storage.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "base/scratch.h"
#include "bitmap/lifecycle.h"
#include "tnkrn.h"

namespace tnk {

// Copying forms: bytes moved, or a code.
int64_t getRow(BitmapHandle& bitmap, uint8_t* buffer, int32_t row, uint32_t bytes);
int64_t putRow(BitmapHandle& bitmap, const uint8_t* buffer, int32_t row, uint32_t bytes);

// Writes the pixels of the segments, `count` words of starts and ends; see T_PutBitmapRowSegments.
Result putRowSegments(BitmapHandle& bitmap, const uint8_t* buffer, int32_t row, uint32_t column, const uint32_t* words,
                      uint32_t count, bool keepTopBits);

// The least and the greatest sample of a gray bitmap; 0 and 0 of others. Undefined after a failure.
Result scanGrayRange(BitmapHandle& bitmap, int32_t& minimum, int32_t& maximum);

// Whether rows lie at an address. A pure question: lending notes no row.
Result lendsRows(BitmapHandle& bitmap, bool* direct);

// Leaves the row cache as copying rows one by one up to `row` would.
void noteRow(BitmapHandle& bitmap, int32_t row);

// Lends whole stored rows: a pointer into memory storage, or into scratch that was filled from elsewhere. Lending
// leaves the record (CurrentRow, CurrentPos, Size) as copying the same rows would. Movable storage must be accessed.
class RowReader {
  public:
    // With `copies` the rows are always scratch, which the caller may change.
    explicit RowReader(BitmapHandle& bitmap, bool copies = false) : bitmap_(bitmap), copies_(copies) {}

    // `window` rows can be lent at a time.
    Result prepare(int32_t window = 1);
    // Lends rows first .. first + count - 1, one pointer a row, count at most the window; valid until the next call.
    Result read(int32_t first, int32_t count, uint8_t** rows);

  private:
    BitmapHandle& bitmap_;
    bool copies_;
    Scratch<uint8_t> scratch_;
    bool direct_ = false;
};

// Lends rows to be written whole; put() stores them. What the caller leaves unwritten in a lent row is undefined for
// scratch, so padding is cleared by it.
class RowWriter {
  public:
    explicit RowWriter(BitmapHandle& bitmap) : bitmap_(bitmap) {}

    Result prepare(int32_t window = 1);
    Result lend(int32_t first, int32_t count, uint8_t** rows);
    // The same by the address of the first row; the others follow, BytesPerLine apart.
    Result lendBlock(int32_t first, int32_t count, uint8_t** start);
    // Stores the next `count` of the rows last lent.
    Result put(int32_t count);

  private:
    BitmapHandle& bitmap_;
    Scratch<uint8_t> scratch_;
    uint8_t* start_ = nullptr;  // of the lent rows, the next that put() stores
    int32_t next_ = 0;
    bool direct_ = false;
};

}  // namespace tnk
