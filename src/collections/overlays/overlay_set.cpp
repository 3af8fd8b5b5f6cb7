#include "collections/overlays/overlay_set.h"

#include "base/entry_rule.h"
#include "bitmap/copy/copy.h"
#include "bitmap/lifecycle.h"
#include "platform/platform.h"
#include "system/settings.h"

namespace tnk {
namespace {

constexpr EntryRule kOverlayRule = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};

Result checkSet(const BitmapHandle& bitmap) {
    return bitmap.pOverlays == nullptr || overlaySetOf(bitmap) != nullptr ? SUCCESS : ERROR_STRUCT_SIZE;
}

OverlaySet* newSet() {
    auto* set = static_cast<OverlaySet*>(platform->allocateGlobal(sizeof(OverlaySet), true));
    if (set != nullptr) set->size = sizeof(OverlaySet);
    return set;
}

BitmapHandle* newRecord() {
    auto* record = static_cast<BitmapHandle*>(platform->allocateGlobal(sizeof(BitmapHandle), false));
    if (record != nullptr) (void)initBitmap(*record, 0, 0, 0);  // nothing to refuse
    return record;
}

void freeSlot(OverlaySlot& slot) {
    if (slot.bitmap != nullptr) {
        freeBitmap(*slot.bitmap);
        platform->freeGlobal(slot.bitmap);
    }
    if (slot.palette != 0) platform->deletePalette(slot.palette);
}

void freeSet(OverlaySet* set) {
    set->size = 0;  // none from here on, should one of its bitmaps lead back to it
    for (OverlaySlot& slot : set->slots) freeSlot(slot);
    platform->freeGlobal(set);
}

// Into an empty slot. What fails leaves a slot that freeSlot takes.
Result copySlot(OverlaySlot& slot, const OverlaySlot& source) {
    slot = source;
    slot.palette = 0;
    slot.bitmap = newRecord();
    if (slot.bitmap == nullptr) return FAILURE;
    TRY(isAllocated(*source.bitmap) ? copyBitmap(*slot.bitmap, *source.bitmap, nullptr)
                                    : describeOverlay(*slot.bitmap, *source.bitmap));
    if (source.palette == 0) return SUCCESS;
    slot.palette = platform->createPalette(slot.colors, 2);
    return slot.palette != 0 ? SUCCESS : FAILURE;
}

Result countOverlays(const BitmapHandle& bitmap, uint32_t* count) {
    if (count == nullptr) return ERROR_NULL_POINTER;
    TRY(checkSet(bitmap));
    *count = 0;
    if (const OverlaySet* const set = overlaySetOf(bitmap)) {
        for (const OverlaySlot& slot : set->slots) *count += slot.bitmap != nullptr ? 1 : 0;
    }
    return SUCCESS;
}

}  // namespace

OverlaySet* overlaySetOf(const BitmapHandle& bitmap) {
    auto* const set = static_cast<OverlaySet*>(bitmap.pOverlays);
    return set != nullptr && set->size == sizeof(OverlaySet) ? set : nullptr;
}

Result findOverlay(const BitmapHandle& bitmap, int32_t index, OverlaySlot*& slot) {
    if (index < 0 || index >= kMostOverlays) return ERROR_INVALID_PARAMETER;
    TRY(checkSet(bitmap));
    OverlaySet* const set = overlaySetOf(bitmap);
    if (set == nullptr || set->slots[index].bitmap == nullptr) return ERROR_OVERLAY_NOT_ALLOCATED;
    slot = &set->slots[index];
    return SUCCESS;
}

Result makeOverlay(BitmapHandle& bitmap, int32_t index, OverlaySlot*& slot) {
    const Result found = findOverlay(bitmap, index, slot);
    if (found.code != ERROR_OVERLAY_NOT_ALLOCATED) return found;
    BitmapHandle* const record = newRecord();
    if (record == nullptr) return FAILURE;
    if (bitmap.pOverlays == nullptr) bitmap.pOverlays = newSet();
    OverlaySet* const set = overlaySetOf(bitmap);
    if (set == nullptr) {
        platform->freeGlobal(record);
        return FAILURE;
    }
    slot = &set->slots[index];
    slot->bitmap = record;
    return SUCCESS;
}

Result describeOverlay(BitmapHandle& record, const BitmapHandle& overlay) {
    TRY(initBitmap(record, overlay.Width, overlay.Height, overlay.BitsPerPixel));
    record.ViewPerspective = overlay.ViewPerspective;
    return SUCCESS;
}

Result copyOverlaySet(BitmapHandle& destination, const BitmapHandle& source) {
    const OverlaySet* const from = overlaySetOf(source);
    if (from == nullptr) return SUCCESS;
    OverlaySet* const set = newSet();
    if (set == nullptr) return FAILURE;
    const CopyCallbackOff silence;  // it is told of the bitmap's own rows
    for (int32_t i = 0; i < kMostOverlays; ++i) {
        if (from->slots[i].bitmap == nullptr) continue;
        if (const Result copied = copySlot(set->slots[i], from->slots[i]); !copied.ok()) {
            freeSet(set);
            return copied;
        }
    }
    destination.pOverlays = set;
    return SUCCESS;
}

void releaseOverlaySet(BitmapHandle& bitmap) {
    if (OverlaySet* const set = overlaySetOf(bitmap)) freeSet(set);
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_GetOverlayCount(BitmapHandle* Bitmap, uint32_t* Count, uint32_t) {
    const Result entry = checkEntry(kOverlayRule, Bitmap);
    return entry.ok() ? countOverlays(*Bitmap, Count).code : entry.code;
}
