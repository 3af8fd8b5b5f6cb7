// T_ColorResBitmap held against the same work done row by row through the other exports.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <tuple>
#include <vector>

#include "tnkrn.h"

namespace {

constexpr int32_t kDepths[] = {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};

using Row = std::vector<uint8_t>;

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
        std::vector<PaletteEntry> palette(256);
        for (PaletteEntry& entry : palette) entry = {byte(), byte(), byte(), 0};
        ASSERT_EQ(
            T_CreateBitmap(&source, sizeof source, memory, width, height, bits, order, palette.data(), 1, nullptr, 0),
            SUCCESS);
        Row row(source.BytesPerLine);
        for (int32_t y = 0; y < height; ++y) {
            for (size_t i = 0; i < row.size(); ++i) {
                row[i] = y % 3 == 0 ? byte() : static_cast<uint8_t>(i * 5 + static_cast<size_t>(y) * 3);
            }
            ASSERT_EQ(T_PutBitmapRow(&source, row.data(), y, source.BytesPerLine),
                      static_cast<int32_t>(source.BytesPerLine));
        }
    }

    int32_t reduce(int32_t bits, uint32_t flags, const PaletteEntry* palette = nullptr, uint32_t count = 0,
                   ColorResRowCallback callback = nullptr, void* user = nullptr) {
        return T_ColorResBitmap(&source, &destination, sizeof source, bits, flags, palette, 0, count, callback, user);
    }

    static std::vector<Row> rowsOf(BitmapHandle& bitmap) {
        std::vector<Row> rows(static_cast<size_t>(bitmap.Height), Row(bitmap.BytesPerLine));
        for (int32_t y = 0; y < bitmap.Height; ++y) {
            EXPECT_EQ(T_GetBitmapRow(&bitmap, rows[static_cast<size_t>(y)].data(), y, bitmap.BytesPerLine),
                      static_cast<int32_t>(bitmap.BytesPerLine));
        }
        return rows;
    }

    // The rows that `destination` must hold, made one at a time.
    std::vector<Row> ditheredRows(const PaletteEntry* palette, uint32_t count, uint32_t method) {
        std::vector<Row> rows = rowsOf(source);
        source.DitherMethod = method;
        EXPECT_EQ(
            T_StartDitheringExt(&source, palette, count, static_cast<uint32_t>(destination.BitsPerPixel), nullptr),
            SUCCESS);
        for (Row& row : rows) {
            Row out(destination.BytesPerLine);
            EXPECT_EQ(T_DitherLine(&source, row.data(), out.data()), SUCCESS);
            row = out;
        }
        T_StopDithering(&source);
        return rows;
    }

    std::vector<Row> convertedRows(uint32_t flags) {
        const int32_t from = source.BitsPerPixel;
        const int32_t to = destination.BitsPerPixel;
        std::vector<PaletteEntry> palette(256);
        if (from <= 8) std::memcpy(palette.data(), source.Palette, source.ColorCount * sizeof(PaletteEntry));
        std::vector<Row> rows = rowsOf(source);
        const size_t used = (static_cast<size_t>(source.Width) * static_cast<size_t>(to) + 7) / 8;
        for (Row& row : rows) {
            row.resize(T_CalcConvertSize(source.Width, from, source.Width, to));
            EXPECT_EQ(T_ConvertBufferExt(row.data(), source.Width, from, to, source.Order, destination.Order,
                                         from <= 8 ? palette.data() : nullptr, nullptr,
                                         source.Order == ORDER_GRAY ? flags | CONVERT_SRC_BIT_RANGE : flags,
                                         source.LowBit, source.HighBit),
                      SUCCESS);
            row.resize(destination.BytesPerLine);
            if (to == 12 && source.Width % 2 != 0) row[used - 1] &= 0x0F;
            std::fill(row.begin() + static_cast<std::ptrdiff_t>(used), row.end(), uint8_t{0});
        }
        return rows;
    }

    uint8_t byte() { return static_cast<uint8_t>(random()); }

    std::mt19937 random{20261};
    BitmapHandle source{};
    BitmapHandle destination{};
};

uint32_t usualOrder(int32_t bits) { return bits <= 8 ? ORDER_RGB : bits == 12 ? ORDER_GRAY : ORDER_BGR; }

TEST_F(ColorResolution, PaletteEqualsDitheringRowByRow) {
    std::vector<PaletteEntry> user(256);
    for (PaletteEntry& entry : user) entry = {byte(), byte(), byte(), 0};
    for (const int32_t from : kDepths) {
        makeSource(from, usualOrder(from));
        for (int32_t to = 1; to <= 8; ++to) {
            const uint32_t method = static_cast<uint32_t>(from + to) % 9;
            const uint32_t count = 1u << to;
            SCOPED_TRACE(testing::Message() << from << " to " << to << " bits, method " << method);
            ASSERT_EQ(reduce(to, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(method)), SUCCESS);
            EXPECT_EQ(destination.ColorCount, count);
            EXPECT_EQ(std::memcmp(destination.Palette, T_IntGetFixedPalette(to), count * sizeof(PaletteEntry)), 0);
            EXPECT_EQ(rowsOf(destination), ditheredRows(T_IntGetFixedPalette(to), count, method));
            T_FreeBitmap(&destination);

            const uint32_t some = count - count / 4;
            ASSERT_EQ(reduce(to, CRF_USERPALETTE | CRF_DITHER_METHOD(method), user.data(), some), SUCCESS);
            EXPECT_EQ(destination.ColorCount, some);
            EXPECT_EQ(rowsOf(destination), ditheredRows(user.data(), some, method));
            T_FreeBitmap(&destination);
        }
    }
}

TEST_F(ColorResolution, DeeperEqualsConversionRowByRow) {
    struct Target {
        int32_t bits;
        uint32_t flags;
        uint32_t order;
    };
    constexpr Target kTargets[] = {{12, 0, ORDER_GRAY},
                                   {12, CRF_MATRIXRGB, ORDER_GRAY},
                                   {16, 0, ORDER_RGB},
                                   {16, CRF_BGR, ORDER_BGR},
                                   {16, CRF_GRAY, ORDER_GRAY},
                                   {16, CRF_GRAY | CRF_BGR, ORDER_GRAY},
                                   {24, 0, ORDER_RGB},
                                   {24, CRF_GRAY | CRF_BGR, ORDER_BGR},
                                   {32, CRF_BGR, ORDER_BGR},
                                   {32, CRF_GRAY, ORDER_GRAY},
                                   {32, CRF_OPAQUEALPHA, ORDER_RGB},
                                   {48, CRF_BGR, ORDER_BGR},
                                   {64, CRF_BGR | CRF_OPAQUEALPHA, ORDER_BGR}};
    for (const int32_t from : kDepths) {
        makeSource(from, usualOrder(from));
        for (const Target& target : kTargets) {
            SCOPED_TRACE(testing::Message() << from << " to " << target.bits << " bits, flags " << target.flags);
            ASSERT_EQ(reduce(target.bits, target.flags), SUCCESS);
            EXPECT_EQ(destination.Order, target.order);
            EXPECT_EQ(destination.Palette, nullptr);
            EXPECT_EQ(rowsOf(destination),
                      convertedRows((target.flags & CRF_OPAQUEALPHA) != 0 ? CONVERT_ALPHA_OPAQUE : 0));
            T_FreeBitmap(&destination);
        }
    }
}

TEST_F(ColorResolution, EveryWayToWriteGivesTheSameRows) {
    const auto collect = [](BitmapHandle* bitmap, uint8_t* row, uint32_t rows, void* user) TNK_CALL -> int32_t {
        EXPECT_EQ(rows, 1u);
        static_cast<std::vector<Row>*>(user)->emplace_back(row, row + bitmap->BytesPerLine);
        return 1;
    };
    for (const int32_t to : {1, 4, 8, 24}) {
        for (const uint32_t memory : {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL}) {
            SCOPED_TRACE(testing::Message() << to << " bits, memory type " << memory);
            const uint32_t flags = to <= 8 ? CRF_FIXEDPALETTE | CRF_DITHER_METHOD(DITHER_STUCKI) : CRF_BGR;
            makeSource(32, ORDER_RGB, 45, 70, memory);
            ASSERT_EQ(reduce(to, flags), SUCCESS);
            const std::vector<Row> expected = rowsOf(destination);
            EXPECT_EQ(destination.Flags & BMF_DISK, source.Flags & BMF_DISK);
            T_FreeBitmap(&destination);

            std::vector<Row> seen;
            ASSERT_EQ(reduce(to, flags, nullptr, 0, collect, &seen), SUCCESS);
            EXPECT_EQ(seen, expected);
            EXPECT_EQ(rowsOf(destination), expected);
            T_FreeBitmap(&destination);

            seen.clear();
            ASSERT_EQ(T_ColorResBitmap(&source, nullptr, sizeof source, to, flags, nullptr, 0, 0, collect, &seen),
                      SUCCESS);
            EXPECT_EQ(seen, expected);

            ASSERT_EQ(T_ColorResBitmap(&source, &source, sizeof source, to, flags, nullptr, 0, 0, nullptr, nullptr),
                      SUCCESS);
            EXPECT_EQ(source.BitsPerPixel, to);
            EXPECT_EQ(rowsOf(source), expected);
        }
    }
}

TEST_F(ColorResolution, CallbackChangesAreStoredAndItsValueStops) {
    makeSource(24, ORDER_BGR);
    const auto invert = [](BitmapHandle* bitmap, uint8_t* row, uint32_t, void*) TNK_CALL -> int32_t {
        for (int32_t x = 0; x < bitmap->Width; ++x) row[x] = static_cast<uint8_t>(~row[x]);
        return 1;
    };
    ASSERT_EQ(reduce(8, CRF_FIXEDPALETTE), SUCCESS);
    std::vector<Row> expected = rowsOf(destination);
    for (Row& row : expected) {
        for (size_t x = 0; x < 45; ++x) row[x] = static_cast<uint8_t>(~row[x]);
    }
    T_FreeBitmap(&destination);
    ASSERT_EQ(reduce(8, CRF_FIXEDPALETTE, nullptr, 0, invert), SUCCESS);
    EXPECT_EQ(rowsOf(destination), expected);
    T_FreeBitmap(&destination);

    int calls = 0;
    const auto stopAtThird = [](BitmapHandle*, uint8_t*, uint32_t, void* user)
                                 TNK_CALL -> int32_t { return ++*static_cast<int*>(user) < 3 ? 1 : 0; };
    EXPECT_EQ(reduce(8, CRF_FIXEDPALETTE, nullptr, 0, stopAtThird, &calls), 0);
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(destination.Flags & BMF_ALLOCATED, 0u);
    EXPECT_EQ(destination.Palette, nullptr);
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
        for (const int32_t bits : {4, 24}) {
            makeSource(24, ORDER_RGB, 5, height);
            Reports reports{{}, 1000};
            T_SetStatusCallBack(report, &reports, nullptr, nullptr);
            ASSERT_EQ(reduce(bits, bits == 4 ? CRF_FIXEDPALETTE : CRF_BGR), SUCCESS);
            T_FreeBitmap(&destination);
            EXPECT_EQ(reports.percents.front(), 0);
            EXPECT_EQ(reports.percents.back(), 100);
            EXPECT_EQ(reports.percents.size(), static_cast<size_t>(std::min(height, 100)) + 1);
            for (size_t i = 1; i < reports.percents.size(); ++i) {
                EXPECT_GT(reports.percents[i], reports.percents[i - 1]);
            }

            // Stopped at any point, an in-place source is as it was.
            const std::vector<Row> before = rowsOf(source);
            const BitmapHandle record = source;
            for (const int32_t stopAt : {0, 40, 100}) {
                reports = {{}, stopAt};
                EXPECT_EQ(T_ColorResBitmap(&source, &source, sizeof source, bits, CRF_FIXEDPALETTE * (bits == 4),
                                           nullptr, 0, 0, nullptr, nullptr),
                          -74);
                EXPECT_EQ(std::memcmp(&record, &source, sizeof record), 0);
                EXPECT_EQ(rowsOf(source), before);
                source.CurrentPos = record.CurrentPos;
                source.CurrentRow = record.CurrentRow;
            }
            T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
        }
    }
}

TEST_F(ColorResolution, RefusesWithTheStatedCodeAndTouchesNothing) {
    const PaletteEntry palette[256] = {};
    const T_HANDLE handle = T_CreatePalette(palette, 16);
    struct Case {
        int32_t bits;
        uint32_t flags;
        const PaletteEntry* palette;
        T_HANDLE handle;
        int32_t code;
    };
    const Case cases[] = {
        {8, CRF_USERPALETTE, palette, handle, ERROR_INVALID_PARAMETER},
        {0, CRF_FIXEDPALETTE, nullptr, 0, ERROR_INVALID_PARAMETER},
        {9, CRF_FIXEDPALETTE, nullptr, 0, ERROR_INVALID_PARAMETER},
        {40, 0, nullptr, 0, ERROR_INVALID_PARAMETER},
        {-8, CRF_FIXEDPALETTE, nullptr, 0, ERROR_INVALID_PARAMETER},
        {8, CRF_USERPALETTE, nullptr, 0, ERROR_INVALID_PARAMETER},
        {8, CRF_FIXEDPALETTE | CRF_USERPALETTE, palette, 0, ERROR_INVALID_PARAMETER},
        {8, CRF_FIXEDPALETTE | 0x100, nullptr, 0, ERROR_INVALID_PARAMETER},
        {4, CRF_WEBPALETTE, nullptr, 0, ERROR_INVALID_PARAMETER},
        {8, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(9), nullptr, 0, ERROR_INVALID_PARAMETER},
        {24, CRF_GRAY, nullptr, 0, ERROR_BPP_NOT_SUPPORTED},
        {64, CRF_GRAY, nullptr, 0, ERROR_BPP_NOT_SUPPORTED},
        {32, CRF_MATRIXRGB, nullptr, 0, ERROR_BPP_NOT_SUPPORTED},
        {24, CRF_MATRIXRGB | CRF_BGR, nullptr, 0, ERROR_INVALID_PARAMETER},
    };
    makeSource(24, ORDER_BGR);
    const std::vector<Row> before = rowsOf(source);
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.bits << " bits, flags " << c.flags);
        const BitmapHandle record = source;
        EXPECT_EQ(T_ColorResBitmap(&source, &source, sizeof source, c.bits, c.flags, c.palette, c.handle, 0, nullptr,
                                   nullptr),
                  c.code);
        EXPECT_EQ(std::memcmp(&record, &source, sizeof record), 0);
        EXPECT_EQ(T_ColorResBitmap(&source, &destination, sizeof source, c.bits, c.flags, c.palette, c.handle, 0,
                                   nullptr, nullptr),
                  c.code);
        EXPECT_EQ(destination.Flags & BMF_ALLOCATED, 0u);
    }
    EXPECT_EQ(rowsOf(source), before);
    T_DeletePalette(handle);

    EXPECT_EQ(T_ColorResBitmap(nullptr, &destination, sizeof source, 8, 1, nullptr, 0, 0, nullptr, nullptr),
              ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ColorResBitmap(&source, &destination, 100, 8, 1, nullptr, 0, 0, nullptr, nullptr), ERROR_STRUCT_SIZE);
    source.Flags |= BMF_SIGNED;
    EXPECT_EQ(reduce(8, CRF_FIXEDPALETTE), ERROR_SIGNED_DATA);
    source.Flags &= ~BMF_SIGNED;
    BitmapHandle empty{};
    ASSERT_EQ(T_InitBitmap(&empty, sizeof empty, 8, 8, 24), SUCCESS);
    EXPECT_EQ(T_ColorResBitmap(&empty, &destination, sizeof empty, 8, 1, nullptr, 0, 0, nullptr, nullptr),
              ERROR_INVALID_PARAMETER);
}

// A caller's record that was never initialised can be freed after a run that failed on the way.
TEST_F(ColorResolution, FailedRunLeavesARecordThatCanBeFreed) {
    const auto stop = [](BitmapHandle*, uint8_t*, uint32_t, void*) TNK_CALL -> int32_t { return 7; };
    struct Case {
        int32_t bits;
        uint32_t flags;
        ColorResRowCallback callback;
        int32_t code;
    };
    const Case cases[] = {
        {4, CRF_WEBPALETTE, nullptr, ERROR_INVALID_PARAMETER},
        {8, CRF_USERPALETTE, nullptr, ERROR_INVALID_PARAMETER},
        {24, CRF_GRAY, nullptr, ERROR_BPP_NOT_SUPPORTED},
        {8, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(9), nullptr, ERROR_INVALID_PARAMETER},
        {8, CRF_FIXEDPALETTE, stop, 7},
        {16, CRF_BGR, stop, 7},
    };
    makeSource(16, ORDER_BGR, 9, 5);
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.bits << " bits, flags " << c.flags);
        std::memset(static_cast<void*>(&destination), 0xCD, sizeof destination);
        EXPECT_EQ(reduce(c.bits, c.flags, nullptr, 0, c.callback), c.code);
        EXPECT_EQ(destination.StructSize, sizeof destination);
        EXPECT_EQ(destination.Width, 9);
        EXPECT_EQ(destination.BitsPerPixel, c.bits);
        EXPECT_EQ(destination.Flags, 0u);
        EXPECT_EQ(destination.Palette, nullptr);
        EXPECT_EQ(destination.pByteMap, nullptr);
        EXPECT_EQ(destination.pDitherState, nullptr);
        EXPECT_EQ(destination.pLUT, nullptr);
        T_FreeBitmap(&destination);
    }
    // A lookup table that does not fit is found on the way as well.
    makeSource(16, ORDER_GRAY, 9, 5);
    PaletteEntry lut[2] = {};
    source.pLUT = lut;
    source.LUTLength = 2;
    source.Flags |= BMF_WINDOW;
    std::memset(static_cast<void*>(&destination), 0xCD, sizeof destination);
    EXPECT_EQ(reduce(24, CRF_BGR), ERROR_LUT_LENGTH);
    source.pLUT = nullptr;
    EXPECT_EQ(destination.Palette, nullptr);
    T_FreeBitmap(&destination);
    EXPECT_EQ(destination.Flags, 0u);
}

TEST_F(ColorResolution, PaletteChoices) {
    makeSource(24, ORDER_BGR);
    ASSERT_EQ(reduce(8, CRF_WEBPALETTE), SUCCESS);
    EXPECT_TRUE(T_CompareBitmapToPalette(&destination, T_IntGetNetscapePalette(), 256));
    T_FreeBitmap(&destination);
    ASSERT_EQ(reduce(4, CRF_WEBPALETTE | CRF_FIXEDPALETTE), SUCCESS);
    EXPECT_TRUE(T_CompareBitmapToPalette(&destination, T_IntGetFixedPalette(4), 16));
    T_FreeBitmap(&destination);

    // A handle stands for a user palette, whatever else was asked for.
    PaletteEntry colors[16];
    for (PaletteEntry& color : colors) color = {byte(), byte(), byte(), 0};
    ASSERT_EQ(reduce(4, CRF_USERPALETTE | CRF_DITHER_METHOD(1), colors, 16), SUCCESS);
    const std::vector<Row> expected = rowsOf(destination);
    T_FreeBitmap(&destination);
    const T_HANDLE handle = T_CreatePalette(colors, 16);
    ASSERT_EQ(T_ColorResBitmap(&source, &destination, sizeof source, 4, CRF_FIXEDPALETTE | 0x100 | CRF_DITHER_METHOD(1),
                               nullptr, handle, 0, nullptr, nullptr),
              SUCCESS);
    EXPECT_TRUE(T_CompareBitmapToPalette(&destination, colors, 16));
    EXPECT_EQ(rowsOf(destination), expected);
    T_DeletePalette(handle);
    T_FreeBitmap(&destination);

    // The thread's match table decides, here for the last entry everywhere.
    std::vector<uint32_t> table(32768, 16);
    uint32_t* previous = T_SetUserMatchTable(table.data());
    ASSERT_EQ(reduce(4, CRF_USERPALETTE | CRF_USERMATCHTABLE, colors, 16), SUCCESS);
    EXPECT_EQ(T_SetUserMatchTable(previous), table.data());
    EXPECT_EQ(rowsOf(destination)[0][0], 0xFF);
}

TEST_F(ColorResolution, GrayRange) {
    makeSource(24, ORDER_BGR);
    for (const int32_t bits : {12, 16, 32}) {
        SCOPED_TRACE(bits);
        ASSERT_EQ(reduce(bits, CRF_GRAY), SUCCESS);
        int64_t low = INT64_MAX;
        int64_t high = 0;
        for (const Row& row : rowsOf(destination)) {
            for (size_t x = 0; x < 45; ++x) {
                uint32_t sample = 0;
                const size_t at = bits == 12 ? x * 3 / 2 : x * static_cast<size_t>(bits) / 8;
                std::memcpy(&sample, &row[at], bits == 32 ? 4 : 2);
                if (bits == 12) sample = x % 2 != 0 ? sample >> 4 : sample & 0xFFF;
                low = std::min<int64_t>(low, sample);
                high = std::max<int64_t>(high, sample);
            }
        }
        EXPECT_EQ(static_cast<uint32_t>(destination.MinVal), low);
        EXPECT_EQ(static_cast<uint32_t>(destination.MaxVal), high);
        T_FreeBitmap(&destination);
    }

    // The signs of signed samples count.
    makeSource(16, ORDER_GRAY, 3, 1);
    const int16_t samples[4] = {-5, 7, 0, -32768};  // the last one is padding
    ASSERT_EQ(T_PutBitmapRow(&source, reinterpret_cast<const uint8_t*>(samples), 0, 8), 8);
    source.Flags |= BMF_SIGNED;
    int32_t low = 99;
    int32_t high = 99;
    EXPECT_EQ(T_IntGetMinMaxValGray(&source, &low, &high), SUCCESS);
    EXPECT_EQ(low, -5);
    EXPECT_EQ(high, 7);
    EXPECT_EQ(T_IntGetMinMaxValGray(&source, nullptr, &high), ERROR_INVALID_PARAMETER);
}

TEST_F(ColorResolution, LookupTableMustFitItsWindow) {
    makeSource(16, ORDER_GRAY, 20, 10);
    std::vector<PaletteEntry> lut(1u << 10);
    for (size_t i = 0; i < lut.size(); ++i) lut[i] = {byte(), byte(), byte(), 0};
    source.LowBit = 2;
    source.HighBit = 11;
    source.Flags |= BMF_WINDOW;
    source.pLUT = lut.data();
    source.LUTLength = 512;
    EXPECT_EQ(reduce(24, CRF_BGR), ERROR_LUT_LENGTH);
    EXPECT_EQ(reduce(8, CRF_FIXEDPALETTE), ERROR_LUT_LENGTH);
    source.LUTLength = 1024;
    ASSERT_EQ(reduce(24, CRF_BGR), SUCCESS);
    const std::vector<Row> samples = rowsOf(source);
    const std::vector<Row> colors = rowsOf(destination);
    for (size_t y = 0; y < 10; ++y) {
        for (size_t x = 0; x < 20; ++x) {
            const PaletteEntry& want =
                lut[static_cast<size_t>((samples[y][2 * x] | samples[y][2 * x + 1] << 8) >> 2) & 1023];
            const uint8_t* got = &colors[y][3 * x];
            ASSERT_TRUE(got[0] == want.Blue && got[1] == want.Green && got[2] == want.Red);
        }
    }
    source.pLUT = nullptr;
}

}  // namespace
