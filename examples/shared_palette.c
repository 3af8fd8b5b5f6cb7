/* Reduces several pictures to 16 colours with one palette, the best for all of them together. */
#include <stdio.h>
#include <stdlib.h>
#include "tnkrn.h"

/* A gradient from black to a colour. */
static int32_t makePicture(BitmapHandle* picture, int red, int green, int blue) {
    uint8_t row[320 * 3];
    int32_t result =
        T_CreateBitmap(picture, sizeof *picture, MEM_CONVENTIONAL, 320, 200, 24, ORDER_BGR, NULL, 1, NULL, 0);
    for (int x = 0; x < 320; ++x) {
        row[3 * x] = (uint8_t)(blue * x / 319);
        row[3 * x + 1] = (uint8_t)(green * x / 319);
        row[3 * x + 2] = (uint8_t)(red * x / 319);
    }
    for (int32_t y = 0; result >= SUCCESS && y < 200; ++y) result = T_PutBitmapRow(picture, row, y, sizeof row);
    return result;
}

int main(void) {
    static const int colours[3][3] = {{255, 0, 0}, {0, 200, 60}, {40, 90, 255}};
    BitmapHandle picture, first;
    uint32_t count = 0;
    T_HANDLE list;
    int32_t result = T_CreateBitmapList(&list);
    if (result != SUCCESS) return EXIT_FAILURE;

    for (int i = 0; i < 3 && result >= SUCCESS; ++i) {
        result = makePicture(&picture, colours[i][0], colours[i][1], colours[i][2]);
        /* From here on the pixels belong to the list. */
        if (result >= SUCCESS) result = T_InsertBitmapListItem(list, (uint32_t)i, &picture);
    }
    if (result == SUCCESS) {
        uint32_t flags = CRF_OPTIMIZEDPALETTE | CRF_FULLPRECISION | CRF_DITHER_METHOD(DITHER_FLOYD_STEINBERG);
        result = T_ColorResBitmapList(list, 4, flags, NULL, 0, 16);
    }

    T_GetBitmapListCount(list, &count);
    T_GetBitmapListItem(list, 0, &first, sizeof first);
    for (uint32_t i = 0; i < count && result == SUCCESS; ++i) {
        T_GetBitmapListItem(list, i, &picture, sizeof picture);
        int same = T_CompareBitmapToPalette(&picture, first.Palette, first.ColorCount);
        printf("picture %u: %d bits, %s palette\n", i, (int)picture.BitsPerPixel, same ? "the same" : "another");
        if (picture.BitsPerPixel != 4 || !same) result = FAILURE;
    }
    T_DestroyBitmapList(list);
    return result == SUCCESS && count == 3 ? EXIT_SUCCESS : EXIT_FAILURE;
}
