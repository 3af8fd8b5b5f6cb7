#include "color/color_boxes.h"

#include <algorithm>

namespace tnk {
namespace {

uint32_t channelOf(uint32_t key, uint32_t channel) { return key >> (10 - 5 * channel) & 31; }

uint8_t widen(uint32_t value) { return static_cast<uint8_t>(value << 3 | value >> 2); }

}  // namespace

Result ColorBoxes::split(uint32_t wanted, uint32_t spare) {
    if (!boxes_.allocate(wanted)) return FAILURE;
    boxes_[0] = {};
    boxes_[0].count = static_cast<uint32_t>(histogram_.keys().size());
    count_ = 1;
    while (wanted >= count_ + spare && peelDominant()) continue;
    Box& rest = boxes_[count_ - 1];
    sum(rest);
    judge(rest);
    while (count_ < wanted && cut(mostVaried())) continue;
    return SUCCESS;
}

PaletteEntry ColorBoxes::color(uint32_t box) const {
    const uint32_t(&means)[3] = boxes_[box].means;
    return {.Blue = widen(means[2]), .Green = widen(means[1]), .Red = widen(means[0]), .Reserved = 0};
}

void ColorBoxes::sum(Box& box) const {
    box.pixels = 0;
    for (uint32_t c = 0; c < 3; ++c) box.sums[c] = box.squares[c] = 0;
    for (const uint16_t key : histogram_.keys().subspan(box.first, box.count)) {
        const uint64_t pixels = histogram_.pixels(key);
        box.pixels += pixels;
        for (uint32_t c = 0; c < 3; ++c) {
            const uint64_t weighted = pixels * channelOf(key, c);
            box.sums[c] += weighted;
            box.squares[c] += weighted * channelOf(key, c);
        }
    }
}

// Means and variances from the sums. The squared distances from a truncated mean m add up to
// squares - 2 m sums + m m pixels, exactly.
void ColorBoxes::judge(Box& box) {
    box.variance = 0;
    for (uint32_t c = 0; c < 3; ++c) {
        const uint64_t mean = box.pixels != 0 ? box.sums[c] / box.pixels : 0;
        const uint64_t distances = box.squares[c] + mean * mean * box.pixels - 2 * mean * box.sums[c];
        box.means[c] = static_cast<uint32_t>(mean);
        box.variances[c] = box.pixels != 0 ? distances / box.pixels : 0;
        box.variance += box.variances[c];
    }
}

// Gives the most frequent colour of the last box a box of its own, before the others, when it has more than twice the
// pixels of the next one.
bool ColorBoxes::peelDominant() {
    Box& last = boxes_[count_ - 1];
    if (last.count < 2) return false;
    const std::span<uint16_t> keys = histogram_.keys().subspan(last.first, last.count);
    size_t largest = 0;
    uint64_t next = 0;
    for (size_t i = 1; i < keys.size(); ++i) {
        uint64_t pixels = histogram_.pixels(keys[i]);
        const uint64_t most = histogram_.pixels(keys[largest]);
        if (pixels > most) {
            largest = i;
            pixels = most;
        }
        next = std::max(next, pixels);
    }
    if (histogram_.pixels(keys[largest]) <= 2 * next) return false;
    std::swap(keys[0], keys[largest]);
    const Box rest{.first = last.first + 1,
                   .count = last.count - 1,
                   .pixels = 0,
                   .sums = {},
                   .squares = {},
                   .means = {},
                   .variances = {},
                   .variance = 0};
    last.count = 1;
    sum(last);
    judge(last);
    boxes_[count_++] = rest;
    return true;
}

// The earliest of the largest variance, but a later one of the same variance with more colours comes before it.
uint32_t ColorBoxes::mostVaried() const {
    uint32_t chosen = 0;
    for (uint32_t i = 1; i < count_; ++i) {
        const Box &box = boxes_[i], &best = boxes_[chosen];
        if (box.variance > best.variance || (box.variance == best.variance && box.count > best.count)) chosen = i;
    }
    return chosen;
}

// Cuts a box at the mean of its most varied channel; what lies above becomes a new box. False when it cannot be cut.
bool ColorBoxes::cut(uint32_t chosen) {
    Box& box = boxes_[chosen];
    if (box.count < 2) return false;
    uint32_t channel = 0;
    for (uint32_t c = 1; c < 3; ++c) {
        if (box.variances[c] > box.variances[channel]) channel = c;
    }
    const std::span<uint16_t> keys = histogram_.keys().subspan(box.first, box.count);
    const auto middle = std::partition(keys.begin(), keys.end(),
                                       [&](uint16_t key) { return channelOf(key, channel) <= box.means[channel]; });
    const auto lower = static_cast<uint32_t>(middle - keys.begin());
    if (lower == 0 || lower == box.count) return false;

    // Only the part with fewer colours is summed anew.
    Box& upper = boxes_[count_++];
    const Box whole = box;
    upper.first = box.first + lower;
    upper.count = whole.count - lower;
    box.count = lower;
    Box& fewer = upper.count < box.count ? upper : box;
    Box& more = upper.count < box.count ? box : upper;
    sum(fewer);
    more.pixels = whole.pixels - fewer.pixels;
    for (uint32_t c = 0; c < 3; ++c) {
        more.sums[c] = whole.sums[c] - fewer.sums[c];
        more.squares[c] = whole.squares[c] - fewer.squares[c];
    }
    judge(box);
    judge(upper);
    return true;
}

}  // namespace tnk
