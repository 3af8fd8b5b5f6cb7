// Parts of pixels: words as they lie in memory, 5-bit channels, 15-bit keys and gray levels.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace tnk {

static_assert(std::endian::native == std::endian::little, "pixels are little-endian");

template <typename T>
inline T loadAs(const uint8_t* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}
inline uint32_t load16(const uint8_t* bytes) { return loadAs<uint16_t>(bytes); }
inline uint32_t load32(const uint8_t* bytes) { return loadAs<uint32_t>(bytes); }

template <typename T>
inline void storeAs(uint8_t* bytes, T value) {
    std::memcpy(bytes, &value, sizeof value);
}
inline void store16(uint8_t* bytes, uint32_t word) { storeAs(bytes, static_cast<uint16_t>(word)); }

// The 8-bit channel of the low five bits.
constexpr uint8_t widen5(uint32_t field) { return static_cast<uint8_t>((field & 31) << 3 | (field & 31) >> 2); }

// The upper five bits of 8-bit channels in one word: a 5-5-5 pixel, and with red high the key of a colour in histograms
// and match tables.
constexpr uint32_t word555(uint32_t high, uint32_t middle, uint32_t low) {
    return (high >> 3) << 10 | (middle >> 3) << 5 | low >> 3;
}

// Gray level of a colour.
constexpr uint8_t grayLevel(uint32_t red, uint32_t green, uint32_t blue) {
    return static_cast<uint8_t>((2 * red + 5 * green + blue + 4) >> 3);
}

// Two 12-bit samples share three bytes: the low 12 bits of the word at byte 0 and the high ones of that at byte 1.
// `pair` holds the word that `column` begins in.
constexpr uint32_t sample12(uint32_t word, uint32_t column) { return column % 2 != 0 ? word >> 4 : word & 0xFFF; }
constexpr uint32_t put12(uint32_t word, uint32_t column, uint32_t sample) {
    return column % 2 != 0 ? (word & 0x000F) | sample << 4 : (word & 0xF000) | (sample & 0xFFF);
}

// A gray sample of 12, 16 or 32 bits in its row.
template <int32_t Bits>
inline uint32_t loadSample(const uint8_t* row, size_t column) {
    static_assert(Bits == 12 || Bits == 16 || Bits == 32);
    if constexpr (Bits == 12)
        return sample12(load16(row + column / 2 * 3 + column % 2), column % 2);
    else if constexpr (Bits == 16)
        return load16(row + 2 * column);
    else
        return load32(row + 4 * column);
}

}  // namespace tnk
