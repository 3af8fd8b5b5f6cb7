// The loops of splines in floats, for vectors of as many as the including file's instructions hold. No product is fused with
// a sum, so that every set gives the same floats.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "kernels/size/spline_kernels.h"

namespace tnk {
namespace {

constexpr size_t kLanes = 16;  // sums that stay in registers

void sumRows(const float* const* rows, const float* weights, int32_t count, float* __restrict target, size_t samples) {
    size_t x = 0;
    for (; x + kLanes <= samples; x += kLanes) {
        float sums[kLanes] = {};
        for (int32_t r = 0; r < count; ++r) {
            const float* const row = rows[r] + x;
            for (size_t i = 0; i < kLanes; ++i) sums[i] += weights[r] * row[i];
        }
        std::copy_n(sums, kLanes, target + x);
    }
    for (; x < samples; ++x) {
        float sum = 0;
        for (int32_t r = 0; r < count; ++r) sum += weights[r] * rows[r][x];
        target[x] = sum;
    }
}

void sumColumns(const float* line, ptrdiff_t channels, const float* weights, int32_t reach, float* __restrict target,
                size_t samples) {
    size_t x = 0;
    for (; x + kLanes <= samples; x += kLanes) {
        float sums[kLanes];
        for (size_t i = 0; i < kLanes; ++i) sums[i] = weights[0] * line[x + i];
        for (int32_t k = 1; k <= reach; ++k) {
            const float* const before = line + x - k * channels;
            const float* const behind = line + x + k * channels;
            for (size_t i = 0; i < kLanes; ++i) sums[i] += weights[k] * (before[i] + behind[i]);
        }
        std::copy_n(sums, kLanes, target + x);
    }
    for (; x < samples; ++x) {
        float sum = weights[0] * line[x];
        // Samples lie before the line too: their places are no indexes.
        const float* const at = line + x;
        for (int32_t k = 1; k <= reach; ++k) sum += weights[k] * (*(at - k * channels) + *(at + k * channels));
        target[x] = sum;
    }
}

float splineValue(const SplineWeights& w, float before, float behind, float beforeCurve, float behindCurve) {
    return w.before * before + w.behind * behind + w.beforeCurve * beforeCurve + w.behindCurve * behindCurve;
}

// Pixels of up to four channels are four floats, of which the last ones are written over by the next pixel.
using Four = float __attribute__((vector_size(16)));

Four loadFour(const float* from) {
    Four value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

void interpolateColumns(const float* line, const float* curves, const SplineColumn* columns, size_t count,
                        size_t channels, float* target) {
    if (channels == 1) {
        for (size_t x = 0; x < count; ++x) {
            const auto at = static_cast<size_t>(columns[x].at);
            target[x] = splineValue(columns[x].weights, line[at], line[at + 1], curves[at], curves[at + 1]);
        }
        return;
    }
    for (size_t x = 0; x < count; ++x, target += channels) {
        const size_t at = static_cast<size_t>(columns[x].at) * channels;
        const SplineWeights& w = columns[x].weights;
        const Four value = w.before * loadFour(line + at) + w.behind * loadFour(line + at + channels) +
                           w.beforeCurve * loadFour(curves + at) + w.behindCurve * loadFour(curves + at + channels);
        std::memcpy(target, &value, sizeof value);
    }
}

// KEEP: what is below 0 is rounded up, since the fraction is cut off towards zero; to round down would be the repair.
template <typename T>
T roundSample(float value, float least, float most, int32_t zero) {
    value += 0.5f;
    value = value > least ? value : least;
    value = value < most ? value : most;
    return static_cast<T>(static_cast<int32_t>(value) + zero);
}

template <typename T>
void interpolateRows(const SplinePair& pair, const SampleRange& range, size_t count, T* __restrict target) {
    const float *const before = pair.before, *const behind = pair.behind;
    const float *const beforeCurve = pair.beforeCurve, *const behindCurve = pair.behindCurve;
    const SplineWeights w = pair.weights;
    const float least = range.least, most = range.most;
    const int32_t zero = range.zero;
    if (behind == nullptr) {
        for (size_t i = 0; i < count; ++i) target[i] = roundSample<T>(before[i], least, most, zero);
        return;
    }
    for (size_t i = 0; i < count; ++i) {
        const float value = splineValue(w, before[i], behind[i], beforeCurve[i], behindCurve[i]);
        target[i] = roundSample<T>(value, least, most, zero);
    }
}

}  // namespace
}  // namespace tnk
