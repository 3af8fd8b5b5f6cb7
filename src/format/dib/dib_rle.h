// Run-length coded rows of 8- and 4-bit DIBs.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tnk {

// Decodes row after row. Nothing behind the data's end is read; rows that it does not reach are 0, as are pixels that it
// skips. What reaches past the end of a row is cut off there.
class RunDecoder {
  public:
    // `bits` is 8 or 4.
    RunDecoder(const uint8_t* data, uint64_t bytes, int32_t bits, int32_t width)
        : next_(data), left_(bytes), packed_(bits == 4), width_(static_cast<uint32_t>(width)) {}

    // The next row of the DIB, pixels only.
    void decodeRow(uint8_t* row);

  private:
    void putRun(uint8_t* row, uint32_t count, uint8_t value);
    void putPixels(uint8_t* row, uint32_t count);
    bool escape(uint8_t* row, uint32_t code);
    bool take(uint32_t bytes) {
        if (left_ < bytes) left_ = 0;
        if (left_ == 0) return false;
        next_ += bytes;
        left_ -= bytes;
        return true;
    }

    const uint8_t* next_;
    uint64_t left_;
    bool packed_;  // two pixels a byte
    uint32_t width_;
    uint32_t column_ = 0;
    uint32_t skipped_ = 0;  // rows that are left empty before the one that column_ lies in
};

}  // namespace tnk
