// Rows of a run-compressed bitmap, for those who work on runs.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "bitmap/runs/run_rows.h"
#include "tnkrn.h"

namespace tnk {

struct RowGroup;

inline bool isCompressed(const BitmapHandle& bitmap) { return (bitmap.Flags & BMF_COMPRESSED) != 0; }

// Whole stored rows of a run-compressed bitmap as they are encoded.
Result getEncodedRow(BitmapHandle& bitmap, int32_t row, uint8_t* encoded);
Result putEncodedRow(BitmapHandle& bitmap, int32_t row, const uint8_t* encoded);

// One stored row. Readers of different rows share nothing that is written.
class CompressedRow {
  public:
    // -2 without storage, -1 for a row that the bitmap does not have.
    Result open(BitmapHandle& bitmap, int32_t row);

    // The row's runs until the next put into the bitmap. A row never written has none: its pixels are 0.
    Runs runs() const;
    // Room for any encoded row, shared by the rows of a group: build the row's new contents here, then store().
    uint8_t* work() const;
    // Puts the encoded row in work() in the row's place and brings Size up to date. -1, and nothing has changed,
    // without memory.
    Result store();

  private:
    BitmapHandle* bitmap_ = nullptr;
    RowGroup* group_ = nullptr;
    uint32_t index_ = 0;
    uint32_t rows_ = 0;  // of the group
};

}  // namespace tnk
