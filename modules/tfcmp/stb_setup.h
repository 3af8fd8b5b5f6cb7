// What is taken from stb_image: JPEG from memory.
#pragma once

#define STBI_ONLY_JPEG
#define STBI_NO_STDIO
#define STBI_NO_LINEAR
#define STBI_NO_HDR

#include <stb/stb_image.h>
