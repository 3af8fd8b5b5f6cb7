/* A program outside the tree: creates a bitmap through the installed library and frees it. */
#include <stdio.h>
#include <string.h>
#include <tnkrn.h>

int main(void) {
    BitmapHandle bitmap;
    int32_t result;
    memset(&bitmap, 0, sizeof bitmap);
    result = T_CreateBitmap(&bitmap, sizeof bitmap, MEM_CONVENTIONAL, 320, 200, 24, ORDER_RGB, NULL, 1, NULL, 0);
    if (result != SUCCESS) {
        fprintf(stderr, "T_CreateBitmap: %d\n", (int)result);
        return 1;
    }
    printf("%d x %d pixels, %u bytes a row\n", (int)bitmap.Width, (int)bitmap.Height, (unsigned)bitmap.BytesPerLine);
    T_FreeBitmap(&bitmap);
    return 0;
}
