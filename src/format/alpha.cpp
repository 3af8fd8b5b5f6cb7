// Alpha channels: one value for all pixels, out to a gray bitmap and back from one.
#include <algorithm>
#include <cstddef>

#include "base/pixel_values.h"
#include "base/shape.h"
#include "bitmap/lifecycle.h"
#include "bitmap/region_scan.h"
#include "bitmap/row_edit.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "color/reduce/color_resolution.h"
#include "format/gray_bitmap.h"
#include "geometry/change_view.h"
#include "geometry/view.h"
#include "palette/palette.h"
#include "system/dispatch.h"
#include "system/settings.h"
#include "system/status.h"
#include "tnkrn.h"

namespace tnk {
namespace {

constexpr EntryRule kAlphaRule = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, ERROR_STRUCT_SIZE};
constexpr EntryRule kStorageRule = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, 0};

// ---- rows ----

void setRowAlpha(int32_t bits, uint8_t* row, size_t pixels, uint32_t alpha) {
    if (bits == 32) {
        for (size_t i = 0; i < pixels; ++i) row[4 * i + 3] = static_cast<uint8_t>(alpha);
    } else if (bits == 64) {
        for (size_t i = 0; i < pixels; ++i) store16(row + 8 * i + 6, alpha);
    }
}

// The channel of a row of 16, 32 or 64 bits as samples of 8, 8 or 16.
void takeAlpha(int32_t bits, const uint8_t* __restrict row, uint8_t* __restrict alpha, size_t pixels) {
    if (bits == 16) {
        for (size_t i = 0; i < pixels; ++i) alpha[i] = static_cast<uint8_t>(-(row[2 * i + 1] >> 7));
    } else if (bits == 32) {
        for (size_t i = 0; i < pixels; ++i) alpha[i] = static_cast<uint8_t>(load32(row + 4 * i) >> 24);
    } else {
        for (size_t i = 0; i < pixels; ++i) store16(alpha + 2 * i, load16(row + 8 * i + 6));
    }
}

// Levels into the channel of a row of 16, 32 or 64 bits; of 1 bit at 16, else of as many bits as takeAlpha() gives.
void putAlpha(int32_t bits, int32_t maskBits, const uint8_t* __restrict mask, uint8_t* __restrict row, size_t pixels) {
    if (bits == 16 && maskBits == 1) {
        for (size_t i = 0; i < pixels; ++i) {
            const uint32_t bit = mask[i / 8] >> (7 - i % 8) & 1u;
            row[2 * i + 1] = static_cast<uint8_t>((row[2 * i + 1] & 0x7F) | bit << 7);
        }
    } else if (bits == 16) {
        // 128 and more is the upper half: the top bit.
        for (size_t i = 0; i < pixels; ++i) {
            row[2 * i + 1] = static_cast<uint8_t>((row[2 * i + 1] & 0x7F) | (mask[i] & 0x80));
        }
    } else if (bits == 32) {
        for (size_t i = 0; i < pixels; ++i) {
            storeAs(row + 4 * i, (load32(row + 4 * i) & 0x00FFFFFF) | uint32_t{mask[i]} << 24);
        }
    } else {
        for (size_t i = 0; i < pixels; ++i) store16(row + 8 * i + 6, load16(mask + 2 * i));
    }
}

// ---- one value ----

Result setAlphaValues(BitmapHandle& bitmap, uint32_t alpha) {
    RegionScan region(bitmap, AskRegion::always);
    TRY(region.prepare());
    if (region.empty()) return SUCCESS;
    const Shape shape(bitmap);
    const Locked lock(bitmap);
    Progress progress = statusProgress(region.rows());
    if (region.whole()) {
        return editRows(bitmap, 0, bitmap.Height, progress, [&](int32_t, int32_t count, uint8_t* rows) {
            for (int32_t i = 0; i < count; ++i) {
                setRowAlpha(bitmap.BitsPerPixel, rows + shape.offset(i), shape.width, alpha);
            }
            return Result(SUCCESS);
        });
    }
    Scratch<uint8_t> row;
    if (!row.allocate(shape.bytes(1))) return FAILURE;
    return forBands(region.rows(), 1, progress, [&](int32_t done, int32_t) {
        const int32_t at = region.top() + done;
        TRY(wholeTransfer(getRow(bitmap, row.data(), at, shape.lineBytes), shape.lineBytes));
        setRowAlpha(bitmap.BitsPerPixel, row.data(), shape.width, alpha);
        TRY(region.readRow(at));
        const std::span<const RowSegment> segments = region.segments();
        if (segments.empty()) return Result(SUCCESS);
        return putRowSegments(bitmap, row.data(), at, 0, &segments[0].start, static_cast<uint32_t>(segments.size() * 2),
                              false);
    });
}

// ---- out ----

constexpr bool hasAlpha(int32_t bits) { return bits == 16 || bits == 32 || bits == 64; }

Result makeAlphaBitmap(BitmapHandle& bitmap, BitmapHandle& mask) {
    TRY(initBitmap(mask, bitmap.Width, bitmap.Height, bitmap.BitsPerPixel == 64 ? 16 : 8));
    if (mask.BitsPerPixel == 16) mask.Order = ORDER_GRAY;
    mask.ViewPerspective = bitmap.ViewPerspective;
    mask.XResolution = bitmap.XResolution;
    mask.YResolution = bitmap.YResolution;
    const Content content = hasAlpha(bitmap.BitsPerPixel) ? contentToFill() : Content::zero;
    TRY(allocateBitmap(mask, currentSettings().memoryType, content));
    TRY(copyRegion(mask, bitmap, 0, 0));
    return mask.BitsPerPixel == 8 ? attachGrayPalette(mask) : Result(SUCCESS);
}

Result getAlpha(BitmapHandle& bitmap, BitmapHandle& mask) {
    TRY(makeAlphaBitmap(bitmap, mask));
    // KEEP: the top bit of 16-bit pixels and the top byte of 32-bit ones is taken whatever their order, gray samples
    // included. Calling those opaque would be the tempting repair.
    if (!hasAlpha(bitmap.BitsPerPixel)) return SUCCESS;
    const Locked bitmapLock(bitmap);
    const Locked maskLock(mask);
    RowReader reader(bitmap);
    RowWriter writer(mask);
    Progress progress = statusProgress(bitmap.Height);
    return mapRows(reader, writer, {.rows = bitmap.Height, .band = bandRows(bitmap)}, progress,
                   [&](uint8_t** input, uint8_t** output, int32_t count) {
                       for (int32_t i = 0; i < count; ++i) {
                           takeAlpha(bitmap.BitsPerPixel, input[i], output[i], Shape(bitmap).width);
                       }
                       return Result(SUCCESS);
                   });
}

// ---- in ----

// What a bitmap of a depth without a channel becomes.
constexpr int32_t depthWithAlpha(int32_t bits) { return hasAlpha(bits) ? bits : bits == 48 ? 64 : 32; }

// Whether the pixels of a mask can go into a channel of that depth as they are.
bool servesAsMask(const BitmapHandle& mask, int32_t bits) {
    if (bits == 64) return hasGrayForm(mask, 16);
    const bool bilevel = bits == 16 && mask.BitsPerPixel == 1 && mask.Palette != nullptr && mask.ColorCount == 2 &&
                         classifyPalette(mask.Palette, 2) == GRAYSCALE_NORMAL;
    return bilevel || hasGrayForm(mask, 8);
}

// The mask in the form that the channel takes: as it is, or a copy.
class AlphaMask {
  public:
    Result prepare(BitmapHandle& mask, const BitmapHandle& target) {
        const int32_t bits = depthWithAlpha(target.BitsPerPixel);
        const int32_t view = viewOf(target);
        const CallbackOff silence;
        mask_ = &made_.record;
        if (!servesAsMask(mask, bits)) {
            TRY(createGray(made_.record, mask, bits == 64 ? 16 : 8));
            return changeView(made_.record, view);
        }
        if (viewOf(mask) != view) return copyWithView(made_.record, mask, view, kEverything);
        mask_ = &mask;
        return SUCCESS;
    }
    BitmapHandle& bitmap() const { return *mask_; }

  private:
    // Whatever the copy has it frees.
    static constexpr uint32_t kEverything = DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | DUP_OVERLAYS;

    BitmapHandle* mask_ = nullptr;
    TempBitmap made_;
};

// A copy with a channel, for a bitmap that has none.
Result addChannel(BitmapHandle& bitmap, BitmapHandle& made) {
    const bool rgb = bitmap.BitsPerPixel >= 16 && bitmap.Order == ORDER_RGB;
    ColorResJob job{};
    TRY(settleColorRes(depthWithAlpha(bitmap.BitsPerPixel), rgb ? 0 : CRF_BGR, nullptr, 0, 0, job));
    const CallbackOff silence;
    return colorResBitmap(job, bitmap, &made);
}

Result putMask(BitmapHandle& bitmap, BitmapHandle& mask) {
    const Locked bitmapLock(bitmap);
    const Locked maskLock(mask);
    RowReader reader(mask);
    TRY(reader.prepare());
    const int32_t rows = std::min(bitmap.Height, mask.Height);
    const auto pixels = static_cast<size_t>(std::min(bitmap.Width, mask.Width));
    Progress progress = statusProgress(rows);
    return editRows(bitmap, 0, rows, progress, [&](int32_t first, int32_t count, uint8_t* target) {
        for (int32_t i = 0; i < count; ++i) {
            uint8_t* input;
            TRY(reader.read(first + i, 1, &input));
            putAlpha(bitmap.BitsPerPixel, mask.BitsPerPixel, input, target + Shape(bitmap).offset(i), pixels);
        }
        return Result(SUCCESS);
    });
}

Result setAlpha(BitmapHandle& bitmap, BitmapHandle& alphaBitmap) {
    AlphaMask mask;
    TRY(mask.prepare(alphaBitmap, bitmap));
    if (hasAlpha(bitmap.BitsPerPixel)) return putMask(bitmap, mask.bitmap());
    TempBitmap made;
    TRY(addChannel(bitmap, made.record));
    TRY(putMask(made.record, mask.bitmap()));
    freeBitmap(bitmap);
    made.moveTo(bitmap);
    return SUCCESS;
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" void TNK_CALL T_SetRowAlphaValues(int32_t BitsPerPixel, uint8_t* Row, uint32_t Bytes, uint32_t Alpha) {
    if (Row != nullptr && BitsPerPixel > 0) setRowAlpha(BitsPerPixel, Row, Bytes * uint64_t{8} / BitsPerPixel, Alpha);
}

extern "C" int32_t TNK_CALL T_SetBitmapAlphaValues(BitmapHandle* Bitmap, uint32_t Alpha) {
    if (const Result entry = checkEntry(kAlphaRule, Bitmap); !entry.ok()) return entry.code;
    if (Bitmap->BitsPerPixel != 32 && Bitmap->BitsPerPixel != 64) return ERROR_BPP_NOT_SUPPORTED;
    return setAlphaValues(*Bitmap, Alpha).code;
}

extern "C" int32_t TNK_CALL T_GetBitmapAlpha(BitmapHandle* Bitmap, BitmapHandle* AlphaBitmap, uint32_t StructSize) {
    if (AlphaBitmap == nullptr || AlphaBitmap == Bitmap) return ERROR_INVALID_PARAMETER;
    if (const Result entry = checkEntry(kAlphaRule, Bitmap); !entry.ok()) return entry.code;
    if (StructSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    if ((Bitmap->Flags & BMF_SIGNED) != 0) return ERROR_SIGNED_DATA;
    TempBitmap made;
    const Result result = getAlpha(*Bitmap, made.record);
    if (result.ok()) {
        made.moveTo(*AlphaBitmap);
    } else {
        (void)initBitmap(*AlphaBitmap, 0, 0, 0);
    }
    return result.code;
}

extern "C" int32_t TNK_CALL T_SetBitmapAlpha(BitmapHandle* Bitmap, BitmapHandle* AlphaBitmap) {
    for (const EntryRule& rule : {kStorageRule, kAlphaRule}) {
        Result entry = checkEntry(rule, Bitmap);
        if (entry.ok()) entry = checkEntry(rule, AlphaBitmap);
        if (!entry.ok()) return entry.code;
    }
    if (((Bitmap->Flags | AlphaBitmap->Flags) & BMF_SIGNED) != 0) return ERROR_SIGNED_DATA;
    return setAlpha(*Bitmap, *AlphaBitmap).code;
}
