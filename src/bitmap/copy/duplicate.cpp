// Records made after the model of another one.
#include <cassert>
#include <cstring>

#include "base/sample_rules.h"
#include "bitmap/hooks.h"
#include "bitmap/lifecycle.h"
#include "palette/palette.h"
#include "platform/platform.h"
#include "system/dispatch.h"

namespace tnk {
namespace {

constexpr EntryRule kSourceEntry = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};
constexpr EntryRule kGrayParamsEntry = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};

constexpr uint32_t kUnnamedFlag = 0x10000;  // nothing but duplication looks at it
constexpr uint32_t kInheritedFlags = kUnnamedFlag | BMF_COMPRESSED | BMF_SUPERCOMPRESSED | BMF_DISK | BMF_SIGNED;

uint32_t requestLike(const BitmapHandle& source) {
    if ((source.Flags & BMF_COMPRESSED) != 0) return MEM_COMPRESSED | MEM_CONVENTIONAL;
    if ((source.Flags & BMF_SUPERCOMPRESSED) != 0) return MEM_SUPERCOMPRESSED;
    return (source.Flags & BMF_DISK) != 0 ? MEM_NOCONVENTIONAL : MEM_CONVENTIONAL;
}

void inheritDescription(BitmapHandle& destination, const BitmapHandle& source) {
    destination.Flags |= source.Flags & kInheritedFlags;
    destination.ViewPerspective = source.ViewPerspective;
    destination.XResolution = source.XResolution;
    destination.YResolution = source.YResolution;
    destination.Order = source.Order;
    destination.Reserved2 = source.Reserved2;
}

Result duplicatePalette(BitmapHandle& destination, const BitmapHandle& source, uint32_t flags) {
    if ((flags & DUP_PALETTE) == 0) {
        destination.Palette = source.Palette;
    } else if (!copyPalette(destination, source).ok()) {
        return FAILURE;
    }
    destination.ColorCount = source.ColorCount;
    copyPlayback(destination, source);
    return SUCCESS;
}

Result duplicateRegion(BitmapHandle& destination, BitmapHandle& source, uint32_t flags) {
    if ((flags & DUP_REGION) != 0) return copyRegion(destination, source, 0, 0);
    destination.Region = source.Region;
    return SUCCESS;
}

Result duplicateOverlays(BitmapHandle& destination, const BitmapHandle& source, uint32_t flags) {
    if ((flags & DUP_OVERLAYS) != 0) return copyOverlays(destination, source);
    destination.pOverlays = source.pOverlays;
    return SUCCESS;
}

Result duplicateGray(BitmapHandle& destination, const BitmapHandle& source, uint32_t flags) {
    const bool sameSamples = carriesGrayParams(source) && destination.BitsPerPixel == source.BitsPerPixel;
    if ((flags & DUP_ALLOCATE) == 0 || !sameSamples) return SUCCESS;
    return copyGrayParams(destination, source);
}

void copyByteMap(BitmapHandle& destination, const BitmapHandle& source) {
    if (destination.pByteMap == nullptr || source.pByteMap == nullptr) return;
    std::memcpy(destination.pByteMap, source.pByteMap, kByteMapBytes);
    destination.Flags = (destination.Flags & ~BMF_BYTEMAP) | (source.Flags & BMF_BYTEMAP);
    destination.ByteMapParam1 = source.ByteMapParam1;
    destination.ByteMapParam2 = source.ByteMapParam2;
    destination.ByteMapParam3 = source.ByteMapParam3;
}

Result copyTable(const PaletteEntry* entries, uint32_t length, PaletteEntry** copy) {
    if (length == 0) return SUCCESS;
    const uint64_t bytes = uint64_t{length} * sizeof(PaletteEntry);
    if (bytes > SIZE_MAX) return FAILURE;
    *copy = static_cast<PaletteEntry*>(platform->allocateGlobal(static_cast<size_t>(bytes), false));
    if (*copy == nullptr) return FAILURE;
    std::memcpy(*copy, entries, static_cast<size_t>(bytes));
    return SUCCESS;
}

// Undoes with the items that `attached` names; the others are not the destination's yet and only detached.
Result undoUnless(Result result, BitmapHandle& destination, uint32_t attached) {
    if (!result.ok()) freeDuplicateBitmap(destination, attached);
    return result;
}

}  // namespace

Result duplicateBitmap(BitmapHandle& destination, BitmapHandle& source, int32_t width, int32_t height, int32_t bits,
                       uint32_t flags, Content content) {
    assert(isAllocated(source));
    TRY(initBitmap(destination, width, height, bits));
    inheritDescription(destination, source);
    if ((flags & DUP_ALLOCATE) != 0) TRY(allocateBitmap(destination, requestLike(source), content));
    TRY(undoUnless(duplicatePalette(destination, source, flags), destination, flags & (DUP_ALLOCATE | DUP_PALETTE)));
    TRY(undoUnless(duplicateRegion(destination, source, flags), destination, flags & (DUP_ALLOCATE | DUP_PALETTE)));
    TRY(undoUnless(duplicateOverlays(destination, source, flags), destination, flags & ~DUP_OVERLAYS));
    TRY(undoUnless(duplicateGray(destination, source, flags), destination, flags));
    copyByteMap(destination, source);
    return SUCCESS;
}

void freeDuplicateBitmap(BitmapHandle& bitmap, uint32_t flags) {
    if ((flags & DUP_PALETTE) == 0) bitmap.Palette = nullptr;
    if ((flags & DUP_REGION) == 0) bitmap.Region = 0;
    if ((flags & DUP_OVERLAYS) == 0) bitmap.pOverlays = nullptr;
    if ((flags & DUP_ALLOCATE) != 0) {
        freeBitmap(bitmap);
        return;
    }
    // KEEP: an overlay set and a gray table stay in the record; freeing whatever it holds would be the tempting repair.
    freeBitmapPalette(bitmap);
    deleteRegion(bitmap);
}

// The table comes first: without memory for it the destination keeps its own parameters.
Result copyGrayParams(BitmapHandle& destination, const BitmapHandle& source) {
    if (&destination == &source) return SUCCESS;
    PaletteEntry* table = nullptr;
    const uint32_t length = source.pLUT != nullptr ? source.LUTLength : 0;
    TRY(copyTable(source.pLUT, length, &table));
    // Records that name the same table: it stays the source's.
    if (destination.pLUT == source.pLUT) destination.pLUT = nullptr;
    freeGrayTable(destination);
    destination.pLUT = table;
    destination.LUTLength = length;
    destination.LowBit = source.LowBit;
    destination.HighBit = source.HighBit;
    destination.MinVal = source.MinVal;
    destination.MaxVal = source.MaxVal;
    destination.DataLowBit = source.DataLowBit;
    destination.DataHighBit = source.DataHighBit;
    destination.Flags = (destination.Flags & ~BMF_WINDOW) | (source.Flags & BMF_WINDOW);
    return SUCCESS;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_DupBitmapNewDim(BitmapHandle* Destination, BitmapHandle* Source, uint32_t StructSize,
                                              int32_t Width, int32_t Height, int32_t BitsPerPixel, uint32_t DupFlags) {
    if (Destination == nullptr) return ERROR_NOT_ALLOCATED;
    const Result entry = checkEntry(kSourceEntry, Source);
    if (!entry.ok()) return entry.code;
    if (StructSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    // The destination is filled anew, which would lose the source's storage.
    if (Destination == Source) return ERROR_INVALID_PARAMETER;
    return duplicateBitmap(*Destination, *Source, Width, Height, BitsPerPixel, DupFlags).code;
}

extern "C" int32_t TNK_CALL T_FreeDuplicateBitmap(BitmapHandle* Bitmap, uint32_t DupFlags) {
    if (Bitmap == nullptr) return ERROR_INVALID_PARAMETER;
    freeDuplicateBitmap(*Bitmap, DupFlags);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_CopyGrayParams(BitmapHandle* Destination, const BitmapHandle* Source) {
    if (Destination == nullptr) return ERROR_INVALID_PARAMETER;
    Result result = checkEntry(kGrayParamsEntry, Source);
    if (result.ok()) result = checkEntry(kGrayParamsEntry, Destination);
    if (result.ok()) result = copyGrayParams(*Destination, *Source);
    return result.code;
}
