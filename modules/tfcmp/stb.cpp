// The implementation of stb_image, for JPEG alone.

#include <cstdlib>

// Tables that a file does not have are zero and not what memory held. A damaged file is refused by stb's own checks, never by an end of the program.
#define STBI_MALLOC(bytes) std::calloc(1, bytes)
#define STBI_REALLOC(block, bytes) std::realloc(block, bytes)
#define STBI_FREE(block) std::free(block)
#define STBI_ASSERT(condition) static_cast<void>(0)

// Every target takes the same code path, so that an image has the same pixels everywhere.
#define STBI_MINGW_ENABLE_SSE2
#define STB_IMAGE_IMPLEMENTATION
#include "stb_setup.h"
