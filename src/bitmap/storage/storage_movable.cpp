// Movable storage: a block of T_OsAllocHandle that a caller attaches to the record. Its pixels have an address only
// while the bitmap is accessed.
#include <cstring>

#include "bitmap/storage/storage.h"
#include "platform/platform.h"

namespace tnk {
namespace {

void releaseMovable(BitmapHandle& bitmap) {
    endAccess(bitmap);
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

const StorageKind kMovableStorage = {MEMKIND_MEMORY, kPlainRows, releaseMovable, readMemory,
                                     writeMemory,    lendMemory, resizeMovable,  measureRows};

}  // namespace tnk
