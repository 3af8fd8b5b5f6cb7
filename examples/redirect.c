/* Serves the files that a module reads from memory: from an archive's entries, by routines, and from one block. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include "tnkrn.h"

/* Reads a whole file as a file filter does: by the redirected calls, which follow what the thread has installed. */
static int32_t readFile(const T_WCHAR* name, char* text, uint32_t room) {
    T_HANDLE file = T_RedirectedOpen(name, OPEN_READ, SHARE_READ);
    if (file == -1) return -1;
    int32_t length = T_RedirectedRead(file, text, room - 1);
    text[length > 0 ? length : 0] = 0;
    T_RedirectedClose(file);
    return length;
}

/* An archive of one entry. A handle is any number but -1. */
typedef struct Archive {
    const char* entry;
    int32_t position;
} Archive;

static T_HANDLE TNK_CALL openEntry(const T_WCHAR* name, uint32_t flags, uint32_t share, void* userData) {
    (void)share;
    if (name[0] != 'a' || (flags & 3) != OPEN_READ) return -1;
    ((Archive*)userData)->position = 0;
    return 1;
}

static int32_t TNK_CALL readEntry(T_HANDLE file, void* buffer, uint32_t count, void* userData) {
    Archive* archive = userData;
    uint32_t left = (uint32_t)strlen(archive->entry) - (uint32_t)archive->position;
    if (file != 1) return -1;
    if (count > left) count = left;
    memcpy(buffer, archive->entry + archive->position, count);
    archive->position += (int32_t)count;
    return (int32_t)count;
}

static int32_t TNK_CALL closeEntry(T_HANDLE file, void* userData) {
    (void)userData;
    return file == 1 ? 0 : -1;
}

int main(void) {
    static const T_WCHAR name[] = {'a', '.', 't', 'x', 't', 0}, other[] = {'b', 0};
    char fromRoutines[32] = "", fromBlock[32] = "", refused[32] = "";
    Archive archive = {"an entry", 0};
    /* What stays null is the library's own routine. */
    T_RedirectIO(openEntry, readEntry, NULL, NULL, closeEntry, &archive);
    int32_t length = readFile(name, fromRoutines, sizeof fromRoutines), none = readFile(other, refused, sizeof refused);
    T_RedirectIO(NULL, NULL, NULL, NULL, NULL, NULL);

    /* The block takes every access until the stop, which hands it back with the length of its data. */
    T_HANDLE block = T_OsAllocHandle(7, __LINE__, __FILE__);
    void *bytes = T_OsLockHandle(block), *context = NULL;
    uint32_t blockLength = 0;
    if (bytes == NULL) return EXIT_FAILURE;
    memcpy(bytes, "a block", 7);
    T_OsUnlockHandle(block);
    if (T_StartRedirectToBuffer(&context, NULL, REDIRECT_SOURCE, block, 7) != SUCCESS) return EXIT_FAILURE;
    readFile(name, fromBlock, sizeof fromBlock);
    T_StopRedirectToBuffer(context, &block, &blockLength);
    T_OsFreeHandle(block, __LINE__, __FILE__);

    printf("from routines: %s\nfrom a block: %s\n", fromRoutines, fromBlock);
    return length == 8 && none == -1 && strcmp(fromRoutines, "an entry") == 0 && strcmp(fromBlock, "a block") == 0 &&
                   blockLength == 7
               ? EXIT_SUCCESS
               : EXIT_FAILURE;
}
