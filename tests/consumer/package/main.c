/* A program outside the tree: header and library belong together, and the library finds its codec module where it is
 * installed. Arguments: the version that the package tells. */
#include <stdio.h>
#include <string.h>
#include <tnkrn.h>

int main(int count, char** arguments) {
    static const uint32_t kinds[2] = {MEM_CONVENTIONAL, MEM_SUPERCOMPRESSED};
    int i;
    if (count != 2 || strcmp(arguments[1], TNK_VERSION_STRING) != 0) return 2;
    if (T_GetLibraryVersion() != TNK_VERSION || TNK_VERSION < TNK_MAKE_VERSION(15, 0, 0)) return 3;
    for (i = 0; i < 2; ++i) {
        BitmapHandle bitmap;
        int32_t result;
        memset(&bitmap, 0, sizeof bitmap);
        result = T_CreateBitmap(&bitmap, sizeof bitmap, kinds[i], 320, 200, 24, ORDER_RGB, NULL, 1, NULL, 0);
        if (result != SUCCESS) {
            fprintf(stderr, "T_CreateBitmap: %s (%d)\n", T_GetErrorText(result), (int)result);
            return 1;
        }
        printf("%d x %d pixels, %u bytes a row\n", (int)bitmap.Width, (int)bitmap.Height,
               (unsigned)bitmap.BytesPerLine);
        T_FreeBitmap(&bitmap);
    }
    return 0;
}
