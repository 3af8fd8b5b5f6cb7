#include "sample_rows.h"

#include <algorithm>

namespace tool {

namespace {

// The library's name of the depth: 0 are gray levels of a byte.
int depthOf(SampleForm form) { return form.channels == 1 && form.bits == 8 ? 0 : form.channels * form.bits; }

}  // namespace

SampleRows::SampleRows(Bitmap& bitmap, const std::string& file, SampleForm form)
    : bitmap_(bitmap), file_(file), form_(form) {
    const uint32_t needed = T_CalcConvertSize(bitmap->Width, bitmap->BitsPerPixel, bitmap->Width, depthOf(form));
    if (needed == 0) throw fileFailure(file, "the picture is too wide");
    buffer_.resize(std::max(needed, bitmap->BytesPerLine));
    if (bitmap->BitsPerPixel <= 8 && bitmap->Palette) {
        // Indexes without an entry are black.
        palette_.assign(bitmap->Palette, bitmap->Palette + std::min(bitmap->ColorCount, 256u));
        palette_.resize(256, PaletteEntry{0, 0, 0, 0});
    }
}

const uint8_t* SampleRows::get(int row) {
    bitmap_.getRow(file_, buffer_.data(), row);
    const uint32_t order = form_.channels == 1 ? ORDER_GRAY : ORDER_RGB;
    const int32_t result =
        T_ConvertBufferExt(buffer_.data(), bitmap_->Width, bitmap_->BitsPerPixel, depthOf(form_), bitmap_->Order, order,
                           palette_.empty() ? nullptr : palette_.data(), nullptr, CONVERT_ALPHA_OPAQUE, 0, 0);
    if (result != T_SUCCESS) throw fileFailure(file_, describeResult(result));
    return buffer_.data();
}

}  // namespace tool
