// UTF-16 and UTF-8.
#pragma once

#include <cstddef>

#include "tnkrn.h"

namespace tnk::native {

// Both write the terminator too and return false when `text` is not well-formed or does not fit `capacity`.
bool toUtf8(const T_WCHAR* text, char* out, size_t capacity);
bool toUtf16(const char* text, T_WCHAR* out, size_t capacity);

}  // namespace tnk::native
