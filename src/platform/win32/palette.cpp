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
    const uint32_t size = std::min(paletteSize(palette), kMaxEntries);
    return first < size ? std::min(count, size - first) : 0;
}

}  // namespace

T_HANDLE createPalette(const PaletteEntry* entries, uint32_t count) {
    if (count == 0 || count > kMaxEntries) return 0;
    LogicalPalette logical;
    logical.count = static_cast<WORD>(count);
    std::transform(entries, entries + count, logical.entries, toSystem);
    return handleOf(CreatePalette(reinterpret_cast<LOGPALETTE*>(&logical)));
}

uint32_t paletteSize(T_HANDLE palette) {
    // Any GDI object answers the query for its size; only a palette has an entry count.
    if (GetObjectType(paletteOf(palette)) != OBJ_PAL) return 0;
    WORD count = 0;
    return GetObjectW(paletteOf(palette), sizeof count, &count) != 0 ? count : 0;
}

uint32_t getPaletteEntries(T_HANDLE palette, uint32_t first, uint32_t count, PaletteEntry* entries) {
    PALETTEENTRY system[kMaxEntries];
    const uint32_t wanted = clipped(palette, first, count);
    if (wanted == 0) return 0;
    const uint32_t moved = GetPaletteEntries(paletteOf(palette), first, wanted, system);
    std::transform(system, system + moved, entries, fromSystem);
    return moved;
}

uint32_t setPaletteEntries(T_HANDLE palette, uint32_t first, uint32_t count, const PaletteEntry* entries) {
    PALETTEENTRY system[kMaxEntries];
    const uint32_t wanted = clipped(palette, first, count);
    if (wanted == 0) return 0;
    std::transform(entries, entries + wanted, system, toSystem);
    return SetPaletteEntries(paletteOf(palette), first, wanted, system);
}

uint32_t nearestPaletteIndex(T_HANDLE palette, uint32_t color) {
    return paletteSize(palette) != 0 ? GetNearestPaletteIndex(paletteOf(palette), color) : 0;
}

bool deletePalette(T_HANDLE palette) {
    return GetObjectType(paletteOf(palette)) == OBJ_PAL && DeleteObject(paletteOf(palette)) != 0;
}

uint32_t screenPalette(PaletteEntry (&entries)[256]) {
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
}

uint32_t screenReserved() {
    const HDC screen = GetDC(nullptr);
    if (screen == nullptr) return 0;
    const bool hasPalette = (GetDeviceCaps(screen, RASTERCAPS) & RC_PALETTE) != 0;
    const int reserved = hasPalette ? GetDeviceCaps(screen, NUMRESERVED) : 0;
    ReleaseDC(nullptr, screen);
    return static_cast<uint32_t>(std::clamp<int>(reserved, 0, kMaxEntries));
}

bool deleteRegion(T_HANDLE region) { return DeleteObject(systemHandle(region)) != 0; }

T_HANDLE createDeviceContext(T_HANDLE palette) {
    const HDC context = CreateCompatibleDC(nullptr);
    if (palette == 0) return handleOf(context);
    if (context != nullptr && SelectPalette(context, paletteOf(palette), FALSE) != nullptr) return handleOf(context);
    deletePalette(palette);
    if (context != nullptr) DeleteDC(context);
    return 0;
}

bool deleteDeviceContext(T_HANDLE context) {
    if (GetObjectType(systemHandle(context)) != OBJ_MEMDC) return false;
    const HDC dc = static_cast<HDC>(systemHandle(context));
    const auto standard = static_cast<HPALETTE>(GetStockObject(DEFAULT_PALETTE));
    const HPALETTE palette = SelectPalette(dc, standard, FALSE);
    if (palette != nullptr && palette != standard) DeleteObject(palette);
    return DeleteDC(dc) != 0;
}

}  // namespace tnk::native
