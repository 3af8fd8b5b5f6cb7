// Bitmaps in tiles of whole rows, each in memory or in the bitmap's temporary file.
#include <algorithm>
#include <limits>

#include "base/pixel_format.h"
#include "bitmap/storage/storage.h"
#include "bitmap/storage/tile_table.h"
#include "platform/platform.h"
#include "system/settings.h"

namespace tnk {
namespace {

// All of the memory that is available would not leave a 32-bit process any addresses for its other work.
constexpr uint64_t kAddressable = sizeof(void*) == 4 ? uint64_t{1} << 30 : std::numeric_limits<uint64_t>::max();

TileStore* storeOf(const BitmapHandle& bitmap) {
    if (bitmap.pData == nullptr) return nullptr;
    return reinterpret_cast<TileStore*>(bitmap.pData - offsetof(TileStore, header));
}

void attach(BitmapHandle& bitmap, TileStore* store) { bitmap.pData = reinterpret_cast<uint8_t*>(&store->header); }

uintptr_t mostBytes(const ThreadSettings& settings) {
    constexpr uint64_t kMost = UINT32_MAX;  // no bitmap is larger
    if (settings.threshold4 >= 0) return static_cast<uintptr_t>(settings.threshold4);
    MemoryStatus status{};
    if (!platform->memoryStatus(&status)) return kMost;
    const uint64_t available = std::min(status.availablePhysical + status.availablePageFile, kAddressable);
    return static_cast<uintptr_t>(
        std::min(static_cast<uint64_t>(thresholdAmount(settings.threshold4, available)), kMost));
}

uint32_t leastTiles(const ThreadSettings& settings, uint32_t tiles) {
    return static_cast<uint32_t>(std::max<int64_t>(thresholdAmount(settings.threshold5, tiles), 1));
}

bool diskHasRoom(uint64_t bytes) {
    uint64_t room = 0;
    return platform->diskRoom(currentSettings().tempDirectory, &room) && room >= bytes;
}

TileLayout layoutOf(uint32_t lineBytes, uint32_t rows, uint32_t tileBytes, const ThreadSettings& settings) {
    TileLayout layout{};
    layout.lineBytes = lineBytes;
    layout.rows = rows;
    layout.rowsPerTile = std::max(tileBytes / lineBytes, 1u);
    layout.mostBytes = mostBytes(settings);
    layout.leastTiles = leastTiles(settings, (rows - 1) / layout.rowsPerTile + 1);
    return layout;
}

void releaseTiled(BitmapHandle& bitmap) {
    if (TileStore* store = storeOf(bitmap); store != nullptr) destroyTiles(store);
    bitmap.pData = nullptr;
}

// Settles where a span of `bytes` bytes begins. It may run over rows and tiles but has to lie inside the bitmap.
Result locate(const BitmapHandle& bitmap, int32_t row, uint32_t column, uint32_t bytes, uint32_t* position) {
    const TileStore* store = storeOf(bitmap);
    if (store == nullptr) return ERROR_NOT_ALLOCATED;
    if (row < 0) return FAILURE;
    const uint64_t start = uint64_t{bitmap.BytesPerLine} * static_cast<uint32_t>(row) +
                           columnOffset(column, static_cast<uint32_t>(bitmap.BitsPerPixel));
    if (start >= store->bytes || bytes > store->bytes - start) return FAILURE;
    *position = static_cast<uint32_t>(start);
    return SUCCESS;
}

int64_t readTiled(BitmapHandle& bitmap, int32_t row, uint32_t column, uint8_t* buffer, uint32_t bytes) {
    uint32_t position = 0;
    Result result = locate(bitmap, row, column, bytes, &position);
    if (result.ok()) result = readTiles(*storeOf(bitmap), position, buffer, bytes);
    return result.ok() ? int64_t{bytes} : result.code;
}

int64_t writeTiled(BitmapHandle& bitmap, int32_t row, uint32_t column, const uint8_t* buffer, uint32_t bytes) {
    uint32_t position = 0;
    Result result = locate(bitmap, row, column, bytes, &position);
    if (result.ok()) result = writeTiles(*storeOf(bitmap), position, buffer, bytes);
    return result.ok() ? int64_t{bytes} : result.code;
}

// Always copied: while a tile is lent, a callback may touch other rows and evict it.
Result lendTiled(BitmapHandle& bitmap, int32_t, int32_t, uint8_t** rows) {
    *rows = nullptr;
    return bitmap.pData != nullptr ? SUCCESS : ERROR_NOT_ALLOCATED;
}

// A bitmap of less than a tile has one of its own size, which is no size for the tiles of a larger one: those are made as the
// settings say. Null when there is no need, or no memory.
TileStore* growTile(TileStore* store, uint32_t rows) {
    const auto rowsPerTile = static_cast<uint32_t>(store->header.rowsPerTile);
    if (store->header.count != 1 || rows <= rowsPerTile) return nullptr;
    const uint32_t line = store->tileBytes / rowsPerTile;
    const ThreadSettings& settings = currentSettings();
    TileStore* made = nullptr;
    for (uint32_t size = tileSize(settings); made == nullptr && size / line > rowsPerTile; size /= 2) {
        made = remakeTiles(store, layoutOf(line, rows, size, settings));
    }
    return made;
}

Result resizeTiled(BitmapHandle& bitmap, int32_t height) {
    if (bitmap.pData == nullptr) return ERROR_NOT_ALLOCATED;
    TileStore* store = growTile(storeOf(bitmap), static_cast<uint32_t>(height));
    if (store == nullptr) store = resizeTiles(storeOf(bitmap), static_cast<uint32_t>(height));
    if (store == nullptr) return FAILURE;
    attach(bitmap, store);
    bitmap.Size = store->bytes;
    return SUCCESS;
}

void writeOptional(uint32_t* output, uintptr_t value) {
    if (output != nullptr) *output = static_cast<uint32_t>(value);
}

}  // namespace

void reportTiles(const BitmapHandle& bitmap, const TileOutputs& outputs) {
    TileStore* store = storeOf(bitmap);
    if (store == nullptr) return;
    const ObjectGuard guard(store->lock);
    writeOptional(outputs.tileBytes, store->tileBytes);
    writeOptional(outputs.tileCount, store->header.count);
    writeOptional(outputs.tilesInMemory, store->header.inMemory);
    writeOptional(outputs.limit1, store->header.mostBytes);
    writeOptional(outputs.limit2, store->header.leastTiles);
}

Result allocateTiled(BitmapHandle& bitmap) {
    // Fields that a caller changed after the initialisation may not belong together.
    if (bitmap.BytesPerLine == 0 || bitmap.Size % bitmap.BytesPerLine != 0) return FAILURE;
    const ThreadSettings& settings = currentSettings();
    const uint32_t line = bitmap.BytesPerLine;
    // Smaller tiles may fit where the address space is broken up or where many have to stay in memory.
    for (uint32_t size = std::min(tileSize(settings), bitmap.Size);; size /= 2) {
        TileStore* store = createTiles(layoutOf(line, bitmap.Size / line, size, settings));
        if (store != nullptr) {
            attach(bitmap, store);
            break;
        }
        if (size <= uint64_t{8} * line || !diskHasRoom(bitmap.Size)) return FAILURE;
    }
    bitmap.DataHandle = 0;
    bitmap.DataOffset = 0;
    bitmap.Flags |= BMF_ALLOCATED | BMF_MEMORY | BMF_TILED;
    return SUCCESS;
}

const StorageKind kTiledStorage = {MEMKIND_TILED, kTable | kNoPutCode, releaseTiled, readTiled,
                                   writeTiled,    lendTiled,           resizeTiled,  measureRows};

}  // namespace tnk
