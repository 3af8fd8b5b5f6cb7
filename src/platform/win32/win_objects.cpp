// Objects of the system, made and freed on behalf of other modules. Callers name the place of each call; nothing is tracked.
// Some system calls trust their structures: null is kept from them.
#include "platform/win32/windows_api.h"

using tnk::native::handleOf;

namespace {

template <typename Object>
Object objectOf(T_HANDLE handle) {
    return static_cast<Object>(tnk::native::systemHandle(handle));
}

}  // namespace

extern "C" T_HANDLE TNK_CALL T_WinGetDC(T_HANDLE Window, uint32_t, const char*) {
    return handleOf(GetDC(objectOf<HWND>(Window)));
}

extern "C" int32_t TNK_CALL T_WinReleaseDC(T_HANDLE Window, T_HANDLE DC, uint32_t, const char*) {
    return ReleaseDC(objectOf<HWND>(Window), objectOf<HDC>(DC)) != 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateDC(const T_WCHAR* Driver, const T_WCHAR* Device, const T_WCHAR* Port,
                                           const void* DevMode, uint32_t, const char*) {
    return handleOf(CreateDCW(Driver, Device, Port, static_cast<const DEVMODEW*>(DevMode)));
}

extern "C" T_HANDLE TNK_CALL T_WinCreateCompatibleDC(T_HANDLE DC, uint32_t, const char*) {
    return handleOf(CreateCompatibleDC(objectOf<HDC>(DC)));
}

extern "C" int32_t TNK_CALL T_WinDeleteDC(T_HANDLE DC, uint32_t, const char*) {
    return DeleteDC(objectOf<HDC>(DC)) != 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateBitmap(int32_t Width, int32_t Height, uint32_t Planes, uint32_t BitsPerPixel,
                                               const void* Bits, uint32_t, const char*) {
    return handleOf(CreateBitmap(Width, Height, Planes, BitsPerPixel, Bits));
}

extern "C" T_HANDLE TNK_CALL T_WinCreateBitmapIndirect(const void* Bitmap, uint32_t, const char*) {
    return Bitmap != nullptr ? handleOf(CreateBitmapIndirect(static_cast<const BITMAP*>(Bitmap))) : 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateCompatibleBitmap(T_HANDLE DC, int32_t Width, int32_t Height, uint32_t,
                                                         const char*) {
    return handleOf(CreateCompatibleBitmap(objectOf<HDC>(DC), Width, Height));
}

extern "C" T_HANDLE TNK_CALL T_WinCreateDIBSection(T_HANDLE DC, const void* Info, uint32_t Usage, void** Bits,
                                                   T_HANDLE Section, uint32_t Offset, uint32_t, const char*) {
    void* pixels = nullptr;
    const HBITMAP bitmap = Info == nullptr ? nullptr
                                           : CreateDIBSection(objectOf<HDC>(DC), static_cast<const BITMAPINFO*>(Info),
                                                              Usage, &pixels, objectOf<HANDLE>(Section), Offset);
    if (Bits != nullptr) *Bits = bitmap != nullptr ? pixels : nullptr;
    return handleOf(bitmap);
}

extern "C" T_HANDLE TNK_CALL T_WinCreatePalette(const void* Palette, uint32_t, const char*) {
    return Palette != nullptr ? handleOf(CreatePalette(static_cast<const LOGPALETTE*>(Palette))) : 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateHalftonePalette(T_HANDLE DC, uint32_t, const char*) {
    return handleOf(CreateHalftonePalette(objectOf<HDC>(DC)));
}

extern "C" T_HANDLE TNK_CALL T_WinCreatePen(int32_t Style, int32_t Width, uint32_t Color, uint32_t, const char*) {
    return handleOf(CreatePen(Style, Width, Color));
}

extern "C" T_HANDLE TNK_CALL T_WinCreatePenIndirect(const void* Pen, uint32_t, const char*) {
    return Pen != nullptr ? handleOf(CreatePenIndirect(static_cast<const LOGPEN*>(Pen))) : 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateSolidBrush(uint32_t Color, uint32_t, const char*) {
    return handleOf(CreateSolidBrush(Color));
}

extern "C" T_HANDLE TNK_CALL T_WinCreateHatchBrush(int32_t Style, uint32_t Color, uint32_t, const char*) {
    return handleOf(CreateHatchBrush(Style, Color));
}

extern "C" T_HANDLE TNK_CALL T_WinCreatePatternBrush(T_HANDLE Bitmap, uint32_t, const char*) {
    return handleOf(CreatePatternBrush(objectOf<HBITMAP>(Bitmap)));
}

extern "C" T_HANDLE TNK_CALL T_WinCreateDIBPatternBrushPt(const void* PackedDib, uint32_t Usage, uint32_t,
                                                          const char*) {
    return PackedDib != nullptr ? handleOf(CreateDIBPatternBrushPt(PackedDib, Usage)) : 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateBrushIndirect(const void* Brush, uint32_t, const char*) {
    return Brush != nullptr ? handleOf(CreateBrushIndirect(static_cast<const LOGBRUSH*>(Brush))) : 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateFontIndirect(const void* Font, uint32_t, const char*) {
    return Font != nullptr ? handleOf(CreateFontIndirectW(static_cast<const LOGFONTW*>(Font))) : 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateRectRgn(int32_t Left, int32_t Top, int32_t Right, int32_t Bottom, uint32_t,
                                                const char*) {
    return handleOf(CreateRectRgn(Left, Top, Right, Bottom));
}

extern "C" T_HANDLE TNK_CALL T_WinCreateRectRgnIndirect(const void* Rect, uint32_t, const char*) {
    return Rect != nullptr ? handleOf(CreateRectRgnIndirect(static_cast<const RECT*>(Rect))) : 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateEllipticRgn(int32_t Left, int32_t Top, int32_t Right, int32_t Bottom, uint32_t,
                                                    const char*) {
    return handleOf(CreateEllipticRgn(Left, Top, Right, Bottom));
}

extern "C" T_HANDLE TNK_CALL T_WinCreateEllipticRgnIndirect(const void* Rect, uint32_t, const char*) {
    return Rect != nullptr ? handleOf(CreateEllipticRgnIndirect(static_cast<const RECT*>(Rect))) : 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateRoundRectRgn(int32_t Left, int32_t Top, int32_t Right, int32_t Bottom,
                                                     int32_t CornerWidth, int32_t CornerHeight, uint32_t, const char*) {
    return handleOf(CreateRoundRectRgn(Left, Top, Right, Bottom, CornerWidth, CornerHeight));
}

extern "C" T_HANDLE TNK_CALL T_WinCreatePolygonRgn(const void* Points, int32_t Count, int32_t FillMode, uint32_t,
                                                   const char*) {
    return Points != nullptr ? handleOf(CreatePolygonRgn(static_cast<const POINT*>(Points), Count, FillMode)) : 0;
}

extern "C" T_HANDLE TNK_CALL T_WinExtCreateRegion(const void* Transform, uint32_t Bytes, const void* Data, uint32_t,
                                                  const char*) {
    return Data != nullptr ? handleOf(ExtCreateRegion(static_cast<const XFORM*>(Transform), Bytes,
                                                      static_cast<const RGNDATA*>(Data)))
                           : 0;
}

extern "C" int32_t TNK_CALL T_WinDeleteObject(T_HANDLE Object, uint32_t, const char*) {
    return DeleteObject(objectOf<HGDIOBJ>(Object)) != 0;
}
