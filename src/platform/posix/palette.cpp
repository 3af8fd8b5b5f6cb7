// Logical palettes as objects of the library's own, and what has no counterpart without a display.
#include <algorithm>
#include <cstring>

#include "platform/native.h"
#include "platform/posix/object.h"

namespace tnk::native {

namespace {

constexpr uint32_t kMaxEntries = 256;

struct PaletteObject {
    static constexpr uint32_t kMagic = 0x4C415050;
    uint32_t magic;
    uint32_t count;
    PaletteEntry entries[kMaxEntries];
};

// Entries from `first` on that the palette has, at most `count`.
uint32_t clipped(const PaletteObject* palette, uint32_t first, uint32_t count) {
    return palette != nullptr && first < palette->count ? std::min(count, palette->count - first) : 0;
}

}  // namespace

T_HANDLE createPalette(const PaletteEntry* entries, uint32_t count) {
    if (count == 0 || count > kMaxEntries) return 0;
    auto* palette = makeObject<PaletteObject>();
    if (palette == nullptr) return 0;
    palette->count = count;
    std::memcpy(palette->entries, entries, count * sizeof(PaletteEntry));
    return handleOf(palette);
}

uint32_t paletteSize(T_HANDLE handle) {
    const auto* palette = objectOf<PaletteObject>(handle);
    return palette != nullptr ? palette->count : 0;
}

uint32_t getPaletteEntries(T_HANDLE handle, uint32_t first, uint32_t count, PaletteEntry* entries) {
    const auto* palette = objectOf<PaletteObject>(handle);
    const uint32_t moved = clipped(palette, first, count);
    if (moved != 0) std::memcpy(entries, palette->entries + first, moved * sizeof(PaletteEntry));
    return moved;
}

uint32_t setPaletteEntries(T_HANDLE handle, uint32_t first, uint32_t count, const PaletteEntry* entries) {
    auto* palette = objectOf<PaletteObject>(handle);
    const uint32_t moved = clipped(palette, first, count);
    if (moved != 0) std::memcpy(palette->entries + first, entries, moved * sizeof(PaletteEntry));
    return moved;
}

uint32_t nearestPaletteIndex(T_HANDLE handle, uint32_t color) {
    const auto* palette = objectOf<PaletteObject>(handle);
    if (palette == nullptr) return 0;
    uint32_t best = 0;
    int bestDistance = INT32_MAX;
    for (uint32_t i = 0; i < palette->count; ++i) {
        const PaletteEntry& entry = palette->entries[i];
        const int red = entry.Red - static_cast<int>(color & 0xFF);
        const int green = entry.Green - static_cast<int>(color >> 8 & 0xFF);
        const int blue = entry.Blue - static_cast<int>(color >> 16 & 0xFF);
        const int distance = red * red + green * green + blue * blue;
        if (distance < bestDistance) {
            bestDistance = distance;
            best = i;
        }
    }
    return best;
}

bool deletePalette(T_HANDLE handle) {
    auto* palette = objectOf<PaletteObject>(handle);
    if (palette == nullptr) return false;
    destroyObject(palette);
    return true;
}

uint32_t screenPalette(PaletteEntry (&)[256]) { return 0; }

uint32_t screenReserved() { return 0; }

// Regions come from a display module only, and this system has none whose regions the library could delete.
bool deleteRegion(T_HANDLE) { return false; }

T_HANDLE createDeviceContext(T_HANDLE palette) {
    if (palette != 0) deletePalette(palette);
    return 0;
}

bool deleteDeviceContext(T_HANDLE) { return false; }

}  // namespace tnk::native
