// Palettes of full precision: the colours of a histogram in clusters, whose means are the entries.
#pragma once

#include <cstdint>
#include <span>

#include "base/result.h"
#include "base/scratch.h"
#include "color/reduce/color_sums.h"
#include "color/reduce/key_run.h"
#include "color/reduce/opponent_colors.h"
#include "palette/palette.h"
#include "tnkrn.h"

namespace tnk {

class ColorClusters {
  public:
    explicit ColorClusters(const ColorSums& histogram) : sums_(histogram.sums()) {}

    // At most `wanted` clusters (1 to 256), fewer where there are fewer keys. Colours nearer to an entry that is in the
    // palette already, `beside`, are left to it; together they are at most 256.
    Result build(uint32_t wanted, std::span<const PaletteEntry> beside);

    uint32_t count() const { return count_; }
    PaletteEntry color(uint32_t cluster) const;

    // Fills words of a match table, those of colours that occur or `all`: for a 15-bit colour the place, from 1 on, of the
    // nearest entry to the mean of its pixels, or to the middle of its key where it has none.
    void match(std::span<const PaletteEntry> entries, bool all, uint32_t* table) const;

  private:
    // The sums hold 2^38 pixels.
    struct Box : KeyRun {
        uint32_t widest = 0;  // axis of the largest error
        uint64_t error = 0;   // squared distances from the mean
    };

    Result collect(uint32_t wanted);
    void split(uint32_t wanted);
    bool cut(Box& box);
    void sum(Box& box) const;
    static void judge(Box& box);
    void average();
    bool assign(std::span<const PaletteEntry> beside);

    std::span<const ColorSum> sums_;
    Scratch<uint16_t> keys_;         // that occurred
    Scratch<OpponentColor> colors_;  // by key: the mean of its pixels, or its middle
    Scratch<uint16_t> clusterOf_;    // by key
    uint32_t keyCount_ = 0;
    Scratch<Box> boxes_;
    Scratch<ColorSum> means_;
    Scratch<ColorSum> found_;  // those of the pass
    uint32_t count_ = 0;
};

}  // namespace tnk
