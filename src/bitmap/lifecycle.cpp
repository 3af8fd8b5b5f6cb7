// The bitmap record: filling it, releasing what hangs on it, changing its height.
#include "bitmap/lifecycle.h"

#include <cstddef>
#include <cstring>

#include "base/pixel_format.h"
#include "bitmap/hooks.h"
#include "bitmap/storage/storage.h"
#include "palette/palette.h"
#include "platform/platform.h"
#include "system/dispatch.h"
#include "system/settings.h"

namespace tnk {
namespace {

// The record is part of the interface: modules built elsewhere read and write its fields.
#define TNK_FIELD_AT(field, word) (sizeof(void*) != 4 || offsetof(BitmapHandle, field) == (word)*4)
static_assert(sizeof(void*) != 4 || sizeof(BitmapHandle) == 168);
static_assert(TNK_FIELD_AT(StructSize, 0) && TNK_FIELD_AT(DataHandle, 1) && TNK_FIELD_AT(pData, 2));
static_assert(TNK_FIELD_AT(Width, 3) && TNK_FIELD_AT(Height, 4) && TNK_FIELD_AT(BitsPerPixel, 5));
static_assert(TNK_FIELD_AT(BytesPerLine, 6) && TNK_FIELD_AT(CurrentPos, 7) && TNK_FIELD_AT(CurrentRow, 8));
static_assert(TNK_FIELD_AT(Flags, 9) && TNK_FIELD_AT(ColorCount, 10) && TNK_FIELD_AT(Palette, 11));
static_assert(TNK_FIELD_AT(ViewPerspective, 12) && TNK_FIELD_AT(Order, 13) && TNK_FIELD_AT(Size, 14));
static_assert(TNK_FIELD_AT(pDitherState, 15) && TNK_FIELD_AT(DitherMethod, 16) && TNK_FIELD_AT(Region, 17));
static_assert(TNK_FIELD_AT(XResolution, 18) && TNK_FIELD_AT(YResolution, 19));
static_assert(TNK_FIELD_AT(PlaybackValue1, 20) && TNK_FIELD_AT(PlaybackValue2, 21) && TNK_FIELD_AT(PlaybackValue3, 22));
static_assert(TNK_FIELD_AT(PlaybackColor1, 23) && TNK_FIELD_AT(PlaybackColor2, 24) && TNK_FIELD_AT(PlaybackMode, 25));
static_assert(TNK_FIELD_AT(LowBit, 26) && TNK_FIELD_AT(HighBit, 27) && TNK_FIELD_AT(pLUT, 28));
static_assert(TNK_FIELD_AT(LUTLength, 29) && TNK_FIELD_AT(DataOffset, 30) && TNK_FIELD_AT(MinVal, 31));
static_assert(TNK_FIELD_AT(MaxVal, 32) && TNK_FIELD_AT(DataLowBit, 33) && TNK_FIELD_AT(DataHighBit, 34));
static_assert(TNK_FIELD_AT(ByteMapParam1, 35) && TNK_FIELD_AT(ByteMapParam2, 36) && TNK_FIELD_AT(ByteMapParam3, 37));
static_assert(TNK_FIELD_AT(pByteMap, 38) && TNK_FIELD_AT(pOverlays, 39) && TNK_FIELD_AT(Reserved2, 40));
static_assert(TNK_FIELD_AT(Reserved3, 41));
#undef TNK_FIELD_AT

constexpr EntryRule kFreeEntry = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};
constexpr EntryRule kDataPointerEntry = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};
constexpr EntryRule kStorageEntry = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};

constexpr int32_t kDefaultResolution = 150;
constexpr uint32_t kLastViewPerspective = 8;

// Width x bits + 31 has to fit 32 bits: callers and other modules compute row sizes in them.
bool rowFits(int32_t width, int32_t bits) {
    return uint64_t{static_cast<uint32_t>(width)} * static_cast<uint32_t>(bits) + 31 <= UINT32_MAX;
}

void clearRecord(BitmapHandle& bitmap) { std::memset(&bitmap, 0, sizeof bitmap); }

void setDefaults(BitmapHandle& bitmap, const PixelFormat& format) {
    const ThreadSettings& settings = currentSettings();
    bitmap.DitherMethod = settings.ditherMethod;
    bitmap.XResolution = settings.xResolution > 0 ? settings.xResolution : kDefaultResolution;
    bitmap.YResolution = settings.yResolution > 0 ? settings.yResolution : kDefaultResolution;
    bitmap.ViewPerspective = 4;
    bitmap.ColorCount = format.hasPalette ? 1u << format.bits : 0;
    bitmap.Order = format.hasPalette ? ORDER_RGB : format.bits == 12 ? ORDER_GRAY : ORDER_BGR;
    bitmap.HighBit = format.dataHighBit;
    bitmap.DataHighBit = format.dataHighBit;
    bitmap.ByteMapParam1 = 100;
}

Result attachPalette(BitmapHandle& bitmap, bool gray, const PaletteEntry* entries) {
    if (gray) return attachGrayPalette(bitmap);
    if (entries == nullptr) return attachFixedPalette(bitmap);
    bitmap.Palette = newPalette(entries, bitmap.ColorCount);
    return bitmap.Palette != nullptr ? SUCCESS : FAILURE;
}

Result createBitmap(BitmapHandle& bitmap, uint32_t memoryType, int32_t width, int32_t height, int32_t bits,
                    uint32_t order, const PaletteEntry* entries) {
    TRY(initBitmap(bitmap, width, height, bits != 0 ? bits : 8));
    bitmap.Order = order;
    if (order == ORDER_MATRIX_RGB && bits != 24 && bits != 48) return ERROR_BPP_NOT_SUPPORTED;
    TRY(allocateBitmap(bitmap, memoryType));
    if (bitmap.BitsPerPixel > 8) return SUCCESS;
    bitmap.Order = ORDER_RGB;
    const Result attached = attachPalette(bitmap, bits == 0, entries);
    if (attached.ok()) return SUCCESS;
    freeBitmap(bitmap);
    return FAILURE;
}

// KEEP: checked last, so that a bad perspective leaves an allocated bitmap for the caller to free. Refusing it before
// the allocation would be the tempting repair.
Result setPerspective(BitmapHandle& bitmap, uint32_t viewPerspective) {
    if (viewPerspective > kLastViewPerspective) return ERROR_INVALID_PARAMETER;
    bitmap.ViewPerspective = viewPerspective != 0 ? viewPerspective : 1;
    return SUCCESS;
}

Result setDataPointer(BitmapHandle& bitmap, void* data, uint32_t dataSize) {
    const bool allocated = isAllocated(bitmap);
    const bool callersMemory = allocated && (bitmap.Flags & BMF_USERDATA) != 0;
    const bool anySize = callersMemory && (bitmap.Flags & BMF_MOVABLE) == 0;
    if (!anySize && dataSize != bitmap.Size) return ERROR_INVALID_PARAMETER;
    // The table would be lost, and the caller's pixels taken for one.
    if (allocated && !callersMemory && storageOf(bitmap).is(kTable)) return ERROR_INVALID_PARAMETER;
    if (allocated && &storageOf(bitmap) == &kSectionStorage) TRY(keepOwnPixels(bitmap, data));
    bitmap.pData = static_cast<uint8_t*>(data);
    return SUCCESS;
}

Result changeHeight(BitmapHandle& bitmap, int32_t newHeight) {
    if ((bitmap.Flags & (BMF_USERDATA | BMF_LOCKED)) != 0) return ERROR_INVALID_PARAMETER;
    if (newHeight == bitmap.Height) return SUCCESS;
    if (newHeight < 1) return ERROR_INVALID_PARAMETER;
    const uint64_t bytes = bitmap.DataOffset + uint64_t{bitmap.BytesPerLine} * static_cast<uint32_t>(newHeight);
    if (bytes >= kSizeLimit) return ERROR_SIZE_TOO_LARGE;
    TRY(storageOf(bitmap).resize(bitmap, newHeight));
    bitmap.Height = newHeight;
    const LibraryLock lock;
    bitmap.CurrentPos = 0;
    bitmap.CurrentRow = 0;
    return SUCCESS;
}

Result reportMemory(const BitmapHandle& bitmap, uint32_t* kind, const TileOutputs& tiles) {
    if (kind == nullptr) return ERROR_INVALID_PARAMETER;
    *kind = (bitmap.Flags & BMF_MEMORY) != 0 ? storageOf(bitmap).reportedKind : MEMKIND_DISK;
    if (*kind == MEMKIND_TILED) reportTiles(bitmap, tiles);
    return SUCCESS;
}

template <typename Block>
void freeBlock(Block*& block) {
    if (block != nullptr) platform->freeGlobal(block);
    block = nullptr;
}

}  // namespace

Result initBitmap(BitmapHandle& bitmap, int32_t width, int32_t height, int32_t bits) {
    if (width < 0 || height < 0) return ERROR_INVALID_PARAMETER;
    clearRecord(bitmap);
    bitmap.StructSize = sizeof bitmap;
    if (width == 0 && height == 0 && bits == 0) return SUCCESS;
    const PixelFormat* format = findPixelFormat(bits);
    if (format == nullptr) return ERROR_BPP_NOT_SUPPORTED;
    bitmap.Width = width;
    bitmap.Height = height;
    bitmap.BitsPerPixel = bits;
    bitmap.BytesPerLine = static_cast<uint32_t>(rowBytes(static_cast<uint32_t>(width), static_cast<uint32_t>(bits)));
    if (!rowFits(width, bits) || !dataBytes(bitmap, height, &bitmap.Size)) {
        clearRecord(bitmap);
        return ERROR_SIZE_TOO_LARGE;
    }
    setDefaults(bitmap, *format);
    return SUCCESS;
}

void freeByteMap(BitmapHandle& bitmap) { freeBlock(bitmap.pByteMap); }

void freeGrayTable(BitmapHandle& bitmap) {
    freeBlock(bitmap.pLUT);
    bitmap.LUTLength = 0;
}

void freeBitmap(BitmapHandle& bitmap) {
    leaveOverlays(bitmap);
    deleteRegion(bitmap);
    freeBitmapPalette(bitmap);
    releaseOverlays(bitmap);
    endDitheringOf(bitmap);
    if (!isAllocated(bitmap)) return;
    // Memory of the caller first: whatever else the flags say, it is not touched.
    const StorageKind& storage = (bitmap.Flags & BMF_USERDATA) != 0 ? kUserStorage : storageOf(bitmap);
    storage.release(bitmap);
    freeGrayTable(bitmap);
    freeByteMap(bitmap);
    bitmap.Flags &= ~kStorageFlags;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_InitBitmap(BitmapHandle* Bitmap, uint32_t StructSize, int32_t Width, int32_t Height,
                                         int32_t BitsPerPixel) {
    if (Bitmap == nullptr) return ERROR_INVALID_PARAMETER;
    if (StructSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    return initBitmap(*Bitmap, Width, Height, BitsPerPixel).code;
}

extern "C" int32_t TNK_CALL T_CreateBitmap(BitmapHandle* Bitmap, uint32_t StructSize, uint32_t MemoryType,
                                           int32_t Width, int32_t Height, int32_t BitsPerPixel, uint32_t Order,
                                           const PaletteEntry* Palette, uint32_t ViewPerspective, void* Data,
                                           uint32_t DataSize) {
    if (Bitmap == nullptr) return ERROR_INVALID_PARAMETER;
    if (StructSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    Result result = createBitmap(*Bitmap, MemoryType, Width, Height, BitsPerPixel, Order, Palette);
    if (result.ok()) result = setPerspective(*Bitmap, ViewPerspective);
    if (!result.ok() || MemoryType != MEM_USER || Data == nullptr) return result.code;
    return setDataPointer(*Bitmap, Data, DataSize).code;
}

extern "C" void TNK_CALL T_FreeBitmap(BitmapHandle* Bitmap) {
    if (checkEntry(kFreeEntry, Bitmap).ok()) freeBitmap(*Bitmap);
}

extern "C" int32_t TNK_CALL T_CopyBitmapHandle(BitmapHandle* Destination, const BitmapHandle* Source,
                                               uint32_t StructSize) {
    if (Source == nullptr) return ERROR_INVALID_PARAMETER;
    if (Source->StructSize != sizeof(BitmapHandle) || StructSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    if (Destination != nullptr) std::memmove(Destination, Source, sizeof(BitmapHandle));
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_ChangeBitmapHeight(BitmapHandle* Bitmap, int32_t NewHeight) {
    const Result entry = checkEntry(kStorageEntry, Bitmap);
    if (!entry.ok()) return entry.code;
    return changeHeight(*Bitmap, NewHeight).code;
}

extern "C" int32_t TNK_CALL T_UpdateBitmapSize(BitmapHandle* Bitmap) {
    const Result entry = checkEntry(kStorageEntry, Bitmap);
    if (!entry.ok()) return entry.code;
    return storageOf(*Bitmap).measure(*Bitmap, &Bitmap->Size).code;
}

extern "C" int32_t TNK_CALL T_SetBitmapDataPointer(BitmapHandle* Bitmap, void* Data, uint32_t DataSize) {
    const Result entry = checkEntry(kDataPointerEntry, Bitmap);
    if (!entry.ok()) return entry.code;
    return setDataPointer(*Bitmap, Data, DataSize).code;
}

extern "C" void TNK_CALL T_AccessBitmap(BitmapHandle* Bitmap) {
    if (Bitmap != nullptr) accessBitmap(*Bitmap);
}

extern "C" void TNK_CALL T_ReleaseBitmap(BitmapHandle* Bitmap) {
    if (Bitmap != nullptr) releaseBitmap(*Bitmap);
}

extern "C" int32_t TNK_CALL T_LockBitmap(BitmapHandle* Bitmap) {
    return Bitmap != nullptr && accessBitmap(*Bitmap) ? 1 : 0;
}

extern "C" void TNK_CALL T_UnlockBitmap(BitmapHandle* Bitmap, uint32_t WasLocked) {
    if (Bitmap != nullptr && WasLocked == 0) releaseBitmap(*Bitmap);
}

extern "C" int32_t TNK_CALL T_GetBitmapMemoryInfo(const BitmapHandle* Bitmap, uint32_t* MemoryKind, uint32_t* TileBytes,
                                                  uint32_t* TileCount, uint32_t* TilesInMemory, uint32_t* Limit1,
                                                  uint32_t* Limit2) {
    const Result entry = checkEntry(kStorageEntry, Bitmap);
    if (!entry.ok()) return entry.code;
    return reportMemory(*Bitmap, MemoryKind, {TileBytes, TileCount, TilesInMemory, Limit1, Limit2}).code;
}
