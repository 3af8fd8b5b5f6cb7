// Encoded rows made from other encoded rows, without expanding them.
#pragma once

#include <cstdint>

#include "bitmap/runs/run_rows.h"

namespace tnk {

// Builds an encoded row from stretches of one colour; neighbours of one colour become one run.
class RunBuilder {
  public:
    // `lead` as for RunEncoder.
    explicit RunBuilder(void* encoded, uint32_t lead = 0) : encoder_(encoded, lead), position_(lead) {}

    void add(bool one, uint64_t pixels) {
        if (pixels == 0) return;
        if (one != one_) encoder_.endRun(position_);
        one_ = one;
        position_ += pixels;
    }
    // Pixels first .. first + pixels - 1 of an encoded row. What its runs do not reach is 0.
    void addPixels(const Runs& runs, uint32_t first, uint32_t pixels);
    // Bytes of the encoded row.
    uint64_t finish() {
        encoder_.endRun(position_);
        return encoder_.finish();
    }

  private:
    RunEncoder encoder_;
    uint64_t position_;
    bool one_ = false;
};

// The row of `width` pixels from right to left; bytes written. `mirrored` and `runs` must not overlap.
uint64_t mirrorRuns(void* mirrored, const Runs& runs, uint32_t width);

}  // namespace tnk
