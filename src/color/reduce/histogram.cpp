#include "color/reduce/histogram.h"

#include <algorithm>
#include <cstring>

#include "color/reduce/fetched_rows.h"

namespace tnk {
namespace {

constexpr uint32_t kBinLimit = 0x80000000;  // a bin that is full halves them all

constexpr int32_t kKeyBlock = 2048;  // pixels whose keys are made at a time: the first-level cache holds them

}  // namespace

Result ColorHistogram::prepare() {
    const bool done = bins_.allocate(kHistogramKeys, true) && odd_.allocate(kHistogramKeys, true) &&
                      keys_.allocate(kHistogramKeys) && seen_.allocate(kHistogramKeys, true);
    return done ? SUCCESS : FAILURE;
}

Result ColorHistogram::add(BitmapHandle& bitmap) {
    uint16_t keys[kKeyBlock];
    TRY(fetchPixels(bitmap, kKeyBlock, [&](const ColorFetch& fetch, const uint8_t* pixels, int32_t count) {
        fetchKeys(fetch, pixels, count, keys);
        addKeys(keys, static_cast<uint32_t>(count));
    }));
    mergeOdd();
    return SUCCESS;
}

void ColorHistogram::addCounted(uint32_t key, uint32_t pixels) {
    noteKey(key);
    bins_[key] += pixels;
    pixelCount_ += pixels;
}

void ColorHistogram::addKeys(const uint16_t* keys, uint32_t count) {
    pixelCount_ += count;
    if (pixelCount_ >= kBinLimit) {
        addKeysHalving(keys, count);
        return;
    }
    // The bins' own zeros find new keys, which are so rare that the branch costs nothing; a zero may also belong to a key
    // that has been counted in the other places only.
    uint32_t* const bins = bins_.data();
    uint32_t* const odd = odd_.data();
    uint32_t i = 0;
    for (; i + 2 <= count; i += 2) {
        const uint32_t first = keys[i], second = keys[i + 1];
        const uint32_t before = bins[first], beforeOdd = odd[second];
        if (before == 0 || beforeOdd == 0) [[unlikely]] {
            noteKey(first);
            noteKey(second);
        }
        bins[first] = before + 1;
        odd[second] = beforeOdd + 1;
    }
    if (i == count) return;
    noteKey(keys[i]);
    ++bins[keys[i]];
}

void ColorHistogram::noteKey(uint32_t key) {
    if (seen_[key] != 0) return;
    seen_[key] = 1;
    keys_[keyCount_++] = static_cast<uint16_t>(key);
}

// So many pixels that a bin may get full.
void ColorHistogram::addKeysHalving(const uint16_t* keys, uint32_t count) {
    mergeOdd();
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t& bin = bins_[keys[i]];
        if (bin == 0) keys_[keyCount_++] = keys[i];
        if (bin == kBinLimit) {
            for (uint32_t& other : bins_.span()) other = (other + 1) >> 1;
        }
        ++bin;
    }
}

void ColorHistogram::mergeOdd() {
    for (uint32_t key = 0; key < kHistogramKeys; ++key) bins_[key] += odd_[key];
    std::memset(odd_.data(), 0, odd_.size() * sizeof(uint32_t));
}

uint32_t* ColorHistogram::detachCleared() {
    std::memset(bins_.data(), 0, bins_.size() * sizeof(uint32_t));
    return bins_.detach();
}

}  // namespace tnk
