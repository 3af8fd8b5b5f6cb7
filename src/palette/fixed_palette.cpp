// The fixed palettes, the web palette and gray ramps.
#include <algorithm>
#include <array>
#include <cassert>

#include "base/shape.h"
#include "palette/palette.h"
#include "platform/platform.h"

namespace tnk {
namespace {

// Level `index` of `count` evenly spaced ones, rounded to nearest.
constexpr uint8_t level(uint32_t index, uint32_t count) {
    return static_cast<uint8_t>((index * 510 + count - 1) / (2 * (count - 1)));
}

// Writes every combination of the channels' levels, blue varying fastest, and returns the position after them.
constexpr PaletteEntry* writeCube(PaletteEntry* out, uint32_t reds, uint32_t greens, uint32_t blues) {
    for (uint32_t red = 0; red < reds; ++red)
        for (uint32_t green = 0; green < greens; ++green)
            for (uint32_t blue = 0; blue < blues; ++blue)
                *out++ = {level(blue, blues), level(green, greens), level(red, reds), 0};
    return out;
}

constexpr PaletteEntry* writeGray(PaletteEntry* out, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) *out++ = {level(i, count), level(i, count), level(i, count), 0};
    return out;
}

// The 16 colours of text displays: bits 0-2 of the index switch red, green and blue on at half strength, bit 3 makes
// them full; 7 and 8 are the two grays.
constexpr PaletteEntry* writeDisplayColors(PaletteEntry* out) {
    for (uint32_t i = 0; i < 16; ++i) {
        const uint8_t on = i < 8 ? 128 : 255;
        PaletteEntry entry = {static_cast<uint8_t>((i & 4) != 0 ? on : 0), static_cast<uint8_t>((i & 2) != 0 ? on : 0),
                              static_cast<uint8_t>((i & 1) != 0 ? on : 0), 0};
        if (i == 8) entry = {192, 192, 192, 0};
        *out++ = entry;
    }
    return out;
}

// The tables of 1, 2, ... 8 bits one after the other; fixedPalette and T_CreateBitmapFixedPalette rely on the order.
constexpr std::array<PaletteEntry, 510> kFixedPalettes = [] {
    std::array<PaletteEntry, 510> all{};
    PaletteEntry* out = writeGray(all.data(), 2);
    out = writeGray(out, 4);
    out = writeCube(out, 2, 2, 2);
    out = writeDisplayColors(out);
    out = writeCube(out, 4, 4, 2);
    out = writeCube(out, 4, 4, 4);
    out = writeCube(out, 4, 8, 4);
    writeCube(out, 8, 8, 4);
    return all;
}();

// 6 levels a channel; the last 40 entries are black.
constexpr std::array<PaletteEntry, 256> kWebPalette = [] {
    std::array<PaletteEntry, 256> all{};
    writeCube(all.data(), 6, 6, 6);
    return all;
}();

}  // namespace

const PaletteEntry* fixedPalette(int32_t bits) {
    return bits >= 1 && bits <= 8 ? &kFixedPalettes[(size_t{1} << bits) - 2] : nullptr;
}

const PaletteEntry* webPalette() { return kWebPalette.data(); }

void fillGrayRamp(std::span<PaletteEntry> palette) {
    assert(palette.size() >= 2);
    const uint64_t last = std::max<size_t>(palette.size(), 2) - 1;
    for (size_t i = 0; i < palette.size(); ++i) {
        const auto gray = static_cast<uint8_t>(uint64_t{i} * 255 / last);
        palette[i] = {gray, gray, gray, 0};
    }
}

PaletteEntry* newGrayPalette(uint32_t bits) {
    if (bits == 0) bits = 8;
    if (bits > 29) return nullptr;  // byte counts of palettes fit 32 bits on every target
    const size_t count = size_t{1} << bits;
    auto* palette = static_cast<PaletteEntry*>(platform->allocateGlobal(count * sizeof(PaletteEntry), false));
    if (palette != nullptr) fillGrayRamp({palette, count});
    return palette;
}

Result attachFixedPalette(BitmapHandle& bitmap) {
    const uint32_t count = bitmap.ColorCount;
    if (count < 2 || count > kMaxPaletteEntries || (count & (count - 1)) != 0) return 0;
    // KEEP: 4 colours start at the table of 2, whose successor is the table of 4: black, white, black, gray 85. Taking
    // the table of 4 would be the obvious repair; existing 2-bit pictures mean these colours.
    bitmap.Palette = newPalette(&kFixedPalettes[count == 4 ? 0 : count - 2], count);
    return bitmap.Palette != nullptr ? SUCCESS : FAILURE;
}

Result attachGrayPalette(BitmapHandle& bitmap) {
    if (bitmap.BitsPerPixel < 1 || bitmap.BitsPerPixel > 8) return ERROR_BPP_NOT_SUPPORTED;
    bitmap.ColorCount = 1u << bitmap.BitsPerPixel;
    bitmap.Palette = newGrayPalette(Shape(bitmap).bits);
    return bitmap.Palette != nullptr ? SUCCESS : FAILURE;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_GetFixedPalette(PaletteEntry* Palette, uint32_t Bits) {
    if (Palette == nullptr || Bits > 8) return ERROR_INVALID_PARAMETER;
    if (Bits == 0)
        fillGrayRamp({Palette, kMaxPaletteEntries});
    else
        std::copy_n(fixedPalette(static_cast<int32_t>(Bits)), size_t{1} << Bits, Palette);
    return SUCCESS;
}

extern "C" const PaletteEntry* TNK_CALL T_IntGetFixedPalette(int32_t Bits) { return fixedPalette(Bits); }

extern "C" const PaletteEntry* TNK_CALL T_IntGetNetscapePalette(void) { return webPalette(); }

extern "C" PaletteEntry* TNK_CALL T_CreateFixedPalette(uint32_t Bits) {
    if (Bits > 8) return nullptr;
    const uint32_t bits = std::max(Bits, 1u);
    return newPalette(fixedPalette(static_cast<int32_t>(bits)), 1u << bits);
}

extern "C" PaletteEntry* TNK_CALL T_CreateGrayPalette(uint32_t Bits) { return newGrayPalette(Bits); }

extern "C" int32_t TNK_CALL T_CreateBitmapFixedPalette(BitmapHandle* Bitmap) {
    return Bitmap != nullptr ? attachFixedPalette(*Bitmap).code : ERROR_INVALID_PARAMETER;
}

extern "C" int32_t TNK_CALL T_CreateBitmapGrayPalette(BitmapHandle* Bitmap) {
    return Bitmap != nullptr ? attachGrayPalette(*Bitmap).code : ERROR_INVALID_PARAMETER;
}
