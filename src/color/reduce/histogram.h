// The histogram behind optimized palettes: pixels by the upper five bits of their channels.
#pragma once

#include <cstdint>
#include <span>

#include "base/result.h"
#include "base/scratch.h"
#include "tnkrn.h"

namespace tnk {

constexpr uint32_t kHistogramKeys = 32'768;  // red << 10 | green << 5 | blue, of 5 bits each

class ColorHistogram {
  public:
    Result prepare();

    // Counts every pixel of the bitmap. Reports nothing.
    Result add(BitmapHandle& bitmap);

    // Adds up to 2^31 pixels of a key that have been counted elsewhere; no bin may get beyond 2^31.
    void addCounted(uint32_t key, uint32_t pixels);

    uint32_t pixels(uint32_t key) const { return bins_[key]; }
    // The keys that occurred, in the order of their first pixels. A builder of boxes moves them about.
    std::span<uint16_t> keys() const { return {keys_.data(), keyCount_}; }

    // Hands the bins over as a zeroed table of kHistogramKeys words, freed with platform->freeLocal.
    uint32_t* detachCleared();

  private:
    void addKeys(const uint16_t* keys, uint32_t count);
    void noteKey(uint32_t key);
    void addKeysHalving(const uint16_t* keys, uint32_t count);
    void mergeOdd();

    Scratch<uint32_t> bins_;
    Scratch<uint32_t> odd_;  // pixels in odd places: equal neighbours do not wait for each other's sums
    Scratch<uint16_t> keys_;
    Scratch<uint8_t> seen_;
    uint32_t keyCount_ = 0;
    uint64_t pixelCount_ = 0;
};

}  // namespace tnk
