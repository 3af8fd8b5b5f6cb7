// Colour resolution of all bitmaps of a list, with one palette for all.
#include <algorithm>

#include "collections/bitmap_list.h"
#include "color/dither/dither_state.h"
#include "color/reduce/color_resolution.h"
#include "system/settings.h"
#include "tnkrn.h"

namespace tnk {
namespace {

// Hands rows of one item to the list's callback, which counts them by item.
struct ItemRows {
    ColorResListRowCallback callback;
    void* userData;
    uint32_t item = 0;
    uint32_t row = 0;  // of the item, the next
};

int32_t TNK_CALL passRow(BitmapHandle* bitmap, uint8_t* row, uint32_t rows, void* userData) {
    ItemRows& items = *static_cast<ItemRows*>(userData);
    const uint32_t first = items.row;
    items.row += rows;
    return items.callback(bitmap, row, items.item, first, rows, items.userData);
}

// Makes a match table the thread's current one until it goes.
class CurrentMatchTable {
  public:
    explicit CurrentMatchTable(uint32_t* table) : settings_(currentSettings()), previous_(settings_.userMatchTable) {
        if (table != nullptr) settings_.userMatchTable = table;
    }
    ~CurrentMatchTable() { settings_.userMatchTable = previous_; }
    CurrentMatchTable(const CurrentMatchTable&) = delete;
    CurrentMatchTable& operator=(const CurrentMatchTable&) = delete;

  private:
    ThreadSettings& settings_;
    uint32_t* previous_;
};

// Settles one palette and one match table for all items.
Result shareMatching(T_HANDLE list, ColorResJob& job, PaletteChoice& choice) {
    if (!job.reducesToPalette()) return SUCCESS;
    PaletteRequest& request = job.palette;
    constexpr uint32_t kFilledTable = 0x0100;  // refused by the conversion itself
    if (request.sharedByList()) {
        TRY(chooseListPalette(request, list, choice));
        request = {
            .bits = request.bits, .selection = CRF_USERPALETTE, .entries = choice.entries, .count = choice.count};
    } else if (request.selection != CRF_USERPALETTE && request.selection != kFilledTable) {
        return SUCCESS;
    }
    request.selection |= CRF_USERMATCHTABLE;
    if (choice.matchTable != nullptr) return SUCCESS;
    if (!choice.ownTable.allocate(kMatchTableEntries, true)) return FAILURE;
    choice.matchTable = choice.ownTable.data();
    return SUCCESS;
}

Result colorResItems(BitmapList& list, ColorResJob& job, ItemRows& items) {
    for (; items.item < list.count; ++items.item) {
        BitmapHandle bitmap = list.items[items.item];
        items.row = 0;
        Result converted = checkColorResSource(bitmap);
        if (converted.ok()) converted = colorResBitmap(job, bitmap, &bitmap);
        list.items[items.item] = bitmap;
        TRY(converted);
    }
    return SUCCESS;
}

Result colorResList(T_HANDLE handle, ColorResJob& job, ItemRows& items) {
    TRY(checkChange(listOf(handle)));
    BitmapList& list = *listOf(handle);
    if (list.count > 0 && list.items == nullptr) return ERROR_NULL_POINTER;
    const ListUse use(list);
    // An item may own the caller's entries; it frees them when it gets its new palette.
    PaletteEntry entries[kMaxPaletteEntries];
    if (job.reducesToPalette() && job.palette.readsEntries()) {
        std::copy_n(job.palette.entries, job.palette.count, entries);
        job.palette.entries = entries;
    }
    PaletteChoice choice;
    TRY(shareMatching(handle, job, choice));
    const CurrentMatchTable table(choice.matchTable);
    if (items.callback != nullptr) {
        job.rowCallback = passRow;
        job.userData = &items;
    }
    return colorResItems(list, job, items);
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_ColorResBitmapListExt(T_HANDLE List, int32_t BitsPerPixel, uint32_t Flags,
                                                    const PaletteEntry* Palette, T_HANDLE PaletteHandle,
                                                    uint32_t ColorCount, ColorResListRowCallback RowCallback,
                                                    void* UserData) {
    ColorResJob job{};
    const Result settled = settleColorRes(BitsPerPixel, Flags, Palette, PaletteHandle, ColorCount, job);
    if (!settled.ok()) return settled.code;
    // A handle makes the palette of one bitmap a user palette, but an optimized one of a list keeps its entries.
    PaletteRequest asked = job.palette;
    asked.selection = paletteSelection(Flags);
    if (job.reducesToPalette() && asked.sharedByList()) job.palette = asked;
    ItemRows items{.callback = RowCallback, .userData = UserData};
    return colorResList(List, job, items).code;
}

extern "C" int32_t TNK_CALL T_ColorResBitmapList(T_HANDLE List, int32_t BitsPerPixel, uint32_t Flags,
                                                 const PaletteEntry* Palette, T_HANDLE PaletteHandle,
                                                 uint32_t ColorCount) {
    return T_ColorResBitmapListExt(List, BitsPerPixel, Flags, Palette, PaletteHandle, ColorCount, nullptr, nullptr);
}
