// T_ColorResBitmap held against the same work done row by row through the other exports, what it refuses, and what is
// left when it is stopped or any call that it makes fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <set>
#include <vector>

#include "reference/convert.h"
#include "support/failing_platform.h"
#include "tnkrn.h"

namespace tnk::test {
namespace {

constexpr int32_t kDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};

using Row = std::vector<uint8_t>;
using Rows = std::vector<Row>;
using Palette = std::vector<PaletteEntry>;

Rows rowsOf(BitmapHandle& bitmap) {
    Rows rows(static_cast<size_t>(bitmap.Height), Row(bitmap.BytesPerLine));
    for (size_t y = 0; y < rows.size(); ++y) {
        EXPECT_EQ(T_GetBitmapRow(&bitmap, rows[y].data(), static_cast<int32_t>(y), bitmap.BytesPerLine),
                  static_cast<int32_t>(bitmap.BytesPerLine));
    }
    return rows;
}

struct Request {
    int32_t bits;
    uint32_t flags;
    const PaletteEntry* palette = nullptr;
    uint32_t count = 0;
    T_HANDLE handle = 0;
    ColorResRowCallback callback = nullptr;
    void* user = nullptr;
};

class ColorResolution : public testing::Test {
  protected:
    void TearDown() override {
        T_FreeBitmap(&source);
        T_FreeBitmap(&destination);
        T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    }

    // A picture with smooth parts and noise. Index bitmaps get a palette of random colours.
    void makeSource(int32_t bits, uint32_t order, int32_t width = 45, int32_t height = 70,
                    uint32_t memory = MEM_CONVENTIONAL) {
        T_FreeBitmap(&source);
        const Palette palette = colors(256);
        ASSERT_EQ(
            T_CreateBitmap(&source, sizeof source, memory, width, height, bits, order, palette.data(), 1, nullptr, 0),
            SUCCESS);
        Row row(source.BytesPerLine);
        for (int32_t y = 0; y < height; ++y) {
            for (size_t i = 0; i < row.size(); ++i) {
                row[i] = y % 3 == 0 ? byte() : static_cast<uint8_t>(i * 5 + static_cast<size_t>(y) * 3);
            }
            T_PutBitmapRow(&source, row.data(), y, source.BytesPerLine);
        }
    }

    int32_t reduce(const Request& r, BitmapHandle* to) {
        return T_ColorResBitmap(&source, to, sizeof source, r.bits, r.flags, r.palette, r.handle, r.count, r.callback,
                                r.user);
    }

    Rows reduced(const Request& request) {
        T_FreeBitmap(&destination);
        EXPECT_EQ(reduce(request, &destination), SUCCESS);
        return rowsOf(destination);
    }

    // In place, where whatever stops the run leaves the source as it was.
    void expectKept(const Request& request, int32_t code) {
        const Rows before = rowsOf(source);
        const BitmapHandle record = source;
        EXPECT_EQ(reduce(request, &source), code);
        EXPECT_EQ(std::memcmp(&record, &source, sizeof record), 0);
        EXPECT_EQ(rowsOf(source), before);
    }

    // The rows that `destination` must hold, made one at a time.
    Rows ditheredRows(const PaletteEntry* palette, uint32_t count, uint32_t method) {
        Rows rows = rowsOf(source);
        source.DitherMethod = method;
        const auto bits = static_cast<uint32_t>(destination.BitsPerPixel);
        EXPECT_EQ(T_StartDitheringExt(&source, palette, count, bits, nullptr), SUCCESS);
        for (Row& row : rows) {
            Row out(destination.BytesPerLine);
            EXPECT_EQ(T_DitherLine(&source, row.data(), out.data()), SUCCESS);
            row = out;
        }
        T_StopDithering(&source);
        return rows;
    }

    Rows convertedRows(uint32_t flags) {
        const int32_t from = source.BitsPerPixel;
        const int32_t to = destination.BitsPerPixel;
        Palette palette(256);
        if (from <= 8) std::copy_n(source.Palette, source.ColorCount, palette.data());
        if (source.Order == ORDER_GRAY) flags |= CONVERT_SRC_BIT_RANGE;
        Rows rows = rowsOf(source);
        const size_t used = (static_cast<size_t>(source.Width) * static_cast<size_t>(to) + 7) / 8;
        for (Row& row : rows) {
            row.resize(T_CalcConvertSize(source.Width, from, source.Width, to));
            EXPECT_EQ(
                T_ConvertBufferExt(row.data(), source.Width, from, to, source.Order, destination.Order,
                                   from <= 8 ? palette.data() : nullptr, nullptr, flags, source.LowBit, source.HighBit),
                SUCCESS);
            row.resize(destination.BytesPerLine);
            if (to == 12 && source.Width % 2 != 0) row[used - 1] &= 0x0F;
            std::fill(row.begin() + static_cast<std::ptrdiff_t>(used), row.end(), uint8_t{0});
        }
        return rows;
    }

    uint8_t byte() { return static_cast<uint8_t>(random()); }
    Palette colors(size_t count) {
        Palette palette(count);
        for (PaletteEntry& entry : palette) entry = {byte(), byte(), byte(), 0};
        return palette;
    }

    std::mt19937 random{20261};
    BitmapHandle source{};
    BitmapHandle destination{};
};

uint32_t usualOrder(int32_t bits) { return bits <= 8 ? ORDER_RGB : bits == 12 ? ORDER_GRAY : ORDER_BGR; }

TEST_F(ColorResolution, PaletteEqualsDitheringRowByRow) {
    const Palette user = colors(256);
    for (const int32_t from : kDepths) {
        makeSource(from, usualOrder(from));
        for (int32_t to = 1; to <= 8; ++to) {
            const uint32_t method = static_cast<uint32_t>(from + to) % 9;
            const uint32_t count = 1u << to;
            const uint32_t some = count - count / 4;
            SCOPED_TRACE(testing::Message() << from << " to " << to << " bits, method " << method);
            Rows rows = reduced({to, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(method)});
            EXPECT_EQ(destination.ColorCount, count);
            EXPECT_EQ(std::memcmp(destination.Palette, T_IntGetFixedPalette(to), count * sizeof(PaletteEntry)), 0);
            EXPECT_EQ(rows, ditheredRows(T_IntGetFixedPalette(to), count, method));
            rows = reduced({to, CRF_USERPALETTE | CRF_DITHER_METHOD(method), user.data(), some});
            EXPECT_EQ(destination.ColorCount, some);
            EXPECT_EQ(rows, ditheredRows(user.data(), some, method));
        }
    }
}

TEST_F(ColorResolution, DeeperEqualsConversionRowByRow) {
    constexpr struct {
        int32_t bits;
        uint32_t flags;
        uint32_t order;
    } kTargets[] = {{12, 0, ORDER_GRAY},
                    {12, CRF_MATRIXRGB, ORDER_GRAY},
                    {16, CRF_BGR, ORDER_BGR},
                    {16, CRF_GRAY | CRF_BGR, ORDER_GRAY},
                    {24, 0, ORDER_RGB},
                    {32, CRF_GRAY, ORDER_GRAY},
                    {32, CRF_OPAQUEALPHA, ORDER_RGB},
                    {48, CRF_BGR, ORDER_BGR},
                    {64, CRF_BGR | CRF_OPAQUEALPHA, ORDER_BGR}};
    for (const int32_t from : kDepths) {
        makeSource(from, usualOrder(from));
        for (const auto& target : kTargets) {
            SCOPED_TRACE(testing::Message() << from << " to " << target.bits << " bits, flags " << target.flags);
            const Rows rows = reduced({target.bits, target.flags});
            EXPECT_EQ(destination.Order, target.order);
            EXPECT_EQ(destination.Palette, nullptr);
            EXPECT_EQ(rows, convertedRows((target.flags & CRF_OPAQUEALPHA) != 0 ? CONVERT_ALPHA_OPAQUE : 0));
        }
    }
}

// To a bitmap, to a callback, to both and in place. What a callback changes is stored.
TEST_F(ColorResolution, EveryWayToWriteGivesTheSameRows) {
    const auto collect = [](BitmapHandle* bitmap, uint8_t* row, uint32_t rows, void* user) TNK_CALL -> int32_t {
        EXPECT_EQ(rows, 1u);
        static_cast<Rows*>(user)->emplace_back(row, row + bitmap->BytesPerLine);
        row[0] ^= 0x80;
        return 1;
    };
    for (const int32_t to : {1, 4, 8, 24}) {
        for (const uint32_t memory : {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL}) {
            SCOPED_TRACE(testing::Message() << to << " bits, memory type " << memory);
            Request request{to, to <= 8 ? CRF_FIXEDPALETTE | CRF_DITHER_METHOD(DITHER_STUCKI) : CRF_BGR};
            makeSource(32, ORDER_RGB, 45, 70, memory);
            const Rows expected = reduced(request);
            EXPECT_EQ(destination.Flags & BMF_DISK, source.Flags & BMF_DISK);
            Rows seen, seenAlone, changed = expected;
            for (Row& row : changed) row[0] ^= 0x80;
            request.callback = collect;
            request.user = &seen;
            EXPECT_EQ(reduced(request), changed);
            EXPECT_EQ(seen, expected);
            request.user = &seenAlone;
            ASSERT_EQ(reduce(request, nullptr), SUCCESS);
            EXPECT_EQ(seenAlone, expected);
            request.callback = nullptr;
            ASSERT_EQ(reduce(request, &source), SUCCESS);
            EXPECT_EQ(source.BitsPerPixel, to);
            EXPECT_EQ(rowsOf(source), expected);
        }
    }
}

TEST_F(ColorResolution, ProgressAdvancesAndStops) {
    struct Reports {
        std::vector<int32_t> percents;
        int32_t stopAt;
    };
    const auto report = [](int32_t percent, void* user) TNK_CALL -> int32_t {
        Reports& reports = *static_cast<Reports*>(user);
        reports.percents.push_back(percent);
        return percent >= reports.stopAt ? -74 : 1;
    };
    for (const int32_t height : {1, 50, 100, 300, 333}) {
        for (const Request& request : {Request{4, CRF_FIXEDPALETTE}, Request{24, CRF_BGR}}) {
            makeSource(24, ORDER_RGB, 5, height);
            Reports reports{{}, 1000};
            T_SetStatusCallBack(report, &reports, nullptr, nullptr);
            reduced(request);
            const std::set<int32_t> ascending(reports.percents.begin(), reports.percents.end());
            EXPECT_EQ(reports.percents, std::vector<int32_t>(ascending.begin(), ascending.end()));
            EXPECT_EQ(reports.percents.front(), 0);
            EXPECT_EQ(reports.percents.back(), 100);
            EXPECT_EQ(reports.percents.size(), static_cast<size_t>(std::min(height, 100)) + 1);
            for (const int32_t stopAt : {0, 40, 100}) {
                reports = {{}, stopAt};
                expectKept(request, -74);
            }
            T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
        }
    }
}

// Refused or stopped: the stated code, the source as it was, and a record that can be freed even where the caller never
// initialised it.
TEST_F(ColorResolution, RefusesWithTheStatedCode) {
    constexpr int32_t kBad = ERROR_INVALID_PARAMETER, kDepth = ERROR_BPP_NOT_SUPPORTED;
    const Palette user(256);
    const T_HANDLE handle = T_CreatePalette(user.data(), 16);
    const auto stop = [](BitmapHandle*, uint8_t*, uint32_t, void*) TNK_CALL -> int32_t { return 7; };
    const struct {
        Request request;
        int32_t code;
        bool prepared = true;  // the refusal comes after the destination's record was made
    } cases[] = {
        {{8, CRF_USERPALETTE, user.data(), 0, handle}, kBad, false},
        {{0, CRF_FIXEDPALETTE}, kBad, false},
        {{40, 0}, kBad, false},
        {{8, CRF_USERPALETTE}, kBad},
        {{8, CRF_FIXEDPALETTE | CRF_USERPALETTE, user.data()}, kBad},
        {{8, CRF_FIXEDPALETTE | 0x100}, kBad},
        {{4, CRF_WEBPALETTE}, kBad},
        {{8, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(9)}, kBad},
        {{24, CRF_GRAY}, kDepth},
        {{32, CRF_MATRIXRGB}, kDepth},
        {{24, CRF_MATRIXRGB | CRF_BGR}, kBad},
        {{8, CRF_FIXEDPALETTE, nullptr, 0, 0, stop}, 7},
        {{16, CRF_BGR, nullptr, 0, 0, stop}, 7},
    };
    makeSource(24, ORDER_BGR, 9, 5);
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.request.bits << " bits, flags " << c.request.flags);
        expectKept(c.request, c.code);
        std::memset(static_cast<void*>(&destination), 0xCD, sizeof destination);
        EXPECT_EQ(reduce(c.request, &destination), c.code);
        EXPECT_EQ(destination.StructSize, sizeof destination);
        if (!c.prepared) {  // only the size was set
            BitmapHandle untouched;
            std::memset(static_cast<void*>(&untouched), 0xCD, sizeof untouched);
            untouched.StructSize = sizeof untouched;
            EXPECT_EQ(std::memcmp(&destination, &untouched, sizeof untouched), 0);
            destination = {};
            continue;
        }
        EXPECT_EQ(destination.Width, 9);
        EXPECT_EQ(destination.BitsPerPixel, c.request.bits);
        EXPECT_EQ(destination.Flags, 0u);
        EXPECT_TRUE(!destination.Palette && !destination.pByteMap && !destination.pDitherState && !destination.pLUT);
        T_FreeBitmap(&destination);
    }
    T_DeletePalette(handle);

    EXPECT_EQ(T_ColorResBitmap(nullptr, &destination, sizeof source, 8, 1, nullptr, 0, 0, nullptr, nullptr), kBad);
    EXPECT_EQ(T_ColorResBitmap(&source, &destination, 100, 8, 1, nullptr, 0, 0, nullptr, nullptr), ERROR_STRUCT_SIZE);
    source.Flags |= BMF_SIGNED;
    EXPECT_EQ(reduce({8, CRF_FIXEDPALETTE}, &destination), ERROR_SIGNED_DATA);
    T_FreeBitmap(&source);
    ASSERT_EQ(T_InitBitmap(&source, sizeof source, 8, 8, 24), SUCCESS);
    EXPECT_EQ(reduce({8, CRF_FIXEDPALETTE}, &destination), kBad) << "no storage";
}

TEST_F(ColorResolution, PaletteChoices) {
    makeSource(24, ORDER_BGR);
    reduced({8, CRF_WEBPALETTE});
    EXPECT_TRUE(T_CompareBitmapToPalette(&destination, T_IntGetNetscapePalette(), 256));
    reduced({4, CRF_WEBPALETTE | CRF_FIXEDPALETTE});
    EXPECT_TRUE(T_CompareBitmapToPalette(&destination, T_IntGetFixedPalette(4), 16));

    // A handle stands for a user palette, whatever else was asked for.
    const Palette user = colors(16);
    const Rows expected = reduced({4, CRF_USERPALETTE | CRF_DITHER_METHOD(1), user.data(), 16});
    const T_HANDLE handle = T_CreatePalette(user.data(), 16);
    EXPECT_EQ(reduced({4, CRF_FIXEDPALETTE | 0x100 | CRF_DITHER_METHOD(1), nullptr, 0, handle}), expected);
    EXPECT_TRUE(T_CompareBitmapToPalette(&destination, user.data(), 16));
    T_DeletePalette(handle);

    // The thread's match table decides, here for the last entry everywhere.
    std::vector<uint32_t> table(32768, 16);
    uint32_t* const previous = T_SetUserMatchTable(table.data());
    EXPECT_EQ(reduced({4, CRF_USERPALETTE | CRF_USERMATCHTABLE, user.data(), 16})[0][0], 0xFF);
    EXPECT_EQ(T_SetUserMatchTable(previous), table.data());
}

TEST_F(ColorResolution, GrayRange) {
    makeSource(24, ORDER_BGR);
    for (const int32_t bits : {12, 16, 32}) {
        std::set<uint32_t> samples;
        for (const Row& row : reduced({bits, CRF_GRAY})) {
            for (int32_t x = 0; x < 45; ++x) {
                uint32_t sample = bits == 12 ? referenceGet12(row.data(), x) : 0;
                if (bits > 12) std::memcpy(&sample, &row[static_cast<size_t>(x * bits / 8)], bits == 32 ? 4 : 2);
                samples.insert(sample);
            }
        }
        EXPECT_EQ(static_cast<uint32_t>(destination.MinVal), *samples.begin()) << bits;
        EXPECT_EQ(static_cast<uint32_t>(destination.MaxVal), *samples.rbegin()) << bits;
    }
    // The signs of signed samples count.
    makeSource(16, ORDER_GRAY, 3, 1);
    const int16_t samples[4] = {-5, 7, 0, -32768};  // the last one is padding
    ASSERT_EQ(T_PutBitmapRow(&source, reinterpret_cast<const uint8_t*>(samples), 0, 8), 8);
    source.Flags |= BMF_SIGNED;
    int32_t range[2] = {99, 99};
    EXPECT_EQ(T_IntGetMinMaxValGray(&source, &range[0], &range[1]), SUCCESS);
    EXPECT_TRUE(range[0] == -5 && range[1] == 7) << range[0] << ' ' << range[1];
    EXPECT_EQ(T_IntGetMinMaxValGray(&source, nullptr, &range[1]), ERROR_INVALID_PARAMETER);
}

// Indexes have no order and 12-bit pixels are gray, whatever the record says; a table beside indexes stands for nothing.
TEST_F(ColorResolution, OrdersThatTheDepthDoesNotHave) {
    Palette lut = colors(2);
    for (const int32_t bits : {1, 3, 8, 12}) {
        makeSource(bits, usualOrder(bits), 45, 20);
        const auto results = [&] {
            std::vector<Rows> all;
            for (const Request& request :
                 {Request{8, 0}, {4, 0}, {8, CRF_FIXEDPALETTE}, {24, CRF_BGR}, {16, CRF_GRAY}}) {
                all.push_back(reduced(request));
            }
            T_FreeBitmap(&destination);
            EXPECT_EQ(T_CreateGrayScaleBitmap(&destination, &source, sizeof source, 16), SUCCESS);
            all.push_back(rowsOf(destination));
            const uint32_t value = COLOR_TAG_GRAY | 0x9C40;
            EXPECT_EQ(T_PutPixelColor(&source, 0, 0, value), SUCCESS);
            const uint32_t put = T_GetPixelColor(&source, 0, 0);
            const uint32_t shown[] = {put, T_TranslateBitmapColor(&source, nullptr, value),
                                      static_cast<uint32_t>(T_IsGrayScaleBitmap(&source))};
            all.push_back({Row(sizeof shown)});
            std::memcpy(all.back()[0].data(), shown, sizeof shown);
            return all;
        };
        (void)results();  // the pixel is put
        const auto usual = results();
        source.Flags |= BMF_WINDOW;
        if (bits <= 8) {
            source.pLUT = lut.data();
            source.LUTLength = 2;
        }
        for (const uint32_t order : {ORDER_RGB, ORDER_BGR, ORDER_GRAY, ORDER_MATRIX_RGB, 77u}) {
            source.Order = order;
            EXPECT_EQ(results(), usual) << bits << " bits, order " << order;
        }
        source.pLUT = nullptr;
    }
    const Rows levels = reduced({8, 0});
    source.Flags |= BMF_SIGNED;
    EXPECT_EQ(reduced({8, 0}), levels) << "an exact palette is converted to, which samples with a sign may be";
    T_FreeBitmap(&destination);
    EXPECT_EQ(reduce({8, CRF_FIXEDPALETTE}, &destination), ERROR_SIGNED_DATA);
}

TEST_F(ColorResolution, LookupTableMustFitItsWindow) {
    makeSource(16, ORDER_GRAY, 20, 10);
    Palette lut = colors(1u << 10);
    source.LowBit = 2;
    source.HighBit = 11;
    source.Flags |= BMF_WINDOW;
    source.pLUT = lut.data();
    source.LUTLength = 512;
    for (const Request& request : {Request{24, CRF_BGR}, Request{8, CRF_FIXEDPALETTE}}) {
        std::memset(static_cast<void*>(&destination), 0xCD, sizeof destination);
        EXPECT_EQ(reduce(request, &destination), ERROR_LUT_LENGTH);
        EXPECT_TRUE(destination.Palette == nullptr && (destination.Flags & BMF_ALLOCATED) == 0);
    }
    source.LUTLength = 1024;
    const Rows samples = rowsOf(source);
    const Rows rows = reduced({24, CRF_BGR});
    for (size_t y = 0; y < 10; ++y) {
        for (size_t x = 0; x < 20; ++x) {
            const int32_t sample = samples[y][2 * x] | samples[y][2 * x + 1] << 8;
            ASSERT_EQ(std::memcmp(&rows[y][3 * x], &lut[static_cast<size_t>(sample >> 2 & 1023)], 3), 0);
        }
    }
    source.pLUT = nullptr;
}

// Every allocation, file call and palette call fails once: a promised code and nothing lost, or right rows all the same.
TEST_F(ColorResolution, FailuresLoseNothing) {
    constexpr uint32_t kDiffuse = CRF_DITHER_METHOD(DITHER_JARVIS);
    FailingPlatform failing;
    const T_HANDLE handle = T_CreatePalette(T_IntGetNetscapePalette(), 200);
    const struct {
        const char* name;
        uint32_t memory;
        Request request;
        bool inPlace;
    } cases[] = {
        {"fixed palette", MEM_CONVENTIONAL, {8, CRF_FIXEDPALETTE | kDiffuse}, false},
        {"fixed palette on disk", MEM_NOCONVENTIONAL, {4, CRF_FIXEDPALETTE | kDiffuse}, false},
        {"palette of a handle", MEM_CONVENTIONAL, {8, CRF_USERPALETTE | kDiffuse, nullptr, 0, handle}, false},
        {"deeper on disk", MEM_NOCONVENTIONAL, {48, CRF_BGR}, false},
        {"gray", MEM_CONVENTIONAL, {16, CRF_GRAY}, false},
        {"in place", MEM_CONVENTIONAL, {8, CRF_FIXEDPALETTE | kDiffuse}, true},
        {"in place on disk", MEM_NOCONVENTIONAL, {8, CRF_FIXEDPALETTE | kDiffuse}, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        makeSource(24, ORDER_BGR, 37, 40, c.memory);
        const Rows expected = reduced(c.request);
        T_FreeBitmap(&destination);
        const Rows before = rowsOf(source);
        BitmapHandle record = source;
        BitmapHandle& target = c.inPlace ? source : destination;
        const auto check = [&](int32_t code, bool injected) {
            if (code == SUCCESS) {
                EXPECT_EQ(rowsOf(target), expected);
                T_FreeBitmap(&target);
                if (!c.inPlace) return;
                makeSource(24, ORDER_BGR, 37, 40, c.memory);
                for (int32_t y = 0; y < 40; ++y) {
                    T_PutBitmapRow(&source, before[static_cast<size_t>(y)].data(), y, source.BytesPerLine);
                }
                record = source;
                return;
            }
            const std::set<int32_t> promised = {FAILURE, ERROR_FILE_SEEK, ERROR_FILE_WRITE, ERROR_FILE_READ,
                                                ERROR_DISK_FULL};
            EXPECT_TRUE(injected);
            EXPECT_TRUE(promised.count(code) || (c.request.handle && code == ERROR_INVALID_PARAMETER));
            EXPECT_EQ(destination.Flags & BMF_ALLOCATED, 0u);
            EXPECT_TRUE(!c.inPlace || std::memcmp(&record, &source, sizeof record) == 0);
            EXPECT_EQ(rowsOf(source), before);
        };
        const auto operation = [&] { return reduce(c.request, &target); };
        const int failures = sweepFailures(failing, kAllFailures, operation, check);
        sweepFailures(failing, kAllFailures, operation, check, true);
        EXPECT_GT(failures, 1);
        T_FreeBitmap(&source);
    }
    T_DeletePalette(handle);
    EXPECT_EQ(failing.live(), LiveObjects{});
}

}  // namespace
}  // namespace tnk::test
