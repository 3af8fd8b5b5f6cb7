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

constinit const DisplayTable displayTable = {
    .createPalette = [](const PaletteEntry* entries, uint32_t count) -> T_HANDLE {
        if (count == 0 || count > kMaxEntries) return 0;
        auto* palette = makeObject<PaletteObject>();
        if (palette == nullptr) return 0;
        palette->count = count;
        std::memcpy(palette->entries, entries, count * sizeof(PaletteEntry));
        return handleOf(palette);
    },

    .paletteSize = [](T_HANDLE handle) -> uint32_t {
        const auto* palette = objectOf<PaletteObject>(handle);
        return palette != nullptr ? palette->count : 0;
    },

    .getPaletteEntries = [](T_HANDLE handle, uint32_t first, uint32_t count, PaletteEntry* entries) -> uint32_t {
        const auto* palette = objectOf<PaletteObject>(handle);
        const uint32_t moved = clipped(palette, first, count);
        if (moved != 0) std::memcpy(entries, palette->entries + first, moved * sizeof(PaletteEntry));
        return moved;
    },

    .setPaletteEntries = [](T_HANDLE handle, uint32_t first, uint32_t count, const PaletteEntry* entries) -> uint32_t {
        auto* palette = objectOf<PaletteObject>(handle);
        const uint32_t moved = clipped(palette, first, count);
        if (moved != 0) std::memcpy(palette->entries + first, entries, moved * sizeof(PaletteEntry));
        return moved;
    },

    .nearestPaletteIndex = [](T_HANDLE handle, uint32_t color) -> uint32_t {
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
    },

    .deletePalette = [](T_HANDLE handle) -> bool {
        auto* palette = objectOf<PaletteObject>(handle);
        if (palette == nullptr) return false;
        destroyObject(palette);
        return true;
    },

    .screenPalette = [](PaletteEntry (&)[256]) -> uint32_t { return 0; },
    .screenReserved = []() -> uint32_t { return 0; },
    .screenResolution = [](int32_t*, int32_t*) -> bool { return false; },

    // Regions come from a display module only, and this system has none whose regions the library could delete.
    .deleteRegion = [](T_HANDLE) -> bool { return false; },

    .createDeviceContext = [](T_HANDLE palette) -> T_HANDLE {
        if (palette != 0) displayTable.deletePalette(palette);
        return 0;
    },

    .deleteDeviceContext = [](T_HANDLE) -> bool { return false; },
};

}  // namespace tnk::native
