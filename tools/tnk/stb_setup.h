// What is taken from the header-only libraries: PNG and JPEG from memory, and the compressor of PNG data.
#pragma once

#define STBI_ONLY_PNG
#define STBI_ONLY_JPEG
#define STBI_NO_STDIO
#define STBI_WRITE_NO_STDIO
#define STBI_MAX_DIMENSIONS 1000000

#include <stb/stb_image.h>
#include <stb/stb_image_write.h>

// Not declared by the header, though made for use by others.
STBIWDEF unsigned char* stbi_zlib_compress(unsigned char* data, int data_len, int* out_len, int quality);
