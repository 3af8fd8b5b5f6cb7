// Kernels of resizing by splines: floats, equal on every instruction set.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/kernels.h"

namespace tnk {

// Weights of the samples before and behind a place, and of the second derivatives there.
struct SplineWeights {
    float before;
    float behind;
    float beforeCurve;
    float behindCurve;
};

struct SplineColumn {
    int32_t at;  // the pixel before the place
    SplineWeights weights;
};

// Two rows with their second derivatives. A row that needs no other one stands alone: `behind` is null.
struct SplinePair {
    const float* before;
    const float* behind;
    const float* beforeCurve;
    const float* behindCurve;
    SplineWeights weights;
};

// Values are kept inside, and brought to samples that begin at 0.
struct SampleRange {
    float least;
    float most;
    int32_t zero;  // sample of value 0
};

struct SplineKernels {
    // Weighted sums of `count` rows.
    void (*sumRows)(const float* const* rows, const float* weights, int32_t count, float* target, size_t samples);
    // Weighted sums of the samples up to `reach` pixels to either side: weights[0] counts for the one in the middle.
    void (*sumColumns)(const float* line, ptrdiff_t channels, const float* weights, int32_t reach, float* target,
                       size_t samples);
    // Reads and writes four floats for each pixel of several channels, and reads the pixel behind the last one.
    void (*interpolateColumns)(const float* line, const float* curves, const SplineColumn* columns, size_t count,
                               size_t channels, float* target);
    void (*toBytes)(const SplinePair& pair, const SampleRange& range, size_t count, uint8_t* target);
    void (*toWords)(const SplinePair& pair, const SampleRange& range, size_t count, uint16_t* target);
};

extern const SplineKernels kPlainSplineKernels;
#if defined(__x86_64__) || defined(__i386__)
extern const SplineKernels kAvx2SplineKernels;
#endif

// The table for an instruction set, which the processor must have.
const SplineKernels& splineKernelsFor(InstructionSet set);

}  // namespace tnk
