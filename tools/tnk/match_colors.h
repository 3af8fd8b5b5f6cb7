// Pictures in given colours, each pixel by its nearest one.
#pragma once

#include <string>
#include <vector>

#include "bitmap.h"

namespace tool {

// A bitmap like `source` but for its depth, `bits` (8 at most), and `palette`; its pixels are to be put in.
Bitmap blankLike(const Bitmap& source, const std::string& file, int bits, const std::vector<PaletteEntry>& palette,
                 uint32_t request);

// A bitmap of `bits` (8 at most) with `palette`, which has 1 to 2^bits entries, in plain memory, tiles or a file, as
// `request` says. Exact, other than the library's reduction of colours, which looks at five bits of each channel.
Bitmap matchColors(Bitmap& source, const std::string& file, int bits, const std::vector<PaletteEntry>& palette,
                   uint32_t request);

}  // namespace tool
