// The tiles of a tiled bitmap: which are in memory, which in their files, and the road between the two.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/object_lock.h"
#include "base/result.h"
#include "platform/platform.h"

namespace tnk {

// All words are 0 for a tile that was never written: it needs neither memory nor file and reads as zero.
struct Tile {
    T_HANDLE section;
    uint8_t* view;     // null while the tile is not in memory
    T_HANDLE file;     // the table's, once the tile has been in it; else 0
    uintptr_t stored;  // bytes there that count; rows that were cut off may lie behind them
};

// What pData of a tiled bitmap points at: this header, then the tiles. Other modules read both.
struct TileHeader {
    uintptr_t count;
    uintptr_t inMemory;
    uintptr_t rowsPerTile;
    uintptr_t leastTiles;  // kept in memory whatever their size; at least 1
    uintptr_t mostBytes;   // that tiles may hold in memory
};
static_assert(sizeof(TileHeader) == 5 * sizeof(void*) && sizeof(Tile) == 4 * sizeof(void*));

constexpr uint32_t kNoTile = UINT32_MAX;

// Neighbours among the tiles in memory, by last use, and what memory and file hold, a bit for each block of the tile. Where
// neither bit is set the tile is zero.
struct TileUse {
    uint32_t older;
    uint32_t newer;
    uint64_t changed;  // newer in memory than in the file
    uint64_t stored;   // in the file, where the tile lies at its own place in the bitmap
};
constexpr uint32_t kTileBlocks = 64;

// The block that holds a table: this record, then the tiles, then a TileUse for each.
struct TileStore {
    ObjectLock lock;  // held while rows move: two threads may read one bitmap, and reading moves tiles
    T_HANDLE file;    // 0: none yet; one for all tiles, since a process has only so many
    uint32_t tileBytes;
    uint32_t blockBytes;
    uint32_t bytes;  // of all rows; the last tile may be longer and is zero behind them
    uint32_t oldest;
    uint32_t newest;
    TileHeader header;

    Tile& tile(uint32_t index) { return reinterpret_cast<Tile*>(this + 1)[index]; }
    TileUse& use(uint32_t index) {
        return reinterpret_cast<TileUse*>(reinterpret_cast<Tile*>(this + 1) + header.count)[index];
    }
};
static_assert(sizeof(TileStore) == offsetof(TileStore, header) + sizeof(TileHeader), "the tiles follow the header");

struct TileLayout {
    uint32_t rowsPerTile;
    uint32_t lineBytes;
    uint32_t rows;
    uint32_t leastTiles;
    uintptr_t mostBytes;
};

// A table with its least number of tiles in memory; null when the memory for that cannot be had.
TileStore* createTiles(const TileLayout& layout);
void destroyTiles(TileStore* store);

// Changes the number of rows; the bytes of new ones are zero. Gives the table, which may have moved, or null with all
// as it was.
TileStore* resizeTiles(TileStore* store, uint32_t rows);

// Gives a table of one tile, which was cut to the rows that there were, to tiles of another size and number. Gives the new
// table, or null with all as it was.
TileStore* remakeTiles(TileStore* store, const TileLayout& layout);

// Move `bytes` bytes from `position` on, which the caller has seen to lie inside. A failure leaves what was moved before.
Result readTiles(TileStore& store, uint32_t position, uint8_t* buffer, uint32_t bytes);
Result writeTiles(TileStore& store, uint32_t position, const uint8_t* buffer, uint32_t bytes);

}  // namespace tnk
