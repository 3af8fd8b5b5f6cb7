#include "format/convert_steps.h"

#include <algorithm>
#include <cstring>

#include "color/palette.h"
#include "format/packed_pixels.h"

namespace tnk::steps {
namespace {

template <typename T>
T load(const uint8_t* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

template <typename T>
void store(uint8_t* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

// Fewer pixels are searched one by one: the matcher's tables have their price.
constexpr size_t kMatcherPixels = 16;

struct Matrix {
    int32_t row[3][3];
};
constexpr Matrix kForward = {{{7151, 897, 145}, {394, 7067, 731}, {1067, 2841, 4284}}};
constexpr Matrix kInverse = {{{9467, -1151, -125}, {-305, 10232, -1735}, {-2156, -6498, 16846}}};

int32_t product(const Matrix& matrix, int row, const int32_t (&c)[3]) {
    return matrix.row[row][0] * c[0] + matrix.row[row][1] * c[1] + matrix.row[row][2] * c[2] + 4095;
}

template <typename Channel, bool kInverseMatrix>
void applyMatrix(const uint8_t* source, uint8_t* target, size_t count) {
    constexpr uint32_t kPixelBytes = 4 * sizeof(Channel);
    constexpr int32_t kTop = static_cast<Channel>(~Channel{0});
    for (; count != 0; --count, source += kPixelBytes, target += kPixelBytes) {
        Channel pixel[4];
        std::memcpy(pixel, source, kPixelBytes);
        const int32_t c[3] = {pixel[0], pixel[1], pixel[2]};
        for (int row = 0; row < 3; ++row) {
            // KEEP: the forward result is not clamped. White of 16 bits gives 65543 in the first channel, which wraps to 7.
            const int32_t value = kInverseMatrix ? std::clamp(product(kInverse, row, c) / 8192, 0, kTop)
                                                 : product(kForward, row, c) >> 13;
            pixel[row] = static_cast<Channel>(value);
        }
        std::memcpy(target, pixel, kPixelBytes);
    }
}

}  // namespace

void unpack(const ConvertStep& step, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    unpackPixels(step.bits, source, target, count);
}

void pack(const ConvertStep& step, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    packPixels(step.bits, source, target, count);
}

void expand(const ConvertStep&, ConvertPlan& plan, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().expand(source, target, count, plan.table);
}

void spread(const ConvertStep&, ConvertPlan& plan, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().spread(source, target, count, plan.table);
}

void nearest(const ConvertStep& step, ConvertPlan& plan, const uint8_t* source, uint8_t* target, size_t count) {
    const ChannelBytes& at = step.channels;
    if (!plan.matcherReady && count >= kMatcherPixels) plan.matcherReady = plan.matcher.prepare(plan.palette);
    if (plan.matcherReady) {
        plan.matcher.findRow(source, at.pixelBytes, at.red, at.green, at.blue, target, static_cast<int32_t>(count));
        return;
    }
    for (size_t i = 0; i < count; ++i, source += at.pixelBytes)
        target[i] = static_cast<uint8_t>(findNearest(plan.palette, source[at.red], source[at.green], source[at.blue]));
}

void gray(const ConvertStep& step, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().gray(source, target, count, step.weights);
}

void samples8(const ConvertStep& step, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    for (size_t i = 0; i < count; ++i)
        target[i] = static_cast<uint8_t>(load<uint32_t>(source + 4 * i) >> step.scale.shift & step.scale.mask);
}

void load12(const ConvertStep&, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    unpack12(source, reinterpret_cast<uint32_t*>(target), count);
}

void store12(const ConvertStep&, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    pack12(reinterpret_cast<const uint32_t*>(source), target, count);
}

void scale(const ConvertStep& step, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    const SampleScale by = step.scale;
    if (by.multiply == by.divide) {
        for (size_t i = 0; i < count; ++i)
            store(target + 4 * i, (load<uint32_t>(source + 4 * i) >> by.shift & by.mask) << by.shiftUp);
        return;
    }
    for (size_t i = 0; i < count; ++i) {
        const uint64_t sample = load<uint32_t>(source + 4 * i) >> by.shift & by.mask;
        const uint64_t value = by.factor != 0 ? sample * by.factor >> by.factorShift : sample * by.multiply / by.divide;
        store(target + 4 * i, static_cast<uint32_t>(value) << by.shiftUp);
    }
}

void lookup(const ConvertStep& step, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    const SampleLookup& table = step.lookup;
    for (size_t i = 0; i < count; ++i)
        store(target + 4 * i, table.entries[load<uint32_t>(source + 4 * i) >> table.shift & table.mask]);
}

void shuffle(const ConvertStep& step, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().shuffle(source, target, count, step.shuffle);
}

void to555(const ConvertStep& step, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().to555(source, target, count, step.fields);
}

void from555(const ConvertStep& step, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().from555(source, target, count, step.fields);
}

void swap555(const ConvertStep&, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const uint32_t word = load<uint16_t>(source + 2 * i);
        store(target + 2 * i, static_cast<uint16_t>((word >> 10 & 31) | (word & 31 << 5) | (word & 31) << 10));
    }
}

void matchPair(const ConvertStep& step, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().matchPair(source, target, count, step.pair);
}

void forward8(const ConvertStep&, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    applyMatrix<uint8_t, false>(source, target, count);
}

void inverse8(const ConvertStep&, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    applyMatrix<uint8_t, true>(source, target, count);
}

void forward16(const ConvertStep&, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    applyMatrix<uint16_t, false>(source, target, count);
}

void inverse16(const ConvertStep&, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    applyMatrix<uint16_t, true>(source, target, count);
}

}  // namespace tnk::steps
