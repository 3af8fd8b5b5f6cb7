// One palette for all bitmaps of a list, and their colour resolution.
#include <algorithm>

#include "collections/bitmap_list.h"
#include "color/dither/dither_state.h"
#include "color/reduce/color_resolution.h"
#include "color/reduce/optimized_palette.h"
#include "system/settings.h"
#include "tnkrn.h"

namespace tnk {
namespace {

// Hands rows of one item to the list's callback, which counts them by item.
struct ItemRows {
    ColorResListRowCallback callback = nullptr;
    void* userData = nullptr;
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
Result shareMatching(std::span<const BitmapHandle> bitmaps, ColorResJob& job, PaletteChoice& choice) {
    if (!job.reducesToPalette()) return SUCCESS;
    PaletteRequest& request = job.palette;
    constexpr uint32_t kFilledTable = 0x0100;  // refused by the conversion itself
    if (request.sharedByList()) {
        TRY(chooseSharedPalette(request, bitmaps, choice));
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
    std::span<const BitmapHandle> bitmaps;
    TRY(readItems(list, bitmaps));
    const ListUse use(list);
    // An item may own the caller's entries; it frees them when it gets its new palette.
    PaletteEntry entries[kMaxPaletteEntries];
    if (job.reducesToPalette() && job.palette.readsEntries()) {
        std::copy_n(job.palette.entries, job.palette.count, entries);
        job.palette.entries = entries;
    }
    PaletteChoice choice;
    TRY(shareMatching(bitmaps, job, choice));
    const CurrentMatchTable table(choice.matchTable);
    job.listTable = choice.matchTable;
    if (items.callback != nullptr) {
        job.rowCallback = passRow;
        job.userData = &items;
    }
    return colorResItems(list, job, items);
}

// The palette arguments of a call.
struct PaletteSource {
    const PaletteEntry* entries;
    T_HANDLE handle;
    uint32_t count;
};

Result settleAndReduce(T_HANDLE list, int32_t bits, uint32_t flags, const PaletteSource& given, ItemRows items) {
    ColorResJob job{};
    TRY(settleColorRes(bits, flags, given.entries, given.handle, given.count, job));
    // A handle makes the palette of one bitmap a user palette, but an optimized one of a list keeps its entries.
    PaletteRequest asked = job.palette;
    asked.selection = paletteSelection(flags);
    if (job.reducesToPalette() && asked.sharedByList()) job.palette = asked;
    return colorResList(list, job, items);
}

// What a caller gets of a palette for a list.
struct PaletteOutputs {
    PaletteEntry* entries;
    uint32_t* count;
    uint32_t** matchTable;  // or null
    uint32_t* needsDithering;
};

Result createPaletteOfList(T_HANDLE list, const PaletteOutputs& out, uint32_t flags) {
    if ((flags & ~(CRF_PEELDOMINANT | CRF_FULLPRECISION)) != 0) return ERROR_INVALID_PARAMETER;
    if (out.entries == nullptr || out.count == nullptr || out.needsDithering == nullptr) return ERROR_INVALID_PARAMETER;
    if (list == 0 || *out.count == 0 || *out.count > kMaxPaletteEntries) return ERROR_INVALID_PARAMETER;
    PaletteEntry entries[kMaxPaletteEntries];
    OptimizedPalette palette{.count = *out.count,
                             .entries = entries,
                             .wantsMatchTable = out.matchTable != nullptr,
                             .leftForRest = leftForRest((flags & CRF_PEELDOMINANT) != 0),
                             .fullPrecision = (flags & CRF_FULLPRECISION) != 0,
                             .forPixels = false};
    std::span<const BitmapHandle> bitmaps;
    TRY(readItems(*listOf(list), bitmaps));
    TRY(optimizePaletteOfAll(bitmaps, palette));
    std::copy_n(entries, *out.count, out.entries);
    *out.count = palette.count;
    *out.needsDithering = palette.needsDithering ? 1 : 0;
    if (out.matchTable != nullptr) *out.matchTable = palette.matchTable.detach();
    return SUCCESS;
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_ColorResBitmapListExt(T_HANDLE List, int32_t BitsPerPixel, uint32_t Flags,
                                                    const PaletteEntry* Palette, T_HANDLE PaletteHandle,
                                                    uint32_t ColorCount, ColorResListRowCallback RowCallback,
                                                    void* UserData) {
    const PaletteSource given{Palette, PaletteHandle, ColorCount};
    return settleAndReduce(List, BitsPerPixel, Flags, given, {.callback = RowCallback, .userData = UserData}).code;
}

extern "C" int32_t TNK_CALL T_ColorResBitmapList(T_HANDLE List, int32_t BitsPerPixel, uint32_t Flags,
                                                 const PaletteEntry* Palette, T_HANDLE PaletteHandle,
                                                 uint32_t ColorCount) {
    return settleAndReduce(List, BitsPerPixel, Flags, {Palette, PaletteHandle, ColorCount}, {}).code;
}

extern "C" int32_t TNK_CALL T_CreateBitmapListOptPalExt(T_HANDLE List, PaletteEntry* Palette, uint32_t* Count,
                                                        uint32_t** MatchTable, uint32_t* NeedsDithering,
                                                        uint32_t Flags) {
    return createPaletteOfList(List, {Palette, Count, MatchTable, NeedsDithering}, Flags).code;
}

extern "C" int32_t TNK_CALL T_CreateBitmapListOptPal(T_HANDLE List, PaletteEntry* Palette, uint32_t* Count,
                                                     uint32_t** MatchTable, uint32_t* NeedsDithering) {
    return createPaletteOfList(List, {Palette, Count, MatchTable, NeedsDithering}, 0).code;
}
