#include "geometry/size/black_rows.h"

#include <algorithm>
#include <cstring>

#include "base/pixel_format.h"
#include "base/shape.h"
#include "palette/palette.h"

namespace tnk {
namespace {

struct Cell {
    int32_t from;
    int32_t end;
};

Cell cellOf(int32_t place, int32_t from, int32_t to) {
    const auto start = static_cast<int32_t>(int64_t{place} * from / to);
    const auto next = static_cast<int32_t>((int64_t{place} + 1) * from / to);
    return {start, std::max(next, start + 1)};
}

uint8_t lightness(const PaletteEntry& entry) { return entry.Red; }  // of a gray entry

}  // namespace

bool canFavourBlack(const BitmapHandle& bitmap) {
    const uint32_t length = paletteLength(bitmap);
    return bitmap.BitsPerPixel == 1 && length != 0 && classifyPalette(bitmap.Palette, length) != GRAYSCALE_NO;
}

Result BlackRows::prepare(const Dimensions& size) {
    size_ = size;
    blackIsOne_ = paletteLength(source_) > 1 && lightness(source_.Palette[1]) < lightness(source_.Palette[0]);
    const Shape shape(source_);
    const auto width = static_cast<uint32_t>(size.width);
    sourceBytes_ = static_cast<size_t>(pixelBytes(shape.width, 1));
    if (!columns_.allocate(uint64_t{width} + 1) || !black_.allocate(sourceBytes_ / 8 + 2, true)) return FAILURE;
    for (uint64_t i = 0; i <= width; ++i)
        columns_[static_cast<size_t>(i)] = static_cast<uint32_t>(i * shape.width / width);
    return reader_.prepare();
}

Result BlackRows::make(int32_t row, uint8_t* target) {
    const Cell rows = cellOf(row, source_.Height, size_.height);
    // Cells of a picture that grows repeat; others never do.
    if (gathered_ != rows.from || rows.end - rows.from > 1) TRY(gather(rows.from, rows.end));
    scale(target);
    return SUCCESS;
}

// Joins the rows of a cell.
Result BlackRows::gather(int32_t from, int32_t end) {
    gathered_ = -1;
    auto* const bytes = reinterpret_cast<uint8_t*>(black_.data());
    const size_t words = (sourceBytes_ + 7) / 8;
    std::fill_n(black_.data(), words, uint64_t{0});
    const uint64_t turn = blackIsOne_ ? 0 : ~uint64_t{0};
    for (int32_t i = from; i < end; ++i) {
        uint8_t* row;
        TRY(reader_.read(i, 1, &row));
        const size_t whole = sourceBytes_ / 8;
        for (size_t word = 0; word < whole; ++word) {
            uint64_t bits;
            std::memcpy(&bits, row + 8 * word, 8);
            black_[word] |= bits ^ turn;
        }
        for (size_t byte = 8 * whole; byte < sourceBytes_; ++byte)
            bytes[byte] |= row[byte] ^ static_cast<uint8_t>(turn);
    }
    const uint32_t unused = (8 - Shape(source_).width % 8) % 8;
    bytes[sourceBytes_ - 1] &= static_cast<uint8_t>(0xFF << unused);
    gathered_ = from;
    return SUCCESS;
}

bool BlackRows::anyBlack(uint64_t from, uint64_t end) const {
    constexpr uint64_t kMost = 57;  // that lie in eight bytes, whatever bit they begin with
    const auto* const bytes = reinterpret_cast<const uint8_t*>(black_.data());
    for (; from < end; from += kMost) {
        const auto count = static_cast<uint32_t>(std::min(end - from, kMost));
        uint64_t bits;
        std::memcpy(&bits, bytes + static_cast<size_t>(from / 8), 8);
        bits = __builtin_bswap64(bits) << from % 8;
        if (bits >> (64 - count) != 0) return true;
    }
    return false;
}

void BlackRows::scale(uint8_t* target) const {
    const auto width = static_cast<uint32_t>(size_.width);
    const uint8_t turn = blackIsOne_ ? 0 : 0xFF;
    for (uint32_t x = 0; x < width; x += 8) {
        const uint32_t count = std::min(width - x, 8u);
        uint32_t black = 0;
        // Most of a page is white: eight cells are looked at together first.
        if (anyBlack(columns_[x], std::max(columns_[x + count], columns_[x + count - 1] + 1))) {
            for (uint32_t i = 0; i < count; ++i) {
                const uint32_t from = columns_[x + i];
                black |= uint32_t{anyBlack(from, std::max(columns_[x + i + 1], from + 1))} << (7 - i);
            }
        }
        target[x / 8] = static_cast<uint8_t>((black ^ turn) & 0xFF00 >> count);
    }
}

}  // namespace tnk
