#include "color/reduce/color_boxes.h"

#include <algorithm>
#include <cassert>

#include "base/pixel_values.h"

namespace tnk {
namespace {

uint32_t channelOf(uint32_t key, uint32_t channel) { return key >> (10 - 5 * channel) & 31; }

}  // namespace

Result ColorBoxes::split(uint32_t wanted, uint32_t spare) {
    assert(wanted >= 1);
    if (!boxes_.allocate(wanted)) return FAILURE;
    boxes_[0] = Box{{.count = static_cast<uint32_t>(histogram_.keys().size())}};
    count_ = 1;
    while (wanted >= count_ + spare && peelDominant()) continue;
    Box& rest = boxes_[count_ - 1];
    sum(rest);
    judge(rest);
    while (count_ < wanted && cut(boxes_[mostVaried()])) continue;
    return SUCCESS;
}

PaletteEntry ColorBoxes::color(uint32_t box) const {
    const uint32_t(&means)[3] = boxes_[box].means;
    return {.Blue = widen5(means[2]), .Green = widen5(means[1]), .Red = widen5(means[0]), .Reserved = 0};
}

void ColorBoxes::sum(Box& box) const {
    for (const uint16_t key : histogram_.keys().subspan(box.first, box.count)) {
        box.add(histogram_.pixels(key), [&](uint32_t channel) { return channelOf(key, channel); });
    }
}

void ColorBoxes::judge(Box& box) {
    box.variance = 0;
    for (uint32_t c = 0; c < 3; ++c) {
        box.means[c] = static_cast<uint32_t>(box.mean(c));
        box.variances[c] = box.pixels != 0 ? box.distances(c) / box.pixels : 0;
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
    const Box rest{{.first = last.first + 1, .count = last.count - 1}};
    last = Box{{.first = last.first, .count = 1}};
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

// Brings the box's keys up to the mean of its most varied channel to the front: how many they are. Variances of less than
// 1 are all 0, so that a channel may come first in which all colours are equal; the next ones are tried then. Colours of
// different values lie on both sides of their mean.
uint32_t ColorBoxes::partition(const Box& box) {
    uint32_t channels[3] = {0, 1, 2};
    std::sort(std::begin(channels), std::end(channels), [&](uint32_t a, uint32_t b) {
        return box.variances[a] != box.variances[b] ? box.variances[a] > box.variances[b] : a < b;
    });
    const std::span<uint16_t> keys = histogram_.keys().subspan(box.first, box.count);
    size_t lower = keys.size();
    for (size_t i = 0; i < 3 && lower == keys.size(); ++i) {
        const uint32_t channel = channels[i];
        const auto middle = std::partition(keys.begin(), keys.end(),
                                           [&](uint16_t key) { return channelOf(key, channel) <= box.means[channel]; });
        lower = static_cast<size_t>(middle - keys.begin());
    }
    return static_cast<uint32_t>(lower);
}

// Cuts a box in two; the upper part becomes a new box. False when it has one colour only.
bool ColorBoxes::cut(Box& box) {
    if (box.count < 2) return false;
    const uint32_t lower = partition(box);
    Box& upper = boxes_[count_++];
    cutRun(box, upper, lower, [&](Box& part) { sum(part); });
    judge(box);
    judge(upper);
    return true;
}

}  // namespace tnk
