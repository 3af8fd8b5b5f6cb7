// What the tests of copies share: random rows, progress on record.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "tnkrn.h"

namespace tnk::test {

using Bytes = std::vector<uint8_t>;

constexpr int32_t kAllDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};

inline Bytes rowsOf(BitmapHandle& bitmap) {
    Bytes rows(size_t{bitmap.BytesPerLine} * static_cast<uint32_t>(bitmap.Height));
    for (int32_t y = 0; y < bitmap.Height; ++y) {
        uint8_t* row = rows.data() + size_t{bitmap.BytesPerLine} * static_cast<uint32_t>(y);
        EXPECT_EQ(T_GetBitmapRow(&bitmap, row, y, bitmap.BytesPerLine), static_cast<int32_t>(bitmap.BytesPerLine));
    }
    return rows;
}

// Fills all rows, the bytes after the last pixel too, and returns what the bitmap holds then.
inline Bytes fillRandomly(BitmapHandle& bitmap) {
    static std::mt19937 random(7);
    Bytes row(bitmap.BytesPerLine);
    for (int32_t y = 0; y < bitmap.Height; ++y) {
        for (uint8_t& byte : row) byte = static_cast<uint8_t>(random());
        EXPECT_EQ(T_PutBitmapRow(&bitmap, row.data(), y, bitmap.BytesPerLine),
                  static_cast<int32_t>(bitmap.BytesPerLine));
    }
    return rowsOf(bitmap);
}

// Records what the copy-status callback is told, and can end the copy with a value at one of the reports.
class CopyReports {
  public:
    CopyReports() { T_SetCopyStatusCallBack(note, this, nullptr, nullptr); }
    ~CopyReports() { T_SetCopyStatusCallBack(nullptr, nullptr, nullptr, nullptr); }
    CopyReports(const CopyReports&) = delete;
    CopyReports& operator=(const CopyReports&) = delete;

    static constexpr int32_t kStopped = -4711;
    size_t stopAt = SIZE_MAX;
    std::vector<int32_t> percents;

  private:
    static int32_t TNK_CALL note(int32_t percent, void* self) {
        auto& reports = *static_cast<CopyReports*>(self);
        reports.percents.push_back(percent);
        return reports.percents.size() > reports.stopAt ? kStopped : SUCCESS;
    }
};

}  // namespace tnk::test
