// The rows of a bitmap in the depth and order of a file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bitmap.h"

namespace tool {

class FileRows {
  public:
    // Palette indexes keep their values: bits of 8 or fewer are the bitmap's own or more.
    FileRows(Bitmap& bitmap, const std::string& file, int bits, uint32_t order);

    // Valid until the next call.
    const uint8_t* get(int row);

    size_t bytes() const { return (static_cast<size_t>(bitmap_->Width) * bits_ + 7) / 8; }

  private:
    Bitmap& bitmap_;
    std::string file_;
    int bits_;
    uint32_t order_;
    std::vector<PaletteEntry> palette_;
    std::vector<uint8_t> buffer_;
};

// The entries that a file must have: those of the bitmap, and black for every index that is used without one.
std::vector<PaletteEntry> filePalette(Bitmap& bitmap, const std::string& file);

}  // namespace tool
