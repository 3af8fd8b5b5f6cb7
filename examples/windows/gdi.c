/* Draws a bitmap with GDI, lets GDI write on it, and takes the result back. */
#include <stdio.h>
#include <stdlib.h>
/* windows.h has two names of result codes too, with other values: T_ERROR_... means ours in either order. */
#include <windows.h>
#include "tnkrn.h"

int main(void) {
    BitmapHandle picture, back;
    if (T_CreateBitmap(&picture, sizeof picture, MEM_CONVENTIONAL, 200, 100, 24, ORDER_BGR, NULL, TOP_LEFT, NULL, 0) !=
        SUCCESS) {
        return EXIT_FAILURE;
    }
    T_FillBitmap(&picture, RGB(255, 200, 0)); /* a COLORREF is a plain colour value */

    /* A packed DIB is a GMEM_MOVEABLE block: SetClipboardData(CF_DIB, (HANDLE)dib) would take it as it is. */
    T_HANDLE dib = T_ConvertToDIB(&picture, DIB_HEADER_INFO);
    T_FreeBitmap(&picture);
    BITMAPINFO* info = GlobalLock((HGLOBAL)dib);
    if (info == NULL) return EXIT_FAILURE;

    /* A section holds the pixels that GDI draws on. */
    void* bits = NULL;
    HDC dc = (HDC)T_CreateTarnDC(NULL);
    HBITMAP section = CreateDIBSection(dc, info, DIB_RGB_COLORS, &bits, NULL, 0);
    if (dc == NULL || section == NULL) return EXIT_FAILURE;
    HGDIOBJ before = SelectObject(dc, section);
    /* 24 bits have no colour table: the rows follow the header, and not BITMAPINFO, which has room for an entry. */
    const char* rows = (const char*)info + info->bmiHeader.biSize;
    SetDIBitsToDevice(dc, 0, 0, 200, 100, 0, 0, 0, 100, rows, info, DIB_RGB_COLORS);
    RECT stripe = {20, 40, 180, 60};
    HBRUSH brush = CreateSolidBrush(RGB(0, 0, 128));
    FillRect(dc, &stripe, brush);
    DeleteObject(brush);
    GdiFlush(); /* drawing is done when this returns */

    /* Header and rows by address: both are as long as the header says. */
    int32_t result = T_ConvertFromDIB(&back, sizeof back, info, bits);
    SelectObject(dc, before);
    DeleteObject(section);
    T_DeleteTarnDC((T_HANDLE)dc);
    GlobalUnlock((HGLOBAL)dib);
    T_OsFreeHandle(dib, __LINE__, __FILE__);
    if (result != SUCCESS) return EXIT_FAILURE;

    /* Row 0 of a bottom-up DIB is the lowest one. */
    uint32_t ground = T_GetPixelColor(&back, 5, 100), drawn = T_GetPixelColor(&back, 50, 100);
    printf("ground %06X, drawn by GDI %06X\n", (unsigned)ground, (unsigned)drawn);
    T_FreeBitmap(&back);
    return ground == RGB(255, 200, 0) && drawn == RGB(0, 0, 128) ? EXIT_SUCCESS : EXIT_FAILURE;
}
