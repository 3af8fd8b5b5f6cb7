#include "bitmap/storage/tile_table.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>
#include <new>

#include "base/scratch.h"
#include "system/file.h"

namespace tnk {
namespace {

// The memory of a tile, taken from another one: the blocks in `used` hold something, the rest is zero.
struct TileMemory {
    Section section;
    uint64_t used = 0;
};

// --- tiles in memory, by last use ---

void append(TileStore& store, uint32_t index) {
    TileUse& use = store.use(index);
    use.older = store.newest;
    use.newer = kNoTile;
    (use.older != kNoTile ? store.use(use.older).newer : store.oldest) = index;
    store.newest = index;
}

void unlink(TileStore& store, uint32_t index) {
    const TileUse& use = store.use(index);
    (use.older != kNoTile ? store.use(use.older).newer : store.oldest) = use.newer;
    (use.newer != kNoTile ? store.use(use.newer).older : store.newest) = use.older;
}

void attach(TileStore& store, uint32_t index, const Section& section) {
    store.tile(index).section = section.handle;
    store.tile(index).view = section.view;
    ++store.header.inMemory;
    append(store, index);
}

Section detach(TileStore& store, uint32_t index) {
    Tile& tile = store.tile(index);
    const Section section = {tile.section, tile.view};
    tile.section = 0;
    tile.view = nullptr;
    --store.header.inMemory;
    unlink(store, index);
    return section;
}

void releaseTile(TileStore& store, uint32_t index) {
    const Tile& tile = store.tile(index);
    if (tile.view != nullptr) platform->closeSection(detach(store, index));
}

// --- between memory and file ---

// The blocks that the bytes from `first` to `last` lie in.
uint64_t blocksOf(const TileStore& store, uint32_t first, uint32_t last) {
    return ~uint64_t{0} << first / store.blockBytes & ~uint64_t{0} >> (kTileBlocks - 1 - last / store.blockBytes);
}

// Calls visit(from, to) for each run of bytes that the blocks make.
template <typename Visit>
Result forEachRun(const TileStore& store, uint64_t blocks, Visit visit) {
    while (blocks != 0) {
        const auto first = static_cast<uint32_t>(std::countr_zero(blocks));
        const uint32_t end = first + static_cast<uint32_t>(std::countr_one(blocks >> first));
        const uint64_t to = std::min<uint64_t>(uint64_t{store.blockBytes} * end, store.tileBytes);
        TRY(visit(store.blockBytes * first, static_cast<uint32_t>(to)));
        blocks &= end < kTileBlocks ? ~uint64_t{0} << end : 0;
    }
    return SUCCESS;
}

// The block that a change of height cut through: its file still has the rows that went, so it has to be written again.
uint64_t cutBlock(TileStore& store, uint32_t index) {
    const uintptr_t end = store.tile(index).stored;
    if (end % store.blockBytes == 0 || end == store.tileBytes) return 0;
    return store.use(index).stored & uint64_t{1} << end / store.blockBytes;
}

int64_t placeOf(const TileStore& store, uint32_t index) { return int64_t{index} * store.tileBytes; }

// The other half of the files that a process may have is the application's. Without a count there is nothing to go by, and
// the system says itself when there are no more.
bool mayOpenFile() {
    uint32_t open = 0;
    uint32_t limit = 0;
    return !platform->handleCount(&open) || !platform->handleLimit(&limit) || open < limit / 2;
}

Result openFileOf(TileStore& store) {
    if (store.file != 0) return SUCCESS;
    if (!mayOpenFile()) return FAILURE;
    const T_HANDLE file = createTemporaryFile(true);
    if (file == kNoFile) return lastFileError(FAILURE);
    store.file = file;
    return SUCCESS;
}

// Writes the blocks that changed, so that what is sparse stays sparse. Until all are written, all count as changed.
Result storeChanges(TileStore& store, uint32_t index) {
    Tile& tile = store.tile(index);
    TileUse& use = store.use(index);
    if (use.changed == 0) return SUCCESS;
    TRY(openFileOf(store));
    tile.file = store.file;
    TRY(forEachRun(store, use.changed, [&](uint32_t from, uint32_t to) -> Result {
        const Result written = writeAt(store.file, placeOf(store, index) + from, tile.view + from, to - from);
        if (written.ok()) tile.stored = std::max<uintptr_t>(tile.stored, to);
        return written;
    }));
    use.stored |= use.changed;
    use.changed = 0;
    return SUCCESS;
}

Result loadTile(TileStore& store, uint32_t index, const TileMemory& memory) {
    const Tile& tile = store.tile(index);
    TileUse& use = store.use(index);
    uint8_t* view = memory.section.view;
    TRY(forEachRun(store, memory.used & ~use.stored, [&](uint32_t from, uint32_t to) -> Result {
        std::memset(view + from, 0, to - from);
        return SUCCESS;
    }));
    TRY(forEachRun(store, use.stored, [&](uint32_t from, uint32_t to) -> Result {
        const uint32_t end = std::min(to, static_cast<uint32_t>(tile.stored));
        std::memset(view + end, 0, to - end);
        return readAt(store.file, placeOf(store, index) + from, view + from, end - from);
    }));
    use.changed = cutBlock(store, index);
    return SUCCESS;
}

// Evicts the least recently used tile and takes its memory. When its changes cannot be stored, a tile without changes
// gives way, so that a full disk does not end reading.
Result evictTile(TileStore& store, TileMemory* memory) {
    uint32_t index = store.oldest;
    if (index == kNoTile) return FAILURE;
    const Result stored = storeChanges(store, index);
    if (!stored.ok()) {
        while (index != kNoTile && store.use(index).changed != 0) index = store.use(index).newer;
        if (index == kNoTile) return stored;
    }
    memory->used = store.use(index).stored;
    memory->section = detach(store, index);
    return SUCCESS;
}

bool isFull(const TileStore& store) {
    const TileHeader& header = store.header;
    const uint64_t bytes = (uint64_t{header.inMemory} + 1) * store.tileBytes;
    return header.inMemory >= header.leastTiles && bytes > header.mostBytes;
}

// Memory for one more tile: within the limits from the system, at the limits from other tiles. Where the system has none
// left, other tiles give way earlier; where their changes cannot be stored, the limits are passed rather than rows lost.
Result takeMemory(TileStore& store, TileMemory* memory) {
    Result result = SUCCESS;
    while (isFull(store)) {
        TileMemory taken;
        result = evictTile(store, &taken);
        if (!result.ok()) break;
        // Still full after a tile gave way: the limits were passed before, and this brings them back.
        if (memory->section.view != nullptr) platform->closeSection(memory->section);
        *memory = taken;
    }
    if (memory->section.view != nullptr) return SUCCESS;
    if (platform->createSection(store.tileBytes, &memory->section)) return SUCCESS;
    return result.ok() ? evictTile(store, memory) : result;
}

Result bringIn(TileStore& store, uint32_t index) {
    if (store.tile(index).view != nullptr) {
        if (index == store.newest) return SUCCESS;
        unlink(store, index);
        append(store, index);
        return SUCCESS;
    }
    TileMemory memory;
    TRY(takeMemory(store, &memory));
    const Result loaded = loadTile(store, index, memory);
    if (!loaded.ok()) {
        platform->closeSection(memory.section);
        return loaded;
    }
    attach(store, index, memory.section);
    return SUCCESS;
}

// --- spans of rows ---

Result readPart(TileStore& store, uint32_t index, uint32_t offset, uint8_t* buffer, uint32_t bytes) {
    const Tile& tile = store.tile(index);
    if (tile.view == nullptr && store.use(index).stored == 0) {
        std::memset(buffer, 0, bytes);
        return SUCCESS;
    }
    TRY(bringIn(store, index));
    std::memcpy(buffer, tile.view + offset, bytes);
    return SUCCESS;
}

Result writePart(TileStore& store, uint32_t index, uint32_t offset, const uint8_t* buffer, uint32_t bytes) {
    TRY(bringIn(store, index));
    std::memcpy(store.tile(index).view + offset, buffer, bytes);
    store.use(index).changed |= blocksOf(store, offset, offset + bytes - 1);
    return SUCCESS;
}

template <typename Byte, typename Move>
Result forEachPart(TileStore& store, uint32_t position, Byte* buffer, uint32_t bytes, Move move) {
    while (bytes != 0) {
        const uint32_t offset = position % store.tileBytes;
        const uint32_t part = std::min(bytes, store.tileBytes - offset);
        TRY(move(store, position / store.tileBytes, offset, buffer, part));
        position += part;
        buffer += part;
        bytes -= part;
    }
    return SUCCESS;
}

// --- the table ---

uint32_t tilesOf(uint32_t rows, uint32_t rowsPerTile) { return (rows - 1) / rowsPerTile + 1; }

TileStore* allocateStore(uint32_t count) {
    Scratch<uint8_t> block;
    if (!block.allocate(sizeof(TileStore) + uint64_t{count} * (sizeof(Tile) + sizeof(TileUse)), true)) return nullptr;
    auto* store = new (block.detach()) TileStore{};
    store->oldest = kNoTile;
    store->newest = kNoTile;
    store->header.count = count;
    return store;
}

void freeStore(TileStore* store) {
    store->~TileStore();
    platform->freeLocal(store);
}

uint32_t countOf(const TileStore& store) { return static_cast<uint32_t>(store.header.count); }

// Gives a table of another length the tiles that both have, and releases the others with the old table.
void moveTiles(TileStore* from, TileStore* to) {
    to->tileBytes = from->tileBytes;
    to->blockBytes = from->blockBytes;
    bool stored = false;
    for (uint32_t i = countOf(*from); i > countOf(*to); --i) {
        stored |= from->use(i - 1).stored != 0;
        releaseTile(*from, i - 1);
    }
    to->file = from->file;
    // Room of tiles that went; a file that cannot be cut is only longer than it need be.
    if (stored) static_cast<void>(setFileSize(to->file, static_cast<uint64_t>(placeOf(*to, countOf(*to)))));
    to->oldest = from->oldest;
    to->newest = from->newest;
    const uintptr_t count = to->header.count;
    to->header = from->header;
    to->header.count = count;
    for (uint32_t i = 0; i < std::min(countOf(*from), countOf(*to)); ++i) {
        to->tile(i) = from->tile(i);
        to->use(i) = from->use(i);
    }
    freeStore(from);
}

// Forgets what a tile holds from `bytes` on.
void cutTile(TileStore& store, uint32_t index, uint32_t bytes) {
    Tile& tile = store.tile(index);
    TileUse& use = store.use(index);
    const uint64_t kept = blocksOf(store, 0, bytes - 1);
    tile.stored = std::min<uintptr_t>(tile.stored, bytes);
    use.stored &= kept;
    use.changed &= kept;
    if (tile.view == nullptr) return;
    std::memset(tile.view + bytes, 0, store.tileBytes - bytes);
    use.changed |= cutBlock(store, index);
}

}  // namespace

TileStore* createTiles(const TileLayout& layout) {
    const uint32_t count = tilesOf(layout.rows, layout.rowsPerTile);
    TileStore* store = allocateStore(count);
    if (store == nullptr) return nullptr;
    store->tileBytes = layout.rowsPerTile * layout.lineBytes;
    store->blockBytes = (store->tileBytes - 1) / kTileBlocks + 1;
    store->bytes = layout.rows * layout.lineBytes;
    store->header.rowsPerTile = layout.rowsPerTile;
    store->header.leastTiles = layout.leastTiles;
    store->header.mostBytes = layout.mostBytes;
    for (uint32_t i = 0; i < std::min(count, layout.leastTiles); ++i) {
        Section section;
        if (!platform->createSection(store->tileBytes, &section)) {
            destroyTiles(store);
            return nullptr;
        }
        attach(*store, i, section);
    }
    return store;
}

void destroyTiles(TileStore* store) {
    for (uint32_t i = countOf(*store); i > 0; --i) releaseTile(*store, i - 1);
    if (store->file != 0) platform->closeFile(store->file);
    freeStore(store);
}

TileStore* resizeTiles(TileStore* store, uint32_t rows) {
    const auto rowsPerTile = static_cast<uint32_t>(store->header.rowsPerTile);
    const uint32_t count = tilesOf(rows, rowsPerTile);
    const uint64_t allBytes = uint64_t{store->tileBytes / rowsPerTile} * rows;
    if (allBytes > UINT32_MAX) return nullptr;
    const auto bytes = static_cast<uint32_t>(allBytes);
    const uint32_t oldBytes = store->bytes;
    if (count != countOf(*store)) {
        TileStore* resized = allocateStore(count);
        if (resized == nullptr) return nullptr;
        moveTiles(store, resized);
        store = resized;
    }
    store->bytes = bytes;
    const uint32_t last = bytes - (count - 1) * store->tileBytes;
    if (bytes < oldBytes && last < store->tileBytes) cutTile(*store, count - 1, last);
    return store;
}

TileStore* remakeTiles(TileStore* store, const TileLayout& layout) {
    TileStore* made = createTiles(layout);
    if (made == nullptr) return nullptr;
    // The first of the new tiles is in memory: the least number is at least one.
    if ((store->use(0).changed | store->use(0).stored) != 0) {
        if (!readTiles(*store, 0, made->tile(0).view, store->bytes).ok()) {
            destroyTiles(made);
            return nullptr;
        }
        made->use(0).changed = blocksOf(*made, 0, store->bytes - 1);
    }
    destroyTiles(store);
    return made;
}

Result readTiles(TileStore& store, uint32_t position, uint8_t* buffer, uint32_t bytes) {
    assert(uint64_t{position} + bytes <= store.bytes);
    const ObjectGuard guard(store.lock);
    return forEachPart(store, position, buffer, bytes, readPart);
}

Result writeTiles(TileStore& store, uint32_t position, const uint8_t* buffer, uint32_t bytes) {
    assert(uint64_t{position} + bytes <= store.bytes);
    const ObjectGuard guard(store.lock);
    return forEachPart(store, position, buffer, bytes, writePart);
}

}  // namespace tnk
