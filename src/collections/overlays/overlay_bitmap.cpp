// The pixels of an overlay, put in and taken out.
#include "base/entry_rule.h"
#include "bitmap/copy/copy.h"
#include "bitmap/lifecycle.h"
#include "collections/overlays/overlay_set.h"
#include "collections/overlays/shared_overlays.h"
#include "color/reduce/color_resolution.h"
#include "geometry/view.h"

namespace tnk {
namespace {

constexpr EntryRule kOverlayRule = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};

bool isMode(uint32_t mode) { return mode == OVERLAY_COPY || mode == OVERLAY_SHARE || mode == OVERLAY_MOVE; }

bool anyShared(const BitmapHandle& a, const BitmapHandle& b) {
    return anyBitmapOf(a, [&](const BitmapHandle& x) {
        return anyBitmapOf(b, [&](const BitmapHandle& y) { return shareMemory(x, y); });
    });
}

// A bitmap can hang in one place only: what hangs on itself, or in two places, would be freed twice.
bool hangsElsewhere(const BitmapHandle& bitmap, int32_t index, const BitmapHandle& overlay) {
    const auto isBitmap = [&](const BitmapHandle& part) { return shareMemory(part, bitmap); };
    if (anyBitmapOf(overlay, isBitmap)) return true;
    const OverlaySet* const set = overlaySetOf(bitmap);
    if (set == nullptr) return false;
    for (int32_t i = 0; i < kMostOverlays; ++i) {
        const BitmapHandle* const other = set->slots[i].bitmap;
        if (other == nullptr || (i == index && shareMemory(*other, overlay))) continue;
        if (anyShared(*other, overlay)) return true;
    }
    return false;
}

bool isBlack(const PaletteEntry& entry) { return entry.Red == 0 && entry.Green == 0 && entry.Blue == 0; }

// Whether its set pixels are the dark ones.
bool isInverse(const BitmapHandle& overlay) {
    return isAllocated(overlay) && overlay.Palette != nullptr && overlay.ColorCount >= 2 &&
           !isBlack(overlay.Palette[0]) && isBlack(overlay.Palette[1]);
}

// To black and white. The colour beside black counts as white, however dark it is: its pixels are not to be lost.
Result makeNormal(BitmapHandle& made, const BitmapHandle& overlay) {
    PaletteEntry whiteAndBlack[] = {{255, 255, 255, 0}, {0, 0, 0, 0}};
    BitmapHandle light = overlay;
    light.Palette = whiteAndBlack;
    light.ColorCount = 2;
    ColorResJob job{};
    TRY(checkColorResSource(light));
    TRY(settleColorRes(1, CRF_FIXEDPALETTE, nullptr, 0, 0, job));
    return colorResBitmap(job, light, &made);
}

// From the overlay's origin to the end of the picture.
Result describeRest(BitmapHandle& record, const BitmapHandle& bitmap, int32_t index) {
    OverlaySlot* slot = nullptr;
    const bool exists = findOverlay(bitmap, index, slot).ok();
    const int64_t width = int64_t{visibleWidth(bitmap)} - (exists ? slot->originX : 0);
    const int64_t height = int64_t{visibleHeight(bitmap)} - (exists ? slot->originY : 0);
    if (width > INT32_MAX || height > INT32_MAX) return ERROR_SIZE_TOO_LARGE;
    if (width < 0 || height < 0) return ERROR_INVALID_PARAMETER;
    return initBitmap(record, static_cast<int32_t>(width), static_cast<int32_t>(height), 1);
}

Result copyInto(BitmapHandle& record, BitmapHandle& overlay) {
    return isAllocated(overlay) ? copyBitmap(record, overlay, nullptr)
                                : initBitmap(record, overlay.Width, overlay.Height, 1);
}

// Puts a bitmap in the overlay's place. An `overlay` that shares what was there keeps it.
void replaceOverlay(OverlaySlot& slot, const BitmapHandle& record, const BitmapHandle* overlay) {
    if (overlay == nullptr || !shareMemory(*slot.bitmap, *overlay)) freeBitmap(*slot.bitmap);
    *slot.bitmap = record;
    slot.flags &= ~OVERLAY_CHANGED;
}

// All that can fail comes first, so that a failure changes nothing.
Result setOverlayBitmap(BitmapHandle& bitmap, int32_t index, BitmapHandle* overlay, uint32_t mode) {
    if (!isMode(mode)) return ERROR_INVALID_PARAMETER;
    OverlaySlot* slot = nullptr;
    if (const Result found = findOverlay(bitmap, index, slot); !found.ok()) {
        if (found.code != ERROR_OVERLAY_NOT_ALLOCATED) return found;
    }
    TempBitmap made;
    const bool copies = overlay == nullptr || mode == OVERLAY_COPY;
    const bool converts = overlay != nullptr && isInverse(*overlay);
    if (overlay == nullptr) {
        TRY(describeRest(made.record, bitmap, index));
    } else {
        if (overlay->BitsPerPixel != 1) return ERROR_BPP_NOT_SUPPORTED;
        const bool isItself = overlay == &bitmap || (slot != nullptr && overlay == slot->bitmap);
        if (isItself || (!copies && hangsElsewhere(bitmap, index, *overlay))) return ERROR_INVALID_PARAMETER;
        if (converts) {
            TRY(makeNormal(made.record, *overlay));
        } else if (copies) {
            TRY(copyInto(made.record, *overlay));
        }
    }
    SharedNote note;
    if (!copies && mode == OVERLAY_SHARE) TRY(note.make());
    TRY(makeOverlay(bitmap, index, slot));
    BitmapHandle record = overlay != nullptr ? *overlay : BitmapHandle{};
    if (copies || converts) made.moveTo(record);
    replaceOverlay(*slot, record, overlay);
    if (copies) return SUCCESS;
    if (converts) freeBitmap(*overlay);
    if (mode == OVERLAY_MOVE) return initBitmap(*overlay, 0, 0, 0);
    *overlay = record;
    slot->bitmap->pDitherState = nullptr;  // a run belongs to one record
    note.put(*slot->bitmap);
    return SUCCESS;
}

Result getOverlayBitmap(BitmapHandle& bitmap, int32_t index, BitmapHandle* out, uint32_t structSize, uint32_t mode) {
    if (out == nullptr) return ERROR_NULL_POINTER;
    if (structSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    if (!isMode(mode)) return ERROR_INVALID_PARAMETER;
    OverlaySlot* slot;
    TRY(findOverlay(bitmap, index, slot));
    if (out == &bitmap || out == slot->bitmap) return ERROR_INVALID_PARAMETER;
    if (mode == OVERLAY_COPY) return copyInto(*out, *slot->bitmap);
    SharedNote note;
    if (mode == OVERLAY_SHARE) TRY(note.make());
    *out = *slot->bitmap;
    if (mode == OVERLAY_MOVE) return initBitmap(*slot->bitmap, 0, 0, 0);
    note.put(*slot->bitmap);
    return SUCCESS;
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_SetOverlayBitmap(BitmapHandle* Bitmap, int32_t Index, BitmapHandle* Overlay,
                                               uint32_t Mode) {
    Result result = checkEntry(kOverlayRule, Bitmap);
    if (result.ok() && Overlay != nullptr) result = checkEntry(kOverlayRule, Overlay);
    return result.ok() ? setOverlayBitmap(*Bitmap, Index, Overlay, Mode).code : result.code;
}

extern "C" int32_t TNK_CALL T_GetOverlayBitmap(BitmapHandle* Bitmap, int32_t Index, BitmapHandle* Out,
                                               uint32_t StructSize, uint32_t Mode) {
    const Result entry = checkEntry(kOverlayRule, Bitmap);
    return entry.ok() ? getOverlayBitmap(*Bitmap, Index, Out, StructSize, Mode).code : entry.code;
}
