// Gray samples of bitmaps: which pixels are samples, which of their bits count, and which table stands for them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// The order alone does not tell: a record may say ORDER_GRAY at any depth, and 12-bit pixels are gray whatever it says.
constexpr bool hasGraySamples(int32_t bits, uint32_t order) {
    return bits == 12 || ((bits == 16 || bits == 32) && order == ORDER_GRAY);
}
inline bool hasGraySamples(const BitmapHandle& bitmap) { return hasGraySamples(bitmap.BitsPerPixel, bitmap.Order); }

// The order that conversions of rows are told.
inline uint32_t pixelOrder(const BitmapHandle& bitmap) {
    return hasGraySamples(bitmap) ? uint32_t{ORDER_GRAY} : bitmap.Order;
}

// Whether copies take window, value range and table along: also where no pixel asks for them now.
inline bool carriesGrayParams(const BitmapHandle& bitmap) {
    return bitmap.Order == ORDER_GRAY || hasGraySamples(bitmap);
}

// A window of significant bits; see T_GetGrayParams. An empty one has no bits or fewer, and the mask 0; a shift of 32 or
// more leaves nothing of a sample.
struct GrayParams {
    int32_t bits = 0;
    uint32_t mask = 0;
    int32_t shift = 0;
};

constexpr GrayParams grayParams(int32_t bitsPerPixel, int32_t maxBits, int32_t lowBit, int32_t highBit) {
    const int64_t low = std::max(lowBit, 0);
    const int64_t high = highBit < 0 ? int64_t{bitsPerPixel} - 1 : highBit;
    const int64_t bits = std::min<int64_t>(high - low + 1, maxBits);
    return {.bits = static_cast<int32_t>(bits),
            .mask = bits <= 0    ? 0
                    : bits >= 32 ? 0xFFFFFFFF
                                 : (1u << bits) - 1,
            .shift = static_cast<int32_t>(high - bits + 1)};
}

// The window of a bitmap's samples, of its `maxBits` top bits at most.
inline GrayParams sampleWindow(const BitmapHandle& bitmap, int32_t maxBits) {
    return grayParams(bitmap.BitsPerPixel, maxBits, bitmap.LowBit, bitmap.HighBit);
}
inline GrayParams sampleWindow(const BitmapHandle& bitmap) { return sampleWindow(bitmap, bitmap.BitsPerPixel); }

// The value of a sample inside a window.
constexpr uint32_t windowValue(const GrayParams& window, uint32_t sample) {
    return window.shift >= 0 && window.shift < 32 ? sample >> window.shift & window.mask : 0;
}

// The lookup table in force: it stands for the samples in the window. Empty: they are gray levels.
inline std::span<const PaletteEntry> sampleTable(const BitmapHandle& bitmap) {
    if (!hasGraySamples(bitmap) || bitmap.pLUT == nullptr || (bitmap.Flags & BMF_WINDOW) == 0) return {};
    return {bitmap.pLUT, bitmap.LUTLength};
}
inline bool hasSampleTable(const BitmapHandle& bitmap) { return !sampleTable(bitmap).empty(); }

// The entry of a window's value; values without one are black.
inline PaletteEntry tableEntry(std::span<const PaletteEntry> table, uint32_t value) {
    return value < table.size() ? table[value] : PaletteEntry{};
}

// -1486 when the table in force does not fit its window: rows would be read past its end.
inline Result checkSampleTable(const BitmapHandle& bitmap) {
    const bool wanted = hasGraySamples(bitmap) && bitmap.pLUT != nullptr && (bitmap.Flags & BMF_WINDOW) != 0;
    return !wanted || bitmap.LUTLength == uint64_t{sampleWindow(bitmap).mask} + 1 ? SUCCESS : ERROR_LUT_LENGTH;
}

}  // namespace tnk
