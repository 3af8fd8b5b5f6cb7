// Logical palettes, regions, device contexts and the screen's palette: GDI objects.
#include <algorithm>

#include "platform/win32/windows_api.h"

namespace tnk::native {

namespace {

constexpr uint32_t kMaxEntries = 256;
constexpr WORD kPaletteVersion = 0x300;

HPALETTE paletteOf(T_HANDLE handle) { return reinterpret_cast<HPALETTE>(handle); }

PALETTEENTRY toSystem(const PaletteEntry& entry) { return {entry.Red, entry.Green, entry.Blue, entry.Reserved}; }

PaletteEntry fromSystem(const PALETTEENTRY& entry) { return {entry.peBlue, entry.peGreen, entry.peRed, entry.peFlags}; }

// A LOGPALETTE with room for all entries.
struct LogicalPalette {
    WORD version = kPaletteVersion;
    WORD count;
    PALETTEENTRY entries[kMaxEntries];
};
static_assert(offsetof(LogicalPalette, entries) == offsetof(LOGPALETTE, palPalEntry));

// Entries from `first` on that the palette has, at most `count`.
uint32_t clipped(T_HANDLE palette, uint32_t first, uint32_t count) {
    const uint32_t size = std::min(displayTable.paletteSize(palette), kMaxEntries);
    return first < size ? std::min(count, size - first) : 0;
}

}  // namespace

constinit const DisplayTable displayTable = {
    .createPalette = [](const PaletteEntry* entries, uint32_t count) -> T_HANDLE {
        if (count == 0 || count > kMaxEntries) return 0;
        LogicalPalette logical;
        logical.count = static_cast<WORD>(count);
        std::transform(entries, entries + count, logical.entries, toSystem);
        return handleOf(CreatePalette(reinterpret_cast<LOGPALETTE*>(&logical)));
    },

    .paletteSize = [](T_HANDLE palette) -> uint32_t {
        // Any GDI object answers the query for its size; only a palette has an entry count.
        if (GetObjectType(paletteOf(palette)) != OBJ_PAL) return 0;
        WORD count = 0;
        return GetObjectW(paletteOf(palette), sizeof count, &count) != 0 ? count : 0;
    },

    .getPaletteEntries = [](T_HANDLE palette, uint32_t first, uint32_t count, PaletteEntry* entries) -> uint32_t {
        PALETTEENTRY system[kMaxEntries];
        const uint32_t wanted = clipped(palette, first, count);
        if (wanted == 0) return 0;
        const uint32_t moved = GetPaletteEntries(paletteOf(palette), first, wanted, system);
        std::transform(system, system + moved, entries, fromSystem);
        return moved;
    },

    .setPaletteEntries = [](T_HANDLE palette, uint32_t first, uint32_t count, const PaletteEntry* entries) -> uint32_t {
        PALETTEENTRY system[kMaxEntries];
        const uint32_t wanted = clipped(palette, first, count);
        if (wanted == 0) return 0;
        std::transform(entries, entries + wanted, system, toSystem);
        return SetPaletteEntries(paletteOf(palette), first, wanted, system);
    },

    .nearestPaletteIndex = [](T_HANDLE palette, uint32_t color) -> uint32_t {
        return displayTable.paletteSize(palette) != 0 ? GetNearestPaletteIndex(paletteOf(palette), color) : 0;
    },

    .deletePalette = [](T_HANDLE palette) -> bool {
        return GetObjectType(paletteOf(palette)) == OBJ_PAL && DeleteObject(paletteOf(palette)) != 0;
    },

    .screenPalette = [](PaletteEntry (&entries)[256]) -> uint32_t {
        const HDC screen = GetDC(nullptr);
        if (screen == nullptr) return 0;
        UINT count = 0;
        PALETTEENTRY system[kMaxEntries];
        if ((GetDeviceCaps(screen, RASTERCAPS) & RC_PALETTE) != 0) {
            const int size = std::clamp<int>(GetDeviceCaps(screen, SIZEPALETTE), 0, kMaxEntries);
            count = GetSystemPaletteEntries(screen, 0, static_cast<UINT>(size), system);
        }
        ReleaseDC(nullptr, screen);
        std::transform(system, system + count, entries, fromSystem);
        return count;
    },

    .screenReserved = []() -> uint32_t {
        const HDC screen = GetDC(nullptr);
        if (screen == nullptr) return 0;
        const bool hasPalette = (GetDeviceCaps(screen, RASTERCAPS) & RC_PALETTE) != 0;
        const int reserved = hasPalette ? GetDeviceCaps(screen, NUMRESERVED) : 0;
        ReleaseDC(nullptr, screen);
        return static_cast<uint32_t>(std::clamp<int>(reserved, 0, kMaxEntries));
    },

    .screenResolution = [](int32_t* x, int32_t* y) -> bool {
        const HDC screen = GetDC(nullptr);
        if (screen == nullptr) return false;
        const int width = GetDeviceCaps(screen, HORZSIZE);  // millimetres
        const int height = GetDeviceCaps(screen, VERTSIZE);
        if (width > 0 && height > 0) {
            *x = MulDiv(GetDeviceCaps(screen, HORZRES), 1000, width);
            *y = MulDiv(GetDeviceCaps(screen, VERTRES), 1000, height);
        }
        ReleaseDC(nullptr, screen);
        return width > 0 && height > 0 && *x > 0 && *y > 0;
    },

    .deleteRegion = [](T_HANDLE region) -> bool { return DeleteObject(systemHandle(region)) != 0; },

    .createDeviceContext = [](T_HANDLE palette) -> T_HANDLE {
        const HDC context = CreateCompatibleDC(nullptr);
        if (palette == 0) return handleOf(context);
        if (context != nullptr && SelectPalette(context, paletteOf(palette), FALSE) != nullptr)
            return handleOf(context);
        displayTable.deletePalette(palette);
        if (context != nullptr) DeleteDC(context);
        return 0;
    },

    .deleteDeviceContext = [](T_HANDLE context) -> bool {
        if (GetObjectType(systemHandle(context)) != OBJ_MEMDC) return false;
        const HDC dc = static_cast<HDC>(systemHandle(context));
        const auto standard = static_cast<HPALETTE>(GetStockObject(DEFAULT_PALETTE));
        const HPALETTE palette = SelectPalette(dc, standard, FALSE);
        if (palette != nullptr && palette != standard) DeleteObject(palette);
        return DeleteDC(dc) != 0;
    },
};

}  // namespace tnk::native
