// Super-compressed bitmaps: rows packed by an optional codec module.
#include <algorithm>
#include <cstring>
#include <new>

#include "base/pixel_format.h"
#include "base/shape.h"
#include "bitmap/storage/chunk_store.h"
#include "bitmap/storage/storage.h"
#include "platform/platform.h"

namespace tnk {
namespace {

// Null for a record that only claims to be super-compressed.
ChunkStore* storeOf(const BitmapHandle& bitmap) {
    if (bitmap.pData == nullptr) return nullptr;
    uint64_t mark = 0;
    std::memcpy(&mark, bitmap.pData, sizeof mark);
    return mark == ChunkStore::kMark ? reinterpret_cast<ChunkStore*>(bitmap.pData) : nullptr;
}

void destroy(ChunkStore* store) {
    store->~ChunkStore();
    platform->freeLocal(store);
}

void releaseSuper(BitmapHandle& bitmap) {
    ChunkStore* const store = storeOf(bitmap);
    if (store == nullptr) return;
    destroy(store);
    bitmap.pData = nullptr;
    // Size may count packed bytes; the next storage of the record takes it for those of the plain rows.
    dataBytes(bitmap, bitmap.Height, &bitmap.Size);
}

int64_t moved(Result result, uint32_t bytes) { return result.ok() ? int64_t{bytes} : result.code; }

int64_t readSuper(BitmapHandle& bitmap, int32_t row, uint32_t column, uint8_t* buffer, uint32_t bytes) {
    ChunkStore* const store = storeOf(bitmap);
    if (store == nullptr) return ERROR_NOT_ALLOCATED;
    const uint64_t offset = columnOffset(column, Shape(bitmap).bits);
    return moved(store->read(row, offset, buffer, bytes), bytes);
}

int64_t writeSuper(BitmapHandle& bitmap, int32_t row, uint32_t column, const uint8_t* buffer, uint32_t bytes) {
    ChunkStore* const store = storeOf(bitmap);
    if (store == nullptr) return ERROR_NOT_ALLOCATED;
    const uint64_t offset = columnOffset(column, Shape(bitmap).bits);
    return moved(store->write(row, offset, buffer, bytes), bytes);
}

Result lendSuper(BitmapHandle& bitmap, int32_t, int32_t, uint8_t** rows) {
    *rows = nullptr;
    return storeOf(bitmap) != nullptr ? SUCCESS : ERROR_NOT_ALLOCATED;
}

Result resizeSuper(BitmapHandle& bitmap, int32_t height) {
    ChunkStore* const store = storeOf(bitmap);
    if (store == nullptr) return ERROR_NOT_ALLOCATED;
    TRY(store->resize(height));
    dataBytes(bitmap, height, &bitmap.Size);
    return SUCCESS;
}

Result measureSuper(const BitmapHandle& bitmap, uint32_t* bytes) {
    ChunkStore* const store = storeOf(bitmap);
    if (store == nullptr) return ERROR_NOT_ALLOCATED;
    *bytes = static_cast<uint32_t>(std::min(store->storedBytes(), kSizeLimit - 1));
    return SUCCESS;
}

}  // namespace

Result allocateSuper(BitmapHandle& bitmap) {
    void* const block = platform->allocateLocal(sizeof(ChunkStore), false);
    if (block == nullptr) return FAILURE;
    auto* const store = new (block) ChunkStore;
    const Result opened = store->open(bitmap);
    if (!opened.ok()) {
        destroy(store);
        return opened;
    }
    bitmap.DataHandle = 0;
    bitmap.DataOffset = 0;
    bitmap.pData = reinterpret_cast<uint8_t*>(store);
    bitmap.Flags |= BMF_ALLOCATED | BMF_MEMORY | BMF_SUPERCOMPRESSED;
    return SUCCESS;
}

const StorageKind kSuperCompressedStorage = {MEMKIND_SUPERCOMPRESSED,
                                             kTable | kPacked,
                                             releaseSuper,
                                             readSuper,
                                             writeSuper,
                                             lendSuper,
                                             resizeSuper,
                                             measureSuper};

}  // namespace tnk
