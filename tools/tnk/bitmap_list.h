// A list of bitmaps that the library keeps.
#pragma once

#include <new>
#include <string>
#include <utility>

#include "bitmap.h"

namespace tool {

class BitmapList {
  public:
    BitmapList() {
        if (T_CreateBitmapList(&list_) != T_SUCCESS) throw std::bad_alloc();
    }
    BitmapList(BitmapList&& other) noexcept : list_(std::exchange(other.list_, 0)) {}
    ~BitmapList() { T_DestroyBitmapList(list_); }
    BitmapList(const BitmapList&) = delete;
    BitmapList& operator=(const BitmapList&) = delete;

    T_HANDLE get() const { return list_; }

    void append(Bitmap& bitmap, const std::string& file) {
        constexpr uint32_t kEnd = ~0u;
        require(T_InsertBitmapListItem(list_, kEnd, bitmap.get()), file);
        bitmap.forget();
    }

    Bitmap takeFirst(const std::string& file) {
        Bitmap bitmap;
        require(T_RemoveBitmapListItem(list_, 0, bitmap.get()), file);
        return bitmap;
    }

    // Not of an empty list.
    BitmapList copy(const std::string& file) const {
        T_HANDLE copied = 0;
        require(T_CopyBitmapListItems(&copied, list_, 0, ~0u), file);
        return BitmapList(copied);
    }

  private:
    explicit BitmapList(T_HANDLE list) : list_(list) {}

    T_HANDLE list_ = 0;
};

}  // namespace tool
