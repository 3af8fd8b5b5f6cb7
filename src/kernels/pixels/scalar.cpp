// The rule of every kernel, in plain code.
#include <algorithm>
#include <bit>
#include <cstring>

#include "base/pixel_values.h"
#include "kernels/kernels.h"
#include "kernels/pixels/hue_class.h"
#include "kernels/pixels/pixel_bytes.h"

namespace tnk {
namespace {

void shufflePixels(const uint8_t* source, uint8_t* target, size_t count, const PixelShuffle& shuffle) {
    uint8_t pixel[8] = {};
    for (; count != 0; --count, source += shuffle.sourceBytes, target += shuffle.targetBytes) {
        std::memcpy(pixel, source, shuffle.sourceBytes);
        for (uint32_t i = 0; i < shuffle.targetBytes; ++i) {
            const uint8_t from = shuffle.from[i];
            target[i] = from == PixelShuffle::kFill ? shuffle.fill[i] : pixel[from];
        }
    }
}

template <uint32_t kBytes>
void copyEntry(uint8_t* target, const PixelTable& table, uint8_t index) {
    if constexpr (kBytes == 1)
        *target = table.one[index];
    else if constexpr (kBytes <= 4)
        std::memcpy(target, &table.four[index], kBytes);
    else
        std::memcpy(target, &table.eight[index], kBytes);
}

// Eight indexes a step. Entries of 3 and 6 bytes are stored as 4 and 8, each store but the row's last followed by the
// one that mends what it spoiled.
template <uint32_t kBytes>
void expandTo(const uint8_t* indexes, uint8_t* target, size_t count, const PixelTable& table) {
    constexpr uint32_t kStore = kBytes == 3 ? 4 : kBytes == 6 ? 8 : kBytes;
    size_t i = 0;
    for (; i + 8 + (kStore != kBytes) <= count; i += 8) {
        uint64_t eight;
        std::memcpy(&eight, indexes + i, 8);
        for (uint32_t k = 0; k < 8; ++k, eight >>= 8)
            copyEntry<kStore>(target + (i + k) * kBytes, table, static_cast<uint8_t>(eight));
    }
    for (; i < count; ++i) copyEntry<kBytes>(target + i * kBytes, table, indexes[i]);
}

void expand(const uint8_t* indexes, uint8_t* target, size_t count, const PixelTable& table) {
    withPixelBytes(table.pixelBytes, [&](auto bytes) { expandTo<bytes>(indexes, target, count, table); });
}

template <uint32_t kBytes>
void spreadTo(const uint8_t* bits, uint8_t* target, size_t count, const PixelTable& table) {
    for (size_t i = 0; i < count; ++i) copyEntry<kBytes>(target + i * kBytes, table, bits[i / 8] >> (7 - i % 8) & 1);
}

void spread(const uint8_t* bits, uint8_t* target, size_t count, const PixelTable& table) {
    withPixelBytes(table.pixelBytes, [&](auto bytes) { spreadTo<bytes>(bits, target, count, table); });
}

void to555(const uint8_t* source, uint8_t* target, size_t count, const Fields555& fields) {
    const uint32_t low = fields.swap ? 2 : 0;
    for (; count != 0; --count, source += fields.pixelBytes, target += 2) {
        uint32_t word = word555(source[2 - low], source[1], source[low]);
        if (fields.alphaBit) word |= source[3] >> 7u << 15;
        store16(target, word);
    }
}

void from555(const uint8_t* source, uint8_t* target, size_t count, const Fields555& fields) {
    const uint32_t low = fields.swap ? 2 : 0;
    for (; count != 0; --count, source += 2, target += fields.pixelBytes) {
        const uint32_t word = load16(source);
        target[low] = widen5(word);
        target[1] = widen5(word >> 5);
        target[2 - low] = widen5(word >> 10);
        if (fields.pixelBytes == 4) target[3] = fields.alpha;
    }
}

void gray(const uint8_t* source, uint8_t* levels, size_t count, const GrayWeights& weights) {
    const uint32_t red = weights.rgb ? 0 : 2;
    for (size_t i = 0; i < count; ++i, source += weights.pixelBytes)
        levels[i] = grayLevel(source[red], source[1], source[2 - red]);
}

uint32_t isSecond(const uint8_t* pixel, const PairMatch& match) {
    const int32_t side =
        match.weight[0] * pixel[0] + match.weight[1] * pixel[1] + match.weight[2] * pixel[2] - match.limit;
    if (side != 0) return side > 0;
    const uint32_t red = match.rgb ? 0 : 2;
    return hueClass(pixel[red], pixel[1], pixel[2 - red]) == match.hueClass;
}

void matchPair(const uint8_t* source, uint8_t* bits, size_t count, const PairMatch& match) {
    for (; count != 0; ++bits) {
        uint32_t byte = 0;
        for (uint32_t place = 8; place-- != 0 && count != 0; --count, source += match.pixelBytes)
            byte |= isSecond(source, match) << place;
        *bits = static_cast<uint8_t>(byte);
    }
}

void multiply(const uint8_t* source, uint8_t* target, size_t count, const ChannelMatrix& matrix) {
    for (; count != 0; --count, source += 4, target += 4) {
        const int32_t channel[3] = {source[0], source[1], source[2]};
        for (uint32_t i = 0; i < 3; ++i) {
            const int16_t* row = matrix.row[i];
            const int32_t sum = row[0] * channel[0] + row[1] * channel[1] + row[2] * channel[2] + row[3];
            target[i] = static_cast<uint8_t>(std::clamp(sum / 8192, 0, 255));
        }
        target[3] = 0;
    }
}

size_t countBits(const uint32_t* words, size_t count) {
    size_t bits = 0;
    for (size_t i = 0; i < count; ++i) bits += static_cast<size_t>(std::popcount(words[i]));
    return bits;
}

void lookUp555(const uint8_t* source, uint8_t* target, size_t count, const Table555& table) {
    const uint32_t low = table.fields.swap ? 2 : 0;
    for (size_t i = 0; i < count; ++i, source += table.fields.pixelBytes)
        target[i] = table.bytes[word555(source[2 - low], source[1], source[low])];
}

// Thousandths of the full-range matrix of ITU-R BT.601. Half is added to negative sums too, and division truncates toward zero.
void storeYuv(uint8_t luma, uint8_t uSample, uint8_t vSample, uint8_t* target) {
    const int32_t u = uSample - 128;
    const int32_t v = vSample - 128;
    const int32_t added[3] = {(1772 * u + 500) / 1000, (-714 * v - 344 * u + 500) / 1000, (1402 * v + 500) / 1000};
    for (uint32_t k = 0; k < 3; ++k) target[k] = static_cast<uint8_t>(std::clamp(luma + added[k], 0, 255));
}

void yuvToBgr(const uint8_t* luma, uint8_t* target, size_t count, const ChromaRow& chroma) {
    for (size_t i = 0; i < count; ++i) storeYuv(luma[i], chroma.u[i / 2], chroma.v[i / 2], target + 3 * i);
}

void yuvPairsToBgr(const uint8_t* source, uint8_t* target, size_t count, const YuvOrder& order) {
    const uint32_t luma = order.lumaFirst ? 0 : 1;
    const uint32_t u = 1 - luma + (order.uFirst ? 0 : 2);
    const uint32_t v = u ^ 2;
    for (; count >= 2; count -= 2, source += 4, target += 6)
        for (uint32_t i = 0; i < 2; ++i) storeYuv(source[luma + 2 * i], source[u], source[v], target + 3 * i);
}

}  // namespace

constinit const Kernels kScalarKernels = {shufflePixels, expand,   spread,    to555,     from555,  gray,
                                          matchPair,     multiply, countBits, lookUp555, yuvToBgr, yuvPairsToBgr};

}  // namespace tnk
