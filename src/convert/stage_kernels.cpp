#include "convert/stage_kernels.h"

#include <algorithm>
#include <cstring>

#include "base/pixel_values.h"
#include "convert/packed_pixels.h"
#include "palette/palette.h"

namespace tnk::steps {
namespace {

// Fewer pixels are searched one by one: the matcher's tables have their price.
constexpr size_t kMatcherPixels = 16;

// From colours to the matrix space and back, each row with the rounding term that all have.
constexpr ChannelMatrix kForward = {{{7151, 897, 145, 4095}, {394, 7067, 731, 4095}, {1067, 2841, 4284, 4095}}};
constexpr ChannelMatrix kInverse = {
    {{9467, -1151, -125, 4095}, {-305, 10232, -1735, 4095}, {-2156, -6498, 16846, 4095}}};

int32_t quotient(const ChannelMatrix& matrix, size_t i, const uint16_t (&channel)[4]) {
    const int16_t* row = matrix.row[i];
    return (row[0] * channel[0] + row[1] * channel[1] + row[2] * channel[2] + row[3]) / 8192;
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
        target[i] = static_cast<uint8_t>(load32(source + 4 * i) >> step.scale.shift & step.scale.mask);
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
            storeAs(target + 4 * i, (load32(source + 4 * i) >> by.shift & by.mask) << by.shiftUp);
        return;
    }
    for (size_t i = 0; i < count; ++i) {
        const uint64_t sample = load32(source + 4 * i) >> by.shift & by.mask;
        const uint64_t value = by.factor != 0 ? sample * by.factor >> by.factorShift : sample * by.multiply / by.divide;
        storeAs(target + 4 * i, static_cast<uint32_t>(value) << by.shiftUp);
    }
}

void lookup(const ConvertStep& step, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    const SampleLookup& table = step.lookup;
    for (size_t i = 0; i < count; ++i)
        storeAs(target + 4 * i, table.entries[load32(source + 4 * i) >> table.shift & table.mask]);
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
        const uint32_t word = load16(source + 2 * i);
        store16(target + 2 * i, (word >> 10 & 31) | (word & 31 << 5) | (word & 31) << 10);
    }
}

void matchPair(const ConvertStep& step, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().matchPair(source, target, count, step.pair);
}

void forward8(const ConvertStep&, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().multiply(source, target, count, kForward);
}

void inverse8(const ConvertStep&, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().multiply(source, target, count, kInverse);
}

void forward16(const ConvertStep&, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    for (; count != 0; --count, source += 8, target += 8) {
        uint16_t pixel[4];
        std::memcpy(pixel, source, sizeof pixel);
        // KEEP: no clamping. The first row sums to 8193, so that white gives 65543, which wraps to 7.
        const uint16_t result[4] = {static_cast<uint16_t>(quotient(kForward, 0, pixel)),
                                    static_cast<uint16_t>(quotient(kForward, 1, pixel)),
                                    static_cast<uint16_t>(quotient(kForward, 2, pixel)), 0};
        std::memcpy(target, result, sizeof result);
    }
}

void inverse16(const ConvertStep&, ConvertPlan&, const uint8_t* source, uint8_t* target, size_t count) {
    for (; count != 0; --count, source += 8, target += 8) {
        uint16_t pixel[4];
        std::memcpy(pixel, source, sizeof pixel);
        const uint16_t result[4] = {static_cast<uint16_t>(std::clamp(quotient(kInverse, 0, pixel), 0, 65535)),
                                    static_cast<uint16_t>(std::clamp(quotient(kInverse, 1, pixel), 0, 65535)),
                                    static_cast<uint16_t>(std::clamp(quotient(kInverse, 2, pixel), 0, 65535)), 0};
        std::memcpy(target, result, sizeof result);
    }
}

}  // namespace tnk::steps
