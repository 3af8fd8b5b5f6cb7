// The choice of storage for a bitmap.
#include "bitmap/lifecycle.h"
#include "bitmap/storage/storage.h"
#include "platform/platform.h"
#include "system/settings.h"

namespace tnk {
namespace {

constexpr EntryRule kAllocateEntry = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};

constexpr uint32_t kRunCompressedRequest = MEM_COMPRESSED | MEM_TILED;

// A process near the system's limit of handles opens no more files for bitmaps.
constexpr uint32_t kHandleLimit = 20'000;

bool shortOfHandles() {
    uint32_t count = 0;
    return !platform->handleCount(&count) || count >= kHandleLimit / 10 * 9;
}

bool isValidRequest(uint32_t request) {
    switch (request) {
        case MEM_CONVENTIONAL:
        case MEM_USER:
        case MEM_DISK:
        case MEM_NOTILES:
        case MEM_NOTILES | MEM_CONVENTIONAL:
        case MEM_NOCONVENTIONAL:
        case MEM_TILED:
        case kRunCompressedRequest:
        case MEM_SUPERCOMPRESSED:
        case MEM_SUPERCOMPRESSED | MEM_CONVENTIONAL:
            return true;
        default:
            return false;
    }
}

// The request without compression that the depth does not have; 0 for an invalid one.
uint32_t effectiveRequest(int32_t bits, uint32_t request) {
    if (request == 0) return 0;
    if ((request & MEM_COMPRESSED) != 0) {
        request = bits == 1 ? kRunCompressedRequest : request & ~MEM_COMPRESSED;
    }
    if ((request & MEM_SUPERCOMPRESSED) != 0) {
        const bool compressible = bits == 1 || bits == 8 || bits == 24;
        if (!compressible || shortOfHandles()) request &= ~MEM_SUPERCOMPRESSED;
    }
    if (request == 0) request = MEM_CONVENTIONAL;
    return isValidRequest(request) ? request : 0;
}

bool exceedsMemory(uint32_t size, const ThreadSettings& settings) {
    MemoryStatus status{};
    if (!platform->memoryStatus(&status)) return settings.maxMemory >= 0 && int64_t{size} > settings.maxMemory;
    const uint64_t total = status.totalPhysical + status.totalPageFile;
    const uint64_t available = status.availablePhysical + status.availablePageFile;
    const int64_t rest = static_cast<int64_t>(available) - thresholdAmount(settings.reserve, total);
    return int64_t{size} > rest || int64_t{size} > thresholdAmount(settings.maxMemory, available);
}

// Settles whether a plain request goes to disk (MEM_DISK set) or may try memory first.
uint32_t decideOnDisk(uint32_t size, uint32_t request) {
    const ThreadSettings& settings = currentSettings();
    if ((request & MEM_DISK) == 0) {
        const bool exceeds = exceedsMemory(size, settings) && !(emptySectionStore() && !exceedsMemory(size, settings));
        return exceeds ? request | MEM_DISK : request;
    }
    const bool fromMemory = size <= tileSize(settings) || shortOfHandles();
    return fromMemory ? (request & ~MEM_DISK) | MEM_CONVENTIONAL : request;
}

Result attachPlain(BitmapHandle& bitmap, uint32_t callersRequest, Content content) {
    const uint32_t request = decideOnDisk(bitmap.Size, callersRequest);
    if ((request & (MEM_DISK | MEM_NOCONVENTIONAL)) == 0 && allocateSection(bitmap, content).ok()) return SUCCESS;
    if ((request & (MEM_NOTILES | MEM_NOCONVENTIONAL)) == 0 && allocateTiled(bitmap).ok()) return SUCCESS;
    if (callersRequest == MEM_TILED) return FAILURE;
    return allocateDisk(bitmap);
}

Result attachStorage(BitmapHandle& bitmap, uint32_t request, Content content) {
    if (request == MEM_USER) return allocateUser(bitmap);
    if (request == kRunCompressedRequest) return allocateCompressed(bitmap);
    if ((request & MEM_SUPERCOMPRESSED) != 0) return allocateSuper(bitmap);
    return attachPlain(bitmap, request, content);
}

Result attachByteMap(BitmapHandle& bitmap) {
    auto* map = static_cast<uint8_t*>(platform->allocateGlobal(kByteMapBytes, false));
    if (map == nullptr) return FAILURE;
    for (uint32_t i = 0; i < kByteMapBytes; ++i) map[i] = static_cast<uint8_t>(i);
    bitmap.pByteMap = map;
    return SUCCESS;
}

}  // namespace

Result allocateBitmap(BitmapHandle& bitmap, uint32_t memoryType, Content content) {
    if (bitmap.Size == 0) return ERROR_INVALID_SIZE;
    const uint32_t request = effectiveRequest(bitmap.BitsPerPixel, memoryType);
    if (request == 0) return ERROR_INVALID_PARAMETER;

    // Size may count the packed bytes of storage that was not freed.
    if (storageOf(bitmap).is(kPacked)) dataBytes(bitmap, bitmap.Height, &bitmap.Size);
    bitmap.Flags &= ~kStorageFlags;
    // What the record named before may be another record's, which shares it; after a failure it is named again.
    uint8_t* const namedBefore = bitmap.pByteMap;
    TRY(attachByteMap(bitmap));
    const Result attached = attachStorage(bitmap, request, content);
    if (attached.ok()) return SUCCESS;
    freeByteMap(bitmap);
    bitmap.pByteMap = namedBefore;
    return attached;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_AllocateBitmap(BitmapHandle* Bitmap, uint32_t MemoryType) {
    const Result entry = checkEntry(kAllocateEntry, Bitmap);
    if (!entry.ok()) return entry.code;
    return allocateBitmap(*Bitmap, MemoryType).code;
}
