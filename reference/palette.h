// Palettes and nearest entry search in their plainest form. Tests hold the library against these; speed is no aim here.
#pragma once

#include <cstdint>
#include <vector>

namespace tnk::test {

struct ReferenceColor {
    uint8_t blue = 0, green = 0, red = 0, reserved = 0;
    bool operator==(const ReferenceColor&) const = default;  // all four bytes
};
static_assert(sizeof(ReferenceColor) == 4);

inline constexpr uint32_t kNoPaletteIndex = 0xFFFFFFFFu;

// The 2^bits entries of the fixed table for 1-8 bits, else null. The tables lie one after the other, 1 bit first, so
// that the entries of the next table may be read past the end of a smaller one.
const ReferenceColor* referenceFixedPalette(int32_t bits);

const ReferenceColor* referenceWebPalette();  // 256 entries

std::vector<ReferenceColor> referenceGrayRamp(uint32_t count);  // count is at least 2

uint32_t referenceFindPaletteIndex(const ReferenceColor* palette, uint32_t count, int32_t red, int32_t green,
                                   int32_t blue);

// Gray level of a colour of 8-bit channels.
int32_t referenceGrayLevel(int32_t red, int32_t green, int32_t blue);

}  // namespace tnk::test
