#include "geometry/size/spline_rows.h"

#include <algorithm>
#include <cmath>

#include "base/shape.h"

namespace tnk {
namespace {

// Pixels of several channels are read and written four floats at a time.
constexpr size_t kFloatsBeyond = 8;

// What rounding leaves of a float's digits is beyond those of bytes much sooner.
constexpr int32_t kSplineReachOfBytes = 8;

// Second derivatives of the spline through samples y are the sum over all k of w[|k|] * y[i + k], where the weights are the
// inverse of d[i - 1] + 4 d[i] + d[i + 1] = 6 (y[i - 1] - 2 y[i] + y[i + 1]). Those that are cut off are made up for in the
// middle, so that straight lines have no curve.
void makeCurveWeights(int32_t reach, float* weights) {
    constexpr double kRoot3 = 1.7320508075688772;
    double power = 1, sum = 0;
    for (int32_t k = 1; k <= reach; ++k) {
        power *= kRoot3 - 2;
        weights[k] = static_cast<float>(-6 * kRoot3 * power);
        sum += weights[k];
    }
    weights[0] = static_cast<float>(-2 * sum);
}

// Weights of the rows from row - reach on. A natural spline goes on beyond its ends turned about them by half a turn, so
// what lies there is made of what lies inside.
struct RowWeights {
    float weight[2 * kSplineReach + 1];
};

RowWeights rowWeights(const float* byDistance, int32_t reach, int32_t row, int32_t rows) {
    double weights[2 * kSplineReach + 1] = {};
    const auto of = [&](int32_t i) -> double& { return weights[i - row + reach]; };
    for (int32_t k = -reach; k <= reach && rows > 1; ++k) {
        double weight = byDistance[std::abs(k)];
        int32_t i = row + k;
        while (i < 0 || i >= rows) {
            const int32_t end = i < 0 ? 0 : rows - 1;
            of(end) += 2 * weight;
            weight = -weight;
            i = 2 * end - i;
        }
        of(i) += weight;
    }
    RowWeights result;
    std::transform(std::begin(weights), std::end(weights), result.weight,
                   [](double w) { return static_cast<float>(w); });
    return result;
}

// Goes on at both ends; see rowWeights.
void extendLine(float* line, int32_t width, ptrdiff_t channels) {
    const ptrdiff_t last = width - 1;
    for (ptrdiff_t k = 1; k <= kSplineReach; ++k) {
        for (ptrdiff_t c = 0; c < channels; ++c) {
            const auto at = [&](ptrdiff_t i) -> float& { return line[i * channels + c]; };
            at(-k) = last == 0 ? at(0) : 2 * at(0) - at(k);
            at(last + k) = last == 0 ? at(0) : 2 * at(last) - at(last - k);
        }
    }
}

// Samples of 32 bits, which no vector of floats becomes; see SplineKernels::toBytes.
void toWide(const SplinePair& pair, const SampleRange& range, double zero, size_t count, uint32_t* target) {
    const SplineWeights& w = pair.weights;
    for (size_t i = 0; i < count; ++i) {
        float value = pair.before[i];
        if (pair.behind != nullptr) {
            value = w.before * pair.before[i] + w.behind * pair.behind[i] + w.beforeCurve * pair.beforeCurve[i] +
                    w.behindCurve * pair.behindCurve[i];
        }
        value += 0.5f;
        if (!(value > range.least)) {
            target[i] = 0;
        } else {
            target[i] = value >= range.most
                            ? UINT32_MAX
                            : static_cast<uint32_t>(static_cast<int64_t>(value) + static_cast<int64_t>(zero));
        }
    }
}

}  // namespace

SplineWalk::SplineWalk(int32_t from, int32_t to)
    : from_(from), step_(to > 1 ? static_cast<float>(from - 1) / static_cast<float>(to - 1) : 0) {}

void SplineWalk::moveTo(int32_t place) {
    if (place < place_) {
        place_ = at_ = 0;
        between_ = 0;
    }
    for (; place_ < place; ++place_) {
        between_ += step_;
        // Rounded steps may lead a little beyond the last sample, or to it too soon.
        if (at_ + static_cast<int64_t>(between_) >= from_ - 1) {
            at_ = from_ - 1;
            between_ = 0;
        } else if (between_ >= 1) {
            const auto whole = static_cast<int32_t>(between_);
            between_ -= static_cast<float>(whole);
            at_ += whole;
        }
    }
}

SplineWeights SplineWalk::weights() const {
    const auto curve = [](double t) { return static_cast<float>((t * t * t - t) / 6); };
    const float before = 1 - between_;
    return {before, between_, curve(before), curve(between_)};
}

Result SplineRows::prepare(const Dimensions& size) {
    TRY(source_.prepare());
    const SampleFormat& format = source_.format();
    const Dimensions from = {source_.bitmap().Width, source_.bitmap().Height};
    size_ = size;
    count_ = static_cast<size_t>(size.width) * format.channels;
    stride_ = count_ + kFloatsBeyond;
    zero_ = static_cast<float>(format.turn);
    reach_ = format.bytes == 1 ? kSplineReachOfBytes : kSplineReach;
    makeCurveWeights(reach_, lineWeights_);
    rows_ = SplineWalk(from.height, size.height);
    const uint64_t margin = uint64_t{2} * kSplineReach * format.channels;
    if (!line_.allocate(source_.samplesInRow() + margin) || !wide_.allocate(uint64_t{stride_} * kKeptRows) ||
        !curves_.allocate(uint64_t{stride_} * 2)) {
        return FAILURE;
    }
    std::fill_n(wideRow_, kKeptRows, -1);
    if (size.width == from.width) return SUCCESS;
    if (!columns_.allocate(static_cast<uint32_t>(size.width)) ||
        !lineCurves_.allocate(source_.samplesInRow() + kFloatsBeyond, true)) {
        return FAILURE;
    }
    SplineWalk walk(from.width, size.width);
    for (int32_t x = 0; x < size.width; ++x) {
        walk.moveTo(x);
        columns_[static_cast<size_t>(x)] = {walk.at(), walk.weights()};
    }
    return SUCCESS;
}

// Brings the source row in line_ to the width.
void SplineRows::scale(float* target) {
    const size_t channels = source_.format().channels;
    float* const line = line_.data() + kSplineReach * channels;
    extendLine(line, source_.bitmap().Width, static_cast<ptrdiff_t>(channels));
    kernels_.sumColumns(line, static_cast<ptrdiff_t>(channels), lineWeights_, reach_, lineCurves_.data(),
                        source_.samplesInRow());
    kernels_.interpolateColumns(line, lineCurves_.data(), columns_.data(), columns_.size(), channels, target);
}

Result SplineRows::readWide(int32_t row, const float** samples) {
    const auto slot = static_cast<size_t>(row % kKeptRows);
    float* const wide = wide_.data() + slot * stride_;
    *samples = wide;
    if (wideRow_[slot] == row) return SUCCESS;
    wideRow_[slot] = -1;
    const uint8_t* from;
    TRY(source_.read(row, &from));
    const bool stays = !columns_;
    float* const line = stays ? wide : line_.data() + size_t{kSplineReach} * source_.format().channels;
    withSampleType(source_.format(), [&](auto type) {
        const auto* const values = reinterpret_cast<const decltype(type)*>(from);
        for (size_t i = 0; i < source_.samplesInRow(); ++i) line[i] = static_cast<float>(values[i]) - zero_;
    });
    if (!stays) scale(wide);
    wideRow_[slot] = row;
    return SUCCESS;
}

// The second derivatives of the columns at a row.
Result SplineRows::curvesOf(int32_t row, const float** curves) {
    const auto slot = static_cast<size_t>(row % 2);
    float* const target = curves_.data() + slot * stride_;
    *curves = target;
    if (curveRow_[slot] == row) return SUCCESS;
    curveRow_[slot] = -1;
    const int32_t height = source_.bitmap().Height;
    const int32_t first = std::max(row - reach_, 0);
    const int32_t last = static_cast<int32_t>(std::min<int64_t>(int64_t{row} + reach_, height - 1));
    const float* rows[2 * kSplineReach + 1];
    for (int32_t i = first; i <= last; ++i) TRY(readWide(i, &rows[i - first]));
    const RowWeights weights = rowWeights(lineWeights_, reach_, row, height);
    kernels_.sumRows(rows, weights.weight + (first - row + reach_), last - first + 1, target, count_);
    curveRow_[slot] = row;
    return SUCCESS;
}

Result SplineRows::make(int32_t row, uint8_t* samples) {
    rows_.moveTo(row);
    SplinePair pair{.before = nullptr,
                    .behind = nullptr,
                    .beforeCurve = nullptr,
                    .behindCurve = nullptr,
                    .weights = rows_.weights()};
    if (rows_.between() > 0) {
        TRY(curvesOf(rows_.at(), &pair.beforeCurve));
        TRY(curvesOf(rows_.at() + 1, &pair.behindCurve));
        TRY(readWide(rows_.at() + 1, &pair.behind));
    }
    TRY(readWide(rows_.at(), &pair.before));
    const SampleFormat& format = source_.format();
    const SampleRange range = {-zero_, static_cast<float>(format.most) - zero_,
                               format.bytes == 4 ? 0 : static_cast<int32_t>(format.turn)};
    if (format.bytes == 1) {
        kernels_.toBytes(pair, range, count_, samples);
    } else if (format.bytes == 2) {
        kernels_.toWords(pair, range, count_, reinterpret_cast<uint16_t*>(samples));
    } else {
        toWide(pair, range, format.turn, count_, reinterpret_cast<uint32_t*>(samples));
    }
    return SUCCESS;
}

}  // namespace tnk
