// Conversion of one row between pixel formats in its plainest form: the whole row is decoded first, then encoded.
#pragma once

#include <cstdint>

#include "reference/palette.h"

namespace tnk::test {

inline constexpr int32_t kReferenceSuccess = 1;
inline constexpr int32_t kReferenceInvalidParameter = -13;

// Colour orders and flags by their numbers in the interface.
inline constexpr int32_t kOrderRgb = 0, kOrderBgr = 1, kOrderGray = 2, kOrderMatrix = 5;
inline constexpr uint32_t kConvertSrcGray = 0x01, kConvertDstGray = 0x02, kConvertSrcBitRange = 0x04,
                          kConvertDstBitRange = 0x08, kConvertAlphaFromValue = 0x10, kConvertAlphaOpaque = 0x20;

// The significant bits of a gray sample: (sample >> shift) & mask has `bits` bits.
struct ReferenceGrayParams {
    int32_t bits = 0;
    uint32_t mask = 0;
    int64_t shift = 0;

    // Shifts beyond the sample leave nothing.
    uint32_t read(uint32_t sample) const { return shift > 31 ? 0 : (sample >> shift) & mask; }
    uint64_t write(uint32_t value) const { return shift > 31 ? 0 : uint64_t{value} << shift; }
};

ReferenceGrayParams referenceGrayParams(int32_t depth, int32_t maxBits, int32_t lowBit, int32_t highBit);

// `buffer` holds `width` source pixels and receives `width` destination pixels. Bits and bytes after the last
// destination pixel keep what the buffer held; after a failure the whole buffer does. Palettes hold 2^bits entries; that
// of a gray source deeper than 8 bits is a lookup table as long as its significant bits reach.
int32_t referenceConvert(uint8_t* buffer, int32_t width, int32_t srcBits, int32_t dstBits, int32_t srcOrder,
                         int32_t dstOrder, const ReferenceColor* srcPalette, const ReferenceColor* dstPalette,
                         uint32_t flags, int32_t lowBit, int32_t highBit);

// Packed samples of 1-8 bits, most significant bit first, addressed by pixel. Setting keeps all other bits.
uint32_t referenceGetPacked(const uint8_t* row, int32_t x, int32_t bits);
void referenceSetPacked(uint8_t* row, int32_t x, int32_t bits, uint32_t value);

// 12-bit samples, two in three bytes.
uint32_t referenceGet12(const uint8_t* row, int32_t x);
void referenceSet12(uint8_t* row, int32_t x, uint32_t value);

}  // namespace tnk::test
