// One vocabulary of test pictures: bitmaps of any format in any storage, filled from a seed, and what a caller can see of
// a bitmap as bytes, for comparison.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "tnkrn.h"

namespace tnk::test {

using Bytes = std::vector<uint8_t>;
using Palette = std::vector<PaletteEntry>;

struct Format {
    int32_t bits;
    uint32_t order;
};
constexpr Format kFormats[] = {{1, 0},  {2, 0},  {3, 0},  {4, 0},  {5, 0},  {6, 0},  {7, 0},  {8, 0},
                               {12, 2}, {16, 0}, {16, 1}, {16, 2}, {24, 0}, {24, 1}, {24, 5}, {32, 0},
                               {32, 1}, {32, 2}, {48, 0}, {48, 1}, {48, 5}, {64, 0}, {64, 1}};
constexpr int32_t kAllDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};
constexpr uint32_t usualOrder(int32_t bits) { return bits <= 8 ? ORDER_RGB : bits == 12 ? ORDER_GRAY : ORDER_BGR; }

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

const char* nameOf(Kind kind);
inline std::string kindName(const ::testing::TestParamInfo<Kind>& info) { return nameOf(info.param); }

// Super-compressed bitmaps have 1, 8 or 24 bits; at other depths the request gives a section.
inline bool isSuper(const BitmapHandle& bitmap) { return (bitmap.Flags & BMF_SUPERCOMPRESSED) != 0; }

class RandomNumbers : public std::mt19937 {
  public:
    using std::mt19937::mt19937;
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>((*this)()) % limit; }
    int32_t between(int32_t low, int32_t high) {
        return low + static_cast<int32_t>(below(static_cast<uint32_t>(high - low) + 1));
    }
    uint8_t byte() { return static_cast<uint8_t>((*this)()); }
    Bytes bytes(size_t count);
    // Colours, gray ones with `gray`; with `blocked` some entries may not be chosen, never the first.
    Palette palette(uint32_t count, bool gray = false, bool blocked = false);
};

// What pixels a picture has: anything; slopes with long runs of near values; at most `values` different ones, all alike
// often or some of them rarely; bytes of 0 and 0xFF in runs.
enum class Content { noise, slopes, few, dominant, runs };

// Fills whole rows, of noise and runs also what lies after the last pixel, and returns what the bitmap holds then.
Bytes fill(BitmapHandle& bitmap, RandomNumbers& random, Content content = Content::noise, uint32_t values = 5);
Bytes fillRandomly(BitmapHandle& bitmap);

// The bytes of all rows, padding included; Size is another matter where rows are compressed.
inline size_t plainBytes(const BitmapHandle& bitmap) {
    return size_t{bitmap.BytesPerLine} * static_cast<uint32_t>(bitmap.Height);
}
Bytes rowsOf(BitmapHandle& bitmap);

// All that a caller can see but how it is stored: description, palette, table, byte map, and the bits of pixels.
Bytes contents(const BitmapHandle& bitmap);

// An overlay as it hangs on a bitmap; the record shares its pixels and is not freed.
struct HungOverlay {
    int32_t code;  // of the attributes, all of them
    OverlayAttributes attributes;
    BitmapHandle record;
};
HungOverlay overlayOf(const BitmapHandle& bitmap, int32_t index);
// Hangs a copy of a bitmap on another one.
void hangOverlay(BitmapHandle& bitmap, int32_t index, BitmapHandle& overlay, int32_t x, int32_t y,
                 uint32_t flags = OVERLAY_FOLLOWS);

// Nothing hangs on the record that would have to be freed.
bool isBare(const BitmapHandle& bitmap);

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

// A bitmap that is allocated, accessed and zero, and frees itself. One of tiles keeps one of them, of two rows, in memory.
class StoredBitmap {
  public:
    StoredBitmap(Kind kind, int32_t width, int32_t height, int32_t bits);
    // With the order and, up to 8 bits, the fixed palette.
    StoredBitmap(Kind kind, int32_t width, int32_t height, Format format);
    ~StoredBitmap() { T_FreeBitmap(&record); }
    StoredBitmap(const StoredBitmap&) = delete;
    StoredBitmap& operator=(const StoredBitmap&) = delete;

    BitmapHandle record;

  private:
    std::unique_ptr<uint8_t[]> memory_;
};

}  // namespace tnk::test
