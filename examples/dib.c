/* Makes a packed DIB of a bitmap, as the clipboard of Windows and BMP files hold it, and a bitmap of the DIB. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include "tnkrn.h"

int main(void) {
    BitmapHandle picture, back;
    int32_t result =
        T_CreateBitmap(&picture, sizeof picture, MEM_CONVENTIONAL, 40, 30, 24, ORDER_RGB, NULL, TOP_LEFT, NULL, 0);
    if (result != SUCCESS) return EXIT_FAILURE;
    T_FillBitmap(&picture, 0x204060);
    T_PutPixelColor(&picture, 0, 0, 0x0000FF);

    /* A movable block: header, colour table, rows. The bitmap stays; T_ChangeToDIB would use it up. */
    T_HANDLE dib = T_ConvertToDIB(&picture, DIB_HEADER_INFO);
    T_FreeBitmap(&picture);
    const uint8_t* header = T_OsLockHandle(dib);
    if (header == NULL) return EXIT_FAILURE;
    uint32_t headerBytes = header[0];
    int bits = header[14];
    T_OsUnlockHandle(dib);
    printf("a block of %u bytes with a header of %u, %d bits\n", T_OsSizeHandle(dib), headerBytes, bits);

    /* Whoever the block came from, nothing behind its end is read. */
    result = T_ChangeFromDIB(&back, sizeof back, dib);
    T_OsFreeHandle(dib, __LINE__, __FILE__);
    if (result != SUCCESS) return EXIT_FAILURE;

    /* The rows of a DIB stand bottom-up: the record's view says so, and rows are counted as they are stored. */
    uint32_t corner = T_GetPixelColor(&back, back.ViewPerspective == BOTTOM_LEFT ? back.Height - 1 : 0, 0);
    printf("%d x %d, view %u, top left pixel %06X\n", (int)back.Width, (int)back.Height, back.ViewPerspective, corner);
    T_FreeBitmap(&back);
    return headerBytes == 40 && bits == 24 && corner == 0x0000FF ? EXIT_SUCCESS : EXIT_FAILURE;
}
