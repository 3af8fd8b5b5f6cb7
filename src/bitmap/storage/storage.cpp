#include "bitmap/storage/storage.h"

#include <cstring>

#include "base/entry_rule.h"
#include "base/pixel_format.h"
#include "base/shape.h"
#include "system/settings.h"

namespace tnk {

const StorageKind& storageOf(const BitmapHandle& bitmap) {
    const uint32_t flags = flagsOf(bitmap);
    if ((flags & BMF_COMPRESSED) != 0) return kCompressedStorage;
    if ((flags & BMF_TILED) != 0) return kTiledStorage;
    if ((flags & BMF_SUPERCOMPRESSED) != 0) return kSuperCompressedStorage;
    if ((flags & BMF_MEMORY) != 0) {
        if ((flags & BMF_USERDATA) != 0) return kUserStorage;
        return (flags & BMF_MOVABLE) != 0 ? kMovableStorage : kSectionStorage;
    }
    return (flags & BMF_DISK) != 0 ? kDiskStorage : kNoStorage;
}

// The position is computed afresh: CurrentPos has 32 bits only and would be wrong for every row after one beyond 4 GB.
int64_t seekRow(BitmapHandle& bitmap, int32_t row) {
    const int64_t position = int64_t{row} * bitmap.BytesPerLine;
    const LibraryLock lock;
    bitmap.CurrentRow = static_cast<uint32_t>(row);
    bitmap.CurrentPos = static_cast<uint32_t>(position);
    return position;
}

bool dataBytes(const BitmapHandle& bitmap, int32_t height, uint32_t* bytes) {
    const uint64_t product = Shape(bitmap).bytes(height);
    const bool fits = product < kSizeLimit;
    *bytes = static_cast<uint32_t>(fits ? product : kSizeLimit - 1);
    return fits;
}

uint32_t bytesWithOffset(const BitmapHandle& bitmap, int32_t height) {
    return static_cast<uint32_t>(bitmap.DataOffset + Shape(bitmap).bytes(height));
}

Result lendMemory(BitmapHandle& bitmap, int32_t first, int32_t, uint8_t** rows) {
    if (bitmap.pData == nullptr) return ERROR_NOT_ALLOCATED;
    *rows = bitmap.pData + static_cast<ptrdiff_t>(int64_t{first} * bitmap.BytesPerLine);
    return SUCCESS;
}

namespace {

// Address of a row's column; null without data.
uint8_t* seekColumn(BitmapHandle& bitmap, int32_t row, uint32_t column) {
    const int64_t position = seekRow(bitmap, row);
    if (bitmap.pData == nullptr) return nullptr;
    const uint64_t offset = columnOffset(column, Shape(bitmap).bits);
    return bitmap.pData + static_cast<ptrdiff_t>(position) + static_cast<size_t>(offset);
}

}  // namespace

int64_t readMemory(BitmapHandle& bitmap, int32_t row, uint32_t column, uint8_t* buffer, uint32_t bytes) {
    const uint8_t* data = seekColumn(bitmap, row, column);
    if (data == nullptr) return ERROR_NOT_ALLOCATED;
    std::memmove(buffer, data, bytes);
    return bytes;
}

int64_t writeMemory(BitmapHandle& bitmap, int32_t row, uint32_t column, const uint8_t* buffer, uint32_t bytes) {
    uint8_t* data = seekColumn(bitmap, row, column);
    if (data == nullptr) return ERROR_NOT_ALLOCATED;
    std::memmove(data, buffer, bytes);
    return bytes;
}

Result measureRows(const BitmapHandle& bitmap, uint32_t* bytes) {
    dataBytes(bitmap, bitmap.Height, bytes);
    return SUCCESS;
}

}  // namespace tnk
