#include "color/dither_pack.h"

#include <cstring>

namespace tnk {
namespace {

constexpr int32_t kGroup = 8;  // pixels; as many bytes as a pixel has bits

template <int32_t Bits>
void unpackGroup(const uint8_t* bytes, int32_t byteCount, int32_t count, uint8_t* indexes) {
    uint64_t stream = 0;
    for (int32_t i = 0; i < Bits; ++i) stream = stream << 8 | (i < byteCount ? bytes[i] : 0u);
    for (int32_t x = 0; x < count; ++x) {
        indexes[x] = static_cast<uint8_t>(stream >> (kGroup - 1 - x) * Bits & ((1u << Bits) - 1));
    }
}

template <int32_t Bits>
void unpack(const uint8_t* row, int32_t count, uint8_t* indexes) {
    for (; count >= kGroup; count -= kGroup, row += Bits, indexes += kGroup) {
        unpackGroup<Bits>(row, Bits, kGroup, indexes);
    }
    if (count > 0) unpackGroup<Bits>(row, (count * Bits + 7) / 8, count, indexes);
}

template <int32_t Bits>
void packGroup(const uint8_t* indexes, uint8_t* bytes) {
    uint64_t stream = 0;
    for (int32_t x = 0; x < kGroup; ++x) stream = stream << Bits | (indexes[x] & ((1u << Bits) - 1));
    for (int32_t i = 0; i < Bits; ++i) bytes[i] = static_cast<uint8_t>(stream >> (Bits - 1 - i) * 8);
}

template <int32_t Bits>
void pack(const uint8_t* indexes, int32_t count, uint8_t* row) {
    for (; count >= kGroup; count -= kGroup, indexes += kGroup, row += Bits) packGroup<Bits>(indexes, row);
    if (count == 0) return;
    uint8_t last[kGroup] = {};
    std::memcpy(last, indexes, static_cast<size_t>(count));
    uint8_t bytes[Bits];
    packGroup<Bits>(last, bytes);
    const int32_t whole = count * Bits / 8;
    const int32_t rest = count * Bits % 8;
    std::memcpy(row, bytes, static_cast<size_t>(whole));
    if (rest > 0) {
        const uint32_t keep = 0xFFu >> rest;
        row[whole] = static_cast<uint8_t>((row[whole] & keep) | (bytes[whole] & ~keep));
    }
}

}  // namespace

void unpackIndexes(const uint8_t* row, int32_t bits, int32_t count, uint8_t* indexes) {
    switch (bits) {
        case 1:
            return unpack<1>(row, count, indexes);
        case 2:
            return unpack<2>(row, count, indexes);
        case 3:
            return unpack<3>(row, count, indexes);
        case 4:
            return unpack<4>(row, count, indexes);
        case 5:
            return unpack<5>(row, count, indexes);
        case 6:
            return unpack<6>(row, count, indexes);
        case 7:
            return unpack<7>(row, count, indexes);
        default:
            std::memcpy(indexes, row, static_cast<size_t>(count));
    }
}

void packIndexes(const uint8_t* indexes, uint32_t bits, int32_t count, uint8_t* row) {
    switch (bits) {
        case 1:
            return pack<1>(indexes, count, row);
        case 2:
            return pack<2>(indexes, count, row);
        case 3:
            return pack<3>(indexes, count, row);
        case 4:
            return pack<4>(indexes, count, row);
        case 5:
            return pack<5>(indexes, count, row);
        case 6:
            return pack<6>(indexes, count, row);
        case 7:
            return pack<7>(indexes, count, row);
        case 8:
            std::memcpy(row, indexes, static_cast<size_t>(count));
            return;
        default:
            return;
    }
}

}  // namespace tnk
