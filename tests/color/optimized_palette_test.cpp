// Optimized palettes of bitmaps and lists held against their plain form.
#include "color/reduce/optimized_palette.h"

#include <gtest/gtest.h>

#include "color/picture_fixture.h"
#include "reference/optimized_palette.h"
#include "support/failing_platform.h"

namespace tnk::test {
namespace {

constexpr uint32_t kWanted[] = {1, 2, 3, 5, 16, 63, 64, 65, 100, 255, 256};

void expectPalette(const OptimizedPalette& built, const ReferenceOptimized& expected, bool wantsTable) {
    EXPECT_EQ(built.count, expected.count);
    EXPECT_EQ(built.needsDithering, expected.needsDithering);
    EXPECT_TRUE(std::equal(expected.palette.begin(), expected.palette.end(), asReference(built.entries)));
    ASSERT_EQ(built.matchTable.data() != nullptr, wantsTable && !expected.matchTable.empty());
    if (built.matchTable.data() == nullptr) return;
    const std::vector<uint32_t> table(built.matchTable.data(), built.matchTable.data() + 32768);
    EXPECT_TRUE(table == expected.matchTable);
}

void expectBuilt(Picture& picture, uint32_t wanted, const Palette& fixed = {}, bool peelToOne = false,
                 bool wantsTable = true) {
    PaletteEntry entries[256];
    OptimizedPalette built{.count = wanted, .entries = entries, .wantsMatchTable = wantsTable};
    if (peelToOne) built.leftForRest = 1;
    ASSERT_TRUE(optimizePalette(picture.record, fixed, built).ok());
    const std::vector<ReferenceColor> taken(asReference(fixed.data()), asReference(fixed.data()) + fixed.size());
    expectPalette(built, referenceOptimizedPalette(picture.reference(), wanted, taken, peelToOne), wantsTable);
}

TEST(OptimizedPalette, EqualsThePlainForm) {
    Random random(341);
    for (const PixelFormat format : kPixelFormats) {
        for (const Kind kind : kKinds) {
            for (const bool large : {false, true}) {
                const auto width = static_cast<int32_t>(large ? 150 : 1 + below(random, 9));
                Picture picture(random, format, kind, width, large ? 40 : 6, large ? 300 : 1 + below(random, 70));
                for (int i = 0; i < 4; ++i) {
                    const uint32_t wanted = kWanted[below(random, std::size(kWanted))];
                    const bool peelToOne = below(random, 2) == 0;
                    SCOPED_TRACE(testing::Message() << format.bits << " bits, order " << format.order << ", kind "
                                                    << static_cast<int>(kind) << (large ? ", large, " : ", small, ")
                                                    << wanted << " colours" << (peelToOne ? ", peeled to one" : ""));
                    expectBuilt(picture, wanted, {}, peelToOne, below(random, 4) != 0);
                }
            }
        }
    }
}

TEST(OptimizedPalette, GrayWindowsAndTables) {
    Random random(342);
    for (const auto& [bits, low, high] : {std::tuple{12, 2, 9},
                                          {12, 8, 11},
                                          {16, 0, 15},
                                          {16, 4, 13},
                                          {16, 9, 12},
                                          {32, 0, -1},
                                          {32, 20, 24},
                                          {32, 12, 23}}) {
        for (const bool lut : {false, true}) {
            if (lut && (high < 0 || high - low > 11)) continue;
            Picture picture(random, {bits, ORDER_GRAY}, Kind::kNoise, 61, 20);
            picture.setWindow(random, low, high, lut);
            for (const uint32_t wanted : {4u, 40u, 256u}) {
                SCOPED_TRACE(testing::Message() << bits << " bits, " << low << " to " << high
                                                << (lut ? ", table, " : ", ") << wanted << " colours");
                expectBuilt(picture, wanted);
            }
        }
    }
}

// Colours that stand in the palette already are not chosen again, but only where all colours fit.
TEST(OptimizedPalette, FixedEntries) {
    Random random(343);
    for (const PixelFormat format : kPixelFormats) {
        SCOPED_TRACE(testing::Message() << format.bits << " bits, order " << format.order);
        Picture picture(random, format, Kind::kFew, 30, 30, 24);
        Palette found(256);
        uint32_t count = 256;
        ASSERT_EQ(T_GetBitmapColorCountExt(&picture.record, &count, found.data()), SUCCESS);
        ASSERT_LE(count, 24u);
        Palette fixed = randomPalette(random, 3);
        for (uint32_t i = 0; i < count; i += 2) fixed.push_back(found[i]);
        fixed.back().Reserved = 1;
        for (const uint32_t wanted : {1u, (count + 1) / 2, count - (count > 1), count, count + 1, 256u})
            expectBuilt(picture, wanted, fixed);
    }
}

class BitmapList {
  public:
    BitmapList() { EXPECT_EQ(T_CreateBitmapList(&handle), SUCCESS); }
    // Pictures keep what they own; the list only sees the records.
    ~BitmapList() {
        uint32_t count = 0;
        T_GetBitmapListCount(handle, &count);
        for (; count > 0; --count) T_RemoveBitmapListItem(handle, 0, nullptr);
        T_DestroyBitmapList(handle);
    }
    BitmapList(const BitmapList&) = delete;
    BitmapList& operator=(const BitmapList&) = delete;

    void add(Picture& picture) {
        EXPECT_EQ(T_InsertBitmapListItem(handle, UINT32_MAX, &picture.record), SUCCESS);
        references.push_back(picture.reference());
    }

    T_HANDLE handle = 0;
    std::vector<ReferencePicture> references;
};

void expectListPalette(const BitmapList& list) {
    for (const uint32_t wanted : kWanted) {
        SCOPED_TRACE(testing::Message() << wanted << " colours");
        Palette entries(257, PaletteEntry{9, 9, 9, 9});
        uint32_t count = wanted, needs = 77;
        uint32_t* table = nullptr;
        ASSERT_EQ(T_CreateBitmapListOptPal(list.handle, entries.data(), &count, &table, &needs), SUCCESS);
        const ReferenceOptimized expected = referenceOptimizedPalette(list.references, wanted, false);
        EXPECT_EQ(count, expected.count);
        EXPECT_EQ(needs, expected.needsDithering ? 1u : 0u);
        EXPECT_TRUE(std::equal(expected.palette.begin(), expected.palette.end(), asReference(entries.data())));
        EXPECT_EQ(entries[wanted].Blue, 9) << "beyond the wanted entries";
        EXPECT_EQ(table != nullptr, !expected.matchTable.empty());
        EXPECT_TRUE(table == nullptr || std::equal(expected.matchTable.begin(), expected.matchTable.end(), table));
        EXPECT_EQ(T_LocalFree(table, 1, "m"), SUCCESS);
    }
}

TEST(OptimizedPalette, OfLists) {
    Random random(344);
    const std::vector<std::vector<PixelFormat>> lists = {
        {{24, ORDER_BGR}},
        {{4, ORDER_RGB}},
        {{4, ORDER_RGB}, {3, ORDER_RGB}, {5, ORDER_RGB}},  // whose palettes are merged, or too many
        {{8, ORDER_RGB}, {1, ORDER_RGB}},
        {{2, ORDER_RGB}, {24, ORDER_MATRIX_RGB}, {12, ORDER_GRAY}, {48, ORDER_RGB}, {16, ORDER_BGR}},
    };
    // A list of one bitmap gives colours as they are counted: neither turned nor stretched.
    for (const PixelFormat format : {PixelFormat{24, ORDER_MATRIX_RGB}, {16, ORDER_GRAY}}) {
        Picture picture(random, format, Kind::kFew, 41, 23);
        if (format.bits == 16) picture.setWindow(random, 9, 12, false);
        BitmapList list;
        list.add(picture);
        expectListPalette(list);
    }
    for (const auto& formats : lists) {
        SCOPED_TRACE(testing::Message() << formats.size() << " bitmaps, the first of " << formats[0].bits << " bits");
        std::vector<std::unique_ptr<Picture>> pictures;
        BitmapList list;
        for (const PixelFormat format : formats) {
            pictures.push_back(std::make_unique<Picture>(random, format, Kind::kDominant, 41, 23, 90));
            BitmapHandle& record = pictures.back()->record;
            // A colour that several palettes have.
            if (format.bits <= 8) record.Palette[1] = record.Palette[record.ColorCount - 1] = {70, 60, 50, 0};
            list.add(*pictures.back());
        }
        expectListPalette(list);
    }
}

TEST(OptimizedPalette, RefusesAndReportsNothing) {
    Random random(345);
    Picture picture(random, {24, ORDER_BGR}, Kind::kNoise, 20, 20);
    BitmapList list;
    PaletteEntry palette[256] = {};
    uint32_t count = 16, needs = 77;
    uint32_t* table = &count;
    const auto build = [&](PaletteEntry* entries, uint32_t* n, uint32_t* dithers) {
        return T_CreateBitmapListOptPal(list.handle, entries, n, &table, dithers);
    };
    EXPECT_EQ(build(palette, &count, &needs), ERROR_NOT_ALLOCATED) << "an empty list";
    list.add(picture);
    EXPECT_EQ(build(nullptr, &count, &needs), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(build(palette, nullptr, &needs), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(build(palette, &count, nullptr), ERROR_INVALID_PARAMETER);
    for (const uint32_t bad : {0u, 257u, UINT32_MAX}) {
        count = bad;
        EXPECT_EQ(build(palette, &count, &needs), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(count, bad);
    }
    count = 16;
    EXPECT_EQ(T_CreateBitmapListOptPal(0, palette, &count, &table, &needs), ERROR_INVALID_PARAMETER);
    T_SetBitmapListItem(list.handle, T_InsertBitmapListItem(list.handle, 0, &picture.record) - 1, nullptr);
    EXPECT_EQ(build(palette, &count, &needs), ERROR_NOT_ALLOCATED) << "an emptied slot";
    EXPECT_TRUE(count == 16 && needs == 77 && table == &count) << "nothing is written";
    T_RemoveBitmapListItem(list.handle, 0, nullptr);

    const auto report = [](int32_t, void* user) TNK_CALL -> int32_t { return ++*static_cast<int*>(user), -74; };
    int reports = 0;
    T_SetStatusCallBack(report, &reports, nullptr, nullptr);
    EXPECT_EQ(build(palette, &count, &needs), SUCCESS);
    T_FreeUserMatchTable(table);
    EXPECT_EQ(reports, 0);
    uint32_t colors = 0;
    EXPECT_EQ(T_GetBitmapColorCountExt(&picture.record, &colors, nullptr), -74) << "the callback is back";
    T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
}

TEST(OptimizedPalette, FailuresLoseNothing) {
    Random random(346);
    FailingPlatform failing;
    Picture disk(random, {24, ORDER_BGR}, Kind::kNoise, 20, 10, 5, MEM_NOCONVENTIONAL);
    Picture matrix(random, {48, ORDER_MATRIX_RGB}, Kind::kNoise, 20, 10);
    BitmapList list;
    list.add(disk);
    for (const bool second : {false, true}) {
        if (second) list.add(matrix);
        PaletteEntry palette[256];
        uint32_t count = 16, needs = 0;
        uint32_t* table = nullptr;
        const int failures = sweepFailures(
            failing, kAllFailures,
            [&] {
                count = 16;
                return T_CreateBitmapListOptPal(list.handle, palette, &count, &table, &needs);
            },
            [&](int32_t result, bool injected) {
                EXPECT_EQ(result == SUCCESS, !injected);
                EXPECT_TRUE(!injected || (table == nullptr && needs == 0));
                T_FreeUserMatchTable(std::exchange(table, nullptr));
                needs = 0;
            });
        EXPECT_GT(failures, 6);
    }
}

}  // namespace
}  // namespace tnk::test
