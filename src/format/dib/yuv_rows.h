// Pictures of luma and chroma (Y, U, V) in device-independent bitmaps: which there are, and their rows as BGR.
#pragma once

#include <cstdint>

#include "base/result.h"

namespace tnk {

// One row of the table of forms.
struct YuvForm;

// Null: no such form.
const YuvForm* findYuvForm(uint32_t compression);

// ERROR_INVALID_DIB where the form has no such bit count, or `width` and `height`, which are positive, are no multiples of
// what it asks for.
Result checkYuvForm(const YuvForm& form, int32_t bits, int32_t width, int32_t height);

// The samples lie in planes and not side by side.
bool isPlanar(const YuvForm& form);

// Bytes that the rows are read from, at most 2^63.
uint64_t yuvBytes(const YuvForm& form, int32_t width, int32_t height);

// Row `row` in stored order as `width` pixels of BGR. `bits` is the whole picture, yuvBytes() of it in memory.
void yuvRowToBgr(const YuvForm& form, const uint8_t* bits, int32_t width, int32_t height, int32_t row, uint8_t* bgr);

}  // namespace tnk
