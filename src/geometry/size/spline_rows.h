// Resized rows by cubic splines.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "base/scratch.h"
#include "geometry/size/dimensions.h"
#include "geometry/size/samples.h"
#include "kernels/size/spline_kernels.h"

namespace tnk {

// Rows and columns to either side that a second derivative is made of. The derivative of a natural spline is a sum over all
// samples in which each one further away counts 0.268 of the one before; what is left out here counts less than the last
// digit of a float.
constexpr int32_t kSplineReach = 12;

// A walk over places that lie evenly between the first and the last of `from` samples.
class SplineWalk {
  public:
    SplineWalk() = default;
    SplineWalk(int32_t from, int32_t to);

    void moveTo(int32_t place);
    // The sample before the place; `between` is the fraction of the way to the next one.
    int32_t at() const { return at_; }
    float between() const { return between_; }
    SplineWeights weights() const;

  private:
    int32_t from_ = 1;
    float step_ = 0;
    int32_t place_ = 0;
    int32_t at_ = 0;
    float between_ = 0;
};

class SplineRows {
  public:
    explicit SplineRows(SampleReader& source) : source_(source), kernels_(splineKernelsFor(instructionSet())) {}

    Result prepare(const Dimensions& size);
    Result make(int32_t row, uint8_t* samples);

  private:
    // Rows around a pair of neighbours, rounded up to a power of 2.
    static constexpr int32_t kKeptRows = 32;
    static_assert(kKeptRows >= 2 * kSplineReach + 2);

    Result readWide(int32_t row, const float** samples);
    Result curvesOf(int32_t row, const float** curves);
    void scale(float* target);

    SampleReader& source_;
    Dimensions size_{};
    const SplineKernels& kernels_;
    size_t count_ = 0;   // samples of a resized row
    size_t stride_ = 0;  // from one of them to the next
    float zero_ = 0;     // what is sample 0 of signed ones
    int32_t reach_ = 0;
    float lineWeights_[kSplineReach + 1];  // by distance
    SplineWalk rows_;
    Scratch<SplineColumn> columns_;
    Scratch<float> line_;         // a source row, gone on at both ends
    Scratch<float> lineCurves_;   // its second derivatives
    Scratch<float> wide_;         // source rows brought to the width
    Scratch<float> curves_;       // second derivatives of two neighbours of these
    int32_t wideRow_[kKeptRows];  // which row lies there
    int32_t curveRow_[2] = {-1, -1};
};

}  // namespace tnk
