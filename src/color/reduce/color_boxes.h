// Splitting of a histogram into boxes of similar colours, each of which becomes one palette entry.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "base/scratch.h"
#include "color/reduce/histogram.h"
#include "color/reduce/key_run.h"
#include "tnkrn.h"

namespace tnk {

class ColorBoxes {
  public:
    explicit ColorBoxes(ColorHistogram& histogram) : histogram_(histogram) {}

    // Splits the colours into `wanted` boxes (1 or more), fewer where every box has one colour. Colours that cover
    // more than twice the pixels of any other get boxes of their own first, while `spare` boxes and more are left.
    Result split(uint32_t wanted, uint32_t spare);

    uint32_t count() const { return count_; }
    PaletteEntry color(uint32_t box) const;
    std::span<const uint16_t> keys(uint32_t box) const {
        return histogram_.keys().subspan(boxes_[box].first, boxes_[box].count);
    }

  private:
    // Red, green and blue of 5 bits.
    struct Box : KeyRun {
        uint32_t means[3] = {};
        uint64_t variances[3] = {};
        uint64_t variance = 0;
    };

    void sum(Box& box) const;
    static void judge(Box& box);
    bool peelDominant();
    uint32_t mostVaried() const;
    uint32_t partition(const Box& box);
    bool cut(Box& box);

    ColorHistogram& histogram_;
    Scratch<Box> boxes_;
    uint32_t count_ = 0;
};

}  // namespace tnk
