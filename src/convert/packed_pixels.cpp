#include "convert/packed_pixels.h"

#include <cstring>

#include "base/pixel_values.h"

namespace tnk {
namespace {

// Eight pixels are as many bytes as a pixel has bits, so groups of eight begin on bytes. They lie in one word, the first
// pixel uppermost, one in each byte or close together in the low bits; halves of halves are moved at once.
template <uint32_t kBits>
struct Group {
    static constexpr uint64_t kPixels = 0x0101010101010101 * ((1u << kBits) - 1);
    static constexpr uint64_t kOddPixels = 0x00FF00FF00FF00FF;
    static constexpr uint64_t kOddPairs = 0x0000FFFF0000FFFF;

    static uint64_t join(uint64_t pixels) {
        pixels &= kPixels;
        const uint64_t pairs = (pixels & ~kOddPixels) >> (8 - kBits) | (pixels & kOddPixels);
        const uint64_t fours = (pairs & ~kOddPairs) >> (16 - 2 * kBits) | (pairs & kOddPairs);
        return fours >> 32 << 4 * kBits | (fours & 0xFFFFFFFF);
    }

    static uint64_t split(uint64_t bits) {
        constexpr uint64_t kLowFour = (uint64_t{1} << 4 * kBits) - 1;
        constexpr uint64_t kLowPairs = 0x0000000100000001 * ((1u << 2 * kBits) - 1);
        constexpr uint64_t kLowPixels = 0x0001000100010001 * ((1u << kBits) - 1);
        const uint64_t fours = bits >> 4 * kBits << 32 | (bits & kLowFour);
        const uint64_t pairs = (fours & ~kLowPairs) << (16 - 2 * kBits) | (fours & kLowPairs);
        return (pairs & ~kLowPixels) << (8 - kBits) | (pairs & kLowPixels);
    }
};

template <uint32_t kBits>
void unpackGroup(const uint8_t* packed, uint8_t* indexes, size_t bytes, size_t count) {
    uint64_t word = 0;
    std::memcpy(&word, packed, bytes);
    word = __builtin_bswap64(Group<kBits>::split(__builtin_bswap64(word) >> (64 - 8 * kBits)));
    std::memcpy(indexes, &word, count);
}

template <uint32_t kBits>
void packGroup(const uint8_t* indexes, uint8_t* packed, size_t bytes, size_t count) {
    uint64_t word = 0;
    std::memcpy(&word, indexes, count);
    word = __builtin_bswap64(Group<kBits>::join(__builtin_bswap64(word)) << (64 - 8 * kBits));
    std::memcpy(packed, &word, bytes);
}

template <uint32_t kBits>
void unpack(const uint8_t* packed, uint8_t* indexes, size_t count) {
    for (; count >= 8; count -= 8, packed += kBits, indexes += 8) unpackGroup<kBits>(packed, indexes, kBits, 8);
    if (count != 0) unpackGroup<kBits>(packed, indexes, (count * kBits + 7) / 8, count);
}

template <uint32_t kBits>
void pack(const uint8_t* indexes, uint8_t* packed, size_t count) {
    for (; count >= 8; count -= 8, indexes += 8, packed += kBits) packGroup<kBits>(indexes, packed, kBits, 8);
    if (count != 0) packGroup<kBits>(indexes, packed, (count * kBits + 7) / 8, count);
}

}  // namespace

void unpackPixels(uint32_t bits, const uint8_t* packed, uint8_t* indexes, size_t count) {
    switch (bits) {
        case 1:
            return unpack<1>(packed, indexes, count);
        case 2:
            return unpack<2>(packed, indexes, count);
        case 3:
            return unpack<3>(packed, indexes, count);
        case 4:
            return unpack<4>(packed, indexes, count);
        case 5:
            return unpack<5>(packed, indexes, count);
        case 6:
            return unpack<6>(packed, indexes, count);
        default:
            return unpack<7>(packed, indexes, count);
    }
}

void packPixels(uint32_t bits, const uint8_t* indexes, uint8_t* packed, size_t count) {
    switch (bits) {
        case 1:
            return pack<1>(indexes, packed, count);
        case 2:
            return pack<2>(indexes, packed, count);
        case 3:
            return pack<3>(indexes, packed, count);
        case 4:
            return pack<4>(indexes, packed, count);
        case 5:
            return pack<5>(indexes, packed, count);
        case 6:
            return pack<6>(indexes, packed, count);
        default:
            return pack<7>(indexes, packed, count);
    }
}

// 12-bit samples are a stream too, but one that begins with the lowest bits: four are six bytes.
void unpack12(const uint8_t* packed, uint32_t* samples, size_t count) {
    for (; count >= 4; count -= 4, packed += 6, samples += 4) {
        const uint32_t low = load32(packed);
        const uint32_t high = load16(packed + 4);
        samples[0] = low & 0xFFF;
        samples[1] = low >> 12 & 0xFFF;
        samples[2] = low >> 24 | (high & 15) << 8;
        samples[3] = high >> 4;
    }
    uint64_t word = 0;
    std::memcpy(&word, packed, (count * 12 + 7) / 8);
    for (uint32_t i = 0; i < count; ++i) samples[i] = static_cast<uint32_t>(word >> 12 * i & 0xFFF);
}

void pack12(const uint32_t* samples, uint8_t* packed, size_t count) {
    for (; count >= 4; count -= 4, samples += 4, packed += 6) {
        const uint32_t low = (samples[0] & 0xFFF) | (samples[1] & 0xFFF) << 12 | samples[2] << 24;
        storeAs(packed, low);
        store16(packed + 4, (samples[2] >> 8 & 15) | samples[3] << 4);
    }
    uint64_t word = 0;
    for (uint32_t i = 0; i < count; ++i) word |= uint64_t{samples[i] & 0xFFF} << 12 * i;
    std::memcpy(packed, &word, (count * 12 + 7) / 8);
}

}  // namespace tnk
