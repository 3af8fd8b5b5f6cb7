#include "color/nearest.h"

#include <algorithm>

#include "color/palette.h"
#include "platform/platform.h"

namespace tnk {
namespace {

// Eight kinds of hue, by how the channels stand to each other.
uint32_t hueClass(uint32_t red, uint32_t green, uint32_t blue) {
    return (red < blue ? 4u : 0u) | (green < std::min(red, blue) ? 2u : 0u) | (green > std::max(red, blue) ? 1u : 0u);
}

bool isColor(const PaletteEntry& entry, uint8_t level) {
    return entry.Red == level && entry.Green == level && entry.Blue == level;
}

uint32_t square(int32_t value) { return static_cast<uint32_t>(value * value); }

}  // namespace

uint32_t findNearest(std::span<const PaletteEntry> palette, uint8_t red, uint8_t green, uint8_t blue) {
    const auto count = static_cast<uint32_t>(palette.size());
    if (count == 0) return 0xFFFFFFFF;
    if ((red | green | blue) == 0) {
        if (isColor(palette.front(), 0)) return 0;
        if (isColor(palette.back(), 0)) return count - 1;
    }
    if ((red & green & blue) == 255) {
        if (isColor(palette.back(), 255)) return count - 1;
        if (isColor(palette.front(), 255)) return 0;
    }
    const uint32_t wantedClass = hueClass(red, green, blue);
    uint32_t best = 0xFFFFFFFF;
    uint32_t bestDistance = 0xFFFFFFFF;
    for (uint32_t i = 0; i < count && bestDistance != 0; ++i) {
        const PaletteEntry& entry = palette[i];
        const uint32_t distance = square(entry.Red - red) + square(entry.Green - green) + square(entry.Blue - blue);
        if (distance > bestDistance) continue;
        if (distance == bestDistance && hueClass(entry.Red, entry.Green, entry.Blue) != wantedClass) continue;
        bestDistance = distance;
        best = i;
    }
    return best;
}

struct NearestMatcher::Grid {
    uint32_t count;
    PaletteEntry palette[kMaxPaletteEntries];
};

NearestMatcher::~NearestMatcher() {
    if (grid_ != nullptr) platform->freeLocal(grid_);
}

bool NearestMatcher::prepare(std::span<const PaletteEntry> palette) {
    if (grid_ == nullptr) grid_ = static_cast<Grid*>(platform->allocateLocal(sizeof(Grid), false));
    if (grid_ == nullptr) return false;
    grid_->count = static_cast<uint32_t>(palette.size());
    std::copy(palette.begin(), palette.end(), grid_->palette);
    return true;
}

uint8_t NearestMatcher::find(uint8_t red, uint8_t green, uint8_t blue) {
    return static_cast<uint8_t>(findNearest({grid_->palette, grid_->count}, red, green, blue));
}

void NearestMatcher::findRow(const uint8_t* pixels, uint32_t stride, uint32_t red, uint32_t green, uint32_t blue,
                             uint8_t* indexes, int32_t width) {
    for (int32_t i = 0; i < width; ++i, pixels += stride) indexes[i] = find(pixels[red], pixels[green], pixels[blue]);
}

}  // namespace tnk

extern "C" uint32_t TNK_CALL T_FindPaletteIndex(const PaletteEntry* Palette, uint32_t Count, uint8_t Red,
                                                uint8_t Green, uint8_t Blue) {
    return Palette != nullptr ? tnk::findNearest({Palette, Count}, Red, Green, Blue) : 0;
}
