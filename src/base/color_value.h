// Palette entries and 32-bit colour values.
#pragma once

#include <cstdint>

#include "tnkrn.h"

namespace tnk {

constexpr uint32_t kMaxPaletteEntries = 256;

constexpr bool sameColor(const PaletteEntry& a, const PaletteEntry& b) {
    return a.Blue == b.Blue && a.Green == b.Green && a.Red == b.Red;
}

// Parts of a colour value.
constexpr uint32_t kColorTagMask = 0xFF000000;
constexpr uint32_t colorTag(uint32_t color) { return color & kColorTagMask; }
constexpr uint8_t colorRed(uint32_t color) { return static_cast<uint8_t>(color); }
constexpr uint8_t colorGreen(uint32_t color) { return static_cast<uint8_t>(color >> 8); }
constexpr uint8_t colorBlue(uint32_t color) { return static_cast<uint8_t>(color >> 16); }
constexpr uint32_t colorOf(const PaletteEntry& entry) {
    return uint32_t{entry.Red} | uint32_t{entry.Green} << 8 | uint32_t{entry.Blue} << 16;
}
// The plain colour of a gray level value (COLOR_TAG_GRAY); other values stay.
constexpr uint32_t grayToPlain(uint32_t color) {
    return colorTag(color) == COLOR_TAG_GRAY ? colorGreen(color) * 0x010101u : color;
}

}  // namespace tnk
