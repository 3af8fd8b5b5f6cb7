// Resized rows on demand.
#include <algorithm>
#include <cstring>
#include <optional>

#include "base/object.h"
#include "base/pixel_format.h"
#include "geometry/size/resize.h"
#include "geometry/size/resized_rows.h"

namespace tnk {
namespace {

constexpr EntryRule kStartRule = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, ERROR_STRUCT_SIZE};

struct RowResizer {
    static constexpr uint32_t kMagic = 0x5A695352;

    Result start(BitmapHandle& source, Dimensions wanted, uint32_t flags);
    int32_t get(uint8_t* buffer, int32_t row, uint32_t column, uint32_t bytes);

    uint32_t magic = 0;

  private:
    Result makeRow(int32_t row);

    BitmapHandle* bitmap_ = nullptr;
    Dimensions size_{};
    uint32_t lineBytes_ = 0;
    std::optional<ResizedRows> rows_;
    Scratch<uint8_t> line_;
    int32_t lineRow_ = -1;  // which row lies there
};

Result RowResizer::start(BitmapHandle& source, Dimensions wanted, uint32_t flags) {
    bitmap_ = &source;
    const Dimensions old = {source.Width, source.Height};
    const bool stays = wanted.width == old.width && wanted.height == old.height;
    if (!stays) TRY(completeDimensions(wanted, old));
    if (old.width < 1 || old.height < 1) return ERROR_INVALID_PARAMETER;
    BitmapHandle resized;  // says which sizes there are
    TRY(initBitmap(resized, wanted.width, wanted.height, source.BitsPerPixel));
    size_ = wanted;
    lineBytes_ = resized.BytesPerLine;
    if (!line_.allocate(lineBytes_, true)) return FAILURE;
    const Locked lock(source);
    rows_.emplace(source);
    return rows_->prepare(wanted, stays ? ResizeMethod::nearest : methodOfSize(source, wanted, flags));
}

Result RowResizer::makeRow(int32_t row) {
    if (lineRow_ == row) return SUCCESS;
    const Locked lock(*bitmap_);
    // Rows that are dithered need those before them, which begin again after a step back.
    int32_t first = row;
    if (rows_->dithers()) first = lineRow_ >= 0 && lineRow_ < row ? lineRow_ + 1 : 0;
    uint8_t* const line = line_.data();
    for (; first <= row; ++first) {
        lineRow_ = -1;
        TRY(rows_->make(first, 1, &line));
        lineRow_ = first;
    }
    return SUCCESS;
}

int32_t RowResizer::get(uint8_t* buffer, int32_t row, uint32_t column, uint32_t bytes) {
    const uint64_t offset = columnOffset(column, static_cast<uint32_t>(bitmap_->BitsPerPixel));
    if (row < 0 || row >= size_.height || offset + bytes > lineBytes_) return ERROR_INVALID_SIZE;
    if (const Result made = makeRow(row); !made.ok()) return made.code;
    std::memcpy(buffer, line_.data() + static_cast<size_t>(offset), bytes);
    return static_cast<int32_t>(bytes);
}

Result startResizer(BitmapHandle& source, const Dimensions& size, uint32_t flags, void** resizer) {
    auto* const made = makeObject<RowResizer>();
    if (made == nullptr) return FAILURE;
    if (const Result started = made->start(source, size, flags); !started.ok()) {
        destroyObject(made);
        return started;
    }
    *resizer = made;
    return SUCCESS;
}

RowResizer* resizerOf(void* resizer) { return objectOf<RowResizer>(reinterpret_cast<T_HANDLE>(resizer)); }

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_StartResizeBitmap(BitmapHandle* Bitmap, int32_t NewWidth, int32_t NewHeight,
                                                uint32_t Flags, void** Resizer) {
    if (Resizer == nullptr) return ERROR_NULL_POINTER;
    const Result entry = checkEntry(kStartRule, Bitmap);
    return entry.ok() ? startResizer(*Bitmap, {NewWidth, NewHeight}, Flags, Resizer).code : entry.code;
}

extern "C" int32_t TNK_CALL T_GetResizedRowCol(void* Resizer, uint8_t* Buffer, int32_t Row, uint32_t Col,
                                               uint32_t Bytes) {
    RowResizer* const resizer = resizerOf(Resizer);
    return resizer != nullptr && Buffer != nullptr ? resizer->get(Buffer, Row, Col, Bytes) : ERROR_INVALID_PARAMETER;
}

extern "C" int32_t TNK_CALL T_StopResizeBitmap(void* Resizer) {
    RowResizer* const resizer = resizerOf(Resizer);
    if (resizer == nullptr) return ERROR_INVALID_PARAMETER;
    destroyObject(resizer);
    return SUCCESS;
}
