/* The interface as a C program meets it: the header in C99, a bitmap there and back, a palette, progress. */
#include <stdio.h>
#include <string.h>

#include "tnkrn.h"

#if defined(_WIN32)
#include <windows.h>
typedef char codesAreWhosTheyWere[T_ERROR_INVALID_PARAMETER == -13 && ERROR_INVALID_PARAMETER == 87 ? 1 : -1];
#endif
typedef char codesStay[SUCCESS == 1 && ERROR_STRUCT_SIZE == -789 && T_ERROR_DISK_FULL == -295 ? 1 : -1];

static int failures = 0;

#define CHECK(condition)                                                    \
    do {                                                                    \
        if (!(condition)) {                                                 \
            printf("%s:%d: %s is false\n", __FILE__, __LINE__, #condition); \
            ++failures;                                                     \
        }                                                                   \
    } while (0)

static int32_t TNK_CALL countReports(int32_t percent, void* user) {
    (void)percent;
    ++*(int*)user;
    return 1;
}

static void roundTrip(uint32_t memoryType) {
    BitmapHandle gray, colour, back;
    uint8_t row[300], again[300];
    int reports = 0;
    CHECK(T_CreateBitmap(&gray, sizeof gray, memoryType, 299, 100, 0, ORDER_RGB, NULL, 0, NULL, 0) == SUCCESS);
    for (int y = 0; y < 100; ++y) {
        for (int x = 0; x < 299; ++x) row[x] = (uint8_t)(x * 7 + y * 13);
        CHECK(T_PutBitmapRow(&gray, row, y, 299) == 299);
    }
    T_SetStatusCallBack(countReports, &reports, NULL, NULL);
    CHECK(T_ColorResBitmap(&gray, &colour, sizeof gray, 24, CRF_BGR, NULL, 0, 0, NULL, NULL) == SUCCESS);
    T_SetStatusCallBack(NULL, NULL, NULL, NULL);
    CHECK(reports == 101);

    PaletteEntry ramp[256];
    CHECK(T_GetFixedPalette(ramp, 0) == SUCCESS);
    CHECK(T_ColorResBitmap(&colour, &back, sizeof gray, 8, CRF_USERPALETTE, ramp, 0, 256, NULL, NULL) == SUCCESS);
    for (int y = 0; y < 100; ++y) {
        CHECK(T_GetBitmapRow(&gray, row, y, 299) == 299);
        CHECK(T_GetBitmapRow(&back, again, y, 299) == 299);
        /* The match table keeps five bits a channel, so a level comes back within its cell of eight. */
        for (int x = 0; x < 299; ++x) CHECK((row[x] >> 3) == (again[x] >> 3));
    }
    T_FreeBitmap(&gray);
    T_FreeBitmap(&colour);
    T_FreeBitmap(&back);
    CHECK(back.pData == NULL && back.Palette == NULL && back.DataHandle == 0);
}

int main(void) {
    VersionRecord version;
    CHECK(sizeof(PaletteEntry) == 4 && sizeof(VersionRecord) == 108);
    CHECK(sizeof(void*) != 4 || sizeof(BitmapHandle) == 168);
    CHECK(T_VersionInfo(&version, sizeof version) == SUCCESS && version.MajorVersion == 15 && version.Level == 2);
    CHECK(strcmp(version.BuildDate, "Jun 11 2010") == 0 && strcmp(version.BuildTime, "12:52:03") == 0);
    roundTrip(MEM_CONVENTIONAL);
    roundTrip(MEM_NOCONVENTIONAL);
    printf("%d failures\n", failures);
    return failures != 0;
}
