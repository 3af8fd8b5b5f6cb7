#include "geometry/size/spline_rows.h"

#include <algorithm>
#include <cmath>

#include "base/shape.h"

namespace tnk {
namespace {

// Second derivatives of the spline through samples y: the sum over all k of w[|k|] * y[i + k], where the weights are the
// inverse of d[i - 1] + 4 d[i] + d[i + 1] = 6 (y[i - 1] - 2 y[i] + y[i + 1]).
struct CurveWeights {
    float side[kSplineReach];  // of samples 1 and more away
    float middle;
};

constexpr CurveWeights makeCurveWeights() {
    constexpr double kRoot3 = 1.7320508075688772;
    CurveWeights weights{};
    double power = 1, sum = 0;
    for (float& weight : weights.side) {
        power *= kRoot3 - 2;
        weight = static_cast<float>(-6 * kRoot3 * power);
        sum += weight;
    }
    weights.middle = static_cast<float>(-2 * sum);  // straight lines have no curve
    return weights;
}

constexpr CurveWeights kCurve = makeCurveWeights();

// Weights of the samples from row - kSplineReach on. A natural spline goes on beyond its ends turned about them by half a
// turn, so what lies there is made of what lies inside.
struct RowWeights {
    float weight[2 * kSplineReach + 1];
};

RowWeights rowWeights(int32_t row, int32_t rows) {
    double weights[2 * kSplineReach + 1] = {};
    const auto of = [&](int32_t i) -> double& { return weights[i - row + kSplineReach]; };
    for (int32_t k = -kSplineReach; k <= kSplineReach && rows > 1; ++k) {
        double weight = k == 0 ? kCurve.middle : kCurve.side[std::abs(k) - 1];
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

constexpr size_t kLanes = 16;  // sums that are kept in registers

void sumRows(const float* const* rows, const float* weights, int32_t count, float* target, size_t samples) {
    size_t x = 0;
    for (; x + kLanes <= samples; x += kLanes) {
        float sums[kLanes] = {};
        for (int32_t r = 0; r < count; ++r) {
            for (size_t i = 0; i < kLanes; ++i) sums[i] += weights[r] * rows[r][x + i];
        }
        std::copy_n(sums, kLanes, target + x);
    }
    for (; x < samples; ++x) {
        float sum = 0;
        for (int32_t r = 0; r < count; ++r) sum += weights[r] * rows[r][x];
        target[x] = sum;
    }
}

void curveLine(const float* line, size_t channels, float* target, size_t samples) {
    for (size_t x = 0; x < samples; ++x) {
        float sum = kCurve.middle * line[x];
        for (size_t k = 0; k < kSplineReach; ++k) {
            const auto away = static_cast<ptrdiff_t>((k + 1) * channels);
            const float* const middle = line + x;
            sum += kCurve.side[k] * (middle[-away] + middle[away]);
        }
        target[x] = sum;
    }
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

float blend(const SplineWeights& w, float before, float behind, float beforeCurve, float behindCurve) {
    return w.before * before + w.behind * behind + w.beforeCurve * beforeCurve + w.behindCurve * behindCurve;
}

// KEEP: what is below 0 is rounded up, since the fraction is cut off towards zero; to round down would be the repair.
template <typename T>
T toSample(float value, float zero, uint32_t most) {
    value += 0.5f;
    if (!(value > -zero)) return 0;
    if (value >= static_cast<float>(most) - zero) return static_cast<T>(most);
    return static_cast<T>(static_cast<int64_t>(value) + static_cast<int64_t>(zero));
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
    zero_ = static_cast<float>(format.turn);
    rows_ = SplineWalk(from.height, size.height);
    const uint64_t margin = uint64_t{2} * kSplineReach * format.channels;
    if (!line_.allocate(source_.samplesInRow() + margin) || !wide_.allocate(uint64_t{count_} * kKeptRows) ||
        !curves_.allocate(uint64_t{count_} * 2)) {
        return FAILURE;
    }
    std::fill_n(wideRow_, kKeptRows, -1);
    if (size.width == from.width) return SUCCESS;
    if (!columns_.allocate(static_cast<uint32_t>(size.width)) || !lineCurves_.allocate(source_.samplesInRow())) {
        return FAILURE;
    }
    SplineWalk walk(from.width, size.width);
    for (int32_t x = 0; x < size.width; ++x) {
        walk.moveTo(x);
        columns_[static_cast<size_t>(x)] = {walk.at(), walk.between(), walk.weights()};
    }
    return SUCCESS;
}

// Brings the source row in line_ to the width.
void SplineRows::scale(float* target) {
    const size_t channels = source_.format().channels;
    float* const line = line_.data() + kSplineReach * channels;
    extendLine(line, source_.bitmap().Width, static_cast<ptrdiff_t>(channels));
    curveLine(line, channels, lineCurves_.data(), source_.samplesInRow());
    for (const Column& column : columns_.span()) {
        const size_t at = static_cast<size_t>(column.at) * channels;
        const float* const curves = lineCurves_.data();
        for (size_t c = at; c < at + channels; ++c) {
            *target++ = column.between > 0
                            ? blend(column.weights, line[c], line[c + channels], curves[c], curves[c + channels])
                            : line[c];
        }
    }
}

Result SplineRows::readWide(int32_t row, const float** samples) {
    const auto slot = static_cast<size_t>(row % kKeptRows);
    float* const wide = wide_.data() + slot * count_;
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
    float* const target = curves_.data() + slot * count_;
    *curves = target;
    if (curveRow_[slot] == row) return SUCCESS;
    curveRow_[slot] = -1;
    const int32_t height = source_.bitmap().Height;
    const int32_t first = std::max(row - kSplineReach, 0);
    const int32_t last = static_cast<int32_t>(std::min<int64_t>(int64_t{row} + kSplineReach, height - 1));
    const float* rows[2 * kSplineReach + 1];
    for (int32_t i = first; i <= last; ++i) TRY(readWide(i, &rows[i - first]));
    const RowWeights weights = rowWeights(row, height);
    sumRows(rows, weights.weight + (first - row + kSplineReach), last - first + 1, target, count_);
    curveRow_[slot] = row;
    return SUCCESS;
}

Result SplineRows::make(int32_t row, uint8_t* samples) {
    rows_.moveTo(row);
    const float* before = nullptr;
    const float* behind = nullptr;
    const float* beforeCurve = nullptr;
    const float* behindCurve = nullptr;
    const bool between = rows_.between() > 0;
    if (between) {
        TRY(curvesOf(rows_.at(), &beforeCurve));
        TRY(curvesOf(rows_.at() + 1, &behindCurve));
        TRY(readWide(rows_.at() + 1, &behind));
    }
    TRY(readWide(rows_.at(), &before));
    const SplineWeights weights = rows_.weights();
    const uint32_t most = source_.format().most;
    withSampleType(source_.format(), [&](auto type) {
        auto* const target = reinterpret_cast<decltype(type)*>(samples);
        for (size_t i = 0; i < count_; ++i) {
            const float value =
                between ? blend(weights, before[i], behind[i], beforeCurve[i], behindCurve[i]) : before[i];
            target[i] = toSample<decltype(type)>(value, zero_, most);
        }
    });
    return SUCCESS;
}

}  // namespace tnk
