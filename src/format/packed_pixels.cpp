#include "format/packed_pixels.h"

namespace tnk {
namespace {

// Eight pixels are as many bytes as a pixel has bits, so groups of eight begin on bytes and fit one 64-bit word.
template <uint32_t kBits>
void unpackGroup(const uint8_t* packed, uint8_t* indexes, size_t count) {
    const uint32_t bytes = static_cast<uint32_t>((count * kBits + 7) / 8);
    uint64_t word = 0;
    for (uint32_t i = 0; i < bytes; ++i) word |= uint64_t{packed[i]} << (56 - 8 * i);
    for (size_t i = 0; i < count; ++i, word <<= kBits) indexes[i] = static_cast<uint8_t>(word >> (64 - kBits));
}

template <uint32_t kBits>
void packGroup(const uint8_t* indexes, uint8_t* packed, size_t count) {
    constexpr uint32_t kMask = (1u << kBits) - 1;
    uint64_t word = 0;
    for (size_t i = 0; i < count; ++i) word |= uint64_t{indexes[i] & kMask} << (64 - kBits - i * kBits);
    const uint32_t bytes = static_cast<uint32_t>((count * kBits + 7) / 8);
    for (uint32_t i = 0; i < bytes; ++i) packed[i] = static_cast<uint8_t>(word >> (56 - 8 * i));
}

template <uint32_t kBits>
void unpack(const uint8_t* packed, uint8_t* indexes, size_t count) {
    for (; count >= 8; count -= 8, packed += kBits, indexes += 8) unpackGroup<kBits>(packed, indexes, 8);
    if (count != 0) unpackGroup<kBits>(packed, indexes, count);
}

template <uint32_t kBits>
void pack(const uint8_t* indexes, uint8_t* packed, size_t count) {
    for (; count >= 8; count -= 8, indexes += 8, packed += kBits) packGroup<kBits>(indexes, packed, 8);
    if (count != 0) packGroup<kBits>(indexes, packed, count);
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

void unpack12(const uint8_t* packed, uint32_t* samples, size_t count) {
    for (; count >= 2; count -= 2, packed += 3, samples += 2) {
        samples[0] = packed[0] | (packed[1] & 15u) << 8;
        samples[1] = packed[1] >> 4u | packed[2] << 4u;
    }
    if (count != 0) samples[0] = packed[0] | (packed[1] & 15u) << 8;
}

void pack12(const uint32_t* samples, uint8_t* packed, size_t count) {
    for (; count >= 2; count -= 2, packed += 3, samples += 2) {
        packed[0] = static_cast<uint8_t>(samples[0]);
        packed[1] = static_cast<uint8_t>((samples[0] >> 8 & 15) | samples[1] << 4);
        packed[2] = static_cast<uint8_t>(samples[1] >> 4);
    }
    if (count != 0) {
        packed[0] = static_cast<uint8_t>(samples[0]);
        packed[1] = samples[0] >> 8 & 15;
    }
}

}  // namespace tnk
