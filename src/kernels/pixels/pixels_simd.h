// The vector form of the pixel kernels, written once for vectors of one or two lanes of 16 bytes. Included by the file
// of each instruction set after its `Vector`, a type of that file alone: code compiled for one set must never be merged
// with that of another, so nothing here is inline to the whole program and no library template is used.
//
// A loop runs while its loads and stores stay inside the row; the scalar rule does the rest. In place it is safe because
// a step loads all its pixels before it stores, and what a store writes past them is not read any more, or unchanged.

#include <cstddef>
#include <cstdint>

#include "kernels/kernels.h"
#include "kernels/pixels/pixel_bytes.h"

namespace tnk {
namespace {

constexpr size_t kLanes = Vector::kLanes;
constexpr size_t kVectorBytes = 16 * kLanes;

// Pixels that must be left for a step that touches `reach` bytes of pixels of `pixelBytes`.
constexpr size_t pixelsFor(size_t reach, size_t pixelBytes) { return (reach + pixelBytes - 1) / pixelBytes; }

constexpr size_t larger(size_t a, size_t b) { return a > b ? a : b; }

struct LaneMask {
    alignas(16) uint8_t byte[16];
};

// Four pixels of 3 or 4 bytes to four of 4 bytes; byte 3 is zero unless `keepFourth`.
constexpr LaneMask toFourBytes(uint32_t pixelBytes, bool swap, bool keepFourth) {
    LaneMask mask{};
    for (uint32_t i = 0; i < 16; ++i) {
        const uint32_t channel = i % 4;
        const uint32_t from = swap && channel != 3 ? 2 - channel : channel;
        mask.byte[i] = channel == 3 && !keepFourth ? 0x80 : static_cast<uint8_t>(i / 4 * pixelBytes + from);
    }
    return mask;
}

void shufflePixels(const uint8_t* source, uint8_t* target, size_t count, const PixelShuffle& shuffle) {
    const Vector from = Vector::repeatLane(shuffle.from);
    const Vector fill = Vector::repeatLane(shuffle.fill);
    const size_t sourceStep = size_t{shuffle.pixels} * shuffle.sourceBytes;
    const size_t targetStep = size_t{shuffle.pixels} * shuffle.targetBytes;
    const bool halfStores = targetStep <= 8;
    const size_t sourceReach = (kLanes - 1) * sourceStep + 16;
    const size_t targetReach = (kLanes - 1) * targetStep + (halfStores ? 8 : 16);
    const size_t needed =
        larger(pixelsFor(sourceReach, shuffle.sourceBytes), pixelsFor(targetReach, shuffle.targetBytes));
    const size_t step = kLanes * shuffle.pixels;
    // In place a store may touch the first byte of the next pixels: those are loaded before it, which also spares the
    // processor a load from two stores.
    if (count >= needed) {
        Vector pixels = Vector::loadLanes(source, sourceStep);
        for (;;) {
            const bool more = count >= needed + step;
            source += kLanes * sourceStep;
            const Vector next = more ? Vector::loadLanes(source, sourceStep) : pixels;
            const Vector result = pixels.shuffled(from) | fill;
            if (halfStores)
                result.storeHalfLanes(target, targetStep);
            else
                result.storeLanes(target, targetStep);
            target += kLanes * targetStep;
            count -= step;
            if (!more) break;
            pixels = next;
        }
    }
    kScalarKernels.shuffle(source, target, count, shuffle);
}

// ---- 1-bit pixels ----

// Of each target byte of kVectorBytes pixels: the source byte that holds its bit, and the bit.
template <uint32_t kPixelBytes>
struct SpreadMasks {
    alignas(32) uint8_t source[kPixelBytes][kVectorBytes];
    alignas(32) uint8_t bit[kPixelBytes][kVectorBytes];
    alignas(32) uint8_t channel[kPixelBytes][kVectorBytes];

    constexpr SpreadMasks() : source(), bit(), channel() {
        for (uint32_t i = 0; i < kPixelBytes * kVectorBytes; ++i) {
            const uint32_t pixel = i / kPixelBytes;
            source[i / kVectorBytes][i % kVectorBytes] = static_cast<uint8_t>(pixel / 8);
            bit[i / kVectorBytes][i % kVectorBytes] = static_cast<uint8_t>(0x80 >> pixel % 8);
            channel[i / kVectorBytes][i % kVectorBytes] = static_cast<uint8_t>(i % kPixelBytes);
        }
    }
};

template <uint32_t kPixelBytes>
constexpr SpreadMasks<kPixelBytes> kSpreadMasks{};

template <uint32_t kPixelBytes>
void spreadTo(const uint8_t* bits, uint8_t* target, size_t count, const PixelTable& table) {
    constexpr const SpreadMasks<kPixelBytes>& kMasks = kSpreadMasks<kPixelBytes>;
    constexpr size_t kSize = kPixelBytes == 1 ? 1 : kPixelBytes <= 4 ? 4 : 8;
    alignas(16) uint8_t entries[2][16] = {};
    const void* rows = kPixelBytes == 1 ? static_cast<const void*>(table.one)
                       : kSize == 4     ? static_cast<const void*>(table.four)
                                        : static_cast<const void*>(table.eight);
    __builtin_memcpy(entries[0], rows, kSize);
    __builtin_memcpy(entries[1], static_cast<const uint8_t*>(rows) + kSize, kSize);
    Vector zero[kPixelBytes];
    Vector change[kPixelBytes];
    for (uint32_t k = 0; k < kPixelBytes; ++k) {
        const Vector channel = Vector::load(kMasks.channel[k]);
        zero[k] = Vector::repeatLane(entries[0]).shuffled(channel);
        change[k] = zero[k] ^ Vector::repeatLane(entries[1]).shuffled(channel);
    }
    for (; count >= kVectorBytes; count -= kVectorBytes, bits += kVectorBytes / 8) {
        const Vector packed = Vector::repeatBits(bits);
        for (uint32_t k = 0; k < kPixelBytes; ++k, target += kVectorBytes) {
            const Vector bit = Vector::load(kMasks.bit[k]);
            const Vector set = (packed.shuffled(Vector::load(kMasks.source[k])) & bit).equal8(bit);
            (zero[k] ^ (set & change[k])).store(target);
        }
    }
    kScalarKernels.spread(bits, target, count, table);
}

void spread(const uint8_t* bits, uint8_t* target, size_t count, const PixelTable& table) {
    withPixelBytes(table.pixelBytes, [&](auto bytes) { spreadTo<bytes>(bits, target, count, table); });
}

// ---- 5-5-5 ----

// The 16-bit pixels of four-byte ones, sign-extended to 32 bits. The weights put the fields side by side, three bits too
// high; the alpha bit comes from byte 3.
Vector fieldsOf(Vector pixels) {
    const Vector kept = pixels & Vector::each32(0x80F8F8F8);
    const Vector pairs = kept.weighted8(Vector::each32(64 << 24 | 32 << 16 | 32 << 8 | 1));
    return pairs.weighted16(Vector::each32(32 << 16 | 1)).left32<13>().signedRight32<16>();
}

void to555(const uint8_t* source, uint8_t* target, size_t count, const Fields555& fields) {
    const LaneMask mask = toFourBytes(fields.pixelBytes, fields.swap, fields.alphaBit);
    const Vector four = Vector::repeatLane(mask.byte);
    constexpr size_t kStep = 8 * kLanes;
    const size_t lane = 8 * fields.pixelBytes;
    const size_t needed = pixelsFor((kStep - 4) * fields.pixelBytes + 16, fields.pixelBytes);
    for (; count >= needed; count -= kStep, source += kStep * fields.pixelBytes, target += 2 * kStep) {
        const Vector a = fieldsOf(Vector::loadLanes(source, lane).shuffled(four));
        const Vector b = fieldsOf(Vector::loadLanes(source + lane / 2, lane).shuffled(four));
        a.packedSigned32(b).store(target);
    }
    kScalarKernels.to555(source, target, count, fields);
}

void lookUp555(const uint8_t* source, uint8_t* target, size_t count, const Table555& table) {
    constexpr size_t kBlock = 1024;
    uint8_t keys[2 * kBlock];
    const Fields555 fields = {table.fields.pixelBytes, table.fields.swap, false, 0};
    for (size_t block; count != 0; count -= block, source += block * fields.pixelBytes, target += block) {
        block = count < kBlock ? count : kBlock;
        to555(source, keys, block, fields);
        size_t i = 0;
        for (; i + 4 <= block; i += 4) {
            uint64_t four;
            __builtin_memcpy(&four, keys + 2 * i, 8);
            for (size_t k = 0; k < 4; ++k, four >>= 16) target[i + k] = table.bytes[four & 0x7FFF];
        }
        for (; i < block; ++i) target[i] = table.bytes[keys[2 * i] | keys[2 * i + 1] << 8];
    }
}

void from555(const uint8_t* source, uint8_t* target, size_t count, const Fields555& fields) {
    static constexpr LaneMask kThree = {{0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 128, 128, 128, 128}};
    const Vector three = Vector::repeatLane(kThree.byte);
    const Vector top = Vector::each16(0xF8);
    const Vector rest = Vector::each16(7);
    const Vector alpha = Vector::each16(static_cast<uint16_t>(fields.alpha << 8));
    constexpr size_t kStep = 8 * kLanes;
    // A 3-byte store goes 4 bytes past its pixels.
    const size_t needed = fields.pixelBytes == 4 ? kStep : pixelsFor(3 * kStep + 4, 3);
    for (; count >= needed; count -= kStep, source += 2 * kStep, target += kStep * fields.pixelBytes) {
        const Vector word = Vector::load(source);
        const Vector low = (word.left16<3>() & top) | (word.right16<2>() & rest);
        const Vector middle = (word.right16<2>() & top) | (word.right16<7>() & rest);
        const Vector high = (word.right16<7>() & top) | (word.right16<12>() & rest);
        const Vector first = (fields.swap ? high : low) | middle.left16<8>();
        const Vector second = (fields.swap ? low : high) | alpha;
        const Vector a = first.interleavedLow16(second);
        const Vector b = first.interleavedHigh16(second);
        if (fields.pixelBytes == 4)
            Vector::storeLanePairs(target, 16, a, b);
        else
            Vector::storeLanePairs(target, 12, a.shuffled(three), b.shuffled(three));
    }
    kScalarKernels.from555(source, target, count, fields);
}

// ---- gray levels and the match of two entries ----

void gray(const uint8_t* source, uint8_t* levels, size_t count, const GrayWeights& weights) {
    const LaneMask mask = toFourBytes(weights.pixelBytes, false, false);
    const Vector four = Vector::repeatLane(mask.byte);
    const Vector weight = Vector::each32(weights.rgb ? 0x00010502 : 0x00020501);
    const Vector half = Vector::each16(4);
    constexpr size_t kStep = 16 * kLanes;
    const size_t lane = 16 * weights.pixelBytes;
    const size_t quarter = 4 * weights.pixelBytes;
    const size_t needed = pixelsFor((kStep - 4) * weights.pixelBytes + 16, weights.pixelBytes);
    for (; count >= needed; count -= kStep, source += kStep * weights.pixelBytes, levels += kStep) {
        Vector sum[4];
        for (size_t i = 0; i < 4; ++i)
            sum[i] = Vector::loadLanes(source + i * quarter, lane).shuffled(four).weighted8(weight);
        const Vector low = (sum[0].pairSums16(sum[1]) + half).right16<3>();
        const Vector high = (sum[2].pairSums16(sum[3]) + half).right16<3>();
        low.packed16(high).store(levels);
    }
    kScalarKernels.gray(source, levels, count, weights);
}

void matchPair(const uint8_t* source, uint8_t* bits, size_t count, const PairMatch& match) {
    static constexpr LaneMask kReversed = {{7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8}};
    const LaneMask mask = toFourBytes(match.pixelBytes, false, false);
    const Vector four = Vector::repeatLane(mask.byte);
    const Vector reversed = Vector::repeatLane(kReversed.byte);
    const Vector weight =
        Vector::each64(static_cast<uint16_t>(match.weight[0]) | uint64_t{static_cast<uint16_t>(match.weight[1])} << 16 |
                       uint64_t{static_cast<uint16_t>(match.weight[2])} << 32);
    const Vector limit = Vector::each32(static_cast<uint32_t>(match.limit));
    const Vector none = Vector::each32(0);
    constexpr size_t kStep = 16 * kLanes;
    const size_t lane = 16 * match.pixelBytes;
    const size_t quarter = 4 * match.pixelBytes;
    const size_t needed = pixelsFor((kStep - 4) * match.pixelBytes + 16, match.pixelBytes);
    for (; count >= needed; count -= kStep, source += kStep * match.pixelBytes, bits += kStep / 8) {
        Vector second[4];
        Vector ties = none;
        for (size_t i = 0; i < 4; ++i) {
            const Vector pixels = Vector::loadLanes(source + i * quarter, lane).shuffled(four);
            const Vector low = pixels.interleavedLow8(none).weighted16(weight);
            const Vector high = pixels.interleavedHigh8(none).weighted16(weight);
            const Vector sum = low.pairSums32(high);
            second[i] = sum.greater32(limit);
            ties = ties | sum.equal32(limit);
        }
        if (ties.topBits() != 0) {
            kScalarKernels.matchPair(source, bits, kStep, match);
            continue;
        }
        const Vector all = second[0].packedSigned32(second[1]).packedSigned16(second[2].packedSigned32(second[3]));
        const uint32_t top = all.shuffled(reversed).topBits();
        __builtin_memcpy(bits, &top, kStep / 8);
    }
    kScalarKernels.matchPair(source, bits, count, match);
}

void multiply(const uint8_t* source, uint8_t* target, size_t count, const ChannelMatrix& matrix) {
    static constexpr LaneMask kPixels = {{0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15}};
    const Vector pixelwise = Vector::repeatLane(kPixels.byte);
    const Vector colors = Vector::each32(0x00FFFFFF);
    const Vector one = Vector::each32(0x01000000);  // the factor of row[i][3]
    const Vector none = Vector::each32(0);
    Vector row[3];
    for (size_t i = 0; i < 3; ++i) {
        uint64_t weights;
        __builtin_memcpy(&weights, matrix.row[i], sizeof weights);
        row[i] = Vector::each64(weights);
    }
    constexpr size_t kStep = 4 * kLanes;
    for (; count >= kStep; count -= kStep, source += 4 * kStep, target += 4 * kStep) {
        const Vector pixels = (Vector::load(source) & colors) | one;
        const Vector low = pixels.interleavedLow8(none);
        const Vector high = pixels.interleavedHigh8(none);
        Vector channel[3];
        for (size_t i = 0; i < 3; ++i)
            channel[i] = low.weighted16(row[i]).pairSums32(high.weighted16(row[i])).quotient32<13>();
        // Packing clamps.
        const Vector planes = channel[0].packedSigned32(channel[1]).packed16(channel[2].packedSigned32(none));
        planes.shuffled(pixelwise).store(target);
    }
    kScalarKernels.multiply(source, target, count, matrix);
}

// By the instruction that comes with the set, where one does.
size_t countBits(const uint32_t* words, size_t count) {
    size_t bits = 0;
    for (size_t i = 0; i < count; ++i) bits += static_cast<size_t>(__builtin_popcount(words[i]));
    return bits;
}

void expand(const uint8_t* indexes, uint8_t* target, size_t count, const PixelTable& table) {
    kScalarKernels.expand(indexes, target, count, table);
}

}  // namespace
}  // namespace tnk
