// Device-independent bitmaps made from bitmaps.
#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/pixel_format.h"
#include "base/sample_rules.h"
#include "base/shape.h"
#include "bitmap/lifecycle.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "color/reduce/color_resolution.h"
#include "convert/row_converter.h"
#include "format/dib/dib_header.h"
#include "geometry/change_view.h"
#include "geometry/mirror_line.h"
#include "geometry/view.h"
#include "palette/palette.h"
#include "platform/platform.h"
#include "system/settings.h"
#include "tnkrn.h"

namespace tnk {
namespace {

constexpr EntryRule kExportEntry = {ERROR_INVALID_PARAMETER, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};

// ---- pixels ----

// The depth that a DIB has room for.
int32_t dibBits(const BitmapHandle& bitmap) {
    switch (bitmap.BitsPerPixel) {
        case 2:
        case 3:
            return 4;
        case 5:
        case 6:
        case 7:
            return 8;
        case 12:
        case 48:
            return 24;
        case 64:
            return 32;
        default:
            return bitmap.BitsPerPixel == 16 && hasGraySamples(bitmap) ? 24 : bitmap.BitsPerPixel;
    }
}

bool isStoredAsDib(const BitmapHandle& bitmap) {
    const int32_t bits = dibBits(bitmap);
    return bits == bitmap.BitsPerPixel && (bits <= 8 || bitmap.Order == ORDER_BGR);
}

// Rows as the DIB has them: those of the bitmap, or converted as colour resolution would. Fewer bits become the next depth
// with the same colours, so that indexes stay.
class DibPixels {
  public:
    Result prepare(const BitmapHandle& bitmap) {
        colors_ = 0;
        if (bitmap.BitsPerPixel <= 8) readColors(bitmap);
        converts_ = !isStoredAsDib(bitmap);
        if (!converts_) return SUCCESS;
        TRY(checkColorResSource(bitmap));
        TRY(checkSampleTable(bitmap));
        ConvertSpec spec = conversionFrom(bitmap, entries_);
        spec.bitsDst = dibBits(bitmap);
        spec.orderDst = ORDER_BGR;
        spec.paletteDst = entries_;
        return converter_.prepare(spec);
    }

    const PaletteEntry* entries() const { return entries_; }
    uint32_t colors() const { return colors_; }
    bool converts() const { return converts_; }
    Result convert(const uint8_t* from, uint8_t* to, int32_t width) { return converter_.run(from, to, width); }

  private:
    void readColors(const BitmapHandle& bitmap) {
        const auto room = 1u << dibBits(bitmap);
        colors_ = std::min(paletteLength(bitmap), room);
        // A count of 0 stands for all that the depth has.
        if (colors_ == 0 || dibBits(bitmap) != bitmap.BitsPerPixel) colors_ = room;
        readBitmapPalette(bitmap, entries_);
        if (bitmap.Palette == nullptr) {
            const auto own = 1u << bitmap.BitsPerPixel;
            std::copy_n(fixedPalette(bitmap.BitsPerPixel), own, entries_);
        }
        for (PaletteEntry& entry : entries_) entry.Reserved = 0;
    }

    PaletteEntry entries_[kMaxPaletteEntries] = {};
    uint32_t colors_ = 0;
    bool converts_ = false;
    RowConverter converter_;
};

// ---- the block ----

// A movable block that is locked while it lives and belongs to nobody before release().
class DibBlock {
  public:
    DibBlock() = default;
    ~DibBlock() {
        if (data_ != nullptr) platform->unlockMovable(handle_);
        if (handle_ != 0) platform->freeMovable(handle_);
    }
    DibBlock(const DibBlock&) = delete;
    DibBlock& operator=(const DibBlock&) = delete;

    Result allocate(uint64_t bytes) {
        if (bytes > UINT32_MAX || bytes > kLargestBlock) return ERROR_SIZE_TOO_LARGE;
        handle_ = platform->allocateMovable(static_cast<size_t>(bytes), false);
        if (handle_ != 0) data_ = static_cast<uint8_t*>(platform->lockMovable(handle_));
        return data_ != nullptr ? SUCCESS : FAILURE;
    }
    uint8_t* data() const { return data_; }
    T_HANDLE release() {
        platform->unlockMovable(handle_);
        data_ = nullptr;
        return std::exchange(handle_, 0);
    }

  private:
    T_HANDLE handle_ = 0;
    uint8_t* data_ = nullptr;
};

// ---- rows ----

// What becomes of the bitmap that rows are read from.
enum class Source { kept, consumed };

// Gives rows back in parts large enough that the calls do not count.
class RowsLeftBehind {
  public:
    RowsLeftBehind(const BitmapHandle& bitmap, Source source)
        : bitmap_(bitmap), consumed_(source == Source::consumed) {}

    // Nobody reads the rows before `end` again.
    void passed(int32_t end) {
        constexpr uint64_t kPartBytes = 4u << 20;
        if (!consumed_ || Shape(bitmap_).bytes(end - first_) < kPartBytes) return;
        forgetRows(bitmap_, first_, end - first_);
        first_ = end;
    }

  private:
    const BitmapHandle& bitmap_;
    bool consumed_;
    int32_t first_ = 0;
};

// How rows of a picture that does not lie on its side are read.
bool isBottomFirst(const BitmapHandle& bitmap) {
    return bitmap.ViewPerspective == BOTTOM_LEFT || bitmap.ViewPerspective == BOTTOM_RIGHT;
}
bool isRightFirst(const BitmapHandle& bitmap) {
    return bitmap.ViewPerspective == TOP_RIGHT || bitmap.ViewPerspective == BOTTOM_RIGHT;
}

// Rows of one bitmap as those of a DIB.
class RowCopy {
  public:
    RowCopy(const BitmapHandle& bitmap, DibPixels& pixels, uint8_t* bits, size_t line)
        : bitmap_(bitmap),
          pixels_(pixels),
          bits_(bits),
          line_(line),
          bottomFirst_(isBottomFirst(bitmap)),
          rightFirst_(isRightFirst(bitmap)) {}

    // Rows that lie as they do in a DIB.
    bool isPlain() const { return bottomFirst_ && !rightFirst_ && !pixels_.converts(); }
    void runAll(const uint8_t* from) { std::memcpy(bits_, from, line_ * Shape(bitmap_).height); }

    Result run(int32_t row, const uint8_t* from) {
        const int32_t place = bottomFirst_ ? row : bitmap_.Height - 1 - row;
        uint8_t* to = bits_ + line_ * static_cast<uint32_t>(place);
        if (pixels_.converts()) {
            std::memset(to + line_ - 4, 0, 4);  // what lies behind the pixels
            TRY(pixels_.convert(from, to, bitmap_.Width));
        } else {
            std::memcpy(to, from, line_);
        }
        if (rightFirst_) mirrorPixels(to, Shape(bitmap_).width, dibBits(bitmap_));
        return SUCCESS;
    }

  private:
    const BitmapHandle& bitmap_;
    DibPixels& pixels_;
    uint8_t* bits_;
    size_t line_;
    bool bottomFirst_;
    bool rightFirst_;
};

// Once the first rows of a section are read nothing can fail any more, so that a bitmap which is consumed is never in parts.
Result writeRows(BitmapHandle& bitmap, RowCopy& copy, Source source) {
    const Locked lock(bitmap);
    bool direct = false;
    TRY(lendsRows(bitmap, &direct));
    uint8_t* all;
    if (direct && source == Source::kept && copy.isPlain()) {
        TRY(storageOf(bitmap).lend(bitmap, 0, bitmap.Height, &all));
        copy.runAll(all);
        return SUCCESS;
    }
    const int32_t band = bandRows(bitmap);
    RowReader reader(bitmap);
    TRY(reader.prepare(band));
    RowsLeftBehind behind(bitmap, source);
    uint8_t* rows[kMostBandRows];
    for (int32_t first = 0; first < bitmap.Height; first += band) {
        const int32_t count = std::min(band, bitmap.Height - first);
        TRY(reader.read(first, count, rows));
        for (int32_t i = 0; i < count; ++i) TRY(copy.run(first + i, rows[i]));
        behind.passed(first + count);
    }
    return SUCCESS;
}

void writeColors(const DibPixels& pixels, uint8_t* table) {
    std::memcpy(table, pixels.entries(), pixels.colors() * sizeof(PaletteEntry));
}

// `bitmap` does not lie on its side; `shown` says resolutions.
Result writeDib(BitmapHandle& bitmap, Source source, const BitmapHandle& shown, uint32_t type, DibBlock& block) {
    DibPixels pixels;
    TRY(pixels.prepare(bitmap));
    const int32_t bits = dibBits(bitmap);
    const uint64_t line = rowBytes(Shape(bitmap).width, static_cast<uint32_t>(bits));
    const uint64_t imageBytes = line * Shape(bitmap).height;
    const uint32_t headerBytes = dibHeaderBytes(type);
    const uint32_t tableBytes = pixels.colors() * static_cast<uint32_t>(sizeof(PaletteEntry));
    TRY(block.allocate(headerBytes + tableBytes + imageBytes));
    std::memset(block.data(), 0, headerBytes);
    writeDibHeader(type,
                   {.width = bitmap.Width,
                    .height = bitmap.Height,
                    .bits = bits,
                    .imageBytes = static_cast<uint32_t>(imageBytes),
                    .colors = pixels.colors(),
                    .xResolution = shown.XResolution,
                    .yResolution = shown.YResolution},
                   block.data());
    writeColors(pixels, block.data() + headerBytes);
    RowCopy copy(bitmap, pixels, block.data() + headerBytes + tableBytes, static_cast<size_t>(line));
    return writeRows(bitmap, copy, source);
}

Result exportDib(const BitmapHandle& bitmap, Source source, uint32_t type, DibBlock& block) {
    if (!isView(viewOf(bitmap))) return ERROR_INVALID_PARAMETER;
    // Rows are read through a copy of the record, whose notes of rows read are then not the caller's.
    BitmapHandle read = bitmap;
    if (!isRotatedView(bitmap)) return writeDib(read, source, bitmap, type, block);
    TempBitmap turned;
    constexpr uint32_t kEverything = DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | DUP_OVERLAYS;
    const CallbackOff silence;
    TRY(copyWithView(turned.record, read, BOTTOM_LEFT, kEverything));
    return writeDib(turned.record, Source::consumed, bitmap, type, block);
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" T_HANDLE TNK_CALL T_ConvertToDIB(BitmapHandle* Bitmap, uint32_t Type) {
    if (!checkEntry(kExportEntry, Bitmap).ok()) return 0;
    DibBlock block;
    return exportDib(*Bitmap, Source::kept, Type, block).ok() ? block.release() : 0;
}

extern "C" T_HANDLE TNK_CALL T_ChangeToDIB(BitmapHandle* Bitmap, uint32_t Type) {
    if (!checkEntry(kExportEntry, Bitmap).ok() || (Bitmap->Flags & (BMF_LOCKED | BMF_SIGNED)) != 0) return 0;
    DibBlock block;
    if (!exportDib(*Bitmap, Source::consumed, Type, block).ok()) return 0;
    freeBitmap(*Bitmap);
    return block.release();
}
