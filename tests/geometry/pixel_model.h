// Pictures as arrays of pixel values: the plain form of what moves pixels about.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "support/picture.h"

namespace tnk::test {

// One pixel of a packed row of any depth.
inline uint64_t getPixel(const uint8_t* row, int64_t column, int32_t bits) {
    uint64_t value = 0;
    for (int32_t bit = 0; bit < bits; ++bit) {
        const int64_t at = column * bits + bit;
        if (bits < 8) {
            value = value << 1 | (row[at / 8] >> (7 - at % 8) & 1);  // the most significant bit first
        } else {
            value |= uint64_t{row[at / 8] >> (at % 8) & 1u} << bit;
        }
    }
    return value;
}

inline void putPixel(uint8_t* row, int64_t column, int32_t bits, uint64_t value) {
    for (int32_t bit = 0; bit < bits; ++bit) {
        const int64_t at = column * bits + bit;
        const int64_t place = bits < 8 ? 7 - at % 8 : at % 8;
        const uint64_t one = value >> (bits < 8 ? bits - 1 - bit : bit) & 1;
        row[at / 8] = static_cast<uint8_t>((row[at / 8] & ~(1 << place)) | one << place);
    }
}

struct PixelModel {
    PixelModel(int32_t columns, int32_t rows)
        : width(columns), height(rows), pixels(static_cast<size_t>(columns) * static_cast<size_t>(rows)) {}
    explicit PixelModel(BitmapHandle& bitmap) : PixelModel(bitmap.Width, bitmap.Height) {
        const Bytes bytes = rowsOf(bitmap);
        for (int32_t y = 0; y < height; ++y)
            for (int32_t x = 0; x < width; ++x)
                at(x, y) =
                    getPixel(&bytes[size_t{bitmap.BytesPerLine} * static_cast<size_t>(y)], x, bitmap.BitsPerPixel);
    }

    uint64_t& at(int32_t x, int32_t y) {
        return pixels[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
    }
    uint64_t at(int32_t x, int32_t y) const { return const_cast<PixelModel&>(*this).at(x, y); }

    // The picture of the given size whose pixel (x, y) is pixel from(x, y) of this one.
    template <typename From>
    PixelModel moved(int32_t columns, int32_t rows, From from) const {
        PixelModel result(columns, rows);
        for (int32_t y = 0; y < rows; ++y)
            for (int32_t x = 0; x < columns; ++x) {
                const auto [fromX, fromY] = from(x, y);
                result.at(x, y) = at(fromX, fromY);
            }
        return result;
    }
    PixelModel flipped() const {
        return moved(width, height, [&](int32_t x, int32_t y) { return std::pair(x, height - 1 - y); });
    }
    PixelModel reversed() const {
        return moved(width, height, [&](int32_t x, int32_t y) { return std::pair(width - 1 - x, y); });
    }
    PixelModel clockwise() const {
        return moved(height, width, [&](int32_t x, int32_t y) { return std::pair(y, height - 1 - x); });
    }

    bool operator==(const PixelModel&) const = default;

    int32_t width;
    int32_t height;
    std::vector<uint64_t> pixels;
};

// The picture that the stored rows of a view show.
inline PixelModel seen(const PixelModel& stored, uint32_t view) {
    switch (view) {
        case TOP_RIGHT:
            return stored.reversed();
        case BOTTOM_RIGHT:
            return stored.reversed().flipped();
        case BOTTOM_LEFT:
            return stored.flipped();
        case LEFT_TOP:
            return stored.flipped().clockwise();
        case RIGHT_TOP:
            return stored.clockwise();
        case RIGHT_BOTTOM:
            return stored.flipped().clockwise().clockwise().clockwise();
        case LEFT_BOTTOM:
            return stored.clockwise().clockwise().clockwise();
        default:
            return stored;
    }
}
inline PixelModel seen(BitmapHandle& bitmap) { return seen(PixelModel(bitmap), bitmap.ViewPerspective); }

}  // namespace tnk::test
