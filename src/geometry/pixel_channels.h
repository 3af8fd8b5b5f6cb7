// Pixels as channels that are blended, and back: of a row by their column, and spread, as turns and warps make them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/pixel_values.h"

namespace tnk {

// A pixel of 1 to 7 bits.
template <uint32_t kBits>
inline uint32_t packedPixel(const uint8_t* row, size_t column) {
    const size_t bit = column * kBits;
    const uint8_t* const at = row + bit / 8;
    const size_t end = bit % 8 + kBits;
    const uint32_t value = end <= 8 ? *at >> (8 - end) : (uint32_t{at[0]} << 8 | at[1]) >> (16 - end);
    return value & ((1u << kBits) - 1);
}

struct Gray8 {
    static constexpr int32_t kChannels = 1;
    static constexpr bool kWide = false;
    static constexpr uint32_t kMost[] = {255};
    static constexpr size_t kSpread = 1;
    void load(const uint8_t* row, int64_t column, int32_t (&channels)[1]) const { channels[0] = row[column]; }
    void loadSpread(const uint8_t* pixel, int32_t (&channels)[1]) const { channels[0] = *pixel; }
    void store(uint8_t* pixel, const int32_t (&channels)[1]) const { *pixel = static_cast<uint8_t>(channels[0]); }
};

// 5-5-5, the top bit a channel too.
struct Color555 {
    static constexpr int32_t kChannels = 4;
    static constexpr bool kWide = false;
    static constexpr uint32_t kMost[] = {31, 31, 31, 1};
    static constexpr size_t kSpread = 2;
    void load(const uint8_t* row, int64_t column, int32_t (&channels)[4]) const {
        loadSpread(row + 2 * column, channels);
    }
    void loadSpread(const uint8_t* pixel, int32_t (&channels)[4]) const {
        const auto word = static_cast<int32_t>(load16(pixel));
        for (int32_t i = 0; i < 3; ++i) channels[i] = word >> 5 * i & 31;
        channels[3] = word >> 15;
    }
    void store(uint8_t* pixel, const int32_t (&channels)[4]) const {
        store16(pixel, static_cast<uint32_t>(channels[0] | channels[1] << 5 | channels[2] << 10 | channels[3] << 15));
    }
};

// Channels of bytes or words.
template <typename Channel, int32_t kCount>
struct Colors {
    static constexpr int32_t kChannels = kCount;
    static constexpr bool kWide = sizeof(Channel) > 1;
    static constexpr uint32_t kMost[] = {Channel(-1), Channel(-1), Channel(-1), Channel(-1)};
    static constexpr size_t kSpread = kCount * sizeof(Channel);
    template <typename Value>
    void load(const uint8_t* row, int64_t column, Value (&channels)[kCount]) const {
        loadSpread(row + column * static_cast<int64_t>(kSpread), channels);
    }
    template <typename Value>
    void loadSpread(const uint8_t* pixel, Value (&channels)[kCount]) const {
        for (size_t i = 0; i < kCount; ++i) channels[i] = loadAs<Channel>(pixel + i * sizeof(Channel));
    }
    template <typename Value>
    void store(uint8_t* pixel, const Value (&channels)[kCount]) const {
        for (size_t i = 0; i < kCount; ++i) storeAs(pixel + i * sizeof(Channel), static_cast<Channel>(channels[i]));
    }
};

// Gray samples. The top bit of signed ones is turned over, which makes them unsigned in the same order.
template <int32_t kBits, bool kSigned>
struct Samples {
    static constexpr int32_t kChannels = 1;
    static constexpr bool kWide = true;
    static constexpr uint32_t kMost[] = {static_cast<uint32_t>((uint64_t{1} << kBits) - 1)};
    static constexpr uint32_t kTurned = kSigned ? 1u << (kBits - 1) : 0;
    static constexpr size_t kSpread = kBits == 16 ? 2 : 4;
    void load(const uint8_t* row, int64_t column, int64_t (&channels)[1]) const {
        channels[0] = loadSample<kBits>(row, static_cast<size_t>(column)) ^ kTurned;
    }
    void loadSpread(const uint8_t* pixel, int64_t (&channels)[1]) const {
        channels[0] = (kSpread == 2 ? load16(pixel) : load32(pixel)) ^ kTurned;
    }
    void store(uint8_t* pixel, const int64_t (&channels)[1]) const {
        const uint32_t sample = static_cast<uint32_t>(channels[0]) ^ kTurned;
        kSpread == 2 ? store16(pixel, sample) : storeAs(pixel, sample);
    }
};

}  // namespace tnk
