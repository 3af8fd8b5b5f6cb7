// Runs of the 15-bit keys of a histogram, with sums over their pixels on three axes, for builders of palettes that cut them in
// two until there is one for each entry.
#pragma once

#include <cstdint>

namespace tnk {

struct KeyRun {
    uint32_t first = 0;
    uint32_t count = 0;
    uint64_t pixels = 0;
    uint64_t sums[3] = {};
    uint64_t squares[3] = {};

    // Adds `n` pixels of one colour; value(axis).
    template <typename Value>
    void add(uint64_t n, Value value) {
        pixels += n;
        for (uint32_t axis = 0; axis < 3; ++axis) {
            const uint64_t weighted = n * value(axis);
            sums[axis] += weighted;
            squares[axis] += weighted * value(axis);
        }
    }
    // The truncated mean, and the sum of the squared distances from it: squares - 2 m sums + m m pixels, exactly.
    uint64_t mean(uint32_t axis) const { return pixels != 0 ? sums[axis] / pixels : 0; }
    uint64_t distances(uint32_t axis) const {
        const uint64_t m = mean(axis);
        return squares[axis] + m * m * pixels - 2 * m * sums[axis];
    }
};

// Cuts a run behind its first `lower` keys; the others become `upper`. Only the part with fewer keys is summed anew, by
// sum(run), which adds what its keys have; the other gets the difference.
template <typename Run, typename Sum>
void cutRun(Run& run, Run& upper, uint32_t lower, Sum sum) {
    const KeyRun whole = run;
    run = Run{{.first = whole.first, .count = lower}};
    upper = Run{{.first = whole.first + lower, .count = whole.count - lower}};
    Run& fewer = upper.count < run.count ? upper : run;
    Run& more = upper.count < run.count ? run : upper;
    sum(fewer);
    more.pixels = whole.pixels - fewer.pixels;
    for (uint32_t axis = 0; axis < 3; ++axis) {
        more.sums[axis] = whole.sums[axis] - fewer.sums[axis];
        more.squares[axis] = whole.squares[axis] - fewer.squares[axis];
    }
}

}  // namespace tnk
