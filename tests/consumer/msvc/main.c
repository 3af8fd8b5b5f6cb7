/*
 * A caller built for the MSVC ABI without a C runtime, linked through Tnkrn15u.lib: stdcall names and stack
 * cleanup must agree on both sides. The exit code is 0, or the line of the first check that failed.
 */
#include <stddef.h>
#include <tnkrn.h>

__declspec(dllimport) void __stdcall ExitProcess(unsigned code);
__declspec(dllimport) void* __stdcall GetStdHandle(unsigned which);
__declspec(dllimport) int __stdcall WriteFile(void* file, const void* data, unsigned bytes, unsigned* written,
                                              void* overlapped);

/* The compiler may call these even in a freestanding program. */
void* memset(void* to, int value, size_t bytes) {
    volatile unsigned char* out = to;
    while (bytes--) *out++ = (unsigned char)value;
    return to;
}

static void print(const char* text) {
    unsigned length = 0, written;
    while (text[length]) ++length;
    WriteFile(GetStdHandle((unsigned)-11), text, length, &written, 0);
}

#define CHECK(condition)                       \
    do {                                       \
        if (!(condition)) {                    \
            print("failed: " #condition "\n"); \
            ExitProcess(__LINE__);             \
        }                                      \
    } while (0)

void start(void) {
    BitmapHandle bitmap;
    int round;
    CHECK(sizeof bitmap == 168);
    /* Repeated, so that a wrong stack cleanup adds up to a crash. */
    for (round = 0; round < 10000; ++round) {
        memset(&bitmap, 0, sizeof bitmap);
        CHECK(T_InitBitmap(&bitmap, sizeof bitmap, 33, 7, 24) == SUCCESS);
        CHECK(bitmap.BytesPerLine == 100);
        CHECK(T_AllocateBitmap(&bitmap, MEM_CONVENTIONAL) == SUCCESS);
        CHECK((bitmap.Flags & BMF_ALLOCATED) != 0);
        T_FreeBitmap(&bitmap);
        CHECK((bitmap.Flags & BMF_ALLOCATED) == 0);
    }
    CHECK(T_InitBitmap(NULL, sizeof bitmap, 33, 7, 24) == T_ERROR_INVALID_PARAMETER);
    print("msvc consumer: ok\n");
    ExitProcess(0);
}
