// Changing a 1-bit bitmap between run-compressed and plain storage where it stands.
#include <utility>

#include "bitmap/lifecycle.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "bitmap/storage/storage.h"
#include "bitmap/storage/storage_compressed.h"
#include "system/settings.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kCompressionEntry = {ERROR_INVALID_PARAMETER, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};

Result copyRows(BitmapHandle& source, BitmapHandle& destination) {
    Progress progress = statusProgress(source.Height);
    RowReader reader(source);
    TRY(reader.prepare());
    return forBands(source.Height, 1, progress, [&](int32_t y, int32_t) {
        uint8_t* row = nullptr;
        TRY(reader.read(y, 1, &row));
        return wholeTransfer(putRow(destination, row, y, source.BytesPerLine), source.BytesPerLine);
    });
}

// Everything that says where the pixels are, and nothing else.
void swapStorage(BitmapHandle& a, BitmapHandle& b) {
    std::swap(a.DataHandle, b.DataHandle);
    std::swap(a.pData, b.pData);
    std::swap(a.DataOffset, b.DataOffset);
    std::swap(a.Size, b.Size);
    const uint32_t flags = (a.Flags ^ b.Flags) & kStorageFlags;
    a.Flags ^= flags;
    b.Flags ^= flags;
    const LibraryLock lock;
    std::swap(a.CurrentPos, b.CurrentPos);
    std::swap(a.CurrentRow, b.CurrentRow);
}

Result changeCompression(BitmapHandle& bitmap, bool compress) {
    if (bitmap.BitsPerPixel != 1) return ERROR_BPP_NOT_SUPPORTED;
    if (compress == isCompressed(bitmap)) return SUCCESS;
    // Somebody works on the pixels at their address.
    if ((bitmap.Flags & BMF_LOCKED) != 0) return ERROR_INVALID_PARAMETER;
    TempBitmap changed;
    TRY(initBitmap(changed.record, bitmap.Width, bitmap.Height, 1));
    TRY(allocateBitmap(changed.record, compress ? MEM_COMPRESSED : MEM_CONVENTIONAL));
    {
        const Locked lock(bitmap);
        TRY(copyRows(bitmap, changed.record));
    }
    // What the bitmap held goes with the temporary record; memory of a caller stays the caller's.
    swapStorage(bitmap, changed.record);
    return SUCCESS;
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_ChangeBitmapCompression(BitmapHandle* Bitmap, uint32_t Compress) {
    const Result entry = checkEntry(kCompressionEntry, Bitmap);
    if (!entry.ok()) return entry.code;
    return changeCompression(*Bitmap, Compress != 0).code;
}

extern "C" int32_t TNK_CALL T_ToggleBitmapCompression(BitmapHandle* Bitmap) {
    const Result entry = checkEntry(kCompressionEntry, Bitmap);
    if (!entry.ok()) return entry.code;
    return changeCompression(*Bitmap, !isCompressed(*Bitmap)).code;
}
