// Coded images in device-independent bitmaps.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// "JPEG", "MJPG", "dmb1".
bool isCodedImage(uint32_t compression);

// Fills a 24-bit bitmap in BGR order, allocated and accessed, with the size that the header tells and its view, TOP_LEFT
// or BOTTOM_LEFT: the top of the picture goes to row 0 or to the last one. What the bytes are shows in themselves.
// ERROR_CODEC_MISSING without the module or with one that decodes no images, ERROR_INVALID_DIB for bytes that are no image
// of this size; after a failure some rows may be written.
Result decodeImage(const uint8_t* packed, uint64_t bytes, BitmapHandle& bitmap);

}  // namespace tnk
