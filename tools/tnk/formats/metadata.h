// What goes along from file to file beside the pixels.
#pragma once

#include <string>

#include "bitmap.h"
#include "formats/headers.h"
#include "formats/writer.h"

namespace tool {

// How a picture that came from `in` with `headers` is written to `out`: what the format has a place for and still describes the
// bitmap. One note tells the user what is left out without having been asked for.
Writing writingOf(const Headers& headers, const std::string& in, const Bitmap& bitmap, FileFormat format,
                  const std::string& out, const OutputOptions& options);

// Of a picture that is made of another one and says something else.
Writing writingOf(const Headers& headers, const OutputOptions& options);

}  // namespace tool
