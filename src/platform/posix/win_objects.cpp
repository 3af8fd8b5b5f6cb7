// Objects of Windows have no counterpart here: none is made, and none is there to be freed.
#include "tnkrn.h"

extern "C" T_HANDLE TNK_CALL T_WinGetDC(T_HANDLE, uint32_t, const char*) { return 0; }

extern "C" int32_t TNK_CALL T_WinReleaseDC(T_HANDLE, T_HANDLE, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreateDC(const T_WCHAR*, const T_WCHAR*, const T_WCHAR*, const void*, uint32_t,
                                           const char*) {
    return 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateCompatibleDC(T_HANDLE, uint32_t, const char*) { return 0; }

extern "C" int32_t TNK_CALL T_WinDeleteDC(T_HANDLE, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreateBitmap(int32_t, int32_t, uint32_t, uint32_t, const void*, uint32_t,
                                               const char*) {
    return 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateBitmapIndirect(const void*, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreateCompatibleBitmap(T_HANDLE, int32_t, int32_t, uint32_t, const char*) {
    return 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateDIBSection(T_HANDLE, const void*, uint32_t, void** Bits, T_HANDLE, uint32_t,
                                                   uint32_t, const char*) {
    if (Bits != nullptr) *Bits = nullptr;
    return 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreatePalette(const void*, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreateHalftonePalette(T_HANDLE, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreatePen(int32_t, int32_t, uint32_t, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreatePenIndirect(const void*, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreateSolidBrush(uint32_t, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreateHatchBrush(int32_t, uint32_t, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreatePatternBrush(T_HANDLE, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreateDIBPatternBrushPt(const void*, uint32_t, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreateBrushIndirect(const void*, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreateFontIndirect(const void*, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreateRectRgn(int32_t, int32_t, int32_t, int32_t, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreateRectRgnIndirect(const void*, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreateEllipticRgn(int32_t, int32_t, int32_t, int32_t, uint32_t, const char*) {
    return 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreateEllipticRgnIndirect(const void*, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinCreateRoundRectRgn(int32_t, int32_t, int32_t, int32_t, int32_t, int32_t, uint32_t,
                                                     const char*) {
    return 0;
}

extern "C" T_HANDLE TNK_CALL T_WinCreatePolygonRgn(const void*, int32_t, int32_t, uint32_t, const char*) { return 0; }

extern "C" T_HANDLE TNK_CALL T_WinExtCreateRegion(const void*, uint32_t, const void*, uint32_t, const char*) {
    return 0;
}

extern "C" int32_t TNK_CALL T_WinDeleteObject(T_HANDLE, uint32_t, const char*) { return 0; }
