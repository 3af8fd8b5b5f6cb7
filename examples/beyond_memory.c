/* Works on a bitmap that is larger than the memory it may take: tiles, of which the least recently used go to a file. */
#include <stdio.h>
#include <stdlib.h>
#include "tnkrn.h"

enum { WIDTH = 5000, HEIGHT = 4000, MEGABYTE = 1 << 20 };

int main(void) {
    /* Bitmaps above 8 MB go into tiles of 1 MB, of which each bitmap has 8 MB in memory. A setting of this thread; the
       last argument names the values that count, here all but the first. */
    T_SetMemoryThresholds(0, 8 * MEGABYTE, MEGABYTE, 8 * MEGABYTE, 1, 0x1E);

    BitmapHandle plan;
    uint8_t* row = malloc(WIDTH * 3);
    int32_t result =
        T_CreateBitmap(&plan, sizeof plan, MEM_TILED, WIDTH, HEIGHT, 24, ORDER_BGR, NULL, TOP_LEFT, NULL, 0);
    if (row == NULL || result != SUCCESS) return EXIT_FAILURE;
    for (int32_t y = 0; y < HEIGHT && result >= SUCCESS; ++y) {
        for (int i = 0; i < WIDTH * 3; ++i) row[i] = (uint8_t)(i + y);
        result = T_PutBitmapRow(&plan, row, y, WIDTH * 3);
    }

    /* Every operation takes tiled bitmaps, and its result is tiled too. */
    if (result >= SUCCESS) result = T_FlipBitmap(&plan);
    if (result == SUCCESS) result = T_SizeBitmap(&plan, WIDTH / 2, 0, RESIZE_RESAMPLE);

    uint32_t kind = 0, tileBytes = 0, tiles = 0, inMemory = 0;
    T_GetBitmapMemoryInfo(&plan, &kind, &tileBytes, &tiles, &inMemory, NULL, NULL);
    printf("%d x %d: %u of %u tiles in memory\n", (int)plan.Width, (int)plan.Height, inMemory, tiles);
    if (kind != MEMKIND_TILED || plan.Height != HEIGHT / 2 || inMemory * (uint64_t)tileBytes > 8 * MEGABYTE) {
        result = FAILURE;
    }
    T_FreeBitmap(&plan);
    free(row);
    return result == SUCCESS ? EXIT_SUCCESS : EXIT_FAILURE;
}
