#include "collections/overlays/overlay_geometry.h"

#include <algorithm>

#include "base/entry_rule.h"
#include "collections/overlays/overlay_set.h"
#include "geometry/change_view.h"
#include "geometry/flip.h"
#include "geometry/shear.h"
#include "geometry/sine.h"
#include "geometry/size/resize.h"
#include "geometry/turn/rotate.h"
#include "geometry/view.h"
#include "system/settings.h"

namespace tnk {
namespace {

// What a turn or a shear leaves free of an overlay is not set.
constexpr uint32_t kNotSet = COLOR_TAG_INDEX;

// Origins are any numbers, and stay inside the range of numbers.
int32_t narrow(int64_t value) { return static_cast<int32_t>(std::clamp<int64_t>(value, INT32_MIN, INT32_MAX)); }

// Calls move(slot, its bitmap) for each overlay that follows, until one fails. Those without storage have nothing to move.
template <typename Move>
Result forFollowing(BitmapHandle& bitmap, Move move) {
    OverlaySet* const set = overlaySetOf(bitmap);
    if (set == nullptr) return SUCCESS;
    const CallbackOff silence;
    const CopyCallbackOff silentCopies;
    for (OverlaySlot& slot : set->slots) {
        const bool follows = slot.bitmap != nullptr && (slot.flags & OVERLAY_FOLLOWS) != 0;
        if (follows && isAllocated(*slot.bitmap)) TRY(move(slot, *slot.bitmap));
    }
    return SUCCESS;
}

struct Place {
    int64_t x;
    int64_t y;
};

void place(OverlaySlot& slot, const Place& origin) {
    slot.originX = narrow(origin.x);
    slot.originY = narrow(origin.y);
}

// Where a pixel of a picture that is turned by right angles is seen. Source positions of a turn lie on pixel edges where the
// turned size differs by an odd number from what would fit; such a pixel is the one that begins there.
Place turnedPixel(const BitmapHandle& bitmap, const StoredTurn& turn, const TurnSize& size, int32_t x, int32_t y) {
    const auto halfDown = [](int64_t value) { return value >> 1; };
    const auto ascending = [&](int64_t at, int64_t from, int64_t to) { return at - halfDown(from - to + 1); };
    const auto descending = [&](int64_t at, int64_t from, int64_t to) { return halfDown(from + to - 1) - at; };
    const BitmapRect pixel = storedRect(bitmap, {x, y, narrow(int64_t{x} + 1), narrow(int64_t{y} + 1)});
    const int64_t column = pixel.Left, row = pixel.Top, width = bitmap.Width, height = bitmap.Height;
    Place to;
    switch (turn.angle / kQuarterTurn) {
        case 0:
            to = {ascending(column, width, size.width), ascending(row, height, size.height)};
            break;
        case 1:
            to = {descending(row, height, size.width), ascending(column, width, size.height)};
            break;
        case 2:
            to = {descending(column, width, size.width), descending(row, height, size.height)};
            break;
        default:
            to = {ascending(row, height, size.width), descending(column, width, size.height)};
            break;
    }
    if (turn.view == BOTTOM_LEFT) to.y = size.height - 1 - to.y;
    return to;
}

// A picture before and after a turn.
struct TurnedPicture {
    Result describe(const BitmapHandle& bitmap, int32_t angle, uint32_t flags) {
        turn = storedTurn(bitmap, angle);
        return sizeOfTurn(bitmap, turn, flags, size);
    }
    StoredTurn turn;
    TurnSize size;
};

// The overlay's centre turns about the picture's, to the nearest place of whole pixels; by right angles its pixels turn.
Place turnedOrigin(const OverlaySlot& slot, const BitmapHandle& bitmap, const TurnedPicture& picture,
                   const TurnedPicture& part, int32_t angle) {
    if (angle % kQuarterTurn == 0) {
        const Place pixel = turnedPixel(bitmap, picture.turn, picture.size, slot.originX, slot.originY);
        const Place first = turnedPixel(*slot.bitmap, part.turn, part.size, 0, 0);
        return {pixel.x - first.x, pixel.y - first.y};
    }
    // In halves of pixels, from centre to centre.
    const int64_t x = 2 * int64_t{slot.originX} + visibleWidth(*slot.bitmap) - visibleWidth(bitmap);
    const int64_t y = 2 * int64_t{slot.originY} + visibleHeight(*slot.bitmap) - visibleHeight(bitmap);
    const int64_t across = x * cosine(angle) - y * sine(angle), down = x * sine(angle) + y * cosine(angle);
    const auto corner = [](int64_t turned, int64_t whole, int64_t extent) {
        constexpr int32_t kHalfBits = 15;
        static_assert(2 * kSineUnit == 1 << kHalfBits);
        return (turned + (whole - extent) * kSineUnit + kSineUnit) >> kHalfBits;
    };
    return {corner(across, picture.size.width, part.size.width), corner(down, picture.size.height, part.size.height)};
}

}  // namespace

Result offsetOverlays(BitmapHandle& bitmap, int32_t dx, int32_t dy) {
    OverlaySet* const set = overlaySetOf(bitmap);
    if (set == nullptr) return SUCCESS;
    for (OverlaySlot& slot : set->slots) {
        if (slot.bitmap == nullptr || (slot.flags & OVERLAY_FOLLOWS) == 0) continue;
        place(slot, {int64_t{slot.originX} + dx, int64_t{slot.originY} + dy});
    }
    return SUCCESS;
}

Result flipOverlays(BitmapHandle& bitmap) {
    return forFollowing(bitmap, [&](OverlaySlot& slot, BitmapHandle& overlay) {
        TRY(flipPicture(overlay));
        place(slot, {slot.originX, int64_t{visibleHeight(bitmap)} - slot.originY - visibleHeight(overlay)});
        return Result(SUCCESS);
    });
}

Result reverseOverlays(BitmapHandle& bitmap) {
    return forFollowing(bitmap, [&](OverlaySlot& slot, BitmapHandle& overlay) {
        TRY(reversePicture(overlay));
        place(slot, {int64_t{visibleWidth(bitmap)} - slot.originX - visibleWidth(overlay), slot.originY});
        return Result(SUCCESS);
    });
}

Result resizeOverlays(BitmapHandle& bitmap, int32_t newWidth, int32_t newHeight, uint32_t flags) {
    const int32_t oldWidth = visibleWidth(bitmap), oldHeight = visibleHeight(bitmap);
    if (std::min({oldWidth, oldHeight, newWidth, newHeight}) < 1) return ERROR_INVALID_PARAMETER;
    return forFollowing(bitmap, [&](OverlaySlot& slot, BitmapHandle& overlay) -> Result {
        // One pixel is left of what becomes less than that.
        const int64_t width = std::max<int64_t>(int64_t{visibleWidth(overlay)} * newWidth / oldWidth, 1);
        const int64_t height = std::max<int64_t>(int64_t{visibleHeight(overlay)} * newHeight / oldHeight, 1);
        if (std::max(width, height) > INT32_MAX) return ERROR_SIZE_TOO_LARGE;
        Dimensions size = {static_cast<int32_t>(width), static_cast<int32_t>(height)};
        if (isRotatedView(overlay)) std::swap(size.width, size.height);
        TRY(sizeBitmap(overlay, size, flags));
        place(slot, {int64_t{slot.originX} * newWidth / oldWidth, int64_t{slot.originY} * newHeight / oldHeight});
        return SUCCESS;
    });
}

Result rotateOverlays(BitmapHandle& bitmap, int32_t angle, uint32_t flags) {
    TurnedPicture picture;
    TRY(picture.describe(bitmap, angle, flags));
    return forFollowing(bitmap, [&](OverlaySlot& slot, BitmapHandle& overlay) {
        // Without another size rows that lie on their side would be cut as they are stored, and not as they are seen.
        if (isRotatedView(overlay)) TRY(changeView(overlay, TOP_LEFT));
        TurnedPicture part;
        TRY(part.describe(overlay, angle, flags));
        const Place origin = turnedOrigin(slot, bitmap, picture, part, angle);
        TRY(rotateBitmap(overlay, angle, flags, kNotSet));
        place(slot, origin);
        return Result(SUCCESS);
    });
}

// Rows slant as they are stored: an overlay that is stored as its bitmap is slants the same way.
Result shearOverlays(BitmapHandle& bitmap, int32_t angle, bool horizontal) {
    return forFollowing(bitmap, [&](OverlaySlot& slot, BitmapHandle& overlay) {
        if (isView(viewOf(bitmap)) && isView(viewOf(overlay))) TRY(changeView(overlay, viewOf(bitmap)));
        const int32_t right = narrow(int64_t{slot.originX} + visibleWidth(overlay));
        const int32_t bottom = narrow(int64_t{slot.originY} + visibleHeight(overlay));
        BitmapRect part = storedRect(bitmap, {slot.originX, slot.originY, right, bottom});
        const PartOfShear sheared = shearPart(bitmap, part, angle, horizontal);
        TRY(shearBitmap(overlay, angle, horizontal, kNotSet));
        BitmapHandle after = bitmap;
        if (sheared.alongRows) {
            part.Left = narrow(part.Left + sheared.shift);
            part.Right = narrow(part.Left + int64_t{overlay.Width});
            after.Width = narrow(bitmap.Width + sheared.growth);
        } else {
            part.Top = narrow(part.Top + sheared.shift);
            part.Bottom = narrow(part.Top + int64_t{overlay.Height});
            after.Height = narrow(bitmap.Height + sheared.growth);
        }
        const BitmapRect seen = seenRect(after, part);
        place(slot, {seen.Left, seen.Top});
        return Result(SUCCESS);
    });
}

}  // namespace tnk
