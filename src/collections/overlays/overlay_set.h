// The set of overlays that hangs on a bitmap: its memory, its slots and its life.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

constexpr int32_t kMostOverlays = 16;

// What the library does not look into is kept in the order in which attributes have it.
constexpr size_t kExtendedAt = offsetof(OverlayAttributes, Value1);
constexpr size_t kExtendedBytes = sizeof(OverlayAttributes) - kExtendedAt;

// Other modules know the layout, which has no gaps. Fields may lie anywhere: take their values, no references.
#pragma pack(push, 1)
struct OverlaySlot {
    BitmapHandle* bitmap;    // null while the slot is empty
    PaletteEntry colors[2];  // black, and the overlay's colour
    T_HANDLE palette;        // logical, of the two
    uint32_t flags;
    uint32_t bitPlane;
    int32_t originX;
    int32_t originY;
    uint8_t extended[kExtendedBytes];
};
struct OverlaySet {
    uint32_t size;
    OverlaySlot slots[kMostOverlays];
};
#pragma pack(pop)
static_assert(kExtendedAt == 22 && kExtendedBytes == 490);
static_assert(sizeof(void*) != 4 || (sizeof(OverlaySlot) == 522 && sizeof(OverlaySet) == 8356));

// Null without a set. What does not begin with the size of one is none, and never followed.
OverlaySet* overlaySetOf(const BitmapHandle& bitmap);

// The overlay `index` of a bitmap: -13 for one that there cannot be, -789 when what hangs on the bitmap is no set. Where
// there is none, one answers -815, and the other makes it, and the set where that is missing; a failure leaves neither.
Result findOverlay(const BitmapHandle& bitmap, int32_t index, OverlaySlot*& slot);
Result makeOverlay(BitmapHandle& bitmap, int32_t index, OverlaySlot*& slot);

// Makes a record of the overlay's size, depth and view, without storage.
Result describeOverlay(BitmapHandle& record, const BitmapHandle& overlay);

// What hooks call: see bitmap/hooks.h.
Result copyOverlaySet(BitmapHandle& destination, const BitmapHandle& source);
void releaseOverlaySet(BitmapHandle& bitmap);

// Calls visit for the bitmap, its overlays, theirs and so on, until one is taken.
template <typename Visit>
bool anyBitmapOf(const BitmapHandle& bitmap, Visit visit) {
    if (visit(bitmap)) return true;
    OverlaySet* const set = overlaySetOf(bitmap);
    if (set == nullptr) return false;
    for (const OverlaySlot& slot : set->slots) {
        if (slot.bitmap != nullptr && anyBitmapOf(*slot.bitmap, visit)) return true;
    }
    return false;
}

}  // namespace tnk
