// Movable storage: a block of T_OsAllocHandle that a caller attaches to the record. Its pixels have an address only
// while the bitmap is accessed.
#include <cstring>

#include "bitmap/storage.h"
#include "platform/platform.h"

namespace tnk {
namespace {

constexpr uint32_t kUnaddressable = BMF_COMPRESSED | BMF_TILED | BMF_SUPERCOMPRESSED;

bool isMovable(const BitmapHandle& bitmap) {
    return (bitmap.Flags & (BMF_MEMORY | BMF_MOVABLE | kUnaddressable)) == (BMF_MEMORY | BMF_MOVABLE);
}

Result allocateMovable(BitmapHandle& bitmap) {
    const T_HANDLE block = platform->allocateMovable(bitmap.Size);
    if (block == 0) return FAILURE;
    bitmap.DataHandle = block;
    bitmap.DataOffset = 0;
    bitmap.pData = nullptr;
    bitmap.Flags |= BMF_ALLOCATED | BMF_MEMORY | BMF_MOVABLE;
    return SUCCESS;
}

void releaseMovable(BitmapHandle& bitmap) {
    releaseBitmap(bitmap);
    if (bitmap.DataHandle != 0) platform->freeMovable(bitmap.DataHandle);
    bitmap.DataHandle = 0;
    bitmap.DataOffset = 0;
    bitmap.pData = nullptr;
}

Result resizeMovable(BitmapHandle& bitmap, int32_t height) {
    const uint32_t bytes = bytesWithOffset(bitmap, height);
    const T_HANDLE block = platform->reallocateMovable(bitmap.DataHandle, bytes);
    if (block == 0) return FAILURE;
    bitmap.DataHandle = block;
    // The platform clears what lies beyond the old block, which may have been longer than the old rows.
    uint32_t oldBytes = 0;
    dataBytes(bitmap, bitmap.Height, &oldBytes);
    const uint64_t oldEnd = uint64_t{bitmap.DataOffset} + oldBytes;
    if (oldEnd < bytes) {
        if (void* data = platform->lockMovable(block); data != nullptr) {
            std::memset(static_cast<uint8_t*>(data) + oldEnd, 0, static_cast<size_t>(bytes - oldEnd));
            platform->unlockMovable(block);
        }
    }
    bitmap.Size = bytes;
    return SUCCESS;
}

}  // namespace

void accessBitmap(BitmapHandle& bitmap) {
    if (!isMovable(bitmap) || (bitmap.Flags & BMF_LOCKED) != 0) return;
    auto* data = static_cast<uint8_t*>(platform->lockMovable(bitmap.DataHandle));
    if (data == nullptr) return;  // pData stays null, and rows answer that there is no data
    bitmap.pData = data + bitmap.DataOffset;
    bitmap.Flags |= BMF_LOCKED;
}

void releaseBitmap(BitmapHandle& bitmap) {
    if (!isMovable(bitmap) || (bitmap.Flags & BMF_LOCKED) == 0) return;
    platform->unlockMovable(bitmap.DataHandle);
    bitmap.pData = nullptr;
    bitmap.Flags &= ~BMF_LOCKED;
}

const StorageKind kMovableStorage = {MEMKIND_MEMORY, allocateMovable, releaseMovable, readMemory,
                                     writeMemory,    lendMemory,      resizeMovable,  measureRows};

}  // namespace tnk
