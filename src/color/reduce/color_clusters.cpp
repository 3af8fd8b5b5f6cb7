#include "color/reduce/color_clusters.h"

#include <algorithm>
#include <cassert>

#include "color/reduce/histogram.h"

namespace tnk {
namespace {

constexpr uint32_t kPasses = 2;  // four make pictures no nearer, not by a hundredth

OpponentColor meanOf(const ColorSum& sum) { return opponentOf(sum.mean(0), sum.mean(1), sum.mean(2)); }

uint8_t narrow16(uint32_t channel) { return static_cast<uint8_t>((channel + 128) / 257); }

OpponentColor sameHue(const OpponentColor& color) { return color; }

// Calls visit(key) for all keys that are wanted(key), by blocks of 4 x 4 x 4, to whose colours the search is narrowed.
template <typename Wanted, typename Visit>
void searchByBlocks(OpponentSearch& search, OpponentColor (*view)(const OpponentColor&), Wanted wanted, Visit visit) {
    constexpr uint32_t kSide = 4, kBlocks = 8 * 8 * 8;
    for (uint32_t block = 0; block < kBlocks; ++block) {
        const uint32_t red = block / 64 * kSide, green = block / 8 % 8 * kSide, blue = block % 8 * kSide;
        uint32_t keys[kSide * kSide * kSide], count = 0;
        for (uint32_t i = 0; i < kSide * kSide * kSide; ++i) {
            keys[count] = (red + i / 16) << 10 | (green + i / 4 % 4) << 5 | (blue + i % 4);
            count += wanted(keys[count]);
        }
        if (count == 0) continue;
        const auto least = [](uint32_t field) { return field << 11; };
        const auto most = [](uint32_t field) { return ((field + kSide) << 11) - 1; };
        const OpponentColor low{{opponentOf(least(red), least(green), least(blue)).axes[0],
                                 opponentOf(least(red), most(green), least(blue)).axes[1],
                                 opponentOf(least(red), least(green), most(blue)).axes[2]}};
        const OpponentColor high{{opponentOf(most(red), most(green), most(blue)).axes[0],
                                  opponentOf(most(red), least(green), most(blue)).axes[1],
                                  opponentOf(most(red), most(green), least(blue)).axes[2]}};
        search.narrow(view(low), view(high));
        std::for_each(keys, keys + count, visit);
    }
}

}  // namespace

// Splits where the squared error is largest, then moves the means by S. Lloyd's passes (1982): each colour to the nearest
// mean, each mean to the middle of its colours.
Result ColorClusters::build(uint32_t wanted, std::span<const PaletteEntry> beside) {
    assert(wanted >= 1 && wanted + beside.size() <= kMaxPaletteEntries);
    TRY(collect(wanted));
    split(wanted);
    for (uint32_t i = 0; i < count_; ++i) {
        for (const uint16_t key : keys_.span().subspan(boxes_[i].first, boxes_[i].count))
            clusterOf_[key] = static_cast<uint16_t>(i);
    }
    average();
    for (uint32_t pass = 0; pass < kPasses && assign(beside); ++pass) average();
    return SUCCESS;
}

PaletteEntry ColorClusters::color(uint32_t cluster) const {
    const ColorSum& sum = means_[cluster];
    return {.Blue = narrow16(sum.mean(2)), .Green = narrow16(sum.mean(1)), .Red = narrow16(sum.mean(0)), .Reserved = 0};
}

Result ColorClusters::collect(uint32_t wanted) {
    if (!keys_.allocate(kHistogramKeys) || !colors_.allocate(kHistogramKeys) || !clusterOf_.allocate(kHistogramKeys))
        return FAILURE;
    if (!boxes_.allocate(wanted) || !means_.allocate(wanted) || !found_.allocate(wanted)) return FAILURE;
    const auto middle = [](uint32_t field) { return ((field & 31) * 8 + 4) * 257; };
    for (uint32_t key = 0; key < kHistogramKeys; ++key) {
        if (sums_[key].pixels == 0) {
            colors_[key] = opponentOf(middle(key >> 10), middle(key >> 5), middle(key));
            continue;
        }
        colors_[key] = meanOf(sums_[key]);
        keys_[keyCount_++] = static_cast<uint16_t>(key);
    }
    return SUCCESS;
}

void ColorClusters::split(uint32_t wanted) {
    boxes_[0] = Box{{.count = keyCount_}};
    sum(boxes_[0]);
    judge(boxes_[0]);
    count_ = 1;
    const auto lessError = [](const Box& a, const Box& b) { return a.error < b.error; };
    while (count_ < wanted && cut(*std::max_element(boxes_.data(), boxes_.data() + count_, lessError))) continue;
}

void ColorClusters::sum(Box& box) const {
    for (const uint16_t key : keys_.span().subspan(box.first, box.count)) {
        box.add(sums_[key].pixels, [&](uint32_t axis) { return static_cast<uint32_t>(colors_[key].axes[axis]); });
    }
}

void ColorClusters::judge(Box& box) {
    uint64_t largest = 0;
    box.error = 0;
    for (uint32_t axis = 0; axis < 3; ++axis) {
        const uint64_t error = box.distances(axis);
        box.error += error;
        if (axis != 0 && error <= largest) continue;
        largest = error;
        box.widest = axis;
    }
}

// Cuts a box in two at its mean; the upper part becomes a new box. False when its colours are the same.
bool ColorClusters::cut(Box& box) {
    if (box.error == 0) return false;
    const auto mean = static_cast<uint32_t>(box.mean(box.widest));
    const std::span<uint16_t> keys = keys_.span().subspan(box.first, box.count);
    const auto upperKeys = std::partition(keys.begin(), keys.end(), [&](uint16_t key) {
        return static_cast<uint32_t>(colors_[key].axes[box.widest]) <= mean;
    });
    Box& upper = boxes_[count_++];
    cutRun(box, upper, static_cast<uint32_t>(upperKeys - keys.begin()), [&](Box& part) { sum(part); });
    judge(box);
    judge(upper);
    return true;
}

// A cluster that has lost its last colour keeps its place.
void ColorClusters::average() {
    std::fill_n(found_.data(), count_, ColorSum{});
    for (const uint16_t key : keys_.span().first(keyCount_)) {
        if (clusterOf_[key] < count_) found_[clusterOf_[key]].add(sums_[key]);
    }
    for (uint32_t i = 0; i < count_; ++i) {
        if (found_[i].pixels != 0) means_[i] = found_[i];
    }
}

// Gives each colour to the nearest mean or entry; whether one changed.
bool ColorClusters::assign(std::span<const PaletteEntry> beside) {
    OpponentSearch search;
    for (uint32_t i = 0; i < count_; ++i) search.add(meanOf(means_[i]));
    for (const PaletteEntry& entry : beside) search.add(opponentOf(entry));
    bool changed = false;
    const auto occurs = [&](uint32_t key) { return sums_[key].pixels != 0; };
    searchByBlocks(search, sameHue, occurs, [&](uint32_t key) {
        const auto nearest = static_cast<uint16_t>(search.find(colors_[key]));
        changed = changed || nearest != clusterOf_[key];
        clusterOf_[key] = nearest;
    });
    return changed;
}

void ColorClusters::match(std::span<const PaletteEntry> entries, bool all, uint32_t* table) const {
    OpponentSearch search;
    for (const PaletteEntry& entry : entries) search.add(halfHue(opponentOf(entry)));
    const auto wanted = [&](uint32_t key) { return all || sums_[key].pixels != 0; };
    searchByBlocks(search, halfHue, wanted, [&](uint32_t key) { table[key] = search.find(halfHue(colors_[key])) + 1; });
}

}  // namespace tnk
