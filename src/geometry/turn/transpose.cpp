#include "geometry/turn/transpose.h"

#include <algorithm>
#include <cstring>

#include "base/pixel_format.h"
#include "convert/packed_pixels.h"

namespace tnk {
namespace {

// Tiles are collected in a buffer whose rows do not lie a power of two apart, as those of pictures often do: a column of
// such rows falls into one set of the cache. A multiple of 8 keeps packed pixels on bytes.
constexpr uint32_t kTile = 32;

// The part of an area from a column and a row on, at most a tile of it.
TransposeArea tileOf(uint32_t bits, const TransposeArea& area, uint32_t column, uint32_t row) {
    return {area.source + static_cast<ptrdiff_t>(row) * area.sourceStride + columnOffset(column, bits),
            area.sourceStride,
            area.target + static_cast<ptrdiff_t>(column) * area.targetStride + columnOffset(row, bits),
            area.targetStride,
            std::min(kTile, area.columns - column),
            std::min(kTile, area.rows - row)};
}

// Pixels of kBytes bytes.
template <size_t kBytes>
void transposeUnits(const TransposeArea& tile) {
    uint8_t rows[kTile][kTile * kBytes + kBytes];
    for (uint32_t y = 0; y < tile.rows; ++y) {
        std::memcpy(rows[y], tile.source + static_cast<ptrdiff_t>(y) * tile.sourceStride, tile.columns * kBytes);
    }
    for (uint32_t x = 0; x < tile.columns; ++x) {
        uint8_t* target = tile.target + static_cast<ptrdiff_t>(x) * tile.targetStride;
        const uint8_t* source = rows[0] + x * kBytes;
        for (uint32_t y = 0; y < tile.rows; ++y, target += kBytes, source += sizeof rows[0]) {
            std::memcpy(target, source, kBytes);
        }
    }
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
        uint8_t columns[8][kTile / 8];
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
    Value rows[kTile][kTile + 8 / sizeof(Value)];
    for (uint32_t y = 0; y < tile.rows; ++y) {
        unpack(tile.source + static_cast<ptrdiff_t>(y) * tile.sourceStride, rows[y], tile.columns);
    }
    for (uint32_t x = 0; x < tile.columns; ++x) {
        Value column[kTile];
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
    for (uint32_t row = 0; row < area.rows; row += kTile) {
        for (uint32_t column = 0; column < area.columns; column += kTile) {
            transposeTile(bits, tileOf(bits, area, column, row));
        }
    }
}

}  // namespace tnk
