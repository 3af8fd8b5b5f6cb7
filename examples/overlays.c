/* Marks a picture by an overlay, which follows its geometry, and keeps the mark in a bit plane of the pixels. */
#include <stdio.h>
#include <stdlib.h>
#include "tnkrn.h"

static int32_t run(BitmapHandle* picture) {
    BitmapHandle mark;
    OverlayAttributes attributes = {0};

    /* A mark of 60 x 20 pixels, all set, at (10, 30), to be shown in red. */
    int32_t result = T_CreateBitmap(&mark, sizeof mark, MEM_CONVENTIONAL, 60, 20, 1, 0, NULL, TOP_LEFT, NULL, 0);
    if (result != SUCCESS) return result;
    T_FillBitmap(&mark, 0xFFFFFF);
    attributes.StructSize = sizeof attributes;
    attributes.OriginX = 10;
    attributes.OriginY = 30;
    attributes.Color = 0x0000FF;
    attributes.Flags = OVERLAY_FOLLOWS;
    attributes.BitPlane = 0; /* the lowest bit of the pixels, which nobody sees */
    result =
        T_SetOverlayAttributes(picture, 0, &attributes, OVERLAY_ORIGIN | OVERLAY_COLOR | OVERLAY_FLAGS | OVERLAY_PLANE);
    /* The mark's pixels go over to the overlay: `mark` is empty afterwards, unless this fails. */
    if (result == SUCCESS) result = T_SetOverlayBitmap(picture, 0, &mark, OVERLAY_MOVE);
    if (result != SUCCESS) {
        T_FreeBitmap(&mark);
        return result;
    }

    /* Upside down, the overlay stands as far from the lower edge as it stood from the upper one. */
    result = T_FlipBitmap(picture);
    if (result == SUCCESS) result = T_GetOverlayAttributes(picture, 0, &attributes, sizeof attributes, OVERLAY_ORIGIN);
    if (result != SUCCESS) return result;
    printf("after the flip the mark stands at %d, %d\n", (int)attributes.OriginX, (int)attributes.OriginY);
    if (attributes.OriginX != 10 || attributes.OriginY != 200 - 30 - 20) return FAILURE;

    /* Written into the plane, it travels with the pixels alone. */
    return T_UpdateBitmapOverlayBits(picture, 0, OVERLAY_TO_PLANE);
}

int main(void) {
    BitmapHandle picture;
    int32_t result =
        T_CreateBitmap(&picture, sizeof picture, MEM_CONVENTIONAL, 300, 200, 0, 0, NULL, TOP_LEFT, NULL, 0);
    if (result != SUCCESS) return EXIT_FAILURE;
    T_FillBitmap(&picture, 0x808080);
    result = run(&picture);

    uint8_t marked = 0, plain = 0;
    T_GetPixelData(&picture, &marked, picture.ViewPerspective == TOP_LEFT ? 160 : 39, 40, 1);
    T_GetPixelData(&picture, &plain, 100, 200, 1);
    printf("a marked pixel %d, another %d\n", marked, plain);
    T_FreeBitmap(&picture);
    return result == SUCCESS && marked == (plain | 1) && plain == 0x80 ? EXIT_SUCCESS : EXIT_FAILURE;
}
