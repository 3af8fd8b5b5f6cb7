// What the tests of copies share: progress on record, sources by request.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "bitmap/storage_cases.h"
#include "support/failing_platform.h"
#include "tnkrn.h"

namespace tnk::test {

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
