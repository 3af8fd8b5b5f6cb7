// Bitmaps in each kind of storage, for tests that hold the kinds against each other.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "tnkrn.h"

namespace tnk::test {

using Bytes = std::vector<uint8_t>;

constexpr struct {
    int32_t bits;
    uint32_t order;
} kFormats[] = {{1, 0},  {2, 0},  {3, 0},  {4, 0},  {5, 0},  {6, 0},  {7, 0},  {8, 0},
                {12, 2}, {16, 0}, {16, 1}, {16, 2}, {24, 0}, {24, 1}, {24, 5}, {32, 0},
                {32, 1}, {32, 2}, {48, 0}, {48, 1}, {48, 5}, {64, 0}, {64, 1}};
constexpr int32_t kAllDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};

enum class Kind { section, disk, user, movable, super, compressed, tiled };

constexpr Kind kAllKinds[] = {
    Kind::user,  Kind::section, Kind::disk, Kind::movable, Kind::compressed, Kind::tiled,
#ifdef TNK_TEST_CODEC
    Kind::super,
#endif
};
// Without the caller's memory.
constexpr auto kOwnKinds = std::span(kAllKinds).subspan<1>();

// Run-compressed rows have 1 bit.
constexpr bool kindTakes(Kind kind, int32_t bits) { return kind != Kind::compressed || bits == 1; }
constexpr int32_t depthFor(Kind kind, int32_t bits) { return kindTakes(kind, bits) ? bits : 1; }

inline std::string kindName(const ::testing::TestParamInfo<Kind>& info) {
    constexpr const char* kNames[] = {"Section", "Disk", "User", "Movable", "Super", "Compressed", "Tiled"};
    return kNames[static_cast<int>(info.param)];
}

// Super-compressed bitmaps have 1, 8 or 24 bits; at other depths the request gives a section.
inline bool isSuper(const BitmapHandle& bitmap) { return (bitmap.Flags & BMF_SUPERCOMPRESSED) != 0; }

// The bytes of all rows; Size is another matter where rows are compressed.
inline size_t plainBytes(const BitmapHandle& bitmap) {
    return size_t{bitmap.BytesPerLine} * static_cast<uint32_t>(bitmap.Height);
}

inline Bytes rowsOf(BitmapHandle& bitmap) {
    const uint32_t line = bitmap.BytesPerLine;
    Bytes rows(plainBytes(bitmap), 0xEE);
    for (int32_t y = 0; y < bitmap.Height; ++y) {
        EXPECT_EQ(T_GetBitmapRow(&bitmap, &rows[size_t{line} * static_cast<uint32_t>(y)], y, line),
                  static_cast<int32_t>(line));
    }
    return rows;
}

// Fills whole rows, what lies after the last pixel too, and returns what the bitmap holds then.
inline Bytes fillRandomly(BitmapHandle& bitmap) {
    static std::mt19937 random(7);
    Bytes row(bitmap.BytesPerLine);
    for (int32_t y = 0; y < bitmap.Height; ++y) {
        for (uint8_t& byte : row) byte = static_cast<uint8_t>(random());
        EXPECT_GT(T_PutBitmapRow(&bitmap, row.data(), y, bitmap.BytesPerLine), 0);
    }
    return rowsOf(bitmap);
}

// Clears in `rows` what a compressed bitmap does not keep: the bits after each row's last pixel.
inline void dropLostBits(const BitmapHandle& bitmap, Bytes& rows) {
    if ((bitmap.Flags & BMF_COMPRESSED) == 0) return;
    const auto width = static_cast<uint32_t>(bitmap.Width);
    for (size_t i = 0; i < rows.size(); ++i) {
        const size_t column = i % bitmap.BytesPerLine * 8;
        const size_t kept = column >= width ? 0 : std::min<size_t>(8, width - column);
        rows[i] &= static_cast<uint8_t>(0xFF00u >> kept);
    }
}

// While it lives, new bitmaps of the thread get tiles of `tileSize` bytes, of which `mostBytes` bytes and at least
// `leastTiles` tiles stay in memory.
struct TileSettings {
    explicit TileSettings(uint32_t tileSize, int32_t mostBytes = 0, int32_t leastTiles = 1) {
        EXPECT_EQ(T_SetMemoryThresholds(0, 0, static_cast<int32_t>(tileSize), mostBytes, leastTiles, 31), SUCCESS);
    }
    ~TileSettings() { T_SetMemoryThresholds(0, INT32_MAX, 0, -100, 1, 31); }
    TileSettings(const TileSettings&) = delete;
    TileSettings& operator=(const TileSettings&) = delete;
};

// A bitmap that is allocated, accessed and zero, and frees itself.
class StoredBitmap {
  public:
    StoredBitmap(Kind kind, int32_t width, int32_t height, int32_t bits) {
        EXPECT_EQ(T_InitBitmap(&record, sizeof record, width, height, bits), SUCCESS);
        constexpr uint32_t kRequests[] = {MEM_CONVENTIONAL,    MEM_NOCONVENTIONAL, MEM_USER, 0,
                                          MEM_SUPERCOMPRESSED, MEM_COMPRESSED};
        if (kind == Kind::movable) {
            record.DataHandle = T_OsAllocHandle(record.Size, 0, nullptr);
            record.Flags = BMF_ALLOCATED | BMF_MEMORY | BMF_MOVABLE;
        } else if (kind == Kind::tiled) {
            const TileSettings twoRows(2 * record.BytesPerLine);
            EXPECT_EQ(T_AllocateBitmap(&record, MEM_TILED), SUCCESS);
            EXPECT_EQ(record.Flags, BMF_ALLOCATED | BMF_MEMORY | BMF_TILED);
        } else {
            EXPECT_EQ(T_AllocateBitmap(&record, kRequests[static_cast<int>(kind)]), SUCCESS);
        }
        if (kind == Kind::user) {
            memory_ = std::make_unique<uint8_t[]>(record.Size);
            EXPECT_EQ(T_SetBitmapDataPointer(&record, memory_.get(), record.Size), SUCCESS);
        }
        T_AccessBitmap(&record);
    }
    ~StoredBitmap() { T_FreeBitmap(&record); }
    StoredBitmap(const StoredBitmap&) = delete;
    StoredBitmap& operator=(const StoredBitmap&) = delete;

    BitmapHandle record;

  private:
    std::unique_ptr<uint8_t[]> memory_;
};

}  // namespace tnk::test
