// Reduction to optimized palettes, of bitmaps and of lists: palettes by the plain form, rows by the other exports.
#include <gtest/gtest.h>

#include <set>

#include "color/picture_fixture.h"
#include "platform/platform.h"
#include "reference/optimized_palette.h"
#include "support/failing_platform.h"

namespace tnk::test {
namespace {

constexpr uint8_t kFree = 2;

struct Request {
    int32_t bits = 8;
    uint32_t flags = 0;
    const Palette* entries = nullptr;
    uint32_t count = 0;
    ColorResRowCallback callback = nullptr;
    void* user = nullptr;
};

int32_t reduce(BitmapHandle& source, BitmapHandle* destination, const Request& r) {
    return T_ColorResBitmap(&source, destination, sizeof source, r.bits, r.flags,
                            r.entries != nullptr ? r.entries->data() : nullptr, 0, r.count, r.callback, r.user);
}

// The palette that a reduction must come to.
struct Expected {
    Palette entries;
    uint32_t count = 0;
    bool dithers = true;
    std::vector<uint32_t> table;

    template <typename Build>
    Expected(const Request& request, bool deeper, uint32_t sourceColors, const Palette& screen, Build build) {
        count = request.count != 0 ? request.count : 1u << request.bits;
        entries.assign(count, PaletteEntry{0, 0, 0, kFree});
        for (uint32_t i = 0; i < screen.size(); ++i) {
            const bool upper = i >= screen.size() / 2;
            entries[upper ? count - screen.size() + i : i] = {screen[i].Blue, screen[i].Green, screen[i].Red, 0};
        }
        std::vector<ReferenceColor> fixed;
        std::vector<uint32_t> places;
        uint32_t usableBefore = 0;
        for (uint32_t i = 0; i < count; ++i) {
            if (request.entries != nullptr && ((*request.entries)[i].Reserved & 3) != kFree)
                entries[i] = (*request.entries)[i];
            if ((entries[i].Reserved & 3) == kFree) {
                places.push_back(i);
            } else {
                fixed.push_back(*asReference(&entries[i]));
                usableBefore += places.empty() && (entries[i].Reserved & 3) == 0 ? 1 : 0;
            }
        }
        if (places.empty()) return;
        const auto free = static_cast<uint32_t>(places.size());
        const bool contiguous = places.back() - places.front() + 1 == free;
        ReferenceOptimized built = build(free, fixed);
        for (uint32_t i = 0; i < free; ++i) {
            built.palette[i].reserved &= 0xFC;  // neither free nor never to be chosen
            std::memcpy(&entries[places[i]], &built.palette[i], 4);
        }
        dithers = built.needsDithering && (deeper || free <= sourceColors || !contiguous);
        // What is not used goes, where no fixed entry stands behind it.
        for (uint32_t i = free; !built.needsDithering && i > built.count && count > 1 && places[i - 1] == count - 1;
             --i)
            --count;
        entries.resize(count);
        if (!contiguous || (request.flags & CRF_NOMATCHTABLE) != 0) return;
        table = built.matchTable;
        for (uint32_t& place : table) place += place != 0 ? usableBefore : 0;
    }

    Expected(Picture& picture, const Request& request, const Palette& screen = {})
        : Expected(request, picture.record.BitsPerPixel > request.bits, picture.record.ColorCount, screen,
                   [&](uint32_t free, const auto& fixed) {
                       return referenceOptimizedPalette(picture.reference(), free, fixed,
                                                        (request.flags & CRF_PEELDOMINANT) != 0);
                   }) {
        // Rows whose conversion loses bits that were counted, or keeps bits that were not.
        const BitmapHandle& b = picture.record;
        const bool window =
            b.Order == ORDER_GRAY && b.pLUT == nullptr && b.HighBit >= 0 && b.HighBit < b.BitsPerPixel - 1;
        if (window && std::min(b.HighBit - b.LowBit + 1, 8) > request.bits) dithers = true;
        if (b.BitsPerPixel == 48 && b.Order == ORDER_MATRIX_RGB) dithers = true;
    }
};

// `rows` become those of the destination. The table is filled as the colours come.
Rows ditheredRows(Rows rows, BitmapHandle source, const BitmapHandle& destination, const Expected& expected,
                  uint32_t method, std::vector<uint32_t>& table) {
    source.DitherMethod = method;
    source.pDitherState = nullptr;
    EXPECT_EQ(
        T_StartDitheringExt(&source, expected.entries.data(), expected.count,
                            static_cast<uint32_t>(destination.BitsPerPixel), table.empty() ? nullptr : table.data()),
        SUCCESS);
    for (Bytes& row : rows) {
        Bytes out(destination.BytesPerLine);
        EXPECT_EQ(T_DitherLine(&source, row.data(), out.data()), SUCCESS);
        row = out;
    }
    T_StopDithering(&source);
    return rows;
}

void expectPalette(const BitmapHandle& bitmap, const Expected& expected) {
    ASSERT_EQ(bitmap.ColorCount, expected.count);
    EXPECT_EQ(std::memcmp(bitmap.Palette, expected.entries.data(), expected.count * sizeof(PaletteEntry)), 0);
}

// Where the colours fit every pixel has the colour that it had.
void expectSameColors(const ReferencePicture& source, BitmapHandle& reduced) {
    const Rows rows = Picture::rows(reduced);
    ReferenceDitherSource format = source.format;
    const bool matrix = format.order == kOrderMatrix;
    if (matrix) format.order = kOrderBgr;
    for (size_t y = 0; y < rows.size(); ++y) {
        Bytes row = source.rows[y];
        if (matrix)
            referenceConvert(row.data(), format.width, format.bits, format.bits, kOrderMatrix, kOrderBgr, nullptr,
                             nullptr, 0, -1, -1);
        for (int32_t x = 0; x < format.width; ++x) {
            const ReferenceColor wanted = referenceColorAt(format, row.data(), x);
            const uint32_t index = referenceGetPacked(rows[y].data(), x, reduced.BitsPerPixel);
            ASSERT_LT(index, reduced.ColorCount);
            const PaletteEntry& entry = reduced.Palette[index];
            ASSERT_TRUE(entry.Blue == wanted.blue && entry.Green == wanted.green && entry.Red == wanted.red)
                << x << ", " << y;
        }
    }
}

void expectReduced(Picture& picture, const Request& request, const Palette& screen = {}) {
    Expected expected(picture, request, screen);
    BitmapHandle reduced{};
    ASSERT_EQ(reduce(picture.record, &reduced, request), SUCCESS);
    expectPalette(reduced, expected);
    const uint32_t method = request.flags >> 16 & 0xFF;
    if (expected.dithers) {
        EXPECT_TRUE(Picture::rows(reduced) == ditheredRows(Picture::rows(picture.record), picture.record, reduced,
                                                           expected, method, expected.table));
    } else {
        expectSameColors(picture.reference(), reduced);
    }
    T_FreeBitmap(&reduced);
}

// Entries that are not free: `first` .. `end` - 1, every `step`-th.
Palette fixedEntries(Random& random, uint32_t first, uint32_t end, uint32_t step, uint8_t reserved = 0) {
    Palette entries = randomPalette(random, 256);
    for (uint32_t i = 0; i < 256; ++i) entries[i].Reserved = i >= first && i < end && i % step == 0 ? reserved : kFree;
    return entries;
}

TEST(OptimizedResolution, EqualsPlainPaletteAndOtherExports) {
    Random random(331);
    constexpr uint32_t kFlags[] = {
        0,      CRF_NOMATCHTABLE,        CRF_PEELDOMINANT,
        0x0002, CRF_RESERVESYSTEMCOLORS, CRF_RESERVESYSTEMCOLORS | CRF_NOMATCHTABLE | CRF_BGR | CRF_GRAY};
    for (const PixelFormat format : kPixelFormats) {
        for (const Kind kind : kKinds) {
            Picture picture(random, format, kind, 1 + static_cast<int32_t>(below(random, 50)), 20,
                            1 + below(random, 30));
            for (uint32_t i = 0; format.bits <= 8 && i < picture.record.ColorCount; i += 3)
                picture.record.Palette[i].Reserved = static_cast<uint8_t>(random());
            for (int32_t bits = 1; bits <= 8; ++bits) {
                const uint32_t count = below(random, 2) == 0 ? 0 : 1 + below(random, 1u << bits);
                const uint32_t method = below(random, 9);
                const uint32_t flags = kFlags[below(random, std::size(kFlags))] | CRF_DITHER_METHOD(method);
                SCOPED_TRACE(testing::Message()
                             << format.bits << " bits, order " << format.order << ", kind " << static_cast<int>(kind)
                             << ", to " << bits << " bits, " << count << " colours, flags " << flags);
                expectReduced(picture, {bits, flags, nullptr, count});
            }
        }
    }
}

TEST(OptimizedResolution, FixedEntriesAnywhere) {
    Random random(332);
    const struct {
        const char* name;
        Palette entries;
    } cases[] = {{"start", fixedEntries(random, 0, 7, 1)},  {"middle", fixedEntries(random, 5, 9, 1)},
                 {"end", fixedEntries(random, 12, 256, 1)}, {"scattered", fixedEntries(random, 0, 256, 3)},
                 {"all", fixedEntries(random, 0, 256, 1)},  {"never chosen", fixedEntries(random, 0, 6, 2, 1)},
                 {"none", fixedEntries(random, 0, 0, 1)}};
    for (const PixelFormat format : {PixelFormat{24, ORDER_BGR},
                                     {24, ORDER_MATRIX_RGB},
                                     {8, ORDER_RGB},
                                     {5, ORDER_RGB},
                                     {16, ORDER_GRAY},
                                     {48, ORDER_RGB}}) {
        for (const Kind kind : {Kind::kNoise, Kind::kFew}) {
            Picture picture(random, format, kind, 37, 24, 6);
            for (const auto& c : cases) {
                for (const auto& [bits, count] : {std::pair{8, 0u}, {5, 0u}, {4, 0u}, {8, 100u}}) {
                    SCOPED_TRACE(testing::Message()
                                 << c.name << ", " << format.bits << " bits, order " << format.order << ", kind "
                                 << static_cast<int>(kind) << ", to " << bits << " bits, " << count << " colours");
                    const uint32_t flags = below(random, 2) == 0 ? CRF_DITHER_METHOD(1) : CRF_NOMATCHTABLE;
                    expectReduced(picture, {bits, flags, &c.entries, count});
                }
            }
        }
    }
}

TEST(OptimizedResolution, GrayWindowsAndTables) {
    Random random(333);
    for (const auto& [bits, low, high] :
         {std::tuple{12, 8, 11}, {12, 1, 9}, {16, 9, 12}, {16, 3, 12}, {16, 8, 14}, {32, 20, 24}}) {
        for (const bool lut : {false, true}) {
            for (const Kind kind : {Kind::kNoise, Kind::kFew}) {
                Picture picture(random, {bits, ORDER_GRAY}, kind, 40, 20);
                picture.setWindow(random, low, high, lut);
                for (const int32_t to : {8, 4, 3}) {
                    SCOPED_TRACE(testing::Message() << bits << " bits, " << low << " to " << high
                                                    << (lut ? ", table" : "") << ", to " << to);
                    expectReduced(picture, {to, CRF_DITHER_METHOD(6)});
                }
            }
        }
    }
}

// A display with a palette of its own.
class PaletteDisplay {
  public:
    PaletteDisplay() : previous_(platform), table_(*platform) {
        table_.screenPalette = [](PaletteEntry(&entries)[256]) -> uint32_t {
            for (uint32_t i = 0; i < 256; ++i) entries[i] = color(i);
            return 256;
        };
        table_.screenReserved = [] { return uint32_t{20}; };
        platform = &table_;
    }
    ~PaletteDisplay() { platform = previous_; }
    PaletteDisplay(const PaletteDisplay&) = delete;
    PaletteDisplay& operator=(const PaletteDisplay&) = delete;

    static PaletteEntry color(uint32_t i) {
        return {static_cast<uint8_t>(i), static_cast<uint8_t>(i * 7), static_cast<uint8_t>(255 - i), 4};
    }

  private:
    const Platform* previous_;
    Platform table_;
};

TEST(OptimizedResolution, ReservesTheDisplaysColors) {
    Random random(334);
    Palette screen;
    for (uint32_t i = 0; i < 20; ++i) screen.push_back(PaletteDisplay::color(i < 10 ? i : 236 + i));
    const PaletteDisplay display;
    const Palette entries = fixedEntries(random, 4, 14, 1);
    for (const Kind kind : {Kind::kNoise, Kind::kFew}) {
        Picture picture(random, {24, ORDER_BGR}, kind, 37, 24, 6);
        for (const auto& [bits, count] : {std::pair{8, 0u}, {5, 0u}, {8, 20u}, {6, 21u}}) {
            SCOPED_TRACE(testing::Message() << "to " << bits << " bits, " << count << " colours");
            expectReduced(picture, {bits, CRF_RESERVESYSTEMCOLORS, nullptr, count}, screen);
            expectReduced(picture, {bits, CRF_RESERVESYSTEMCOLORS, &entries, count}, screen);
            expectReduced(picture, {bits, 0, nullptr, count});
        }
    }
}

TEST(OptimizedResolution, EverySelectionAtEveryDepth) {
    Random random(335);
    Picture picture(random, {24, ORDER_BGR}, Kind::kNoise, 3, 2);
    Palette entries = randomPalette(random, 256);
    for (uint32_t i = 1; i < 256; i += 2) entries[i].Reserved = kFree;
    const std::set<uint32_t> always = {0, 2, 8, 10, 512, 514, 520, 522, 1, 16, 48, 65};
    for (int32_t bits = 1; bits <= 8; ++bits) {
        for (uint32_t value = 0; value < 0x400; ++value) {
            const uint32_t selection = value & ~(CRF_BGR | CRF_GRAY);
            const bool accepted = always.count(selection) != 0 || (selection == 64 && bits == 8);
            ASSERT_EQ(reduce(picture.record, nullptr, {bits, value, &entries, 0}),
                      accepted ? SUCCESS : ERROR_INVALID_PARAMETER)
                << bits << " bits, " << value;
        }
    }
}

// The thread's settings as they must be found again.
class ThreadState {
  public:
    explicit ThreadState(int32_t stopAt) : stopAt_(stopAt), previous_(T_SetUserMatchTable(table_)) {
        T_SetStatusCallBack(report, this, nullptr, nullptr);
    }
    ~ThreadState() {
        T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
        EXPECT_EQ(T_SetUserMatchTable(previous_), table_);
    }
    ThreadState(const ThreadState&) = delete;
    ThreadState& operator=(const ThreadState&) = delete;

    std::vector<int32_t> percents;

  private:
    static int32_t TNK_CALL report(int32_t percent, void* user) {
        ThreadState& state = *static_cast<ThreadState*>(user);
        state.percents.push_back(percent);
        return percent == state.stopAt_ ? -74 : 1;
    }

    int32_t stopAt_;
    uint32_t table_[1] = {};  // never read: optimized palettes have tables of their own
    uint32_t* previous_;
};

TEST(OptimizedResolution, StopsAtEveryRowAndReport) {
    Random random(336);
    constexpr int32_t kHeight = 23;  // more than one band of rows
    struct Rows {
        int32_t seen, stopAt;
    };
    const auto stopRow = [](BitmapHandle*, uint8_t*, uint32_t, void* user) TNK_CALL -> int32_t {
        Rows& rows = *static_cast<Rows*>(user);
        return rows.seen++ == rows.stopAt ? 0 : 1;
    };
    for (const Kind kind : {Kind::kNoise, Kind::kFew}) {
        Picture picture(random, {24, ORDER_BGR}, kind, 30, kHeight);
        const BitmapHandle record = picture.record;
        const auto before = Picture::rows(picture.record);
        for (int32_t row = 0; row < kHeight; ++row) {
            const ThreadState state(-1);
            Rows rows{0, row};
            EXPECT_EQ(reduce(picture.record, &picture.record, {8, CRF_DITHER_METHOD(1), nullptr, 9, stopRow, &rows}),
                      0);
            EXPECT_EQ(rows.seen, row + 1);
        }
        std::vector<int32_t> percents = {0};
        for (int32_t row = 1; row <= kHeight; ++row) percents.push_back(row * 100 / kHeight);
        for (size_t i = 0; i < percents.size(); ++i) {
            const ThreadState state(percents[i]);
            EXPECT_EQ(reduce(picture.record, &picture.record, {8, CRF_DITHER_METHOD(1), nullptr, 9}), -74);
            EXPECT_EQ(state.percents,
                      std::vector<int32_t>(percents.begin(), percents.begin() + static_cast<int>(i) + 1));
        }
        EXPECT_EQ(std::memcmp(&record, &picture.record, sizeof record), 0);
        EXPECT_TRUE(Picture::rows(picture.record) == before);
    }
}

// In place: failing leaves the record and the pixels alone, or the rows are right all the same.
TEST(OptimizedResolution, FailuresLoseNothing) {
    Random random(337);
    FailingPlatform failing;
    const Request request{4, CRF_DITHER_METHOD(2)};
    for (const uint32_t memory : {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL}) {
        Picture picture(random, {24, ORDER_BGR}, Kind::kNoise, 30, 20, 5, memory);
        BitmapHandle reduced{}, copy{};
        ASSERT_EQ(reduce(picture.record, &reduced, request), SUCCESS);
        const Rows before = Picture::rows(picture.record), after = Picture::rows(reduced);
        const auto makeCopy = [&] { EXPECT_EQ(T_CopyBitmap(&copy, &picture.record, sizeof copy), SUCCESS); };
        makeCopy();
        BitmapHandle record = copy;
        const int failures = sweepFailures(
            failing, kAllFailures,
            [&] {
                const ThreadState state(-1);
                return reduce(copy, &copy, request);
            },
            [&](int32_t result, bool injected) {
                EXPECT_TRUE(injected || result == SUCCESS);
                EXPECT_TRUE(result == SUCCESS || std::memcmp(&record, &copy, sizeof record) == 0);
                EXPECT_TRUE(Picture::rows(copy) == (result == SUCCESS ? after : before));
                T_FreeBitmap(&copy);
                makeCopy();
                record = copy;
            });
        EXPECT_GT(failures, 8);
        T_FreeBitmap(&copy);
        T_FreeBitmap(&reduced);
    }
    EXPECT_EQ(failing.live(), LiveObjects{});
}

// A list that owns its pictures.
class PictureList {
  public:
    PictureList(Random& random, const std::vector<PixelFormat>& formats, Kind kind, int32_t height = 20) {
        EXPECT_EQ(T_CreateBitmapList(&handle), SUCCESS);
        for (const PixelFormat format : formats) {
            Picture picture(random, format, kind, 10 + static_cast<int32_t>(below(random, 30)), height, 4);
            EXPECT_EQ(T_InsertBitmapListItem(handle, UINT32_MAX, &picture.record), SUCCESS);
            plain.push_back(picture.reference());
            originals.push_back(picture.record);
            palettes.push_back(Palette(picture.record.Palette, picture.record.Palette + picture.record.ColorCount));
            plain.back().format.palette = asReference(palettes.back().data());
            picture.record = {};
            picture.record.StructSize = sizeof(BitmapHandle);
        }
    }
    ~PictureList() { T_DestroyBitmapList(handle); }
    PictureList(const PictureList&) = delete;
    PictureList& operator=(const PictureList&) = delete;

    BitmapHandle item(uint32_t index) const {
        BitmapHandle record;
        EXPECT_EQ(T_GetBitmapListItem(handle, index, &record, sizeof record), SUCCESS);
        return record;
    }
    // For dithering of the original's rows.
    BitmapHandle described(uint32_t index) {
        BitmapHandle record = originals[index];
        record.Palette = palettes[index].data();
        return record;
    }
    bool kept(uint32_t index) const {
        BitmapHandle record = item(index);
        return std::memcmp(&record, &originals[index], sizeof record) == 0 &&
               Picture::rows(record) == plain[index].rows;
    }

    T_HANDLE handle = 0;
    std::vector<ReferencePicture> plain;
    std::vector<BitmapHandle> originals;
    std::vector<Palette> palettes;  // those of the originals, which go with them
};

TEST(OptimizedResolution, ListsShareOnePalette) {
    Random random(338);
    struct Seen {
        std::vector<std::pair<uint32_t, uint32_t>> rows;
    };
    const auto note = [](BitmapHandle*, uint8_t*, uint32_t item, uint32_t first, uint32_t rows, void* user)
                          TNK_CALL -> int32_t {
        EXPECT_EQ(rows, 1u);
        static_cast<Seen*>(user)->rows.emplace_back(item, first);
        return 1;
    };
    const Palette fixed = fixedEntries(random, 0, 5, 1);
    const std::vector<std::vector<PixelFormat>> lists = {{{24, ORDER_BGR}},
                                                         {{24, ORDER_BGR}, {12, ORDER_GRAY}, {48, ORDER_MATRIX_RGB}},
                                                         {{4, ORDER_RGB}, {2, ORDER_RGB}}};
    for (const auto& formats : lists) {
        for (const Kind kind : {Kind::kNoise, Kind::kFew}) {
            for (const Palette* entries : {static_cast<const Palette*>(nullptr), &fixed}) {
                for (const auto& [bits, count] : {std::pair{8, 0u}, {5, 30u}, {3, 0u}}) {
                    SCOPED_TRACE(testing::Message()
                                 << formats.size() << " items, kind " << static_cast<int>(kind)
                                 << (entries != nullptr ? ", fixed entries" : "") << ", to " << bits);
                    PictureList list(random, formats, kind);
                    const uint32_t method = below(random, 9);
                    const Request request{bits, CRF_DITHER_METHOD(method), entries, count};
                    Expected expected(request, true, 0, {}, [&](uint32_t free, const auto&) {
                        return referenceOptimizedPalette(list.plain, free);
                    });
                    Seen seen;
                    {
                        const ThreadState state(-1);
                        ASSERT_EQ(T_ColorResBitmapListExt(list.handle, bits, request.flags,
                                                          entries != nullptr ? entries->data() : nullptr, 0, count,
                                                          note, &seen),
                                  SUCCESS);
                    }
                    if (expected.table.empty()) expected.table.resize(32768);
                    std::vector<std::pair<uint32_t, uint32_t>> order;
                    for (uint32_t i = 0; i < formats.size(); ++i) {
                        BitmapHandle reduced = list.item(i);
                        expectPalette(reduced, expected);
                        EXPECT_TRUE(Picture::rows(reduced) == ditheredRows(list.plain[i].rows, list.described(i),
                                                                           reduced, expected, method, expected.table));
                        for (uint32_t y = 0; y < 20; ++y) order.emplace_back(i, y);
                    }
                    EXPECT_EQ(seen.rows, order);
                }
            }
        }
    }
}

// The entries that a list run takes: those of a handle are kept as those of an array are, and an item's palette may go
// with the item.
TEST(OptimizedResolution, ListsTakeEntriesFromAnywhere) {
    Random random(347);
    const std::vector<PixelFormat> formats = {{8, ORDER_RGB}, {24, ORDER_BGR}, {4, ORDER_RGB}};
    Palette fixed = fixedEntries(random, 3, 9, 2);
    fixed.resize(200);
    const T_HANDLE handle = T_CreatePalette(fixed.data(), 200);
    fixed.resize(256, PaletteEntry{0, 0, 0, kFree});
    for (const uint32_t flags : {CRF_OPTIMIZEDPALETTE, CRF_NOMATCHTABLE, CRF_USERPALETTE}) {
        for (const bool ofItem : {false, true}) {
            if (!ofItem && flags != CRF_OPTIMIZEDPALETTE) continue;
            SCOPED_TRACE(testing::Message() << flags << (ofItem ? ", of an item" : ", of a handle"));
            Random same(random), again(random);
            const PictureList given(same, formats, Kind::kNoise), array(again, formats, Kind::kNoise);
            if (ofItem) fixed = array.palettes[0];
            EXPECT_EQ(T_ColorResBitmapList(given.handle, 8, flags, ofItem ? given.item(0).Palette : nullptr,
                                           ofItem ? 0 : handle, 0),
                      SUCCESS);
            EXPECT_EQ(T_ColorResBitmapList(array.handle, 8, flags, fixed.data(), 0, 0), SUCCESS);
            for (uint32_t i = 0; i < formats.size(); ++i) {
                BitmapHandle a = given.item(i), b = array.item(i);
                ASSERT_EQ(a.ColorCount, b.ColorCount);
                EXPECT_EQ(std::memcmp(a.Palette, b.Palette, a.ColorCount * sizeof(PaletteEntry)), 0);
                EXPECT_TRUE(Picture::rows(a) == Picture::rows(b));
            }
        }
    }
    T_DeletePalette(handle);
}

TEST(OptimizedResolution, ListsStopAtTheFirstFailure) {
    Random random(339);
    const std::vector<PixelFormat> formats(3, {24, ORDER_BGR});
    const auto stop = [](BitmapHandle*, uint8_t*, uint32_t item, uint32_t first, uint32_t, void*)
                          TNK_CALL -> int32_t { return item == 1 && first == 3 ? -74 : 1; };
    for (const uint32_t flags : {CRF_OPTIMIZEDPALETTE, CRF_NOMATCHTABLE, CRF_FIXEDPALETTE}) {
        const PictureList list(random, formats, Kind::kNoise);
        const ThreadState state(-1);
        EXPECT_EQ(T_ColorResBitmapListExt(list.handle, 4, flags, nullptr, 0, 0, stop, nullptr), -74);
        EXPECT_EQ(list.item(0).BitsPerPixel, 4);
        EXPECT_TRUE(list.kept(1) && list.kept(2)) << flags;
    }
    const PictureList list(random, formats, Kind::kNoise);
    BitmapHandle taken = list.item(1);
    T_SetBitmapListItem(list.handle, 1, nullptr);
    EXPECT_EQ(T_ColorResBitmapList(list.handle, 4, 0, nullptr, 0, 0), ERROR_NOT_ALLOCATED);
    EXPECT_TRUE(list.kept(0) && list.kept(2)) << "no palette, no item";
    EXPECT_EQ(T_ColorResBitmapList(list.handle, 4, CRF_FIXEDPALETTE, nullptr, 0, 0), ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(list.item(0).BitsPerPixel == 4 && list.kept(2));
    T_FreeBitmap(&taken);

    const T_HANDLE palette = T_CreatePalette(T_IntGetFixedPalette(4), 16);
    EXPECT_EQ(T_ColorResBitmapList(list.handle, 4, 0, T_IntGetFixedPalette(4), palette, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ColorResBitmapList(0, 4, 0, nullptr, 0, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ColorResBitmapList(list.handle, 9, 0, nullptr, 0, 0), ERROR_INVALID_PARAMETER);
    T_DeletePalette(palette);
    const PictureList empty(random, {}, Kind::kNoise);
    EXPECT_EQ(T_ColorResBitmapList(empty.handle, 4, 0, nullptr, 0, 0), ERROR_NOT_ALLOCATED);
    EXPECT_EQ(T_ColorResBitmapList(empty.handle, 4, CRF_FIXEDPALETTE, nullptr, 0, 0), SUCCESS);
}

TEST(OptimizedResolution, FailuresInListsLoseNothing) {
    Random random(340);
    FailingPlatform failing;
    auto list = std::make_unique<PictureList>(random, std::vector<PixelFormat>(2, {24, ORDER_BGR}), Kind::kNoise, 9);
    const int failures = sweepFailures(
        failing, kAllFailures,
        [&] {
            const ThreadState state(-1);
            return T_ColorResBitmapList(list->handle, 4, CRF_DITHER_METHOD(1), nullptr, 0, 0);
        },
        [&](int32_t result, bool injected) {
            EXPECT_TRUE(injected || result == SUCCESS);
            bool reduced = true;  // the items up to the failing one are, the others are kept
            for (uint32_t i = 0; i < 2; ++i) {
                reduced = reduced && list->item(i).BitsPerPixel == 4;
                EXPECT_TRUE(reduced || list->kept(i)) << i;
            }
            EXPECT_EQ(reduced, result == SUCCESS);
            list.reset();
            list = std::make_unique<PictureList>(random, std::vector<PixelFormat>(2, {24, ORDER_BGR}), Kind::kNoise, 9);
        });
    EXPECT_GT(failures, 12);
    list.reset();
    EXPECT_EQ(failing.live(), LiveObjects{});
}

}  // namespace
}  // namespace tnk::test
