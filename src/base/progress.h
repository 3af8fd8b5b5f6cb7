// Progress of a row loop: a percentage advanced by an error sum, reported only when it moved.
#pragma once

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// The reports of a part of an operation: what stands for 0 and for 100.
struct ProgressRange {
    int32_t start = 0;
    int32_t end = 100;

    int32_t at(int32_t percent) const { return static_cast<int32_t>(start + (int64_t{end} - start) * percent / 100); }
    ProgressRange part(int32_t from, int32_t to) const { return {at(from), at(to)}; }
};

class Progress {
  public:
    Progress(StatusCallback callback, void* userData, int32_t rows, ProgressRange range = {})
        : callback_(callback),
          userData_(userData),
          range_(range),
          rows_(rows),
          step_(rows > 0 ? 100 / rows : 0),
          remainder_(rows > 0 ? 100 % rows : 0) {}

    bool active() const { return callback_ != nullptr; }
    // Whether the callback has ended the loop, and not a failure in it.
    bool stopped() const { return stopped_; }
    Result begin() { return report(0); }
    // Rows after which the next report is due, so that a loop without one can work on many at a time.
    int32_t rowsToReport() const {
        if (!active()) return INT32_MAX;
        return step_ > 0 ? 1 : (rows_ - errorSum_ + remainder_ - 1) / remainder_;
    }
    // When the rows that are left need no look.
    Result finish() { return report(100); }
    // After each row. A value other than 1 is the callback's wish to stop.
    Result step() {
        const int32_t before = percent_;
        percent_ += step_;
        errorSum_ += remainder_;
        if (errorSum_ >= rows_) {
            errorSum_ -= rows_;
            ++percent_;
        }
        return percent_ > before ? report(percent_) : Result(SUCCESS);
    }

    Result step(int32_t rows) {
        for (; rows > 0; --rows) TRY(step());
        return SUCCESS;
    }

  private:
    Result report(int32_t percent) {
        if (callback_ == nullptr) return SUCCESS;
        const Result answer = callback_(range_.at(percent), userData_);
        stopped_ = !answer.ok();
        return answer;
    }

    StatusCallback callback_;
    void* userData_;
    ProgressRange range_;
    int32_t rows_;
    int32_t step_;
    int32_t remainder_;
    int32_t percent_ = 0;
    int32_t errorSum_ = 0;
    bool stopped_ = false;
};

}  // namespace tnk
