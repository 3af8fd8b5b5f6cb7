// A bitmap of the library that frees itself.
#pragma once

#include <string>
#include <utility>

#include "failure.h"
#include "tnkrn.h"

namespace tool {

class Bitmap {
  public:
    Bitmap() { forget(); }
    Bitmap(Bitmap&& other) noexcept : Bitmap() { std::swap(record_, other.record_); }
    Bitmap& operator=(Bitmap&& other) noexcept {
        std::swap(record_, other.record_);
        return *this;
    }
    ~Bitmap() { T_FreeBitmap(&record_); }

    BitmapHandle* get() { return &record_; }
    BitmapHandle* operator->() { return &record_; }
    const BitmapHandle* operator->() const { return &record_; }

    // Leaves what the record refers to with a new owner.
    void forget() { T_InitBitmap(&record_, sizeof record_, 0, 0, 0); }

    // Rows stored top first. `bits` 0 makes an 8-bit bitmap of grays.
    void create(const std::string& file, uint32_t request, int width, int height, int bits, uint32_t order) {
        constexpr uint32_t kTopLeft = 1;
        const int32_t result = T_CreateBitmap(&record_, sizeof record_, request, width, height, bits, order, nullptr,
                                              kTopLeft, nullptr, 0);
        if (result != T_SUCCESS) throw fileFailure(file, describeResult(result));
    }

    void getRow(const std::string& file, uint8_t* buffer, int row) {
        const int32_t result = T_GetBitmapRow(&record_, buffer, row, record_.BytesPerLine);
        if (result < 0) throw fileFailure(file, describeResult(result));
    }

    void putRow(const std::string& file, const uint8_t* buffer, int row, size_t bytes) {
        const int32_t result = T_PutBitmapRow(&record_, buffer, row, static_cast<uint32_t>(bytes));
        if (result < 0) throw fileFailure(file, describeResult(result));
    }

  private:
    BitmapHandle record_;
};

// Grays, or a palette of nothing else.
inline bool isGray(const Bitmap& bitmap) {
    const int bits = bitmap->BitsPerPixel;
    if (bits > 8) return bits == 12 || bitmap->Order == ORDER_GRAY;
    return T_IsGrayScalePalette(bitmap->Palette, bitmap->ColorCount) != GRAYSCALE_NO;
}

}  // namespace tool
