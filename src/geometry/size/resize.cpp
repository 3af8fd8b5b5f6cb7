#include "geometry/size/resize.h"

#include <algorithm>
#include <cassert>

#include "bitmap/hooks.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "geometry/change_view.h"
#include "geometry/replacement.h"
#include "geometry/view.h"
#include "system/dispatch.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kSizeRule = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, ERROR_STRUCT_SIZE};
constexpr EntryRule kIntoRule = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};
constexpr EntryRule kLinearRule = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};
constexpr EntryRule kSplineRule = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, ERROR_STRUCT_SIZE};

Dimensions sizeOf(const BitmapHandle& bitmap) { return {bitmap.Width, bitmap.Height}; }
bool sameSize(const Dimensions& a, const Dimensions& b) { return a.width == b.width && a.height == b.height; }

ResizeMethod smoothMethod(const BitmapHandle& bitmap, const Dimensions& size, uint32_t flags) {
    const bool shrinks = size.width <= bitmap.Width && size.height <= bitmap.Height;
    return (flags & RESIZE_RESAMPLE) != 0 || shrinks ? ResizeMethod::linear : ResizeMethod::spline;
}

bool favoursBlack(const BitmapHandle& bitmap, uint32_t flags) {
    return (flags & RESIZE_FAVOUR_BLACK) != 0 && canFavourBlack(bitmap);
}

// How a bitmap is resized into another one. KEEP: black is favoured before all else here, where T_SizeBitmap does so
// before linear but after bicubic resizing; one order for both would be the repair.
ResizeMethod methodOfCopy(const BitmapHandle& bitmap, const Dimensions& size, uint32_t flags) {
    if (favoursBlack(bitmap, flags)) return ResizeMethod::black;
    if ((flags & (RESIZE_RESAMPLE | RESIZE_BICUBIC)) == 0) return ResizeMethod::nearest;
    return smoothMethod(bitmap, size, flags);
}

// Fills `destination`, from its last row on with `upsideDown`. It has the source's depth and order.
Result fillResized(BitmapHandle& source, BitmapHandle& destination, ResizeMethod method, bool upsideDown = false) {
    assert(isAllocated(source) && isAllocated(destination));
    const Dimensions size = sizeOf(destination);
    if (size.width < 1 || size.height < 1 || source.Width < 1 || source.Height < 1) return ERROR_INVALID_PARAMETER;
    // What keeps its size keeps its pixels, also where colours would have to be matched again.
    if (sameSize(size, sizeOf(source))) method = ResizeMethod::nearest;
    const Locked sourceLock(source);
    const Locked destinationLock(destination);
    ResizedRows resized(source);
    TRY(resized.prepare(size, method));
    RowWriter writer(destination);
    const int32_t band = std::min(resized.dithers() ? kDitherBandRows : bandRows(destination), size.height);
    TRY(writer.prepare(band));
    Progress progress = statusProgress(size.height);
    TRY(progress.begin());
    uint8_t* rows[kMostBandRows];
    for (int32_t row = 0; row < size.height;) {
        // Bands that are dithered are whole ones, whatever is reported.
        const int32_t most = resized.dithers() ? band : std::min(band, progress.rowsToReport());
        const int32_t end = row + std::min(most, size.height - row);
        TRY(writer.lend(upsideDown ? size.height - end : row, end - row, rows));
        if (upsideDown) std::reverse(rows, rows + (end - row));
        TRY(resized.make(row, end - row, rows));
        while (row < end) {
            const int32_t done = upsideDown ? end - row : std::min(end - row, progress.rowsToReport());
            TRY(writer.put(done));
            TRY(progress.step(done));
            row += done;
        }
    }
    return SUCCESS;
}

Result resizeOverlaysOf(const BitmapHandle& bitmap, const BitmapHandle& resized, uint32_t flags,
                        MovedOverlays& overlays) {
    return overlays.make(&BitmapHooks::resizeOverlays, bitmap, visibleWidth(resized), visibleHeight(resized), flags);
}

// Puts a resized bitmap in the place of the original. KEEP: the display module is told by T_SizeBitmap's own methods only,
// and not when samples are blended; to tell it always would be the repair.
Result replaceResized(BitmapHandle& bitmap, const Dimensions& size, ResizeMethod method, uint32_t flags) {
    Replacement replacement(bitmap);
    TRY(replacement.make(size.width, size.height));
    TRY(fillResized(bitmap, replacement.bitmap(), method));
    if (method == ResizeMethod::nearest || method == ResizeMethod::black) {
        TRY(tellResize(bitmap, size.width, size.height));
    }
    MovedOverlays overlays;
    TRY(resizeOverlaysOf(bitmap, replacement.bitmap(), flags, overlays));
    replacement.take();
    overlays.takePlaceIn(bitmap);
    return SUCCESS;
}

Result resample(const EntryRule& rule, BitmapHandle* bitmap, const Dimensions& size, ResizeMethod method,
                uint32_t flags) {
    TRY(checkEntry(rule, bitmap));
    if (size.width < 1 || size.height < 1) return ERROR_INVALID_PARAMETER;
    return replaceResized(*bitmap, size, method, flags);
}

Result checkPair(const BitmapHandle& source, const BitmapHandle& destination) {
    const bool alike = source.BitsPerPixel == destination.BitsPerPixel && source.Order == destination.Order;
    return alike ? SUCCESS : ERROR_INVALID_PARAMETER;
}

Result resampleInto(const EntryRule& rule, BitmapHandle* source, BitmapHandle* destination, uint32_t structSize,
                    ResizeMethod method) {
    TRY(checkEntry(rule, source));
    TRY(checkEntry(rule, destination));
    if (structSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    TRY(checkPair(*source, *destination));
    return source == destination ? Result(SUCCESS) : fillResized(*source, *destination, method);
}

bool isUpright(const BitmapHandle& bitmap) {
    return bitmap.ViewPerspective == TOP_LEFT || bitmap.ViewPerspective == BOTTOM_LEFT;
}

// Views that differ by more than the order of rows are made alike first.
Result resizeInto(BitmapHandle& source, BitmapHandle& destination, uint32_t flags) {
    if (!isAllocated(source) || !isAllocated(destination)) return ERROR_NOT_ALLOCATED;
    TRY(checkPair(source, destination));
    const bool viewsDiffer = source.ViewPerspective != destination.ViewPerspective;
    if (viewsDiffer && !(isUpright(source) && isUpright(destination))) {
        if (!isView(viewOf(source)) || !isView(viewOf(destination))) return ERROR_INVALID_PARAMETER;
        constexpr uint32_t kEverything = DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | DUP_OVERLAYS;
        TempBitmap turned;
        TRY(copyWithView(turned.record, source, viewOf(destination), kEverything));
        turned.record.DitherMethod = source.DitherMethod;
        return resizeInto(turned.record, destination, flags);
    }
    if (&source == &destination) return SUCCESS;
    MovedOverlays overlays;
    TRY(resizeOverlaysOf(source, destination, flags, overlays));
    TRY(fillResized(source, destination, methodOfCopy(source, sizeOf(destination), flags), viewsDiffer));
    // A set that both records have stays the source's.
    if (destination.pOverlays == source.pOverlays) destination.pOverlays = nullptr;
    overlays.takePlaceIn(destination);
    return SUCCESS;
}

}  // namespace

ResizeMethod methodOfSize(const BitmapHandle& bitmap, const Dimensions& size, uint32_t flags) {
    const bool black = favoursBlack(bitmap, flags);
    if (black) flags &= ~RESIZE_RESAMPLE;
    if ((flags & (RESIZE_RESAMPLE | RESIZE_BICUBIC)) != 0) return smoothMethod(bitmap, size, flags);
    return black ? ResizeMethod::black : ResizeMethod::nearest;
}

Result sizeBitmap(BitmapHandle& bitmap, Dimensions size, uint32_t flags) {
    if (sameSize(size, sizeOf(bitmap))) return SUCCESS;
    TRY(completeDimensions(size, sizeOf(bitmap)));
    return replaceResized(bitmap, size, methodOfSize(bitmap, size, flags), flags);
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_SizeBitmap(BitmapHandle* Bitmap, int32_t NewWidth, int32_t NewHeight, uint32_t Flags) {
    const Result entry = checkEntry(kSizeRule, Bitmap);
    return entry.ok() ? sizeBitmap(*Bitmap, {NewWidth, NewHeight}, Flags).code : entry.code;
}

extern "C" int32_t TNK_CALL T_ResizeBitmap(BitmapHandle* Source, BitmapHandle* Destination, uint32_t Flags) {
    if (Source == nullptr || Destination == nullptr) return ERROR_INVALID_PARAMETER;
    if (const Result source = checkEntry(kIntoRule, Source); !source.ok()) return source.code;
    if (const Result destination = checkEntry(kIntoRule, Destination); !destination.ok()) return destination.code;
    return resizeInto(*Source, *Destination, Flags).code;
}

extern "C" int32_t TNK_CALL T_ResampleBitmap(BitmapHandle* Bitmap, int32_t NewWidth, int32_t NewHeight) {
    return resample(kLinearRule, Bitmap, {NewWidth, NewHeight}, ResizeMethod::linear, RESIZE_RESAMPLE).code;
}

extern "C" int32_t TNK_CALL T_BicubicResampleBitmap(BitmapHandle* Bitmap, int32_t NewWidth, int32_t NewHeight) {
    return resample(kSplineRule, Bitmap, {NewWidth, NewHeight}, ResizeMethod::spline, RESIZE_BICUBIC).code;
}

extern "C" int32_t TNK_CALL T_ResampleBitmapInt(BitmapHandle* Source, BitmapHandle* Destination, uint32_t StructSize) {
    return resampleInto(kLinearRule, Source, Destination, StructSize, ResizeMethod::linear).code;
}

extern "C" int32_t TNK_CALL T_BicubicResampleBitmapInt(BitmapHandle* Source, BitmapHandle* Destination,
                                                       uint32_t StructSize) {
    return resampleInto(kSplineRule, Source, Destination, StructSize, ResizeMethod::spline).code;
}
