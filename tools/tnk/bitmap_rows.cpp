#include "bitmap_rows.h"

#include <algorithm>

#include "progress.h"

namespace tool {

namespace {

std::vector<PaletteEntry> bitmapPalette(const Bitmap& bitmap) {
    if (bitmap->BitsPerPixel > 8 || !bitmap->Palette) return {};
    return {bitmap->Palette, bitmap->Palette + std::min(bitmap->ColorCount, 256u)};
}

}  // namespace

BitmapRows::BitmapRows(Bitmap& bitmap, const std::string& file, RowForm form)
    : bitmap_(bitmap), file_(file), form_(form), palette_(bitmapPalette(bitmap)) {
    // One table for both sides of the conversion, long enough for either: then indexes map to themselves, and those without
    // an entry are black.
    palette_.resize(256, PaletteEntry{0, 0, 0, 0});
    const uint32_t needed = T_CalcConvertSize(bitmap->Width, bitmap->BitsPerPixel, bitmap->Width, form.bits);
    if (needed == 0) throw fileFailure(file, "the picture is too wide");
    buffer_.resize(std::max(needed, bitmap->BytesPerLine));
}

uint8_t* BitmapRows::get(int row) {
    bitmap_.getRow(file_, buffer_.data(), row);
    const bool same = bitmap_->BitsPerPixel == form_.bits && (form_.bits <= 8 || bitmap_->Order == form_.order);
    if (same) return buffer_.data();
    // Above 8 bits a palette would be taken for a table of gray values.
    const auto palette = [this](int bits) { return bits >= 1 && bits <= 8 ? palette_.data() : nullptr; };
    const int32_t result = T_ConvertBufferExt(buffer_.data(), bitmap_->Width, bitmap_->BitsPerPixel, form_.bits,
                                              bitmap_->Order, form_.order, palette(bitmap_->BitsPerPixel),
                                              palette(form_.bits), CONVERT_ALPHA_OPAQUE, 0, 0);
    if (result != T_SUCCESS) throw fileFailure(file_, describeResult(result));
    return buffer_.data();
}

std::vector<PaletteEntry> filePalette(Bitmap& bitmap, const std::string& file) {
    std::vector<PaletteEntry> entries = bitmapPalette(bitmap);
    const size_t full = size_t{1} << bitmap->BitsPerPixel;
    if (entries.size() >= full) return entries;
    // A palette that starts like a fixed one is reduced to by the rule of the fixed one, which may use more indexes
    // than there are entries; such pixels are black, and readers of files refuse an index without an entry.
    BitmapRows rows(bitmap, file, {8, ORDER_RGB});
    size_t highest = 0;
    for (int y = 0; y < bitmap->Height; y++) {
        if (interrupted()) throw interruptedFailure();
        const uint8_t* row = rows.get(y);
        highest = std::max<size_t>(highest, *std::max_element(row, row + bitmap->Width));
    }
    entries.resize(std::max(entries.size(), highest + 1), PaletteEntry{0, 0, 0, 0});
    return entries;
}

}  // namespace tool
