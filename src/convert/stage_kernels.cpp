#include "convert/stage_kernels.h"

#include <algorithm>
#include <cstring>

#include "base/pixel_values.h"
#include "convert/packed_pixels.h"
#include "palette/palette.h"

namespace tnk::stages {
namespace {

// The first pixels are searched one by one: the matcher's tables have their price.
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

void unpack(const Stage& stage, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    unpackPixels(stage.bits, source, target, count);
}

void pack(const Stage& stage, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    packPixels(stage.bits, source, target, count);
}

void expand(const Stage&, StagePlan& plan, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().expand(source, target, count, plan.table);
}

void spread(const Stage&, StagePlan& plan, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().spread(source, target, count, plan.table);
}

void nearest(const Stage& stage, StagePlan& plan, const uint8_t* source, uint8_t* target, size_t count) {
    const ChannelBytes& at = stage.channels;
    if (!plan.matcherReady && count + plan.searched >= kMatcherPixels)
        plan.matcherReady = plan.matcher.prepare(plan.palette);
    if (plan.matcherReady) {
        plan.matcher.findRow(source, at.pixelBytes, at.red, at.green, at.blue, target, static_cast<int32_t>(count));
        return;
    }
    if (count < kMatcherPixels) plan.searched += static_cast<uint32_t>(count);
    for (size_t i = 0; i < count; ++i, source += at.pixelBytes)
        target[i] = static_cast<uint8_t>(findNearest(plan.palette, source[at.red], source[at.green], source[at.blue]));
}

void gray(const Stage& stage, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().gray(source, target, count, stage.weights);
}

void samples8(const Stage& stage, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    for (size_t i = 0; i < count; ++i)
        target[i] = static_cast<uint8_t>(load32(source + 4 * i) >> stage.scale.shift & stage.scale.mask);
}

void load12(const Stage&, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    unpack12(source, reinterpret_cast<uint32_t*>(target), count);
}

void store12(const Stage&, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    pack12(reinterpret_cast<const uint32_t*>(source), target, count);
}

void scale(const Stage& stage, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    const SampleScale by = stage.scale;
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

void lookup(const Stage& stage, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    const SampleLookup& table = stage.lookup;
    for (size_t i = 0; i < count; ++i)
        storeAs(target + 4 * i, table.entries[load32(source + 4 * i) >> table.shift & table.mask]);
}

void shuffle(const Stage& stage, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().shuffle(source, target, count, stage.shuffle);
}

void to555(const Stage& stage, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().to555(source, target, count, stage.fields);
}

void from555(const Stage& stage, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().from555(source, target, count, stage.fields);
}

void swap555(const Stage&, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const uint32_t word = load16(source + 2 * i);
        store16(target + 2 * i, (word >> 10 & 31) | (word & 31 << 5) | (word & 31) << 10);
    }
}

void matchPair(const Stage& stage, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().matchPair(source, target, count, stage.pair);
}

void forward8(const Stage&, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().multiply(source, target, count, kForward);
}

void inverse8(const Stage&, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    kernels().multiply(source, target, count, kInverse);
}

void forward16(const Stage&, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
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

void inverse16(const Stage&, StagePlan&, const uint8_t* source, uint8_t* target, size_t count) {
    for (; count != 0; --count, source += 8, target += 8) {
        uint16_t pixel[4];
        std::memcpy(pixel, source, sizeof pixel);
        const uint16_t result[4] = {static_cast<uint16_t>(std::clamp(quotient(kInverse, 0, pixel), 0, 65535)),
                                    static_cast<uint16_t>(std::clamp(quotient(kInverse, 1, pixel), 0, 65535)),
                                    static_cast<uint16_t>(std::clamp(quotient(kInverse, 2, pixel), 0, 65535)), 0};
        std::memcpy(target, result, sizeof result);
    }
}

}  // namespace tnk::stages
