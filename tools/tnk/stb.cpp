// The implementation of the header-only libraries.

#include <cstdlib>
#include <new>

// The compressor takes memory as granted: without this a shortage would be a crash.
static void* allocateOrThrow(void* old, size_t bytes) {
    void* block = std::realloc(old, bytes);
    if (!block) throw std::bad_alloc();
    return block;
}
#define STBIW_MALLOC(bytes) allocateOrThrow(nullptr, bytes)
#define STBIW_REALLOC(block, bytes) allocateOrThrow(block, bytes)
#define STBIW_FREE(block) std::free(block)

// Every target takes the same code path, so that a JPEG file has the same pixels everywhere.
#define STBI_MINGW_ENABLE_SSE2
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include "stb_setup.h"
