// Bit planes of gray bitmaps, taken out into overlays and written back.
#include <algorithm>
#include <cstring>

#include "base/entry_rule.h"
#include "base/shape.h"
#include "bitmap/copy/copy.h"
#include "bitmap/lifecycle.h"
#include "bitmap/row_edit.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "collections/overlays/overlay_set.h"
#include "geometry/change_view.h"
#include "geometry/view.h"
#include "palette/palette.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kPlaneRule = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};

// Where the bits of a plane lie: one in the even and one in the odd pixel of each pair.
struct Plane {
    Plane(int32_t bits, uint32_t plane) : pairBytes(static_cast<uint32_t>(bits) / 4) {
        const uint32_t odd = plane + static_cast<uint32_t>(bits);
        byte[0] = plane / 8;
        mask[0] = static_cast<uint8_t>(1u << plane % 8);
        byte[1] = odd / 8;
        mask[1] = static_cast<uint8_t>(1u << odd % 8);
    }
    const uint8_t* at(const uint8_t* row, size_t column) const {
        return row + column / 2 * pairBytes + byte[column % 2];
    }
    uint8_t* at(uint8_t* row, size_t column) const { return row + column / 2 * pairBytes + byte[column % 2]; }

    uint32_t pairBytes;
    uint32_t byte[2];
    uint8_t mask[2];
};

uint8_t bitMask(size_t column) { return static_cast<uint8_t>(0x80u >> column % 8); }

// What an overlay and its bitmap have in common, as both are stored.
struct Common {
    BitmapRect inBitmap;
    BitmapRect inOverlay;

    size_t width() const { return static_cast<size_t>(int64_t{inBitmap.Right} - inBitmap.Left); }
    int32_t height() const { return inBitmap.Bottom - inBitmap.Top; }
};

// The overlay lies in the bitmap with its first pixel at least, and has the bitmap's view.
Common commonPart(const BitmapHandle& bitmap, const BitmapHandle& overlay, int32_t x, int32_t y) {
    const int32_t width = std::min(visibleWidth(bitmap) - x, visibleWidth(overlay));
    const int32_t height = std::min(visibleHeight(bitmap) - y, visibleHeight(overlay));
    return {storedRect(bitmap, {x, y, x + width, y + height}), storedRect(overlay, {0, 0, width, height})};
}

void extractRow(const uint8_t* row, uint8_t* bits, const Plane& plane, const Common& common) {
    const auto from = static_cast<size_t>(common.inBitmap.Left), to = static_cast<size_t>(common.inOverlay.Left);
    for (size_t i = 0; i < common.width(); ++i) {
        const bool set = (*plane.at(row, from + i) & plane.mask[(from + i) % 2]) != 0;
        if (set) bits[(to + i) / 8] |= bitMask(to + i);
    }
}

void insertRow(uint8_t* row, const uint8_t* bits, const Plane& plane, const Common& common) {
    const auto to = static_cast<size_t>(common.inBitmap.Left), from = static_cast<size_t>(common.inOverlay.Left);
    for (size_t i = 0; i < common.width(); ++i) {
        uint8_t* const byte = plane.at(row, to + i);
        const uint8_t mask = plane.mask[(to + i) % 2];
        const bool set = (bits[(from + i) / 8] & bitMask(from + i)) != 0;
        *byte = static_cast<uint8_t>(set ? *byte | mask : *byte & ~mask);
    }
}

Result extractRows(BitmapHandle& bitmap, BitmapHandle& overlay, const Plane& plane, const Common& common) {
    const Locked lock(bitmap);
    RowReader reader(bitmap);
    RowWriter writer(overlay);
    const RowLoop loop{
        .rows = common.height(), .band = bandRows(bitmap), .from = common.inBitmap.Top, .to = common.inOverlay.Top};
    Progress progress = statusProgress(common.height());
    return mapRows(reader, writer, loop, progress, [&](uint8_t** input, uint8_t** output, int32_t count) {
        for (int32_t i = 0; i < count; ++i) {
            std::memset(output[i], 0, overlay.BytesPerLine);
            extractRow(input[i], output[i], plane, common);
        }
        return Result(SUCCESS);
    });
}

Result insertRows(BitmapHandle& bitmap, BitmapHandle& overlay, const Plane& plane, const Common& common) {
    const Locked lock(bitmap);
    const Locked overlayLock(overlay);
    const Shape shape(bitmap);
    RowReader reader(overlay);
    TRY(reader.prepare());
    Progress progress = statusProgress(common.height());
    const int32_t top = common.inBitmap.Top;
    return editRows(bitmap, top, common.height(), progress, [&](int32_t first, int32_t count, uint8_t* rows) {
        for (int32_t i = 0; i < count; ++i) {
            uint8_t* bits;
            TRY(reader.read(common.inOverlay.Top + first - top + i, 1, &bits));
            insertRow(rows + shape.offset(i), bits, plane, common);
        }
        return Result(SUCCESS);
    });
}

// A new overlay, as large as it is seen now, or to the end of the picture, and stored as the bitmap is.
Result makePlaneBitmap(BitmapHandle& made, const BitmapHandle& bitmap, const OverlaySlot& slot) {
    const BitmapHandle& old = *slot.bitmap;
    int32_t width = visibleWidth(old) != 0 ? visibleWidth(old) : visibleWidth(bitmap) - slot.originX;
    int32_t height = visibleHeight(old) != 0 ? visibleHeight(old) : visibleHeight(bitmap) - slot.originY;
    if (isRotatedView(bitmap)) std::swap(width, height);
    TRY(initBitmap(made, width, height, 1));
    made.ViewPerspective = bitmap.ViewPerspective;
    made.XResolution = bitmap.XResolution;
    made.YResolution = bitmap.YResolution;
    TRY(allocateBitmap(made, MEM_CONVENTIONAL));
    return attachFixedPalette(made).ok() ? SUCCESS : FAILURE;
}

Result takePlaneOut(BitmapHandle& bitmap, OverlaySlot& slot) {
    TempBitmap made;
    TRY(makePlaneBitmap(made.record, bitmap, slot));
    const Common common = commonPart(bitmap, made.record, slot.originX, slot.originY);
    TRY(extractRows(bitmap, made.record, Plane(bitmap.BitsPerPixel, slot.bitPlane), common));
    freeBitmap(*slot.bitmap);
    made.moveTo(*slot.bitmap);
    slot.flags &= ~OVERLAY_CHANGED;
    return SUCCESS;
}

Result writePlane(BitmapHandle& bitmap, BitmapHandle& overlay, const OverlaySlot& slot) {
    const Common common = commonPart(bitmap, overlay, slot.originX, slot.originY);
    return insertRows(bitmap, overlay, Plane(bitmap.BitsPerPixel, slot.bitPlane), common);
}

// Overlays are stored any way.
Result putPlaneBack(BitmapHandle& bitmap, const OverlaySlot& slot) {
    BitmapHandle& overlay = *slot.bitmap;
    if (!isAllocated(overlay)) return ERROR_NOT_ALLOCATED;
    if (viewOf(overlay) == viewOf(bitmap)) return writePlane(bitmap, overlay, slot);
    if (!isView(viewOf(overlay)) || !isView(viewOf(bitmap))) return ERROR_INVALID_PARAMETER;
    TempBitmap turned;
    {
        const CopyCallbackOff silence;
        TRY(copyBitmap(turned.record, overlay, nullptr));
    }
    TRY(changeView(turned.record, viewOf(bitmap)));
    return writePlane(bitmap, turned.record, slot);
}

Result updateBits(BitmapHandle& bitmap, int32_t index, bool toPlane) {
    if (index < 0 || index >= kMostOverlays) return ERROR_INVALID_PARAMETER;
    const int32_t bits = bitmap.BitsPerPixel;
    if (bits != 8 && bits != 12 && bits != 16) return ERROR_BPP_NOT_SUPPORTED;
    OverlaySlot* slot;
    TRY(findOverlay(bitmap, index, slot));
    const bool bound = (slot->flags & OVERLAY_HAS_PLANE) != 0 && slot->bitPlane < static_cast<uint32_t>(bits);
    if (!bound) return ERROR_OVERLAY_INVALID;
    if (!isAllocated(bitmap)) return ERROR_NOT_ALLOCATED;
    const bool inside = slot->originX >= 0 && slot->originX < visibleWidth(bitmap) && slot->originY >= 0 &&
                        slot->originY < visibleHeight(bitmap);
    if (!inside) return ERROR_INVALID_PARAMETER;
    return toPlane ? putPlaneBack(bitmap, *slot) : takePlaneOut(bitmap, *slot);
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_UpdateBitmapOverlayBits(BitmapHandle* Bitmap, int32_t Index, uint32_t Flags) {
    const Result entry = checkEntry(kPlaneRule, Bitmap);
    return entry.ok() ? updateBits(*Bitmap, Index, (Flags & OVERLAY_TO_PLANE) != 0).code : entry.code;
}
