/* Reduces a page of grays, as a scanner gives it, to 1 bit, and keeps its rows run-compressed. */
#include <stdio.h>
#include <stdlib.h>
#include "tnkrn.h"

/* A light page, darker to the right, with a line of faint text every 40 rows. */
static int32_t makePage(BitmapHandle* page) {
    uint8_t row[1240];
    int32_t result = T_CreateBitmap(page, sizeof *page, MEM_CONVENTIONAL, 1240, 1754, 0, 0, NULL, 1, NULL, 0);
    for (int32_t y = 0; result >= SUCCESS && y < page->Height; ++y) {
        for (int32_t x = 0; x < page->Width; ++x) {
            int ink = y % 40 < 16 && x % 24 < 4;
            row[x] = (uint8_t)(ink ? 140 : 240 - x / 20);
        }
        result = T_PutBitmapRow(page, row, y, sizeof row);
    }
    return result;
}

int main(void) {
    BitmapHandle page, bits;
    PaletteEntry sides[256] = {{0, 0, 0, 0}};
    if (makePage(&page) < SUCCESS) return EXIT_FAILURE;

    /* White from level 160 on: the page's levels are indexes, and its palette says what they look like. */
    for (int level = 160; level < 256; ++level) sides[level].Blue = sides[level].Green = sides[level].Red = 255;
    T_SetBitmapNewPalette(&page, sides, 256);

    /* Text stays sharp without dithering; DITHER_FLOYD_STEINBERG, and no palette of two colours, suits photographs. */
    int32_t result = T_ColorResBitmap(&page, &bits, sizeof bits, 1, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(DITHER_NONE),
                                      NULL, 0, 0, NULL, NULL);
    if (result == SUCCESS) {
        uint32_t plain = bits.Size, ink = T_GetPixelColor(&bits, 0, 0), paper = T_GetPixelColor(&bits, 30, 0);
        result = T_ChangeBitmapCompression(&bits, 1);
        printf("%u bytes of grays, %u of bits, %u of runs\n", page.Size, plain, bits.Size);
        if (ink != 0x000000 || paper != 0xFFFFFF || bits.Size >= plain) result = FAILURE;
        T_FreeBitmap(&bits);
    }
    T_FreeBitmap(&page);
    return result == SUCCESS ? EXIT_SUCCESS : EXIT_FAILURE;
}
