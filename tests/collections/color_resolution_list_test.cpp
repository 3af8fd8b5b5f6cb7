// Palettes and colour resolution of lists held against the plain forms over drawn lists, and what they refuse.
#include <gtest/gtest.h>

#include <memory>

#include "fuzz/resolution_properties.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

// A list of drawn bitmaps that owns them.
struct DrawnList {
    DrawnList(Script& script, uint32_t count, uint32_t most = 1) {
        EXPECT_EQ(T_CreateBitmapList(&handle), SUCCESS);
        const bool indexed = script.next(4) == 0;  // palettes that fit into one
        while (pictures.size() < count) {
            BitmapHandle bitmap{};
            EXPECT_TRUE(drawBitmap(script, bitmap, 40 * most, 20 * most));
            const bool suits = hasOrder(plainPicture(bitmap).format) && (!indexed || bitmap.BitsPerPixel <= 8);
            if (!suits && script.more()) {
                T_FreeBitmap(&bitmap);
                continue;
            }
            if (!hasOrder(plainPicture(bitmap).format)) bitmap.Order = ORDER_BGR;
            if (bitmap.BitsPerPixel <= 8) bitmap.Palette[1] = {70, 60, 50, 0};  // that several have
            EXPECT_EQ(T_InsertBitmapListItem(handle, UINT32_MAX, &bitmap), SUCCESS);
            records.push_back(bitmap);
            palettes.emplace_back(bitmap.Palette, bitmap.Palette + (bitmap.Palette ? bitmap.ColorCount : 0));
            pictures.push_back(plainPicture(bitmap));
        }
    }
    ~DrawnList() { EXPECT_EQ(T_DestroyBitmapList(handle), SUCCESS); }
    DrawnList(const DrawnList&) = delete;
    DrawnList& operator=(const DrawnList&) = delete;

    BitmapHandle item(uint32_t index) const {
        BitmapHandle record;
        EXPECT_EQ(T_GetBitmapListItem(handle, index, &record, sizeof record), SUCCESS);
        return record;
    }
    bool kept(uint32_t index) const {
        BitmapHandle record = item(index);
        return std::memcmp(&record, &records[index], sizeof record) == 0 && rowsIn(record) == pictures[index].rows;
    }

    T_HANDLE handle = 0;
    std::vector<BitmapHandle> records;
    std::vector<Entries> palettes;
    std::vector<ReferencePicture> pictures;
};

// What the items of a list are asked for: one palette and one match table for all of them.
ResolutionRequest itemRequest(const ResolutionRequest& r, const std::vector<ReferencePicture>& pictures) {
    ResolutionRequest item = r, shared = r;
    shared.byHandle = false;  // it keeps its entries
    if (r.bits > 8) return item;
    if (shared.optimized() && (r.flags & CRF_NOMATCHTABLE) == 0) {
        if (r.byHandle) shared.entries.resize(256, PaletteEntry{0, 0, 0, kFreeEntry});
        const PlainPalette palette = plainOptimized(shared, pictures, true);
        item.byHandle = false;
        item.entries = palette.entries;
        item.count = static_cast<uint32_t>(palette.entries.size());
        item.flags = CRF_USERPALETTE | CRF_USERMATCHTABLE | (r.flags & CRF_DITHER_METHOD(0xFF));
        item.table = palette.table;
    } else if (r.selection() == CRF_USERPALETTE) {
        item.flags |= CRF_USERMATCHTABLE;
        item.table.clear();
    } else {
        return item;
    }
    if (item.table.empty()) item.table.resize(32768);
    return item;
}

struct ListRows {
    std::vector<Rows> seen;
    uint32_t stopItem, stopRow;

    static int32_t TNK_CALL take(BitmapHandle* bitmap, uint8_t* row, uint32_t item, uint32_t first, uint32_t rows,
                                 void* user) {
        ListRows& self = *static_cast<ListRows*>(user);
        EXPECT_EQ(rows, 1u);
        self.seen.resize(item + 1);
        EXPECT_EQ(self.seen[item].size(), first);
        self.seen[item].emplace_back(row, row + bitmap->BytesPerLine);
        return item == self.stopItem && first == self.stopRow ? -74 : 1;
    }
};

void expectPalette(const DrawnList& list, uint32_t wanted, uint32_t flags) {
    Entries entries(257, PaletteEntry{9, 9, 9, 9});
    uint32_t count = wanted, needs = 77;
    uint32_t* table = nullptr;
    ASSERT_EQ(flags == 0 ? T_CreateBitmapListOptPal(list.handle, entries.data(), &count, &table, &needs)
                         : T_CreateBitmapListOptPalExt(list.handle, entries.data(), &count, &table, &needs, flags),
              SUCCESS);
    const std::vector<ReferenceColor> none;
    const ReferenceOptimized expected =
        referenceOptimizedPalette(list.pictures, wanted, (flags & CRF_PEELDOMINANT) != 0, false,
                                  (flags & CRF_FULLPRECISION) != 0 ? &none : nullptr);
    EXPECT_EQ(count, expected.count);
    EXPECT_EQ(needs, expected.needsDithering ? 1u : 0u);
    EXPECT_TRUE(std::equal(expected.palette.begin(), expected.palette.end(), plainColors(entries.data())));
    EXPECT_EQ(entries[wanted].Blue, 9) << "beyond the wanted entries";
    ASSERT_EQ(table != nullptr, !expected.matchTable.empty());
    EXPECT_TRUE(table == nullptr || std::equal(expected.matchTable.begin(), expected.matchTable.end(), table));
    T_FreeUserMatchTable(table);
}

TEST(ColorResolutionList, EqualsThePlainFormUntilTheFirstFailure) {
    constexpr uint32_t kWanted[] = {1, 2, 3, 5, 16, 63, 64, 65, 100, 255, 256};
    RandomNumbers random(338);
    for (int run = 0; run < 600; ++run) {
        const Bytes bytes = random.bytes(600);
        Script script(bytes.data(), bytes.size());
        const uint32_t count = 1 + random.below(3);
        const DrawnList list(script, count, run % 30 == 0 ? 16 : 1);
        ResolutionRequest request = drawRequest(script);
        if (request.bits == 9) request.bits = 8;  // refused before the first item
        SCOPED_TRACE(::testing::Message() << "run " << run << ", " << count << " items, to " << request.bits
                                          << " bits, flags " << request.flags);
        constexpr uint32_t kFlags[] = {0, CRF_PEELDOMINANT, 0, CRF_FULLPRECISION};
        expectPalette(list, kWanted[random.below(std::size(kWanted))], kFlags[run % 4]);
        ASSERT_FALSE(HasFailure());
        // The palette of an item goes with the item.
        const BitmapHandle first = list.records[0];
        const bool ofItem = first.ColorCount >= request.colors() && first.BitsPerPixel <= 8 && run % 2 == 0;
        if (ofItem) request.byHandle = false;
        if (ofItem) request.entries = list.palettes[0];
        const ResolutionRequest each = itemRequest(request, list.pictures);
        std::vector<Resolution> plain;
        for (BitmapHandle record : list.records) plain.push_back(plainResolution(each, record));

        std::vector<uint32_t> table = request.table;
        uint32_t* const previous = T_SetUserMatchTable(table.empty() ? nullptr : table.data());
        const Entries given = request.entries;
        const T_HANDLE handle =
            request.byHandle ? T_CreatePalette(given.data(), static_cast<uint32_t>(given.size())) : 0;
        const PaletteEntry* entries = given.empty() || handle != 0 ? nullptr : given.data();
        if (ofItem) entries = first.Palette;
        ListRows rows{{}, random.below(6), random.below(20)};
        const int32_t result = run % 3 == 0 ? T_ColorResBitmapList(list.handle, request.bits, request.flags, entries,
                                                                   handle, request.count)
                                            : T_ColorResBitmapListExt(list.handle, request.bits, request.flags, entries,
                                                                      handle, request.count, ListRows::take, &rows);
        EXPECT_EQ(T_SetUserMatchTable(previous), table.empty() ? nullptr : table.data());
        if (handle != 0) T_DeletePalette(handle);

        int32_t expected = SUCCESS;
        for (uint32_t i = 0; i < count; ++i) {
            const bool stops = run % 3 != 0 && rows.stopItem == i && rows.stopRow < plain[i].rows.size();
            if (expected == SUCCESS) expected = stops ? -74 : plain[i].code;
            if (expected != SUCCESS) {
                ASSERT_TRUE(list.kept(i)) << i;
                continue;
            }
            BitmapHandle made = list.item(i);
            const Entries& palette = plain[i].palette.entries;
            ASSERT_TRUE(rowsIn(made) == plain[i].rows) << i;
            ASSERT_TRUE(run % 3 == 0 || rows.seen[i] == plain[i].rows) << i;
            ASSERT_EQ(made.ColorCount, request.bits <= 8 ? palette.size() : made.ColorCount);
            ASSERT_TRUE(palette.empty() ||
                        std::memcmp(made.Palette, palette.data(), palette.size() * sizeof(PaletteEntry)) == 0);
        }
        ASSERT_EQ(result, expected);
    }
}

TEST(ColorResolutionList, RefusesAndReportsNothing) {
    const Bytes bytes = RandomNumbers(345).bytes(600);
    Script script(bytes.data(), bytes.size());
    const DrawnList list(script, 3), empty(script, 0);
    PaletteEntry palette[256] = {};
    uint32_t count = 16, needs = 77;
    uint32_t* table = &count;
    const auto build = [&](T_HANDLE of, PaletteEntry* entries, uint32_t* n, uint32_t* dithers) {
        return T_CreateBitmapListOptPal(of, entries, n, &table, dithers);
    };
    const auto reduce = [&](T_HANDLE of, uint32_t flags, T_HANDLE handle = 0) {
        return T_ColorResBitmapList(of, 4, flags, handle != 0 ? palette : nullptr, handle, 0);
    };
    const T_HANDLE handle = T_CreatePalette(T_IntGetFixedPalette(4), 16);
    for (const int32_t result :
         {build(list.handle, nullptr, &count, &needs), build(list.handle, palette, nullptr, &needs),
          build(list.handle, palette, &count, nullptr),
          T_CreateBitmapListOptPalExt(list.handle, palette, &count, &table, &needs, CRF_FIXEDPALETTE),
          build(0, palette, &count, &needs), reduce(0, 0), reduce(list.handle, 0, handle),
          T_ColorResBitmapList(list.handle, 9, 0, nullptr, 0, 0)})
        EXPECT_EQ(result, ERROR_INVALID_PARAMETER);
    T_DeletePalette(handle);
    for (uint32_t bad : {0u, 257u, UINT32_MAX})
        EXPECT_EQ(build(list.handle, palette, &bad, &needs), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(build(empty.handle, palette, &count, &needs), ERROR_NOT_ALLOCATED);
    EXPECT_EQ(reduce(empty.handle, 0), ERROR_NOT_ALLOCATED);
    EXPECT_EQ(reduce(empty.handle, CRF_FIXEDPALETTE), SUCCESS);

    const auto report = [](int32_t, void* user) TNK_CALL -> int32_t { return ++*static_cast<int*>(user), -74; };
    int reports = 0;
    uint32_t* made = nullptr;
    uint32_t colors = 16, dithers = 0;
    T_SetStatusCallBack(report, &reports, nullptr, nullptr);
    EXPECT_EQ(T_CreateBitmapListOptPal(list.handle, palette, &colors, &made, &dithers), SUCCESS);
    EXPECT_EQ(reports, 0);
    EXPECT_EQ(reduce(list.handle, CRF_FIXEDPALETTE), -74) << "the callback is back";
    T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    T_FreeUserMatchTable(made);

    BitmapHandle taken = list.item(1);
    T_SetBitmapListItem(list.handle, 1, nullptr);
    EXPECT_EQ(build(list.handle, palette, &count, &needs), ERROR_NOT_ALLOCATED) << "an emptied slot";
    EXPECT_TRUE(count == 16 && needs == 77 && table == &count) << "nothing is written";
    EXPECT_EQ(reduce(list.handle, 0), ERROR_NOT_ALLOCATED);
    EXPECT_TRUE(list.kept(0) && list.kept(2)) << "no palette, no item";
    EXPECT_EQ(reduce(list.handle, CRF_FIXEDPALETTE), ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(list.item(0).BitsPerPixel == 4 && list.kept(2));
    T_FreeBitmap(&taken);
    for (const uint32_t index : {2u, 0u}) T_DeleteBitmapListItems(list.handle, index, 1);
    EXPECT_EQ(build(list.handle, palette, &count, &needs), ERROR_NOT_ALLOCATED) << "nothing but an emptied slot";
}

// A callback may get at the table that the items share, and what it writes there counts from then on.
int32_t TNK_CALL whiteBelow(int32_t percent, void*) {
    if (percent < 50) return 1;
    uint32_t* const table = T_SetUserMatchTable(nullptr);
    T_SetUserMatchTable(table);
    std::fill_n(table, 32'768, 2u);
    return 1;
}

TEST(ColorResolutionList, ItsTableMayBeChangedMeanwhile) {
    const PaletteEntry palette[] = {{0, 0, 0, 0}, {255, 255, 255, 0}};
    BitmapHandle black{};
    ASSERT_EQ(T_CreateBitmap(&black, sizeof black, MEM_CONVENTIONAL, 256, 256, 8, ORDER_BGR, nullptr, 1, nullptr, 0),
              1);
    T_HANDLE list = 0;
    ASSERT_EQ(T_CreateBitmapList(&list), SUCCESS);
    EXPECT_EQ(T_InsertBitmapListItem(list, UINT32_MAX, &black), SUCCESS);
    T_SetStatusCallBack(whiteBelow, nullptr, nullptr, nullptr);
    EXPECT_EQ(T_ColorResBitmapList(list, 1, CRF_USERPALETTE, palette, 0, 2), SUCCESS);
    T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(T_GetBitmapListItem(list, 0, &black, sizeof black), SUCCESS);
    EXPECT_EQ(rowsIn(black).front(), std::vector<uint8_t>(32, 0));
    EXPECT_EQ(rowsIn(black).back(), std::vector<uint8_t>(32, 0xFF));
    EXPECT_EQ(T_DestroyBitmapList(list), SUCCESS);
}

}  // namespace
}  // namespace tnk::test
