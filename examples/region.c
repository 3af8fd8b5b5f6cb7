/* Draws only inside a region, here a disc: by the routines that a display module installs. */
#include <stdio.h>
#include <stdlib.h>
#include "tnkrn.h"

enum { CENTRE = 50, RADIUS = 40 };

/* How many values a row's list must hold: of one segment, two. */
static int32_t TNK_CALL segmentCount(BitmapHandle* bitmap, uint32_t* count) {
    (void)bitmap;
    *count = 2;
    return SUCCESS;
}

/* The columns of a row that lie in the region: start and end, end exclusive. */
static int32_t TNK_CALL rowSegments(BitmapHandle* bitmap, int32_t row, uint32_t* segments, uint32_t* count) {
    int32_t half = 0, down = row - CENTRE;
    (void)bitmap;
    while (half * half + down * down <= RADIUS * RADIUS) ++half;
    segments[0] = (uint32_t)(CENTRE - half);
    segments[1] = (uint32_t)(CENTRE + half);
    *count = half > 0 ? 2 : 0;
    return SUCCESS;
}

static int32_t TNK_CALL bounds(BitmapHandle* bitmap, BitmapRect* rect) {
    (void)bitmap;
    rect->Left = rect->Top = CENTRE - RADIUS;
    rect->Right = rect->Bottom = CENTRE + RADIUS + 1;
    return SUCCESS;
}

int main(void) {
    BitmapHandle picture;
    uintptr_t table[DISPATCH_WORDS] = {0};
    int32_t result =
        T_CreateBitmap(&picture, sizeof picture, MEM_CONVENTIONAL, 100, 100, 24, ORDER_BGR, NULL, TOP_LEFT, NULL, 0);
    if (result != SUCCESS) return EXIT_FAILURE;

    /* The table serves the whole process: routines tell bitmaps apart by their Region, which is the module's affair. */
    table[DISPATCH_SEGMENT_COUNT] = (uintptr_t)segmentCount;
    table[DISPATCH_ROW_SEGMENTS] = (uintptr_t)rowSegments;
    table[DISPATCH_BOUNDS] = (uintptr_t)bounds;
    T_SetDisDispatch(table);
    result = T_FillBitmap(&picture, 0x00C8FF);
    T_ResetDisDispatch();

    uint32_t inside = T_GetPixelColor(&picture, CENTRE, CENTRE - RADIUS), corner = T_GetPixelColor(&picture, 15, 15);
    printf("inside %06X, outside %06X\n", inside, corner);
    T_FreeBitmap(&picture);
    return result == SUCCESS && inside == 0x00C8FF && corner == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
