// Whole copies of bitmaps.
#include "bitmap/copy/copy.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/sample_rules.h"
#include "base/scratch.h"
#include "base/shape.h"
#include "bitmap/hooks.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "bitmap/storage/storage.h"
#include "bitmap/storage/storage_compressed.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kStoredEntry = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, 0};
constexpr EntryRule kSourceEntry = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, ERROR_STRUCT_SIZE};
constexpr EntryRule kStoredDataEntry = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, 0};
constexpr EntryRule kDataEntry = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};

constexpr uint32_t kCopyEverything = DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | DUP_OVERLAYS;
constexpr uint32_t kCopyAttachments = kCopyEverything & ~DUP_ALLOCATE;

// Moves stored rows, as many bytes of each as the destination's rows have. Rows that have an address are read or written
// where they lie; only between two bitmaps without one they go through scratch.
class RowMover {
  public:
    RowMover(BitmapHandle& source, BitmapHandle& destination) : source_(source), destination_(destination) {}

    Result prepare() {
        TRY(storageOf(source_).lend(source_, 0, source_.Height, &from_));
        if (!storageOf(destination_).lend(destination_, 0, source_.Height, &to_).ok()) return FAILURE;
        // Rows of one length lie in both alike: in memory one move does for all.
        band_ = source_.BytesPerLine != destination_.BytesPerLine ? 1
                : from_ != nullptr && to_ != nullptr              ? source_.Height
                                                                  : bandRows(source_);
        if (from_ != nullptr || to_ != nullptr) return SUCCESS;
        return scratch_.allocate(Shape(destination_).bytes(band_)) ? SUCCESS : FAILURE;
    }

    int32_t band() const { return band_; }

    Result move(int32_t first, int32_t count) {
        const size_t bytes = Shape(destination_).offset(count);
        uint8_t* from = at(source_, from_, first);
        uint8_t* to = to_ != nullptr ? at(destination_, to_, first) : from != nullptr ? from : scratch_.data();
        if (from == nullptr) {
            TRY(wholeTransfer(getRow(source_, to, first, static_cast<uint32_t>(bytes)), bytes));
        } else if (from != to) {
            std::memmove(to, from, bytes);  // records may share their memory
        }
        if (to_ == nullptr && putRow(destination_, to, first, static_cast<uint32_t>(bytes)) != int64_t(bytes)) {
            return FAILURE;
        }
        noteRow(source_, first + count - 1);
        noteRow(destination_, first + count - 1);
        return SUCCESS;
    }

  private:
    static uint8_t* at(const BitmapHandle& bitmap, uint8_t* rows, int32_t row) {
        return rows != nullptr ? rows + Shape(bitmap).offset(row) : nullptr;
    }

    BitmapHandle& source_;
    BitmapHandle& destination_;
    uint8_t* from_ = nullptr;
    uint8_t* to_ = nullptr;
    int32_t band_ = 1;
    Scratch<uint8_t> scratch_;
};

// Moves run-compressed rows as they are encoded; the put cuts a longer one and lengthens a shorter one with 0.
class RunMover {
  public:
    RunMover(BitmapHandle& source, BitmapHandle& destination) : source_(source), destination_(destination) {}

    static bool takes(const BitmapHandle& source, const BitmapHandle& destination) {
        return (source.Flags & destination.Flags & BMF_COMPRESSED) != 0;
    }

    Result prepare() { return row_.allocate(2 * uint64_t{Shape(source_).width} + 6) ? SUCCESS : FAILURE; }

    int32_t band() const { return kMostBandRows; }

    Result move(int32_t first, int32_t count) {
        for (int32_t row = first; row < first + count; ++row) {
            TRY(getEncodedRow(source_, row, row_.data()));
            TRY(putEncodedRow(destination_, row, row_.data()));
        }
        return SUCCESS;
    }

  private:
    BitmapHandle& source_;
    BitmapHandle& destination_;
    Scratch<uint8_t> row_;
};

template <typename Mover>
Result moveAllRows(Mover mover, int32_t rows) {
    TRY(mover.prepare());
    Progress progress = copyProgress(rows);
    return forBands(rows, mover.band(), progress, [&](int32_t row, int32_t count) { return mover.move(row, count); });
}

int32_t checkAndCopy(BitmapHandle* destination, BitmapHandle* source, uint32_t structSize, const uint32_t* request) {
    if (destination == nullptr) return ERROR_INVALID_PARAMETER;
    Result entry = checkEntry(kStoredEntry, source);
    // KEEP: a bitmap is its own copy whatever the sizes say; looking at them first would be the tempting repair.
    if (entry.ok() && destination == source) return SUCCESS;
    if (entry.ok()) entry = checkEntry(kSourceEntry, source);
    if (!entry.ok()) return entry.code;
    if (structSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    return copyBitmap(*destination, *source, request).code;
}

}  // namespace

Result copyData(BitmapHandle& destination, BitmapHandle& source) {
    // Longer rows would take what lies behind the source's. Shorter ones take what they have room for.
    if (destination.BytesPerLine > source.BytesPerLine || destination.Height < source.Height) {
        return ERROR_INVALID_PARAMETER;
    }
    const Locked sourceLock(source);
    const Locked destinationLock(destination);
    if (RunMover::takes(source, destination)) return moveAllRows(RunMover(source, destination), source.Height);
    return moveAllRows(RowMover(source, destination), source.Height);
}

Result copyBitmap(BitmapHandle& destination, BitmapHandle& source, const uint32_t* request) {
    assert(isAllocated(source) && &destination != &source);
    TRY(makeCopyRecord(destination, source, source.Width, source.Height, request, contentToFill()));
    const Result copied = copyData(destination, source);
    if (!copied.ok()) freeBitmap(destination);
    return copied;
}

Result makeCopyRecord(BitmapHandle& destination, BitmapHandle& source, int32_t width, int32_t height,
                      const uint32_t* request, Content content) {
    const int32_t bits = source.BitsPerPixel;
    if (request == nullptr) return duplicateBitmap(destination, source, width, height, bits, kCopyEverything, content);
    TRY(duplicateBitmap(destination, source, width, height, bits, kCopyAttachments));
    Result result = carriesGrayParams(source) ? copyGrayParams(destination, source) : Result(SUCCESS);
    if (result.ok()) result = allocateBitmap(destination, *request, content);
    if (result.ok()) return result;
    freeDuplicateBitmap(destination, kCopyAttachments);
    releaseOverlays(destination);
    freeGrayTable(destination);
    return result;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_CopyBitmap(BitmapHandle* Destination, BitmapHandle* Source, uint32_t StructSize) {
    return checkAndCopy(Destination, Source, StructSize, nullptr);
}

extern "C" int32_t TNK_CALL T_CopyBitmap2(BitmapHandle* Destination, BitmapHandle* Source, uint32_t MemoryType,
                                          uint32_t StructSize) {
    return checkAndCopy(Destination, Source, StructSize, &MemoryType);
}

extern "C" int32_t TNK_CALL T_CopyBitmapData(BitmapHandle* Destination, BitmapHandle* Source) {
    Result entry = checkEntry(kStoredDataEntry, Source);
    if (entry.ok()) entry = checkEntry(kStoredDataEntry, Destination);
    if (entry.ok() && Destination == Source) return SUCCESS;
    if (entry.ok()) entry = checkEntry(kDataEntry, Source);
    if (entry.ok()) entry = checkEntry(kDataEntry, Destination);
    if (!entry.ok()) return entry.code;
    return copyData(*Destination, *Source).code;
}
