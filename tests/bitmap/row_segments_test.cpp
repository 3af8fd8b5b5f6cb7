// Runs of pixels at every depth against a form that moves one bit at a time.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "support/picture.h"

namespace tnk::test {
namespace {

constexpr uint32_t kPixels = 40;

// Whether a bit of a whole-byte pixel stays: the last bytes, or the top bit of 16, which lies in the last byte.
bool isTopBit(const BitmapHandle& bitmap, uint32_t bit) {
    if (bitmap.BitsPerPixel == 16) return bitmap.Order != ORDER_GRAY && bit == 8;
    return (bitmap.BitsPerPixel == 32 && bit >= 24) || (bitmap.BitsPerPixel == 64 && bit >= 48);
}

void putModel(const BitmapHandle& bitmap, uint8_t* row, const uint8_t* buffer, uint32_t column, uint32_t start,
              uint32_t end, bool keepTopBits) {
    const auto bits = static_cast<uint32_t>(bitmap.BitsPerPixel);
    for (uint32_t pixel = start; pixel < end; ++pixel) {
        // The odd mask of this start, where the column begins a byte.
        if (bits == 2 && column % 4 == 0 && start % 4 == 2 && pixel == start + 1) continue;
        for (uint32_t bit = 0; bit < bits; ++bit) {
            if (keepTopBits && isTopBit(bitmap, bit)) continue;
            // Two samples of 12 bits lie in three bytes, the low bits first.
            const auto maskOf = [bits](uint32_t at) { return bits == 12 ? 1 << at % 8 : 0x80 >> at % 8; };
            const uint32_t from = pixel * bits + (bits == 12 ? 11 - bit : bit);
            const uint32_t at = from + column * bits;
            const bool set = (buffer[from / 8] & maskOf(from)) != 0;
            row[at / 8] = static_cast<uint8_t>((row[at / 8] & ~maskOf(at)) | (set ? maskOf(at) : 0));
        }
    }
}

class RowSegments : public ::testing::Test {
  protected:
    // Each run of 0..40 pixels on its own; then several in one call. The last row ends with the caller's memory.
    void checkDepth(int32_t bits, uint32_t order, bool keepTopBits, uint32_t column = 8) {
        SCOPED_TRACE(::testing::Message() << bits << " bits, order " << order << ", column " << column);
        column_ = column;
        StoredBitmap stored(Kind::user, static_cast<int32_t>(column + kPixels), 3, bits);
        stored.record.Order = order;
        for (uint32_t start = 0; start < kPixels; ++start) {
            for (uint32_t end = start; end <= kPixels; ++end) checkSegments(stored.record, {start, end}, keepTopBits);
        }
        checkSegments(stored.record, {30, 37, 3, 5, 9, 10, 17, 23, 20, 26}, keepTopBits);
        checkSegments(stored.record, {9, 3, 7, 7, 11, 12, 1}, keepTopBits);  // reversed, empty, without partner
        checkSegments(stored.record, {}, keepTopBits);
    }

  private:
    void checkSegments(BitmapHandle& bitmap, std::vector<uint32_t> segments, bool keepTopBits) {
        const uint32_t line = bitmap.BytesPerLine;
        Bytes expected(size_t{line} * 3);
        Bytes buffer(line + 1);
        for (uint8_t& byte : expected) byte = static_cast<uint8_t>(random_());
        for (uint8_t& byte : buffer) byte = static_cast<uint8_t>(random_());
        T_PutBitmapRow(&bitmap, expected.data(), 0, line * 3);
        const auto count = static_cast<uint32_t>(segments.size());
        segments.push_back(kPixels);  // behind the list: an odd count must not reach it
        ASSERT_EQ(T_PutBitmapRowSegments(&bitmap, buffer.data(), 2, column_, segments.data(), count, keepTopBits),
                  SUCCESS);
        for (uint32_t i = 0; i + 1 < count; i += 2) {
            putModel(bitmap, &expected[2 * line], buffer.data(), column_, segments[i], segments[i + 1], keepTopBits);
        }
        ASSERT_EQ(rowsOf(bitmap), expected) << (count >= 2 ? segments[0] : 0) << ".." << (count >= 2 ? segments[1] : 0);
    }

    std::mt19937 random_{7};
    uint32_t column_ = 0;
};

TEST_F(RowSegments, WriteWhatTheModelWrites) {
    for (const int32_t bits : kAllDepths) checkDepth(bits, bits == 12 ? ORDER_GRAY : ORDER_RGB, false);
    for (const int32_t bits : {8, 16, 24, 32, 48, 64}) checkDepth(bits, ORDER_BGR, true);
    checkDepth(16, ORDER_GRAY, true);
    checkDepth(32, ORDER_GRAY, true);
    for (const int32_t bits : {1, 2, 3, 4, 5, 6, 7, 12}) {
        for (const uint32_t column : {1, 2, 3, 5, 6}) checkDepth(bits, 0, false, column);  // inside a byte
    }
}

}  // namespace
}  // namespace tnk::test
