#include "geometry/size/linear_rows.h"

#include <algorithm>
#include <cstring>
#include <numeric>

#include "base/shape.h"

namespace tnk {
namespace {

// step * (b - a) / steps, rounded down, on the way from a to b.
template <typename T>
T between(T a, T b, const LinearStep& place) {
    const int64_t product = int64_t{place.step} * (int64_t{b} - int64_t{a});
    const int64_t whole = product / place.steps;
    return static_cast<T>(int64_t{a} + whole - (product % place.steps < 0 ? 1 : 0));
}

// Rounded to nearest.
template <typename Sum>
Sum divide(Sum sum, uint64_t total) {
    return static_cast<Sum>((sum + total / 2) / total);
}

template <typename T, typename Sum>
void addRow(const T* row, Sum* sums, size_t count, uint32_t weight) {
    for (size_t i = 0; i < count; ++i) sums[i] += static_cast<Sum>(row[i]) * weight;
}

// Averages of the samples of a row, of which each stands for `rows` parts already.
template <typename T, typename Sum, typename In>
void averageRow(const In* row, T* target, const AreaCell* cells, const Areas& areas, int32_t width, uint32_t channels,
                uint32_t rows) {
    const uint64_t total = uint64_t{areas.total()} * rows;
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
            *target++ = static_cast<T>(divide<Sum>(sum, total));
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
    if (from_ == to_) return {place, 0, 1};
    if (from_ == 1) return {0, 0, 1};
    int64_t sample = int64_t{place} * (from_ - 1) / (to_ - 1);
    if (placeOf(sample) > place) --sample;
    if (sample + 1 < from_ && placeOf(sample + 1) <= place) ++sample;
    if (sample + 1 == from_) return {from_ - 1, 0, 1};
    const int64_t start = placeOf(sample);
    return {static_cast<int32_t>(sample), static_cast<int32_t>(place - start),
            static_cast<int32_t>(placeOf(sample + 1) - start)};
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
        const Stretch stretch(from.width, size.width);
        if (!columnSteps_.allocate(width)) return FAILURE;
        for (int32_t x = 0; x < size.width; ++x) columnSteps_[static_cast<size_t>(x)] = stretch.at(x);
    }
    if (shrinksHeight_) {
        rowAreas_ = Areas(from.height, size.height);
        // Pixel data ends below 4 GB, so that 64 bits hold the sum of all samples of a bitmap.
        const uint64_t parts = uint64_t{rowAreas_.total()} * columnAreas_.total();
        sumsAreWide_ = parts > UINT32_MAX / (uint64_t{format.most} + 1);
        if (!sums_.allocate(uint64_t{source_.samplesInRow()} * (sumsAreWide_ ? 8 : 4))) return FAILURE;
        if (growsWidth_ && !mean_.allocate(source_.samplesInRow() * format.bytes)) return FAILURE;
        return SUCCESS;
    }
    rowStretch_ = Stretch(from.height, size.height);
    for (Scratch<uint8_t>& row : wide_) {
        if (!row.allocate(format.rowBytes(width))) return FAILURE;
    }
    return SUCCESS;
}

template <typename T>
void LinearRows::scale(const T* row, T* target) const {
    const uint32_t channels = source_.format().channels;
    if (shrinksWidth_) {
        averageRow<T, uint64_t>(row, target, columnCells_.data(), columnAreas_, size_.width, channels, 1);
    } else if (growsWidth_) {
        for (int32_t x = 0; x < size_.width; ++x) {
            const LinearStep& place = columnSteps_[static_cast<size_t>(x)];
            const T* const sample = row + static_cast<size_t>(place.at) * channels;
            for (uint32_t c = 0; c < channels; ++c) {
                *target++ = place.step == 0 ? sample[c] : between(sample[c], sample[c + channels], place);
            }
        }
    } else {
        std::memcpy(target, row, source_.samplesInRow() * sizeof(T));
    }
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
    for (size_t i = 0; i < count; ++i) mean[i] = static_cast<T>(divide<Sum>(sums[i], rowAreas_.total()));
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
    for (size_t i = 0; i < count; ++i) samples[i] = between(first[i], second[i], place);
    return SUCCESS;
}

Result LinearRows::make(int32_t row, uint8_t* samples) {
    return withSampleType(source_.format(),
                          [&](auto type) { return makeAs(row, reinterpret_cast<decltype(type)*>(samples)); });
}

}  // namespace tnk
