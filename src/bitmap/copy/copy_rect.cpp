// Copies of rectangles, and trimming.
#include <algorithm>
#include <cstdint>

#include "base/pixel_format.h"
#include "base/scratch.h"
#include "bitmap/copy/bit_run.h"
#include "bitmap/copy/copy.h"
#include "bitmap/hooks.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "bitmap/storage/storage.h"
#include "system/dispatch.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kRectEntry = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, ERROR_STRUCT_SIZE};

struct Rectangle {
    int32_t left;
    int32_t top;
    int32_t width;
    int32_t height;
};

// The pixels that a rectangle has in common with the source, and where they go.
struct Block {
    int32_t x;
    int32_t y;
    int32_t width;  // below 1, like the height: nothing in common
    int32_t height;
    int32_t toX;
    int32_t toY;
};

struct Overlap {
    int32_t start;
    int32_t extent;  // negative when the two lie apart
};

Overlap overlap(int32_t start, int32_t extent, int32_t limit) {
    const int32_t first = std::max(start, 0);
    const int64_t end = std::min(int64_t{start} + extent, int64_t{limit});
    return {first, static_cast<int32_t>(std::max<int64_t>(end - first, INT32_MIN))};
}

Block cut(const Rectangle& wanted, const BitmapHandle& source) {
    const Overlap columns = overlap(wanted.left, wanted.width, source.Width);
    const Overlap rows = overlap(wanted.top, wanted.height, source.Height);
    Block block{columns.start, rows.start, columns.extent, rows.extent, 0, 0};
    if (block.width < 1 || block.height < 1) return block;
    block.toX = block.x - wanted.left;
    block.toY = block.y - wanted.top;
    return block;
}

// The bits of a run of pixels in a row.
struct BitSpan {
    BitSpan(int32_t column, int32_t width, int32_t bitsPerPixel)
        : bits(uint64_t{static_cast<uint32_t>(width)} * static_cast<uint32_t>(bitsPerPixel)) {
        const uint64_t first = uint64_t{static_cast<uint32_t>(column)} * static_cast<uint32_t>(bitsPerPixel);
        byte = static_cast<size_t>(first >> 3);
        phase = static_cast<uint32_t>(first & 7);
        bytes = static_cast<uint32_t>((phase + bits + 7) >> 3);
    }
    uint64_t bits;
    size_t byte;
    uint32_t phase;
    uint32_t bytes;
};

// Lends the bytes of a run of pixels of several rows: where they lie, or from scratch that was filled from elsewhere.
class SpanReader {
  public:
    SpanReader(BitmapHandle& bitmap, int32_t column, const BitSpan& span)
        : bitmap_(bitmap), column_(static_cast<uint32_t>(column)), span_(span) {}

    Result prepare(int32_t window) {
        uint8_t* rows = nullptr;
        TRY(storageOf(bitmap_).lend(bitmap_, 0, 1, &rows));
        direct_ = rows != nullptr;
        return direct_ || scratch_.allocate(uint64_t{span_.bytes} * static_cast<uint32_t>(window)) ? SUCCESS : FAILURE;
    }

    Result read(int32_t first, int32_t count, uint8_t** rows) {
        uint8_t* start = scratch_.data();
        if (direct_) {
            TRY(storageOf(bitmap_).lend(bitmap_, first, count, &start));
            start += span_.byte;
        } else {
            TRY(fill(first, count));
        }
        // Stepping a pointer on would take it a row past the last one, which an address space of 32 bits may not have.
        const size_t stride = direct_ ? bitmap_.BytesPerLine : span_.bytes;
        for (int32_t i = 0; i < count; ++i) rows[i] = start + stride * static_cast<uint32_t>(i);
        noteRow(bitmap_, first + count - 1);
        return SUCCESS;
    }

  private:
    Result fill(int32_t first, int32_t count) {
        uint8_t* target = scratch_.data();
        for (int32_t row = first; row < first + count; ++row, target += span_.bytes) {
            TRY(wholeTransfer(storageOf(bitmap_).read(bitmap_, row, column_, target, span_.bytes), span_.bytes));
        }
        return SUCCESS;
    }

    BitmapHandle& bitmap_;
    uint32_t column_;
    const BitSpan& span_;
    Scratch<uint8_t> scratch_;
    bool direct_ = false;
};

// A row that cannot be stored ends a copy with -1, whatever the storage says.
class CopyWriter {
  public:
    explicit CopyWriter(BitmapHandle& bitmap) : writer_(bitmap) {}
    Result prepare(int32_t window) { return plain(writer_.prepare(window)); }
    Result lend(int32_t first, int32_t count, uint8_t** rows) { return plain(writer_.lend(first, count, rows)); }
    Result put(int32_t count) { return plain(writer_.put(count)); }

  private:
    static Result plain(Result result) { return result.ok() ? SUCCESS : FAILURE; }
    RowWriter writer_;
};

// The destination is new, and zero where there is anything beside the block.
Result copyBlock(BitmapHandle& destination, BitmapHandle& source, const Block& block, Progress& progress) {
    const Locked sourceLock(source);
    const Locked destinationLock(destination);
    const BitSpan from(block.x, block.width, source.BitsPerPixel);
    const BitSpan to(block.toX, block.width, source.BitsPerPixel);
    const bool lowFirst = source.BitsPerPixel == 12;
    const RowLoop loop{.rows = block.height,
                       .band = std::min(bandRows(source), bandRows(destination)),
                       .from = block.y,
                       .to = block.toY};
    SpanReader reader(source, block.x, from);
    CopyWriter writer(destination);
    return mapRows(reader, writer, loop, progress, [&](uint8_t** input, uint8_t** output, int32_t count) {
        for (int32_t i = 0; i < count; ++i) {
            moveBits(output[i] + to.byte, to.phase, input[i], from.phase, from.bits, lowFirst);
        }
        return Result(SUCCESS);
    });
}

// Modulo 2^32: what lies further away has nothing in common with the source.
int32_t negated(int32_t value) { return static_cast<int32_t>(0u - static_cast<uint32_t>(value)); }

// KEEP: a copy that the callback stops stays with the rows so far, unlike one that fails; freeing both would be the tempting
// repair.
Result copyRectApart(BitmapHandle& destination, BitmapHandle& source, const Rectangle& wanted,
                     const uint32_t* request) {
    const Block block = cut(wanted, source);
    const bool whole = block.width == wanted.width && block.height == wanted.height;
    TRY(makeCopyRecord(destination, source, wanted.width, wanted.height, request,
                       whole ? contentToFill() : Content::zero));
    Result result = moveRegion(destination, source, negated(wanted.left), negated(wanted.top));
    // KEEP: the numbers of the rectangle, which counts stored rows, also where overlays are placed in a picture that is seen
    // otherwise; to map them into what is seen would be the tempting repair.
    if (result.ok()) {
        result = moveOverlays(&BitmapHooks::offsetOverlays, destination, negated(wanted.left), negated(wanted.top));
    }
    Progress progress = copyProgress(destination.Height);
    if (result.ok() && block.width > 0 && block.height > 0) result = copyBlock(destination, source, block, progress);
    if (!result.ok() && !progress.stopped()) freeBitmap(destination);
    return result;
}

Result copyRect(BitmapHandle* destination, BitmapHandle& source, const Rectangle& wanted, const uint32_t* request) {
    if (wanted.width < 0 || wanted.height < 0) return ERROR_INVALID_SIZE;
    if (destination != nullptr && destination != &source) return copyRectApart(*destination, source, wanted, request);
    TempBitmap copy;
    TRY(copyRectApart(copy.record, source, wanted, request));
    freeBitmap(source);
    copy.moveTo(source);
    return SUCCESS;
}

int32_t checkAndCopy(BitmapHandle* destination, BitmapHandle* source, uint32_t structSize, const Rectangle& wanted,
                     const uint32_t* request) {
    const Result entry = checkEntry(kRectEntry, source);
    if (!entry.ok()) return entry.code;
    if (structSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    return copyRect(destination, *source, wanted, request).code;
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_CopyBitmapRect(BitmapHandle* Destination, BitmapHandle* Source, uint32_t StructSize,
                                             int32_t Left, int32_t Top, int32_t Width, int32_t Height) {
    return checkAndCopy(Destination, Source, StructSize, {Left, Top, Width, Height}, nullptr);
}

extern "C" int32_t TNK_CALL T_CopyBitmapRect2(BitmapHandle* Destination, BitmapHandle* Source, uint32_t StructSize,
                                              int32_t Left, int32_t Top, int32_t Width, int32_t Height,
                                              uint32_t MemoryType) {
    return checkAndCopy(Destination, Source, StructSize, {Left, Top, Width, Height}, &MemoryType);
}

extern "C" int32_t TNK_CALL T_TrimBitmap(BitmapHandle* Bitmap, int32_t Left, int32_t Top, int32_t Width,
                                         int32_t Height) {
    const Result entry = checkEntry(kRectEntry, Bitmap);
    if (!entry.ok()) return entry.code;
    const Block block = cut({Left, Top, Width, Height}, *Bitmap);
    return copyRect(nullptr, *Bitmap, {block.x, block.y, block.width, block.height}, nullptr).code;
}
