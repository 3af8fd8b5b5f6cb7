// The rows of a bitmap in another depth and order.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bitmap.h"

namespace tool {

// As the library counts: `bits` 0 are gray levels of a byte, `order` matters above 8 bits.
struct RowForm {
    int bits;
    uint32_t order;
};

// Samples of 8 bits, or 16 in the machine's order: 1 channel of grays; 3 of red, green and blue; 4 with alpha, which is opaque
// where the bitmap has none.
constexpr RowForm samplesOf(int channels, int bits) {
    return {channels == 1 && bits == 8 ? 0 : channels * bits, channels == 1 ? ORDER_GRAY : ORDER_RGB};
}

class BitmapRows {
  public:
    // Palette indexes keep their values: 1 to 8 bits are the bitmap's own or more.
    BitmapRows(Bitmap& bitmap, const std::string& file, RowForm form);

    // Valid until the next call, and the caller's until then.
    uint8_t* get(int row);

    // Of a row.
    size_t bits() const {
        return static_cast<size_t>(bitmap_->Width) * static_cast<size_t>(form_.bits ? form_.bits : 8);
    }
    size_t bytes() const { return (bits() + 7) / 8; }

  private:
    Bitmap& bitmap_;
    std::string file_;
    RowForm form_;
    std::vector<PaletteEntry> palette_;
    std::vector<uint8_t> buffer_;
};

// The entries that a file must have: those of the bitmap, and black for every index that is used without one.
std::vector<PaletteEntry> filePalette(Bitmap& bitmap, const std::string& file);

}  // namespace tool
