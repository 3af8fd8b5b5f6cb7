#include "format/dib/dib_rle.h"

#include <algorithm>
#include <cstring>

namespace tnk {
namespace {

constexpr uint32_t kEndOfRow = 0, kEndOfBitmap = 1, kDelta = 2;

// Two pixels a byte, the first one above; `row` has zeros there.
void putNibble(uint8_t* row, uint32_t column, uint32_t value) {
    row[column / 2] = static_cast<uint8_t>(row[column / 2] | (column % 2 != 0 ? value : value << 4));
}

}  // namespace

void RunDecoder::putRun(uint8_t* row, uint32_t count, uint8_t value) {
    count = std::min(count, width_ - column_);
    if (!packed_) {
        std::memset(row + column_, value, count);
        column_ += count;
        return;
    }
    // The first pixel has the upper half of the value, wherever it lies.
    const uint32_t high = value >> 4, low = value & 15u;
    const uint32_t end = column_ + count;
    bool first = true;
    if (column_ % 2 != 0 && count != 0) {
        putNibble(row, column_++, high);
        first = false;
    }
    const uint32_t pair = first ? high << 4 | low : low << 4 | high;
    std::memset(row + column_ / 2, static_cast<int>(pair), (end - column_) / 2);
    if ((end - column_) % 2 != 0) putNibble(row, end - 1, pair >> 4);
    column_ = end;
}

// Pixels as they are, filled up to an even number of bytes.
void RunDecoder::putPixels(uint8_t* row, uint32_t count) {
    const uint32_t bytes = packed_ ? (count + 1) / 2 : count;
    const uint8_t* data = next_;
    // Those that are there count, though the data ends among them.
    const auto have = static_cast<uint32_t>(std::min<uint64_t>(bytes, left_));
    const uint32_t pixels = std::min({count, packed_ ? 2 * have : have, width_ - column_});
    if (packed_) {
        for (uint32_t i = 0; i < pixels; ++i)
            putNibble(row, column_ + i, i % 2 != 0 ? data[i / 2] & 15u : data[i / 2] >> 4u);
    } else {
        std::memcpy(row + column_, data, pixels);
    }
    column_ += pixels;
    take((bytes + 1) & ~1u);
}

// False when the row ends.
bool RunDecoder::escape(uint8_t* row, uint32_t code) {
    if (code == kEndOfRow) {
        column_ = 0;
        return false;
    }
    if (code == kEndOfBitmap) {
        left_ = 0;
        return false;
    }
    if (code != kDelta) {
        putPixels(row, code);
        return true;
    }
    const uint8_t* delta = next_;
    if (!take(2)) return false;
    column_ = std::min(column_ + delta[0], width_);
    if (delta[1] == 0) return true;
    skipped_ = delta[1] - 1u;
    return false;
}

void RunDecoder::decodeRow(uint8_t* row) {
    std::memset(row, 0, packed_ ? (size_t{width_} + 1) / 2 : width_);
    if (skipped_ != 0) {
        --skipped_;
        return;
    }
    for (;;) {
        const uint8_t* pair = next_;
        if (!take(2)) return;
        if (pair[0] != 0) {
            putRun(row, pair[0], pair[1]);
        } else if (!escape(row, pair[1])) {
            return;
        }
    }
}

}  // namespace tnk
