// What an overlay is besides its pixels, by groups.
#include <algorithm>
#include <cstring>

#include "base/entry_rule.h"
#include "collections/overlays/overlay_set.h"
#include "platform/platform.h"

namespace tnk {
namespace {

constexpr EntryRule kAttributesRule = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};

// Both records are the same but for what a text is made of.
static_assert(sizeof(OverlayAttributes) == 512 && sizeof(OverlayAttributesA) == 512);
static_assert(offsetof(OverlayAttributes, Value4) == 452 && offsetof(OverlayAttributesA, Value4) == 452);
static_assert(offsetof(OverlayAttributes, Block2) == 478 && offsetof(OverlayAttributesA, Block2) == 478);

Result setColor(OverlaySlot& slot, uint32_t color) {
    if (color > 0xFFFFFF) return ERROR_INVALID_PARAMETER;
    const PaletteEntry colors[2] = {
        {}, {static_cast<uint8_t>(color >> 16), static_cast<uint8_t>(color >> 8), static_cast<uint8_t>(color), 0}};
    const T_HANDLE palette = platform->createPalette(colors, 2);
    if (palette == 0) return FAILURE;
    if (slot.palette != 0) platform->deletePalette(slot.palette);
    slot.palette = palette;
    std::memcpy(slot.colors, colors, sizeof colors);
    return SUCCESS;
}

uint32_t colorOf(const OverlaySlot& slot) {
    const PaletteEntry color = slot.colors[1];
    return static_cast<uint32_t>(color.Blue) << 16 | static_cast<uint32_t>(color.Green) << 8 | color.Red;
}

uint8_t* extendedOf(OverlayAttributes& attributes) { return reinterpret_cast<uint8_t*>(&attributes) + kExtendedAt; }
const uint8_t* extendedOf(const OverlayAttributes& attributes) {
    return reinterpret_cast<const uint8_t*>(&attributes) + kExtendedAt;
}

Result setAttributes(BitmapHandle& bitmap, int32_t index, const OverlayAttributes& attributes, uint32_t which) {
    OverlaySlot* slot;
    TRY(makeOverlay(bitmap, index, slot));
    if ((which & OVERLAY_ORIGIN) != 0) {
        slot->originX = attributes.OriginX;
        slot->originY = attributes.OriginY;
    }
    if ((which & OVERLAY_COLOR) != 0) TRY(setColor(*slot, attributes.Color));
    if ((which & OVERLAY_FLAGS) != 0) slot->flags = attributes.Flags & ~OVERLAY_CHANGED;
    if ((which & OVERLAY_PLANE) != 0) {
        if (attributes.BitPlane >= bitmap.BitsPerPixel) return ERROR_INVALID_PARAMETER;
        slot->bitPlane = attributes.BitPlane;
        slot->flags |= OVERLAY_HAS_PLANE;
    }
    if ((which & OVERLAY_EXTENDED) != 0) std::memcpy(slot->extended, extendedOf(attributes), kExtendedBytes);
    return SUCCESS;
}

Result getAttributes(const BitmapHandle& bitmap, int32_t index, OverlayAttributes& attributes, uint32_t which) {
    OverlaySlot* slot;
    TRY(findOverlay(bitmap, index, slot));
    attributes.StructSize = sizeof attributes;
    if ((which & OVERLAY_ORIGIN) != 0) {
        attributes.OriginX = slot->originX;
        attributes.OriginY = slot->originY;
    }
    if ((which & OVERLAY_COLOR) != 0) attributes.Color = colorOf(*slot);
    if ((which & OVERLAY_FLAGS) != 0) attributes.Flags = slot->flags;
    if ((which & OVERLAY_PLANE) != 0) attributes.BitPlane = static_cast<uint16_t>(slot->bitPlane);
    if ((which & OVERLAY_EXTENDED) != 0) std::memcpy(extendedOf(attributes), slot->extended, kExtendedBytes);
    return SUCCESS;
}

// Calls move(wide text, narrow text) for the three.
template <typename Wide, typename Narrow, typename Move>
void forTexts(Wide& wide, Narrow& narrow, Move move) {
    move(wide.Text1, narrow.Text1);
    move(wide.Text2, narrow.Text2);
    move(wide.Text3, narrow.Text3);
}

// The same with a zero at the end, which a text that fills its field has not.
template <typename Char, size_t kChars>
struct Terminated {
    explicit Terminated(const Char (&text)[kChars]) { std::copy_n(text, kChars, chars); }
    Char chars[kChars + 1] = {};
};

OverlayAttributes toWide(const OverlayAttributesA& narrow, uint32_t which) {
    OverlayAttributes wide;
    std::memcpy(&wide, &narrow, sizeof wide);
    if ((which & OVERLAY_EXTENDED) == 0) return wide;
    forTexts(wide, narrow, [](auto& to, const auto& from) {
        std::fill(std::begin(to), std::end(to), T_WCHAR{});
        platform->toWide(Terminated(from).chars, to, OVERLAY_TEXT_CHARS);
    });
    return wide;
}

void toNarrow(const OverlayAttributes& wide, OverlayAttributesA& narrow, uint32_t which) {
    std::memcpy(&narrow, &wide, sizeof narrow);
    if ((which & OVERLAY_EXTENDED) == 0) return;
    forTexts(wide, narrow, [](const auto& from, auto& to) {
        std::fill(std::begin(to), std::end(to), char{});
        platform->toMultibyte(Terminated(from).chars, to, sizeof to);
    });
}

// The size of a record to be read is in it, that of one to be filled comes with it.
Result checkAttributes(const BitmapHandle* bitmap, const void* attributes) {
    TRY(checkEntry(kAttributesRule, bitmap));
    return attributes != nullptr ? SUCCESS : ERROR_NULL_POINTER;
}
Result checkSize(uint32_t size) { return size == sizeof(OverlayAttributes) ? SUCCESS : ERROR_STRUCT_SIZE; }

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_SetOverlayAttributes(BitmapHandle* Bitmap, int32_t Index,
                                                   const OverlayAttributes* Attributes, uint32_t Which) {
    Result result = checkAttributes(Bitmap, Attributes);
    if (result.ok()) result = checkSize(Attributes->StructSize);
    return result.ok() ? setAttributes(*Bitmap, Index, *Attributes, Which).code : result.code;
}

extern "C" int32_t TNK_CALL T_SetOverlayAttributesA(BitmapHandle* Bitmap, int32_t Index,
                                                    const OverlayAttributesA* Attributes, uint32_t Which) {
    Result result = checkAttributes(Bitmap, Attributes);
    if (result.ok()) result = checkSize(Attributes->StructSize);
    return result.ok() ? setAttributes(*Bitmap, Index, toWide(*Attributes, Which), Which).code : result.code;
}

extern "C" int32_t TNK_CALL T_GetOverlayAttributes(BitmapHandle* Bitmap, int32_t Index, OverlayAttributes* Attributes,
                                                   uint32_t StructSize, uint32_t Which) {
    Result result = checkAttributes(Bitmap, Attributes);
    if (result.ok()) result = checkSize(StructSize);
    return result.ok() ? getAttributes(*Bitmap, Index, *Attributes, Which).code : result.code;
}

extern "C" int32_t TNK_CALL T_GetOverlayAttributesA(BitmapHandle* Bitmap, int32_t Index, OverlayAttributesA* Attributes,
                                                    uint32_t StructSize, uint32_t Which) {
    Result result = checkAttributes(Bitmap, Attributes);
    if (result.ok()) result = checkSize(StructSize);
    if (!result.ok()) return result.code;
    OverlayAttributes wide;
    std::memcpy(&wide, Attributes, sizeof wide);  // groups that are not asked for stay
    result = getAttributes(*Bitmap, Index, wide, Which);
    if (result.ok()) toNarrow(wide, *Attributes, Which);
    return result.code;
}
