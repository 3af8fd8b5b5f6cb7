// Resized rows of linear steps between neighbouring samples, and of averages where a dimension shrinks.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "base/scratch.h"
#include "geometry/size/dimensions.h"
#include "geometry/size/samples.h"
#include "kernels/size/size_kernels.h"

namespace tnk {

// A place between samples `at` and at + 1: `step` of the `steps` steps from the one to the other. On a sample `step` is 0.
struct LinearStep {
    int32_t at;
    int32_t step;
    int32_t steps;
    double inverse;  // of the steps
};

// How `from` samples are stretched to `to`, which are no fewer: the first and the last keep their ends, and sample k comes
// to the place nearest to k * (to - 1) / (from - 1).
class Stretch {
  public:
    Stretch() = default;
    Stretch(int32_t from, int32_t to) : from_(from), to_(to) {}
    LinearStep at(int32_t place) const;
    // The most steps from one sample to the next.
    int32_t mostSteps() const;

  private:
    int64_t placeOf(int64_t sample) const;

    int32_t from_ = 1;
    int32_t to_ = 1;
};

// The samples that make an average, `first` to `last`, of which the ends have their own weights and all others `inner`.
struct AreaCell {
    int32_t first;
    int32_t last;
    uint32_t firstWeight;
    uint32_t lastWeight;  // 0: there is but one sample
};

// How `from` samples shrink to `to`: cell i reaches from i * from / to to (i + 1) * from / to, and weights are the lengths
// of samples in it, in units that make them integers.
class Areas {
  public:
    Areas() = default;
    Areas(int32_t from, int32_t to);
    AreaCell at(int32_t place) const;
    uint32_t inner() const { return to_; }
    uint32_t total() const { return from_; }

  private:
    uint32_t from_ = 1;  // without common factors
    uint32_t to_ = 1;
};

class LinearRows {
  public:
    explicit LinearRows(SampleReader& source) : source_(source), kernels_(sizeKernelsFor(instructionSet())) {}

    Result prepare(const Dimensions& size);
    Result make(int32_t row, uint8_t* samples);

  private:
    template <typename T>
    Result makeAs(int32_t row, T* samples);
    template <typename T>
    Result readWide(int32_t row, const T** samples);
    template <typename T, typename Sum>
    Result average(int32_t row, T* samples);
    template <typename T>
    void scale(const T* row, T* target) const;
    template <typename T>
    void stretch(const T* row, T* target, int32_t from) const;
    Result prepareColumns(const Stretch& columns);
    Result halve(int32_t row, uint8_t* samples);

    SampleReader& source_;
    const SizeKernels& kernels_;
    Dimensions size_{};
    bool shrinksWidth_ = false;
    bool growsWidth_ = false;
    bool shrinksHeight_ = false;
    bool sumsAreWide_ = false;  // they need 64 bits
    Stretch rowStretch_;
    Areas rowAreas_;
    Areas columnAreas_;
    bool halves_ = false;  // bytes, both ways
    Scratch<LinearStep> columnSteps_;
    Scratch<BlendRun> columnRuns_;  // the same for kernels, as far as they go
    int32_t columnOffset_ = 0;      // of these
    int32_t rowOffset_ = 0;         // of rows between two others; 0: by the plain rule
    Scratch<AreaCell> columnCells_;
    Scratch<uint8_t> sums_;     // of the samples of a cell's rows
    Scratch<uint8_t> mean_;     // these, divided, before the row grows
    Scratch<uint8_t> wide_[2];  // source rows brought to the width, by row modulo 2
    int32_t wideRow_[2] = {-1, -1};
};

}  // namespace tnk
