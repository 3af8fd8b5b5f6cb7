/* Makes a 24-bit gradient and reduces it to the 16 colours of the fixed 4-bit palette with Floyd-Steinberg. */
#include <stdio.h>
#include "tnkrn.h"

int main(void) {
    BitmapHandle photo, reduced;
    uint8_t row[640 * 3];
    int32_t result = T_CreateBitmap(&photo, sizeof photo, MEM_CONVENTIONAL, 640, 480, 24, ORDER_BGR, NULL, 1, NULL, 0);
    if (result != SUCCESS) return 1;

    for (int32_t y = 0; y < photo.Height; ++y) {
        for (int32_t x = 0; x < photo.Width; ++x) {
            row[3 * x] = (uint8_t)(x * 255 / 639);             /* blue */
            row[3 * x + 1] = (uint8_t)(y * 255 / 479);         /* green */
            row[3 * x + 2] = (uint8_t)((639 - x) * 255 / 639); /* red */
        }
        T_PutBitmapRow(&photo, row, y, sizeof row);
    }

    result = T_ColorResBitmap(&photo, &reduced, sizeof photo, 4,
                              CRF_FIXEDPALETTE | CRF_DITHER_METHOD(DITHER_FLOYD_STEINBERG), NULL, 0, 0, NULL, NULL);
    if (result == SUCCESS) {
        printf("%d x %d, %u colours\n", (int)reduced.Width, (int)reduced.Height, (unsigned)reduced.ColorCount);
        T_FreeBitmap(&reduced);
    } else {
        printf("%s\n", T_GetErrorText(result));
    }
    T_FreeBitmap(&photo);
    return result == SUCCESS ? 0 : 1;
}
