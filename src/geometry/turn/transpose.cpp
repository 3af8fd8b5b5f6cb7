#include "geometry/turn/transpose.h"

#include <algorithm>
#include <cstring>

#include "base/pixel_format.h"
#include "convert/packed_pixels.h"
#include "kernels/kernels.h"
#include "kernels/turn/transpose_kernels.h"

namespace tnk {
namespace {

// Tiles are collected in a buffer whose rows do not lie a power of two apart, as those of pictures often do: a column of
// such rows falls into one set of the cache. A multiple of 8 keeps packed pixels on bytes.
constexpr uint32_t tileSide(uint32_t bits) { return bits <= 8 || bits == 16 ? 64 : 32; }

// The part of an area from a column and a row on, at most a tile of it.
TransposeArea tileOf(uint32_t bits, const TransposeArea& area, uint32_t column, uint32_t row) {
    return {area.source + static_cast<ptrdiff_t>(row) * area.sourceStride + columnOffset(column, bits),
            area.sourceStride,
            area.target + static_cast<ptrdiff_t>(column) * area.targetStride + columnOffset(row, bits),
            area.targetStride,
            std::min(tileSide(bits), area.columns - column),
            std::min(tileSide(bits), area.rows - row)};
}

// Pixels of kBytes bytes.
template <size_t kBytes>
class UnitTile {
  public:
    explicit UnitTile(const TransposeArea& tile) : tile_(tile) {
        for (uint32_t y = 0; y < tile.rows; ++y) {
            std::memcpy(rows_[y], tile.source + static_cast<ptrdiff_t>(y) * tile.sourceStride, tile.columns * kBytes);
        }
    }

    void transpose() const {
        uint32_t columns = 0, rows = 0;  // done in squares
#if defined(__SSE2__)
        if constexpr (16 % kBytes == 0) {
            if (instructionSet() >= InstructionSet::sse2) {
                constexpr uint32_t kSquare = squareSide(kBytes);
                columns = tile_.columns & ~(kSquare - 1);
                rows = tile_.rows & ~(kSquare - 1);
                for (uint32_t x = 0; x < columns; x += kSquare) {
                    for (uint32_t y = 0; y < rows; y += kSquare) {
                        transposeSquare<kBytes>(rows_[y] + x * kBytes, sizeof rows_[0], target(x, y),
                                                tile_.targetStride);
                    }
                }
            }
        }
#endif
        for (uint32_t x = 0; x < tile_.columns; ++x) moveColumn(x, x < columns ? rows : 0);
    }

  private:
    uint8_t* target(uint32_t column, uint32_t row) const {
        return tile_.target + static_cast<ptrdiff_t>(column) * tile_.targetStride + row * kBytes;
    }
    void moveColumn(uint32_t column, uint32_t row) const {
        uint8_t* to = target(column, row);
        for (; row < tile_.rows; ++row, to += kBytes) std::memcpy(to, rows_[row] + column * kBytes, kBytes);
    }

    static constexpr uint32_t kSide = tileSide(8 * kBytes);
    const TransposeArea& tile_;
    uint8_t rows_[kSide][kSide * kBytes + 16];
};

template <size_t kBytes>
void transposeUnits(const TransposeArea& tile) {
    UnitTile<kBytes>(tile).transpose();
}

// Eight bytes as eight rows of eight pixels of 1 bit, the first one uppermost.
uint64_t transposeBits(uint64_t word) {
    uint64_t odd = (word ^ word >> 7) & 0x00AA00AA00AA00AA;
    word ^= odd ^ odd << 7;
    odd = (word ^ word >> 14) & 0x0000CCCC0000CCCC;
    word ^= odd ^ odd << 14;
    odd = (word ^ word >> 28) & 0x00000000F0F0F0F0;
    return word ^ odd ^ odd << 28;
}

void transposeBilevel(const TransposeArea& tile) {
    const uint32_t bytes = (tile.rows + 7) / 8;
    for (uint32_t x = 0; x < tile.columns; x += 8) {
        uint8_t columns[8][tileSide(1) / 8];
        for (uint32_t i = 0; i < bytes; ++i) {
            uint64_t word = 0;
            const uint8_t* source = tile.source + static_cast<ptrdiff_t>(i * 8) * tile.sourceStride + x / 8;
            const uint32_t rows = std::min(8u, tile.rows - i * 8);
            for (uint32_t y = 0; y < rows; ++y, source += tile.sourceStride) word |= uint64_t{*source} << (56 - 8 * y);
            word = transposeBits(word);
            for (uint32_t y = 0; y < 8; ++y) columns[y][i] = static_cast<uint8_t>(word >> (56 - 8 * y));
        }
        const uint32_t count = std::min(8u, tile.columns - x);
        for (uint32_t y = 0; y < count; ++y) {
            std::memcpy(tile.target + static_cast<ptrdiff_t>(x + y) * tile.targetStride, columns[y], bytes);
        }
    }
}

// Pixels that do not fill bytes, spread to one Value each.
template <typename Value, typename Unpack, typename Pack>
void transposeSpread(const TransposeArea& tile, Unpack unpack, Pack pack) {
    constexpr uint32_t kSide = sizeof(Value) == 1 ? tileSide(8) : tileSide(12);
    Value rows[kSide][kSide + 8 / sizeof(Value)];
    for (uint32_t y = 0; y < tile.rows; ++y) {
        unpack(tile.source + static_cast<ptrdiff_t>(y) * tile.sourceStride, rows[y], tile.columns);
    }
    for (uint32_t x = 0; x < tile.columns; ++x) {
        Value column[kSide];
        for (uint32_t y = 0; y < tile.rows; ++y) column[y] = rows[y][x];
        pack(column, tile.target + static_cast<ptrdiff_t>(x) * tile.targetStride, tile.rows);
    }
}

void transposeTile(uint32_t bits, const TransposeArea& tile) {
    switch (bits) {
        case 1:
            return transposeBilevel(tile);
        case 8:
            return transposeUnits<1>(tile);
        case 12:
            return transposeSpread<uint32_t>(tile, unpack12, pack12);
        case 16:
            return transposeUnits<2>(tile);
        case 24:
            return transposeUnits<3>(tile);
        case 32:
            return transposeUnits<4>(tile);
        case 48:
            return transposeUnits<6>(tile);
        case 64:
            return transposeUnits<8>(tile);
        default:
            return transposeSpread<uint8_t>(
                tile,
                [bits](const uint8_t* packed, uint8_t* pixels, size_t count) {
                    unpackPixels(bits, packed, pixels, count);
                },
                [bits](const uint8_t* pixels, uint8_t* packed, size_t count) {
                    packPixels(bits, pixels, packed, count);
                });
    }
}

}  // namespace

void transpose(uint32_t bits, const TransposeArea& area) {
    const uint32_t side = tileSide(bits);
    for (uint32_t row = 0; row < area.rows; row += side) {
        for (uint32_t column = 0; column < area.columns; column += side) {
            transposeTile(bits, tileOf(bits, area, column, row));
        }
    }
}

}  // namespace tnk
