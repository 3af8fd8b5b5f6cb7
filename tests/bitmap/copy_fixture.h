// What the tests of copies share: random rows, progress on record.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "support/failing_platform.h"
#include "tnkrn.h"

namespace tnk::test {

using Bytes = std::vector<uint8_t>;

constexpr int32_t kAllDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};

inline Bytes rowsOf(BitmapHandle& bitmap) {
    Bytes rows(size_t{bitmap.BytesPerLine} * static_cast<uint32_t>(bitmap.Height));
    for (int32_t y = 0; y < bitmap.Height; ++y) {
        T_GetBitmapRow(&bitmap, &rows[size_t{bitmap.BytesPerLine} * static_cast<uint32_t>(y)], y, bitmap.BytesPerLine);
    }
    return rows;
}

// Fills whole rows, what lies after the last pixel too, and returns what the bitmap holds then.
inline Bytes fillRandomly(BitmapHandle& bitmap) {
    static std::mt19937 random(7);
    Bytes row(bitmap.BytesPerLine);
    for (int32_t y = 0; y < bitmap.Height; ++y) {
        for (uint8_t& byte : row) byte = static_cast<uint8_t>(random());
        EXPECT_GT(T_PutBitmapRow(&bitmap, row.data(), y, bitmap.BytesPerLine), 0);
    }
    return rowsOf(bitmap);
}

// Records what the copy-status callback is told, and ends the copy with a value after `stopAt` reports.
struct CopyReports {
    explicit CopyReports(size_t stop = SIZE_MAX) : stopAt(stop) {
        T_SetCopyStatusCallBack(note, this, nullptr, nullptr);
    }
    ~CopyReports() { T_SetCopyStatusCallBack(nullptr, nullptr, nullptr, nullptr); }

    static int32_t TNK_CALL note(int32_t percent, void* self) {
        auto& reports = *static_cast<CopyReports*>(self);
        reports.percents.push_back(percent);
        return reports.percents.size() > reports.stopAt ? kStopped : SUCCESS;
    }

    static constexpr int32_t kStopped = -4711;
    size_t stopAt;
    std::vector<int32_t> percents;
};

// A source by each request for storage, and a platform that counts what is left.
class CopyTest : public ::testing::TestWithParam<uint32_t> {
  protected:
    void makeSource(int32_t bits, int32_t height) {
        ASSERT_EQ(
            T_CreateBitmap(&source, sizeof source, GetParam(), 30, height, bits, ORDER_GRAY, nullptr, 3, nullptr, 0),
            SUCCESS);
        rows = fillRandomly(source);
    }
    void TearDown() override {
        T_FreeBitmap(&source);
        EXPECT_EQ(failing.live(), LiveObjects{});
    }
    bool isBare() const {
        return copy.Palette == nullptr && copy.pLUT == nullptr && copy.Region == 0 && (copy.Flags & BMF_ALLOCATED) == 0;
    }

    FailingPlatform failing;
    BitmapHandle source{}, copy{};
    Bytes rows;
};

}  // namespace tnk::test
