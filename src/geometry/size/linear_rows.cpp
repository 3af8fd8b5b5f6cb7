#include "geometry/size/linear_rows.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "base/shape.h"

namespace tnk {
namespace {

// a + step * (b - a) / steps, rounded down, on the way from a to b.
template <typename T>
T between(T a, T b, const LinearStep& place) {
    if constexpr (sizeof(T) < 4) {
        // Sums stay below 2^47, and half a step more keeps quotients away from integers by more than floats are wrong.
        const int64_t sum = int64_t{place.steps - place.step} * a + int64_t{place.step} * b;
        return static_cast<T>(static_cast<int64_t>((static_cast<double>(sum) + 0.5) * place.inverse));
    }
    const int64_t product = int64_t{place.step} * (int64_t{b} - int64_t{a});
    const int64_t whole = product / place.steps;
    return static_cast<T>(int64_t{a} + whole - (product % place.steps < 0 ? 1 : 0));
}

// Rounded to nearest. Sums of 32 bits are divided as floats, which half a part more keeps away from integers.
struct Divisor {
    explicit Divisor(uint64_t parts) : total(parts), half(parts / 2), inverse(1 / static_cast<double>(parts)) {}

    template <typename Sum>
    uint32_t divide(Sum sum) const {
        if constexpr (sizeof(Sum) > 4) return static_cast<uint32_t>((sum + half) / total);
        return static_cast<uint32_t>(static_cast<int64_t>((static_cast<double>(uint64_t{sum} + half) + 0.5) * inverse));
    }

    uint64_t total;
    uint64_t half;
    double inverse;
};

template <typename T, typename Sum>
void addRow(const T* row, Sum* sums, size_t count, uint32_t weight) {
    for (size_t i = 0; i < count; ++i) sums[i] += static_cast<Sum>(row[i]) * weight;
}

// Averages of the samples of a row, of which each stands for `rows` parts already.
template <typename T, typename Sum, typename In>
void averageRow(const In* row, T* target, const AreaCell* cells, const Areas& areas, int32_t width, uint32_t channels,
                uint32_t rows) {
    const Divisor divisor(uint64_t{areas.total()} * rows);
    for (int32_t x = 0; x < width; ++x) {
        const AreaCell& cell = cells[x];
        for (uint32_t c = 0; c < channels; ++c) {
            const In* sample = row + static_cast<size_t>(cell.first) * channels + c;
            Sum sum = static_cast<Sum>(*sample) * cell.firstWeight;
            for (int32_t i = cell.first + 1; i < cell.last; ++i) {
                sample += channels;
                sum += static_cast<Sum>(*sample) * areas.inner();
            }
            if (cell.lastWeight != 0) sum += static_cast<Sum>(sample[channels]) * cell.lastWeight;
            *target++ = static_cast<T>(divisor.divide(sum));
        }
    }
}

}  // namespace

int64_t Stretch::placeOf(int64_t sample) const {
    const auto last = static_cast<uint64_t>(from_) - 1;
    return static_cast<int64_t>((2 * static_cast<uint64_t>(sample) * (static_cast<uint64_t>(to_) - 1) + last) /
                                (2 * last));
}

LinearStep Stretch::at(int32_t place) const {
    if (from_ == to_) return {place, 0, 1, 1};
    if (from_ == 1) return {0, 0, 1, 1};
    int64_t sample = int64_t{place} * (from_ - 1) / (to_ - 1);
    if (placeOf(sample) > place) --sample;
    if (sample + 1 < from_ && placeOf(sample + 1) <= place) ++sample;
    if (sample + 1 == from_) return {from_ - 1, 0, 1, 1};
    const int64_t start = placeOf(sample);
    const auto steps = static_cast<int32_t>(placeOf(sample + 1) - start);
    return {static_cast<int32_t>(sample), static_cast<int32_t>(place - start), steps, 1 / static_cast<double>(steps)};
}

int32_t Stretch::mostSteps() const {
    return from_ == 1 ? 1 : static_cast<int32_t>((int64_t{to_} - 1 + from_ - 2) / (from_ - 1));
}

Areas::Areas(int32_t from, int32_t to) {
    const int32_t common = std::gcd(from, to);
    from_ = static_cast<uint32_t>(from / common);
    to_ = static_cast<uint32_t>(to / common);
}

AreaCell Areas::at(int32_t place) const {
    const uint64_t begin = static_cast<uint64_t>(place) * from_;
    const uint64_t end = begin + from_;
    const uint64_t first = begin / to_;
    const uint64_t last = (end - 1) / to_;
    return {static_cast<int32_t>(first), static_cast<int32_t>(last),
            static_cast<uint32_t>(std::min((first + 1) * to_, end) - begin),
            last > first ? static_cast<uint32_t>(end - last * to_) : 0};
}

Result LinearRows::prepare(const Dimensions& size) {
    TRY(source_.prepare());
    const SampleFormat& format = source_.format();
    const Dimensions from = {source_.bitmap().Width, source_.bitmap().Height};
    size_ = size;
    shrinksWidth_ = size.width < from.width;
    growsWidth_ = size.width > from.width;
    shrinksHeight_ = size.height < from.height;
    const auto width = static_cast<uint32_t>(size.width);
    if (shrinksWidth_) {
        columnAreas_ = Areas(from.width, size.width);
        if (!columnCells_.allocate(width)) return FAILURE;
        for (int32_t x = 0; x < size.width; ++x) columnCells_[static_cast<size_t>(x)] = columnAreas_.at(x);
    } else if (growsWidth_) {
        TRY(prepareColumns(Stretch(from.width, size.width)));
    }
    if (shrinksHeight_) {
        rowAreas_ = Areas(from.height, size.height);
        // Pixel data ends below 4 GB, so that 64 bits hold the sum of all samples of a bitmap.
        const auto isHalf = [](const Areas& areas) { return areas.total() == 2 && areas.inner() == 1; };
        halves_ = format.bytes == 1 && format.asStored && isHalf(rowAreas_) && isHalf(columnAreas_);
        if (halves_) return SUCCESS;
        const uint64_t parts = uint64_t{rowAreas_.total()} * columnAreas_.total();
        sumsAreWide_ = parts > UINT32_MAX / (uint64_t{format.most} + 1);
        if (!sums_.allocate(uint64_t{source_.samplesInRow()} * (sumsAreWide_ ? 8 : 4))) return FAILURE;
        if (growsWidth_ && !mean_.allocate(source_.samplesInRow() * format.bytes)) return FAILURE;
        return SUCCESS;
    }
    rowStretch_ = Stretch(from.height, size.height);
    const bool byKernel = format.bytes == 1 && kernels_.blendRows != nullptr;
    if (byKernel && rowStretch_.mostSteps() <= kMostBlendSteps) rowOffset_ = blendOffset(rowStretch_.mostSteps());
    for (Scratch<uint8_t>& row : wide_) {
        if (!row.allocate(format.rowBytes(width))) return FAILURE;
    }
    return SUCCESS;
}

// Where columns lie, and runs of eight bytes for kernels.
Result LinearRows::prepareColumns(const Stretch& columns) {
    const auto width = static_cast<size_t>(size_.width);
    const SampleFormat& format = source_.format();
    if (!columnSteps_.allocate(width)) return FAILURE;
    for (size_t x = 0; x < width; ++x) columnSteps_[x] = columns.at(static_cast<int32_t>(x));
    const size_t bytes = source_.samplesInRow();
    const size_t channels = format.channels;
    const bool fits = format.bytes == 1 && bytes >= BlendRun::kReach && columns.mostSteps() <= kMostBlendSteps;
    const size_t runs = width * channels / 8;
    if (!fits || kernels_.blendColumns == nullptr || runs == 0) return SUCCESS;
    if (!columnRuns_.allocate(runs)) return FAILURE;
    columnOffset_ = blendOffset(columns.mostSteps());
    for (size_t r = 0; r < runs; ++r) {
        BlendRun& run = columnRuns_[r];
        const auto first = static_cast<size_t>(columnSteps_[8 * r / channels].at) * channels;
        run.from = static_cast<uint32_t>(std::min(first, bytes - BlendRun::kReach));
        for (size_t i = 0; i < 8; ++i) {
            const LinearStep& place = columnSteps_[(8 * r + i) / channels];
            const size_t at = static_cast<size_t>(place.at) * channels + (8 * r + i) % channels - run.from;
            run.pairs[2 * i] = static_cast<uint8_t>(at);
            run.pairs[2 * i + 1] = static_cast<uint8_t>(place.step == 0 ? at : at + channels);
            run.weights[i] = blendWeights(place.step, place.steps);
        }
    }
    return SUCCESS;
}

// Samples `from` and on of a row that grows.
template <typename T>
void LinearRows::stretch(const T* row, T* target, int32_t from) const {
    const auto channels = static_cast<int32_t>(source_.format().channels);
    const int32_t count = size_.width * channels;
    int32_t channel = from % channels;
    for (int32_t x = from / channels; from < count; ++x, channel = 0) {
        const LinearStep& place = columnSteps_[static_cast<size_t>(x)];
        const T* const sample = row + static_cast<ptrdiff_t>(place.at) * channels;
        for (int32_t c = channel; c < channels; ++c, ++from) {
            target[from] = place.step == 0 ? sample[c] : between(sample[c], sample[c + channels], place);
        }
    }
}

template <typename T>
void LinearRows::scale(const T* row, T* target) const {
    if (shrinksWidth_) {
        averageRow<T, uint64_t>(row, target, columnCells_.data(), columnAreas_, size_.width, source_.format().channels,
                                1);
    } else if (growsWidth_) {
        int32_t done = 0;
        if constexpr (sizeof(T) == 1) {
            if (columnRuns_) {
                kernels_.blendColumns(row, columnRuns_.data(), columnRuns_.size(), columnOffset_, target);
            }
            done = static_cast<int32_t>(8 * columnRuns_.size());
        }
        stretch(row, target, done);
    } else {
        std::memcpy(target, row, source_.samplesInRow() * sizeof(T));
    }
}

// Means of 2 x 2 bytes.
Result LinearRows::halve(int32_t row, uint8_t* samples) {
    uint8_t* rows[2];
    TRY(source_.readPair(2 * row, rows));
    const size_t channels = source_.format().channels;
    const size_t count = static_cast<size_t>(size_.width) * channels;
    size_t i =
        kernels_.halve != nullptr ? kernels_.halve(rows[0], rows[1], source_.format().channels, count, samples) : 0;
    for (; i < count; ++i) {
        const size_t at = i / channels * 2 * channels + i % channels;
        const uint32_t sum = uint32_t{rows[0][at]} + rows[0][at + channels] + rows[1][at] + rows[1][at + channels];
        samples[i] = static_cast<uint8_t>((sum + 2) / 4);
    }
    return SUCCESS;
}

// A source row brought to the width.
template <typename T>
Result LinearRows::readWide(int32_t row, const T** samples) {
    const auto slot = static_cast<size_t>(row % 2);
    auto* const wide = reinterpret_cast<T*>(wide_[slot].data());
    if (wideRow_[slot] != row) {
        wideRow_[slot] = -1;
        const uint8_t* from;
        TRY(source_.read(row, &from));
        scale(reinterpret_cast<const T*>(from), wide);
        wideRow_[slot] = row;
    }
    *samples = wide;
    return SUCCESS;
}

// A row of a height that shrinks. When the width shrinks too, the sums of a cell are divided once.
template <typename T, typename Sum>
Result LinearRows::average(int32_t row, T* samples) {
    const size_t count = source_.samplesInRow();
    auto* const sums = reinterpret_cast<Sum*>(sums_.data());
    std::fill_n(sums, count, Sum{0});
    const AreaCell cell = rowAreas_.at(row);
    for (int32_t from = cell.first; from <= cell.last; ++from) {
        const uint8_t* line;
        TRY(source_.read(from, &line));
        const uint32_t weight = from == cell.first  ? cell.firstWeight
                                : from == cell.last ? cell.lastWeight
                                                    : rowAreas_.inner();
        addRow(reinterpret_cast<const T*>(line), sums, count, weight);
    }
    if (shrinksWidth_) {
        averageRow<T, Sum>(sums, samples, columnCells_.data(), columnAreas_, size_.width, source_.format().channels,
                           rowAreas_.total());
        return SUCCESS;
    }
    T* const mean = growsWidth_ ? reinterpret_cast<T*>(mean_.data()) : samples;
    const Divisor divisor(rowAreas_.total());
    for (size_t i = 0; i < count; ++i) mean[i] = static_cast<T>(divisor.divide(sums[i]));
    if (growsWidth_) scale(mean, samples);
    return SUCCESS;
}

template <typename T>
Result LinearRows::makeAs(int32_t row, T* samples) {
    if (shrinksHeight_) return sumsAreWide_ ? average<T, uint64_t>(row, samples) : average<T, uint32_t>(row, samples);
    const LinearStep place = rowStretch_.at(row);
    const T* first;
    TRY(readWide(place.at, &first));
    const size_t count = static_cast<size_t>(size_.width) * source_.format().channels;
    if (place.step == 0) {
        std::memcpy(samples, first, count * sizeof(T));
        return SUCCESS;
    }
    const T* second;
    TRY(readWide(place.at + 1, &second));
    size_t i = 0;
    if constexpr (sizeof(T) == 1) {
        if (rowOffset_ != 0) {
            const BlendWeights weights = blendWeights(place.step, place.steps);
            i = kernels_.blendRows(first, second, weights, rowOffset_, count, samples);
        }
    }
    for (; i < count; ++i) samples[i] = between(first[i], second[i], place);
    return SUCCESS;
}

Result LinearRows::make(int32_t row, uint8_t* samples) {
    if (halves_) return halve(row, samples);
    return withSampleType(source_.format(),
                          [&](auto type) { return makeAs(row, reinterpret_cast<decltype(type)*>(samples)); });
}

}  // namespace tnk
