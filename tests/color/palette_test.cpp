// Fixed and gray palettes, palettes of bitmaps, gray classification, colour translation, maps and logical palettes.
#include "palette/palette.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cstring>
#include <functional>
#include <vector>

#include "reference/palette.h"
#include "support/entry_rule_cases.h"
#include "support/failing_platform.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

PaletteEntry rgb(int red, int green, int blue, int reserved = 0) {
    return {static_cast<uint8_t>(blue), static_cast<uint8_t>(green), static_cast<uint8_t>(red),
            static_cast<uint8_t>(reserved)};
}

// All four bytes of the entries.
using Words = std::vector<uint32_t>;
template <typename Entry>
Words bytesOf(const Entry* entries, size_t count) {
    Words all(count);
    if (count != 0) std::memcpy(all.data(), entries, 4 * count);
    return all;
}
Words bytesOf(const Palette& palette) { return bytesOf(palette.data(), palette.size()); }

Palette grayPalette(std::initializer_list<int> levels) {
    Palette palette;
    for (const int level : levels) palette.push_back(rgb(level, level, level));
    return palette;
}

Palette ramp(uint32_t count) {
    Palette palette(count);
    std::memcpy(palette.data(), referenceGrayRamp(count).data(), 4 * count);
    return palette;
}

struct Bitmap : StoredBitmap {
    explicit Bitmap(int32_t bits, const Palette& palette = {}) : StoredBitmap(Kind::section, 4, 4, bits) {
        T_SetBitmapNewPalette(&record, palette.empty() ? nullptr : palette.data(),
                              static_cast<uint32_t>(palette.size()));
    }
    ~Bitmap() { record.pLUT = nullptr; }  // the test's own
    const BitmapHandle* get() const { return &record; }
    Words entries() const { return bytesOf(record.Palette, record.Palette ? record.ColorCount : 0); }
};

// A palette that the library hands out; takes it over.
Words taken(PaletteEntry* made, size_t count) {
    const auto bytes = bytesOf(made, count);
    T_GlobalFree(made, 0, nullptr);
    return bytes;
}

TEST(FixedPalette, TablesAndRampsOfEveryDepth) {
    PaletteEntry copy[256];
    for (uint32_t bits = 1; bits <= 16; ++bits) {
        const size_t count = size_t{1} << bits;
        EXPECT_EQ(taken(T_CreateGrayPalette(bits), count), bytesOf(ramp(1u << bits)));
        Bitmap bitmap(static_cast<int32_t>(std::min(bits, 8u)));
        bitmap.record.BitsPerPixel = static_cast<int32_t>(bits);
        bitmap.record.ColorCount = 77;
        ASSERT_EQ(T_CreateBitmapGrayPalette(&bitmap.record), bits <= 8 ? SUCCESS : ERROR_BPP_NOT_SUPPORTED);
        EXPECT_EQ(bitmap.entries(), bits <= 8 ? bytesOf(ramp(1u << bits)) : Words());
        if (bits > 8) continue;
        const auto wanted = bytesOf(referenceFixedPalette(static_cast<int32_t>(bits)), count);
        EXPECT_EQ(bytesOf(T_IntGetFixedPalette(static_cast<int32_t>(bits)), count), wanted);
        EXPECT_EQ(T_GetFixedPalette(copy, bits), SUCCESS);
        EXPECT_EQ(bytesOf(copy, count), wanted);
        EXPECT_EQ(taken(T_CreateFixedPalette(bits), count), wanted);
    }
    EXPECT_EQ(bytesOf(T_IntGetNetscapePalette(), 256), bytesOf(referenceWebPalette(), 256));
    EXPECT_EQ(T_GetFixedPalette(copy, 0), SUCCESS);
    EXPECT_EQ(bytesOf(copy, 256), bytesOf(ramp(256)));
    EXPECT_EQ(taken(T_CreateFixedPalette(0), 2), bytesOf(fixedPalette(1), 2));
    EXPECT_EQ(taken(T_CreateGrayPalette(0), 256), bytesOf(ramp(256)));
    for (const int32_t bits : {INT_MIN, -1, 0, 9, INT_MAX}) EXPECT_EQ(T_IntGetFixedPalette(bits), nullptr);
    for (const uint32_t bits : {30u, 64u, 0xFFFFFFFFu}) EXPECT_EQ(T_CreateGrayPalette(bits), nullptr);
    for (const int32_t code : {T_GetFixedPalette(copy, 9), T_GetFixedPalette(nullptr, 4),
                               T_CreateBitmapGrayPalette(nullptr), T_CreateBitmapFixedPalette(nullptr)})
        EXPECT_EQ(code, ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_CreateFixedPalette(9), nullptr);
}

TEST(FixedPalette, OfABitmapFollowsItsColorCount) {
    for (uint32_t count = 0; count <= 300; ++count) {
        Bitmap bitmap(8);
        bitmap.record.ColorCount = count;
        const bool known = count >= 2 && count <= 256 && std::has_single_bit(count);
        ASSERT_EQ(T_CreateBitmapFixedPalette(&bitmap.record), known ? SUCCESS : 0);
        Words wanted;
        if (known) wanted = bytesOf(fixedPalette(std::countr_zero(count)), count);
        if (count == 4) wanted = bytesOf(grayPalette({0, 255, 0, 85}));
        EXPECT_EQ(bitmap.entries(), wanted);
    }
}

TEST(GrayScale, ClassifiesPalettes) {
    struct {
        Palette palette;
        int32_t code;
    } const cases[] = {
        {ramp(256), GRAYSCALE_NORMAL},
        {grayPalette({255, 170, 85, 0}), GRAYSCALE_INVERTED},
        {grayPalette({0, 128, 255}), GRAYSCALE_OTHER},
        {grayPalette({0, 127, 254}), GRAYSCALE_NORMAL},
        {grayPalette({255, 128, 1}), GRAYSCALE_INVERTED},
        {grayPalette({255}), GRAYSCALE_INVERTED},
        {grayPalette({128}), GRAYSCALE_OTHER},
        {{rgb(0, 0, 0), rgb(255, 255, 254)}, GRAYSCALE_NO},
        {{rgb(0, 0, 0, 7), rgb(255, 255, 255, 9)}, GRAYSCALE_NORMAL},
    };
    for (const auto& c : cases)
        EXPECT_EQ(T_IsGrayScalePalette(c.palette.data(), static_cast<uint32_t>(c.palette.size())), c.code);
    EXPECT_EQ(T_IsGrayScalePalette(nullptr, 2), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_IsGrayScalePalette(cases[0].palette.data(), UINT32_MAX), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_IsGrayScaleBitmap(Bitmap(4, ramp(16)).get()), GRAYSCALE_NORMAL);
    EXPECT_EQ(T_IsGrayScaleBitmap(Bitmap(8, ramp(16)).get()), GRAYSCALE_OTHER);  // short
    EXPECT_EQ(T_IsGrayScaleBitmap(Bitmap(8, {rgb(1, 0, 0)}).get()), GRAYSCALE_NO);
    for (const int32_t bits : {8, 24}) EXPECT_EQ(T_IsGrayScaleBitmap(Bitmap(bits).get()), GRAYSCALE_NO);
}

TEST(GrayScale, JudgesGrayBitmapsByTheirTable) {
    Bitmap bitmap(12);
    BitmapHandle& record = bitmap.record;
    EXPECT_EQ(T_IsGrayScaleBitmap(&record), GRAYSCALE_NORMAL);
    Palette table = ramp(256);
    table[0] = rgb(255, 255, 255);
    table[128] = rgb(9, 9, 9);
    record.pLUT = table.data();
    record.LUTLength = 256;
    record.LowBit = 2;
    record.HighBit = 9;
    EXPECT_EQ(T_IsGrayScaleBitmap(&record), GRAYSCALE_NORMAL) << "the table is not in force";
    record.Flags |= BMF_WINDOW;
    EXPECT_EQ(T_IsGrayScaleBitmap(&record), GRAYSCALE_INVERTED);
    record.Flags |= BMF_SIGNED;
    EXPECT_EQ(T_IsGrayScaleBitmap(&record), GRAYSCALE_OTHER);
    table[255] = rgb(1, 2, 3);
    EXPECT_EQ(T_IsGrayScaleBitmap(&record), GRAYSCALE_NO);
    record.HighBit = -1;
    for (record.LowBit = 2; record.LowBit <= 40; record.LowBit += 38)  // 10 bits, a damaged window
        EXPECT_EQ(T_IsGrayScaleBitmap(&record), ERROR_LUT_LENGTH);
}

TEST(BitmapPalette, ReadsAndWritesRanges) {
    const Palette palette = {rgb(1, 2, 3, 4), rgb(5, 6, 7, 8), rgb(9, 10, 11, 12)};
    struct {
        int32_t first, count, read, put;
    } const cases[] = {
        {0, 3, 3, SUCCESS}, {1, 2, 2, SUCCESS},   {2, 2, 1, -13},  {3, 1, 0, -13},
        {0, 0, 0, SUCCESS}, {-1, 2, 0, -13},      {0, -1, 0, -13}, {1, INT_MAX, 2, -13},
        {3, 0, 0, SUCCESS}, {INT_MAX, 1, 0, -13}, {2, -2, 0, -13}, {0, 4, 3, -13},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.first << " and " << c.count);
        Bitmap bitmap(8, palette);
        PaletteEntry out[4];
        EXPECT_EQ(T_GetBitmapPaletteEntries(&bitmap.record, c.first, c.count, out), c.read);
        EXPECT_EQ(bytesOf(out, static_cast<size_t>(c.read)),
                  bytesOf(palette.data() + std::clamp(c.first, 0, 3), static_cast<size_t>(c.read)));
        EXPECT_EQ(T_GetBitmapColors(&bitmap.record, c.first, c.count, out), c.count > 0 ? c.put : -13);
        Palette wanted = palette;
        const Palette fresh(4, rgb(200, 201, 202, 203));
        EXPECT_EQ(T_PutBitmapColors(&bitmap.record, c.first, c.count, fresh.data()), c.put);
        if (c.put == SUCCESS) std::fill_n(wanted.begin() + c.first, c.count, fresh[0]);
        EXPECT_EQ(bitmap.entries(), bytesOf(wanted));
    }
    PaletteEntry entries[2] = {rgb(1, 2, 3, 4)};
    Bitmap bitmap(1);
    BitmapHandle deep = bitmap.record;
    deep.BitsPerPixel = 9;
    for (const int32_t code : {T_GetBitmapColors(&deep, 0, 1, entries), T_PutBitmapColors(&deep, 0, 1, entries),
                               T_GetBitmapColors(&bitmap.record, 0, 1, entries),  // no palette
                               T_PutBitmapColors(&bitmap.record, 0, 1, nullptr)})
        EXPECT_EQ(code, ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_GetBitmapPaletteEntries(nullptr, 0, 1, entries), 0);
    EXPECT_EQ(T_PutBitmapColors(&bitmap.record, 0, 1, entries), SUCCESS);
    EXPECT_EQ(bitmap.entries(), bytesOf(entries, 2)) << "black beyond the first";
}

TEST(EntryRules, Color) {
    constexpr int32_t kNull = ERROR_INVALID_PARAMETER, kBare = ERROR_NOT_ALLOCATED, kSize = ERROR_STRUCT_SIZE;
    PaletteEntry entry{};
    uint32_t count = 0;
    Bitmap other(8);
    using Record = BitmapHandle*;
    const EntryCase cases[] = {
        {"get", kBare, kNotLookedAt, kSize, [&](Record r) { return T_GetBitmapColors(r, 0, 1, &entry); }},
        {"put", kBare, kBare, kSize, [&](Record r) { return T_PutBitmapColors(r, 0, 1, &entry); }},
        {"set", kBare, kNotLookedAt, kSize, [](Record r) { return T_SetBitmapPalette(r, 0); }},
        {"gray scale", kNull, kNotLookedAt, kSize, T_IsGrayScaleBitmap},
        {"source", kNull, kNotLookedAt, kSize, [&](Record r) { return T_CopyBitmapPalette(&other.record, r); }},
        {"destination", kNull, kNotLookedAt, kSize, [&](Record r) { return T_CopyBitmapPalette(r, &other.record); }},
        {"count", kBare, kBare, kSize, [&](Record r) { return T_GetBitmapColorCountExt(r, &count, nullptr); }},
    };
    checkEntryCases(cases);
    other.record.StructSize = 4;
    EXPECT_EQ(T_GetBitmapColorCountExt(&other.record, nullptr, nullptr), ERROR_INVALID_PARAMETER) << "asked first";
    other.record.StructSize = sizeof(BitmapHandle);
}

TEST(BitmapPalette, ReplacesAndCopies) {
    const Palette palette = {rgb(1, 2, 3, 4), rgb(5, 6, 7, 8), rgb(9, 10, 11, 12)};
    Bitmap bitmap(8, palette), other(8), empty(8);
    EXPECT_EQ(T_CopyBitmapPalette(&other.record, &bitmap.record), SUCCESS);
    EXPECT_NE(other.record.Palette, bitmap.record.Palette);
    EXPECT_EQ(T_CopyBitmapPalette(&other.record, &other.record), SUCCESS);  // to itself: nothing is lost
    EXPECT_EQ(other.entries(), bytesOf(palette));
    EXPECT_EQ(T_SetBitmapNewPalette(&other.record, other.record.Palette + 1, 2), SUCCESS);
    EXPECT_EQ(other.entries(), bytesOf(palette.data() + 1, 2));
    EXPECT_EQ(T_CopyBitmapPalette(&other.record, &empty.record), SUCCESS);
    EXPECT_TRUE(other.record.Palette == nullptr && other.record.ColorCount == 0);
    EXPECT_EQ(T_SetBitmapNewPalette(&bitmap.record, nullptr, 9), SUCCESS);
    EXPECT_TRUE(bitmap.record.Palette == nullptr && bitmap.record.ColorCount == 3);
    for (const uint32_t count : {0u, 257u}) {
        EXPECT_EQ(T_CreateNewPalette(palette.data(), count), nullptr);
        EXPECT_EQ(T_SetBitmapNewPalette(&bitmap.record, palette.data(), count), 0);
        EXPECT_EQ(T_PutBitmapColors(&bitmap.record, 256, 1, palette.data()), ERROR_INVALID_PARAMETER);
        EXPECT_TRUE(bitmap.record.Palette == nullptr && bitmap.record.ColorCount == count);
    }
}

TEST(BitmapPalette, ComparesWhatBothHave) {
    const Bitmap bitmap(8, {rgb(1, 2, 3), rgb(4, 5, 6)}), bare(8);
    const Palette same = {rgb(1, 2, 3, 99), rgb(4, 5, 6), rgb(7, 8, 9)}, other = {rgb(1, 2, 3), rgb(4, 5, 7)};
    EXPECT_EQ(T_CompareBitmapToPalette(bitmap.get(), same.data(), 3), 1);
    for (const uint32_t count : {1u, 2u}) {
        EXPECT_EQ(T_CompareBitmapToPalette(bitmap.get(), other.data(), count), count == 1);
        EXPECT_EQ(T_CompareBitmapToPalette(bare.get(), other.data(), count), 1);
    }
    EXPECT_EQ(T_CompareBitmapToPalette(nullptr, other.data(), 2) + T_CompareBitmapToPalette(bare.get(), nullptr, 2), 0);
}

TEST(TranslateColor, ByTagAndTarget) {
    const Bitmap source(8, {rgb(10, 20, 30), rgb(250, 0, 0), rgb(0, 0, 0)});
    const Bitmap target(4, {rgb(0, 0, 0), rgb(250, 0, 0), rgb(11, 21, 31), rgb(128, 128, 128)});
    const Bitmap deep(24);
    Bitmap gray(16);
    Palette table = ramp(256);
    gray.record.Order = ORDER_GRAY;
    gray.record.pLUT = table.data();
    gray.record.LUTLength = 256;

    struct {
        const char* what;
        const Bitmap* target;
        const Bitmap* source;
        uint32_t color, wanted;
    } const cases[] = {
        {"no target", nullptr, &source, 0x01000001, 0x01000001},
        {"the same colour at the index", &target, &source, 0x01000001, 0x01000001},
        {"nearest to the entry", &target, &source, 0x01000000, 0x01000002},
        {"an entry as a colour", &deep, &source, 0x01000000, 0x001E140A},
        {"beyond the source's palette", &target, &source, 0x01000003, 0x01000000},
        {"no source", &target, nullptr, 0x01000001, 0x01000000},
        {"no source, deep", &deep, nullptr, 0x01000001, 0},
        {"a deep source", &target, &deep, 0x01000001, 0x01000000},
        {"plain to index", &target, &source, 0x000000F0, 0x01000001},
        {"plain stays", &deep, &source, 0x00123456, 0x00123456},
        {"gray level to index", &target, nullptr, 0x04007F12, 0x01000003},
        {"gray level to colour", &deep, nullptr, 0x04007F12, 0x007F7F7F},
        {"the table is not in force", &gray, nullptr, 0x04007F12, 0x04007F12},
    };
    for (const auto& c : cases)
        EXPECT_EQ(T_TranslateBitmapColor(c.target ? &c.target->record : nullptr, c.source ? &c.source->record : nullptr,
                                         c.color),
                  c.wanted)
            << c.what;
    // With a table in force all three channels of the value are looked up.
    gray.record.Flags |= BMF_WINDOW;
    EXPECT_EQ(T_TranslateBitmapColor(&gray.record, nullptr, 0x04404040), 0x01000040u);
    table.assign(65536, rgb(0, 0, 0));
    table[65535] = rgb(200, 200, 200);  // out of reach
    gray.record.pLUT = table.data();
    gray.record.LUTLength = 65536;
    EXPECT_EQ(T_TranslateBitmapColor(&gray.record, nullptr, 0x04C8C8C8), 0x0100FFFEu);
}

TEST(LogicalPalette, MovesEntriesAndClips) {
    Palette palette = RandomNumbers(13).palette(256);
    palette[100] = palette[200] = rgb(100, 155, 50);
    Bitmap bitmap(8, {rgb(7, 8, 9), rgb(100, 101, 102)});
    for (const uint32_t count : {1u, 2u, 201u, 256u}) {
        const T_HANDLE handle = T_CreatePalette(palette.data(), count);
        EXPECT_EQ(T_GetPaletteSize(handle), count);
        PaletteEntry last;
        EXPECT_EQ(T_GetPaletteEntries(handle, count - 1, 0xFFFFFFFF, &last), 1u) << "cut at the end";
        EXPECT_EQ(bytesOf(&last, 1), bytesOf(&palette[count - 1], 1));
        for (const uint32_t first : {count, 0xFFFFFFFFu})
            EXPECT_EQ(T_GetPaletteEntries(handle, first, 0xFFFFFFFF, &last) +
                          platform->setPaletteEntries(handle, first, 1, &last),
                      0u);
        EXPECT_EQ(T_GetPaletteEntries(handle, 0, 1, nullptr) + T_SetPaletteEntries(handle, 0, 1, nullptr), 0u);
        EXPECT_EQ(platform->nearestPaletteIndex(handle, 0x329B64), count < 3 ? count - 1 : 100u)
            << "the first of equal ones";
        EXPECT_EQ(T_SetPaletteEntries(handle, count - 1, 2, &palette[7]), 1u);
        const T_HANDLE copy = T_DupPalette(handle);
        EXPECT_EQ(T_DeletePalette(handle), 1);
        Bitmap other(8, {palette[7]});
        EXPECT_EQ(T_SetBitmapPalette(&other.record, copy), count == 1 ? ERROR_INVALID_PARAMETER : SUCCESS);
        palette[count - 1] = palette[7];
        EXPECT_EQ(other.entries(), bytesOf(palette.data(), count));
        EXPECT_EQ(T_DeletePalette(copy), 1);
    }
    EXPECT_EQ(T_CreatePalette(nullptr, 2), 0);
    for (const uint32_t count : {0u, 257u}) EXPECT_EQ(platform->createPalette(palette.data(), count), 0);
    const T_HANDLE block = T_OsAllocHandle(100, 0, nullptr);
    for (const T_HANDLE wrong : {T_HANDLE{0}, T_HANDLE{5}, T_HANDLE{-1}, block}) {
        EXPECT_EQ(T_DupPalette(wrong), 0);
        EXPECT_EQ(T_GetPaletteSize(wrong) + platform->nearestPaletteIndex(wrong, 0) +
                      platform->getPaletteEntries(wrong, 0, 1, palette.data()) +
                      platform->setPaletteEntries(wrong, 0, 1, palette.data()),
                  0u);
        EXPECT_EQ(T_SetBitmapPalette(&bitmap.record, wrong), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_DeletePalette(wrong), 0);
    }
    T_OsFreeHandle(block, 0, nullptr);
    EXPECT_EQ(bitmap.entries(), bytesOf({rgb(7, 8, 9), rgb(100, 101, 102)}));
    EXPECT_EQ(T_GetNearestPaletteIndex(&bitmap.record, 0x00606060), 1u);
    EXPECT_EQ(T_GetNearestPaletteIndex(&bitmap.record, 0x04000000), 0u);
    EXPECT_EQ(T_GetNearestPaletteIndex(nullptr, 0x00606060), 0u);
    EXPECT_EQ(T_DupBitmapPalette(nullptr), 0);
    BitmapHandle wrongSize = bitmap.record;
    wrongSize.StructSize = 0;
    EXPECT_EQ(T_DupBitmapPalette(&wrongSize), 0);
}

// Whatever fails: the promised result, nothing leaked, no dangling palette.
TEST(PaletteFailures, LeaveNothingBehind) {
    FailingPlatform failing;
    const Palette palette = ramp(16);
    const T_HANDLE handle = T_CreatePalette(palette.data(), 16);
    Bitmap bitmap(4);
    BitmapHandle* const b = &bitmap.record;
    b->ColorCount = 16;
    const std::pair<int32_t, std::function<int32_t()>> operations[] = {
        {0, [&] { return T_SetBitmapNewPalette(b, palette.data(), 16); }},
        {FAILURE, [&] { return T_CreateBitmapGrayPalette(b); }},
        {FAILURE, [&] { return T_CreateBitmapFixedPalette(b); }},
        {FAILURE, [&] { return T_PutBitmapColors(b, 3, 2, palette.data()); }},
        {FAILURE,
         [&] {
             const T_HANDLE copy = T_DupPalette(handle);
             const int32_t result = copy != 0 ? T_SetBitmapPalette(b, copy) : FAILURE;
             T_DeletePalette(copy);
             return result;
         }},
    };
    for (const auto& [onFailure, call] : operations) {
        const auto check = [&, code = onFailure](int32_t result, bool injected) {
            EXPECT_EQ(result, injected ? code : SUCCESS);
            EXPECT_EQ(b->Palette == nullptr, injected);
            T_SetBitmapNewPalette(b, nullptr, 0);
        };
        EXPECT_GT(sweepFailures(failing, kAllFailures, call, check), 0);
    }
    T_DeletePalette(handle);
}

}  // namespace
}  // namespace tnk::test
