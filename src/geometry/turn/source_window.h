// A part of a bitmap's picture in memory, whatever the storage.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/result.h"
#include "base/scratch.h"
#include "tnkrn.h"

namespace tnk {

// Right and bottom are exclusive.
struct PixelBox {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
    int32_t width() const { return right - left; }
    int32_t height() const { return bottom - top; }
};

// Bytes that the windows and bands of one operation on storage without an address may take, each.
constexpr uint64_t kWindowBytes = 8u << 20;

class SourceWindow {
  public:
    // The bitmap stays accessed meanwhile.
    explicit SourceWindow(BitmapHandle& bitmap) : bitmap_(bitmap) {}

    // With `copies` a box is never lent: its pixels stay as they were loaded.
    Result prepare(bool copies = false);
    // Whether the whole picture has an address; loading then costs nothing.
    bool lent() const { return rows_ != nullptr; }

    // Has the pixels of a box at hand until the next call. The left column may move down to a multiple of 8, where a byte
    // begins at every depth.
    Result load(PixelBox box);
    const PixelBox& box() const { return box_; }
    const uint8_t* pixels() const { return pixels_; }
    ptrdiff_t stride() const { return stride_; }

  private:
    BitmapHandle& bitmap_;
    uint8_t* rows_ = nullptr;
    PixelBox box_{};
    const uint8_t* pixels_ = nullptr;
    ptrdiff_t stride_ = 0;
    Scratch<uint8_t> copy_;
};

}  // namespace tnk
