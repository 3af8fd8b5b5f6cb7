/* Shows progress, and stops an operation half-way: the bitmap is then as it was before. */
#include <stdio.h>
#include <stdlib.h>
#include "tnkrn.h"

#define STOPPED (-1000) /* a value of our own, which no code of the library has */

typedef struct Job {
    int32_t last; /* the percentage that was reported last */
    int32_t stopAt;
} Job;

/* Called by the thread that works. To stop from another thread, let it set a flag that is read here. */
static int32_t TNK_CALL report(int32_t percent, void* userData) {
    Job* job = userData;
    job->last = percent;
    return percent >= job->stopAt ? STOPPED : SUCCESS;
}

int main(void) {
    BitmapHandle picture;
    Job job = {0, 50};
    int32_t result =
        T_CreateBitmap(&picture, sizeof picture, MEM_CONVENTIONAL, 1000, 800, 24, ORDER_BGR, NULL, 1, NULL, 0);
    if (result != SUCCESS) return EXIT_FAILURE;
    T_FillBitmap(&picture, 0x0000FF);

    T_SetStatusCallBack(report, &job, NULL, NULL);
    int32_t stopped = T_RotateBitmap(&picture, 4500, ROTATE_RESIZE | ROTATE_RESAMPLE, 0xFFFFFF);
    int unchanged = picture.Width == 1000 && T_GetPixelColor(&picture, 0, 0) == 0x0000FF;
    printf("stopped at %d percent with %d, the picture is %s\n", (int)job.last, (int)stopped,
           unchanged ? "unchanged" : "damaged");

    job.stopAt = 101;
    result = T_RotateBitmap(&picture, 4500, ROTATE_RESIZE | ROTATE_RESAMPLE, 0xFFFFFF);
    printf("turned: %d x %d\n", (int)picture.Width, (int)picture.Height);
    T_SetStatusCallBack(NULL, NULL, NULL, NULL);
    T_FreeBitmap(&picture);
    return stopped == STOPPED && unchanged && result == SUCCESS && job.last == 100 ? EXIT_SUCCESS : EXIT_FAILURE;
}
