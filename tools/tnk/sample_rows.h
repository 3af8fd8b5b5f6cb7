// The rows of any bitmap as samples of one form.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bitmap.h"

namespace tool {

struct SampleForm {
    int channels;  // 1: gray; 3: red, green, blue; 4: these and alpha, which is opaque where the bitmap has none
    int bits;      // 8, or 16 in the machine's order
};

class SampleRows {
  public:
    SampleRows(Bitmap& bitmap, const std::string& file, SampleForm form);

    // Valid until the next call.
    const uint8_t* get(int row);

  private:
    Bitmap& bitmap_;
    std::string file_;
    SampleForm form_;
    std::vector<PaletteEntry> palette_;
    std::vector<uint8_t> buffer_;
};

}  // namespace tool
