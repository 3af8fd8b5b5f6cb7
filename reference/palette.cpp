#include "reference/palette.h"

#include <algorithm>
#include <array>

namespace tnk::test {
namespace {

constexpr int kLevels2[] = {0, 255};
constexpr int kLevels4[] = {0, 85, 170, 255};
constexpr int kLevels8[] = {0, 36, 73, 109, 146, 182, 219, 255};

constexpr uint8_t kDisplay16[16][3] = {
    // red, green, blue
    {0, 0, 0},     {128, 0, 0},     {0, 128, 0},     {128, 128, 0},   {0, 0, 128}, {128, 0, 128},
    {0, 128, 128}, {128, 128, 128}, {192, 192, 192}, {255, 0, 0},     {0, 255, 0}, {255, 255, 0},
    {0, 0, 255},   {255, 0, 255},   {0, 255, 255},   {255, 255, 255},
};

ReferenceColor fromRgb(int red, int green, int blue) {
    return {static_cast<uint8_t>(blue), static_cast<uint8_t>(green), static_cast<uint8_t>(red), 0};
}

// Blue varies fastest, red slowest.
template <size_t NB, size_t NG, size_t NR>
void appendCube(std::vector<ReferenceColor>& out, const int (&blues)[NB], const int (&greens)[NG],
                const int (&reds)[NR]) {
    for (int red : reds)
        for (int green : greens)
            for (int blue : blues) out.push_back(fromRgb(red, green, blue));
}

std::vector<ReferenceColor> makeFixedTables() {
    std::vector<ReferenceColor> all;
    for (int v : kLevels2) all.push_back(fromRgb(v, v, v));
    for (int v : kLevels4) all.push_back(fromRgb(v, v, v));
    appendCube(all, kLevels2, kLevels2, kLevels2);
    for (const auto& c : kDisplay16) all.push_back(fromRgb(c[0], c[1], c[2]));
    appendCube(all, kLevels2, kLevels4, kLevels4);
    appendCube(all, kLevels4, kLevels4, kLevels4);
    appendCube(all, kLevels4, kLevels8, kLevels4);
    appendCube(all, kLevels4, kLevels8, kLevels8);
    return all;
}

std::array<ReferenceColor, 256> makeWebPalette() {
    std::array<ReferenceColor, 256> web{};
    for (int i = 0; i < 216; ++i) web[static_cast<size_t>(i)] = fromRgb(i / 36 * 51, i / 6 % 6 * 51, i % 6 * 51);
    return web;
}

int hueClass(int red, int green, int blue) {
    int hue = 0;
    if (red < blue) hue |= 4;
    if (green < std::min(red, blue)) hue |= 2;
    if (green > std::max(red, blue)) hue |= 1;
    return hue;
}

bool isGrayOf(const ReferenceColor& entry, int level) {
    return entry.red == level && entry.green == level && entry.blue == level;
}

}  // namespace

const ReferenceColor* referenceFixedPalette(int32_t bits) {
    static const std::vector<ReferenceColor> kTables = makeFixedTables();
    if (bits < 1 || bits > 8) return nullptr;
    return kTables.data() + ((1 << bits) - 2);  // 2 + 4 + ... + 2^(bits-1) entries come before
}

const ReferenceColor* referenceWebPalette() {
    static const std::array<ReferenceColor, 256> kWeb = makeWebPalette();
    return kWeb.data();
}

std::vector<ReferenceColor> referenceGrayRamp(uint32_t count) {
    std::vector<ReferenceColor> ramp;
    for (uint32_t i = 0; i < count; ++i) {
        const int v = static_cast<int>(uint64_t{i} * 255 / (count - 1));
        ramp.push_back(fromRgb(v, v, v));
    }
    return ramp;
}

uint32_t referenceFindPaletteIndex(const ReferenceColor* palette, uint32_t count, int32_t red, int32_t green,
                                   int32_t blue) {
    if (palette == nullptr) return 0;
    if (count == 0) return kNoPaletteIndex;
    if (red == 0 && green == 0 && blue == 0) {
        if (isGrayOf(palette[0], 0)) return 0;
        if (isGrayOf(palette[count - 1], 0)) return count - 1;
    }
    if ((red & green & blue) == 255) {
        if (isGrayOf(palette[count - 1], 255)) return count - 1;
        if (isGrayOf(palette[0], 255)) return 0;
    }
    const int wantedHue = hueClass(red, green, blue);
    uint32_t bestDistance = 0xFFFFFFFFu;
    uint32_t best = kNoPaletteIndex;
    for (uint32_t i = 0; i < count && bestDistance != 0; ++i) {
        const ReferenceColor& entry = palette[i];
        const int dr = red - entry.red, dg = green - entry.green, db = blue - entry.blue;
        const uint32_t distance = static_cast<uint32_t>(dr * dr + dg * dg + db * db);
        const bool closer = distance < bestDistance;
        const bool tieOfHue = distance == bestDistance && hueClass(entry.red, entry.green, entry.blue) == wantedHue;
        if (closer || tieOfHue) {
            bestDistance = distance;
            best = i;
        }
    }
    return best;
}

int32_t referenceGrayLevel(int32_t red, int32_t green, int32_t blue) { return (2 * red + 5 * green + blue + 4) >> 3; }

}  // namespace tnk::test
