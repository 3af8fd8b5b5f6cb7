#include "geometry/turn/source_window.h"

#include "base/pixel_format.h"
#include "base/shape.h"
#include "bitmap/storage/storage.h"

namespace tnk {

Result SourceWindow::prepare(bool copies) {
    box_ = {0, 0, bitmap_.Width, bitmap_.Height};
    if (!copies) TRY(storageOf(bitmap_).lend(bitmap_, 0, bitmap_.Height, &rows_));
    pixels_ = rows_;
    stride_ = static_cast<ptrdiff_t>(bitmap_.BytesPerLine);
    return SUCCESS;
}

Result SourceWindow::load(PixelBox box) {
    if (rows_ != nullptr) return SUCCESS;
    box.left &= ~7;
    const auto bytes = static_cast<uint32_t>(pixelBytes(static_cast<uint32_t>(box.width()), Shape(bitmap_).bits));
    const uint64_t total = uint64_t{bytes} * static_cast<uint32_t>(box.height());
    if (copy_.size() < total && !copy_.allocate(total)) return FAILURE;
    uint8_t* to = copy_.data();
    for (int32_t row = box.top; row < box.bottom; ++row, to += bytes) {
        const int64_t moved = storageOf(bitmap_).read(bitmap_, row, static_cast<uint32_t>(box.left), to, bytes);
        TRY(wholeTransfer(moved, bytes));
    }
    box_ = box;
    pixels_ = copy_.data();
    stride_ = static_cast<ptrdiff_t>(bytes);
    return SUCCESS;
}

}  // namespace tnk
