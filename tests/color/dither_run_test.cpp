// What start, stop and rows of dithering answer, what they leave behind, and user match tables.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "base/pixel_format.h"
#include "color/dither/dither_modes.h"
#include "color/dither_fixture.h"
#include "reference/dither.h"
#include "support/failing_platform.h"
#include "tnkrn.h"

namespace tnk::test {
namespace {

TEST(Dithering, AnswersToBadArguments) {
    const Palette blocked(4, PaletteEntry{1, 2, 3, 2});
    const PaletteEntry* const usable = fixedPalette(8);
    const BitmapHandle good = describe(24, ORDER_BGR, 5, DITHER_FLOYD_STEINBERG);
    BitmapHandle wrongSize = good;
    wrongSize.StructSize = 12;
    const struct {
        BitmapHandle bitmap;
        const PaletteEntry* palette;
        uint32_t count;
        int32_t code = ERROR_INVALID_PARAMETER;
    } cases[] = {
        {good, usable, 256, SUCCESS},
        {good, usable, 0},
        {good, usable, 257},
        {good, blocked.data(), 4},  // no entry may be chosen
        {describe(9, ORDER_BGR, 5, 1), usable, 4},
        {describe(-8, ORDER_BGR, 5, 1), usable, 4},
        {describe(24, ORDER_BGR, 5, 9), usable, 4},
        {describe(24, ORDER_BGR, -1, 1), usable, 4},
        {wrongSize, usable, 0, ERROR_STRUCT_SIZE},
    };
    for (const auto& c : cases) {
        BitmapHandle bitmap = c.bitmap;
        EXPECT_EQ(T_StartDithering(&bitmap, c.palette, c.count), c.code) << &c - cases;
        EXPECT_EQ(c.code == SUCCESS, bitmap.pDitherState != nullptr);
        EXPECT_EQ(T_StopDithering(&bitmap), SUCCESS);
        EXPECT_EQ(bitmap.pDitherState, nullptr);
    }
    EXPECT_EQ(T_StartDithering(nullptr, usable, 4), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_StopDithering(nullptr), ERROR_INVALID_PARAMETER);

    Bytes row(5 * 8, 0x55);
    const Bytes before = row;
    Bytes output(5, 0x77);
    BitmapHandle bitmap = good;
    EXPECT_EQ(T_DitherLine(&bitmap, row.data(), output.data()), ERROR_INVALID_PARAMETER) << "not started";
    ASSERT_EQ(T_StartDithering(&bitmap, usable, 256), SUCCESS);
    EXPECT_EQ(T_DitherLine(nullptr, row.data(), output.data()), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLine(&bitmap, nullptr, output.data()), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLine(&bitmap, row.data(), nullptr), ERROR_INVALID_PARAMETER);
    const auto lineWith = [&](auto BitmapHandle::*field, uint32_t value) {
        BitmapHandle changed = bitmap;
        changed.*field = value;
        return T_DitherLine(&changed, row.data(), output.data());
    };
    EXPECT_EQ(lineWith(&BitmapHandle::StructSize, 4), ERROR_STRUCT_SIZE);
    EXPECT_EQ(lineWith(&BitmapHandle::Flags, BMF_SIGNED | BMF_WINDOW), ERROR_SIGNED_DATA);
    EXPECT_EQ(row, before);
    EXPECT_EQ(output, Bytes(5, 0x77));
    T_StopDithering(&bitmap);
}

// A record that no longer says what the run was started for: rows of another length than the caller's would be touched.
TEST(Dithering, RefusesChangedRecords) {
    for (const int32_t bits : {1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64}) {
        for (uint32_t method = 0; method <= kMaxDitherMethod; ++method) {
            SCOPED_TRACE(::testing::Message() << bits << " bits, method " << method);
            BitmapHandle bitmap = describe(bits, bits == 12 ? ORDER_GRAY : ORDER_RGB, 8, method);
            ASSERT_EQ(T_StartDithering(&bitmap, fixedPalette(8), 256), SUCCESS);
            const Bytes before(static_cast<size_t>(bits), 0x5A);  // 8 pixels
            Bytes row = before, output(8, 0x77);
            const auto lineWith = [&](auto BitmapHandle::*field, auto value) {
                BitmapHandle changed = bitmap;
                changed.*field = value;
                return T_DitherLine(&changed, row.data(), output.data());
            };
            EXPECT_EQ(lineWith(&BitmapHandle::Width, 9), ERROR_INVALID_PARAMETER);
            for (const int32_t other : {0, 1, 8, 9, 12, 24, 64}) {
                if (other == bits) continue;
                EXPECT_EQ(lineWith(&BitmapHandle::BitsPerPixel, other), ERROR_INVALID_PARAMETER);
            }
            for (const uint32_t order : {ORDER_GRAY, ORDER_MATRIX_RGB, 4u, 8u, 33u}) {
                if (bits <= 12 || acceptsOrder(*findPixelFormat(bits), order)) continue;
                EXPECT_EQ(lineWith(&BitmapHandle::Order, order), ERROR_INVALID_PARAMETER) << order;
            }
            EXPECT_EQ(row, before);
            EXPECT_EQ(output, Bytes(8, 0x77));
            EXPECT_EQ(lineWith(&BitmapHandle::Width, 7), SUCCESS) << "narrower is nothing but fewer pixels";
            T_StopDithering(&bitmap);
        }
    }
}

TEST(Dithering, OutputDepthsOutsideOneToEightWriteNothing) {
    for (const uint32_t bits : {0u, 9u, 0xFFFFFFFFu}) {
        BitmapHandle bitmap = describe(24, ORDER_RGB, 600, DITHER_ORDERED);  // in several blocks
        ASSERT_EQ(T_StartDitheringExt(&bitmap, fixedPalette(4), 16, bits, nullptr), SUCCESS);
        Bytes row(1800, 90);
        Bytes output(1, 0x42);
        EXPECT_EQ(T_DitherLine(&bitmap, row.data(), output.data()), SUCCESS);
        EXPECT_EQ(output[0], 0x42);
        T_StopDithering(&bitmap);
    }
}

TEST(Dithering, FailedStartLeavesNothing) {
    Random random(3);
    const Palette palette = randomPalette(random, 200);
    FailingPlatform failing;
    BitmapHandle bitmap = describe(24, ORDER_BGR, 300, DITHER_STEVENSON_ARCE);
    const BitmapHandle before = bitmap;
    const auto start = [&] { return T_StartDitheringExt(&bitmap, palette.data(), 200, 8, nullptr); };
    const auto check = [&](int32_t result, bool injected) {
        EXPECT_EQ(result, injected ? FAILURE : SUCCESS);
        EXPECT_EQ(std::memcmp(&bitmap, &before, sizeof bitmap) == 0, injected);
        T_StopDithering(&bitmap);
    };
    EXPECT_GE(sweepFailures(failing, kAllFailures, start, check), 3) << "state, match table, error rows";
}

// Without memory for a band the rows go one by one.
TEST(Dithering, BandsDoWithoutMemory) {
    Random random(4);
    Target target(random, 9, false);
    const BitmapHandle bitmap = describe(24, ORDER_BGR, 40, DITHER_JARVIS);
    Rows input = randomRows(random, 32, 120);
    Rows expected(32, Bytes(40));
    Rows output = expected;
    Dithered single(bitmap, target);
    for (size_t y = 0; y < 32; ++y) ASSERT_EQ(single.line(input[y], expected[y]), SUCCESS);
    FailingPlatform failing;
    Dithered many(bitmap, target);
    failing.failFrom(1);
    EXPECT_EQ(many.rows(ditherKernelsFor(InstructionSet::sse2), random, input, output), SUCCESS);
    failing.stopFailing();
    EXPECT_EQ(output, expected);
}

// A record's copy may still use the first state.
TEST(Dithering, SecondStartKeepsTheFirstState) {
    BitmapHandle bitmap = describe(24, ORDER_BGR, 4, DITHER_FLOYD_STEINBERG);
    ASSERT_EQ(T_StartDithering(&bitmap, nullptr, 2), SUCCESS);
    BitmapHandle copy = bitmap;
    ASSERT_EQ(T_StartDithering(&bitmap, nullptr, 16), SUCCESS);
    ASSERT_NE(copy.pDitherState, bitmap.pDitherState);
    Bytes row(12, 255);
    Bytes output(1, 0);
    EXPECT_EQ(T_DitherLine(&copy, row.data(), output.data()), SUCCESS);
    EXPECT_EQ(output[0], 0xF0);
    EXPECT_EQ(T_StopDithering(&copy), SUCCESS);
    EXPECT_EQ(T_StopDithering(&bitmap), SUCCESS);
}

// The cells beside the first column collect without end in a tall picture: the sanitizer sees them overflow. Against a
// palette of one black entry every white pixel leaves its whole level as error.
TEST(Dithering, SumsBesideTheColumnsStayBounded) {
    BitmapHandle bitmap = describe(24, ORDER_RGB, 1, DITHER_STEVENSON_ARCE);
    ASSERT_EQ(T_StartDithering(&bitmap, nullptr, 1), SUCCESS);
    Bytes pixel(3, 255);
    uint8_t output = 0;
    constexpr int32_t kRows = INT32_MAX / (26 * 255) + 1'000;
    for (int32_t y = 0; y < kRows; ++y) ASSERT_EQ(T_DitherLine(&bitmap, pixel.data(), &output), SUCCESS);
    EXPECT_EQ(output, 0x80) << "index 1";
    T_StopDithering(&bitmap);
}

// Errors that were equal in all channels go on as three once a row has colours.
TEST(Dithering, GrayRowsThenColoredRows) {
    Random random(5);
    const Palette palette = randomPalette(random, 5, true);
    BitmapHandle gray = describe(16, ORDER_GRAY, 30, DITHER_STUCKI);
    ASSERT_EQ(T_StartDitheringExt(&gray, palette.data(), 5, 8, nullptr), SUCCESS);
    // The same levels through a lookup table, which counts as coloured from the first row.
    Palette lut(65536);
    for (uint32_t i = 0; i < lut.size(); ++i) {
        const auto level = static_cast<uint8_t>(i >> 8);
        lut[i] = {level, level, level, 0};
    }
    BitmapHandle colored = describe(16, ORDER_GRAY, 30, DITHER_STUCKI);
    colored.Flags = BMF_WINDOW;
    colored.pLUT = lut.data();
    colored.LUTLength = 65536;
    ASSERT_EQ(T_StartDitheringExt(&colored, palette.data(), 5, 8, nullptr), SUCCESS);
    for (int32_t y = 0; y < 6; ++y) {
        Rows row = randomRows(random, 1, 60);
        Bytes output(30);
        Bytes expected(30);
        if (y == 3) gray.Order = colored.Order = ORDER_BGR;
        ASSERT_EQ(T_DitherLine(&gray, row[0].data(), output.data()), SUCCESS);
        ASSERT_EQ(T_DitherLine(&colored, row[0].data(), expected.data()), SUCCESS);
        EXPECT_EQ(output, expected) << "row " << y;
    }
    T_StopDithering(&gray);
    T_StopDithering(&colored);
}

TEST(UserMatchTable, HoldsTheNearestEntryOfEveryKey) {
    FailingPlatform failing;
    Random random(6);
    for (const uint32_t count : {0u, 7u, 256u}) {
        const Palette palette = randomPalette(random, std::max(count, 1u));
        uint32_t* const table = T_CreateUserMatchTable(palette.data(), count);
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(std::vector<uint32_t>(table, table + kMatchTableEntries),
                  referenceMatchTable(asReference(palette.data()), count));
        EXPECT_EQ(T_LocalSize(table), 131'072u);
        EXPECT_EQ(T_FreeUserMatchTable(table), SUCCESS);
        EXPECT_EQ(failing.live(), LiveObjects{});
    }
    EXPECT_EQ(T_CreateUserMatchTable(nullptr, 3), nullptr);
    EXPECT_EQ(T_CreateUserMatchTable(fixedPalette(8), UINT32_MAX), nullptr);
    EXPECT_EQ(T_FreeUserMatchTable(nullptr), SUCCESS);
    failing.failAt(1);
    EXPECT_EQ(T_CreateUserMatchTable(fixedPalette(8), 1), nullptr);
}

}  // namespace
}  // namespace tnk::test
