// The dithering engine against its plain form, what start, stop and rows answer, and user match tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "fuzz/dither_properties.h"
#include "palette/palette.h"
#include "support/failing_platform.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

// Random grays, or entry i is the gray level i.
Palette grayPalette(RandomNumbers& random, uint32_t count) {
    Palette palette = random.palette(count, true);
    if (count == 256 && random.below(2) == 0) fillGrayRamp(palette);
    return palette;
}

// Noise, or slopes that leave long runs of equal colours and clamp now and then.
DitherRows randomRows(RandomNumbers& random, uint32_t height, size_t bytes) {
    const bool smooth = random.below(2) == 0;
    DitherRows rows(height, Bytes(bytes));
    for (size_t y = 0; y < rows.size(); ++y)
        for (size_t x = 0; x < bytes; ++x)
            rows[y][x] = smooth ? static_cast<uint8_t>(x * 2 / 3 + y * 3 + x % 3 * 40) : random.byte();
    return rows;
}

BitmapHandle describe(int32_t bits, uint32_t order, int32_t width, uint32_t method) {
    BitmapHandle bitmap{};
    bitmap.StructSize = sizeof(BitmapHandle);
    bitmap.Width = width;
    bitmap.BitsPerPixel = bits;
    bitmap.Order = order;
    bitmap.HighBit = -1;
    bitmap.DitherMethod = method;
    return bitmap;
}

struct DitherSource {
    int32_t bits;
    uint32_t order;
    int32_t lowBit = 0;
    int32_t highBit = -1;
    uint32_t lutLength = 0;  // with a lookup table of so many entries
    bool gray = false;       // the palette or the table
};

// Windows and tables of gray samples; every depth and order comes before them.
constexpr DitherSource kSources[] = {{1, 0, 0, -1, 0, true}, {8, 0, 0, -1, 0, true}, {8, 0, 0, -1, 0, true},
                                     {12, 2, 2, 6},          {12, 2, 0, 9, 1024},    {12, 2, 3, 9, 100},
                                     {16, 2, 4, 15},         {16, 2, 9, 11},         {16, 2, 0, 15, 65536},
                                     {16, 2, 14, 2},         {32, 2, 20, 25},        {32, 2, 0, 7, 256}};

// A destination that takes match mode `mode`, a palette in `own`.
void setTarget(DitherJob& job, Palette& own, RandomNumbers& random, uint32_t mode) {
    if (mode <= 1) {
        job.count = 3 + random.below(254);
        own = random.palette(job.count, random.below(2) == 0, true);
        job.palette = own.data();
        job.outputBits = 1 + random.below(8);
        job.table.resize(mode == 1 ? kReferenceMatchTableSize : 0);
        // Partly filled, now and then with places that do not exist.
        for (uint32_t& word : job.table)
            if (random.below(2) == 0) word = random.below(8) == 0 ? random() : 1 + random.below(job.count);
    } else if (mode == 10) {
        job.count = 129 + random.below(128);
        job.palette = webPalette();
    } else {
        job.outputBits = mode - 1;
        const uint32_t most = 1u << job.outputBits;
        job.count = random.below(2) == 0 ? most : most / 2 + 1 + random.below(most / 2);
        if (job.outputBits == 1) job.count = 1 + random.below(2);
        if (random.below(2) == 0) job.palette = fixedPalette(static_cast<int32_t>(job.outputBits));
    }
}

void checkJob(RandomNumbers& random, const DitherSource& from, int32_t width, uint32_t method, uint32_t wantedMode) {
    DitherJob job;
    Palette target;
    setTarget(job, target, random, wantedMode);
    job.bitmap = describe(from.bits, from.order, width, method);
    job.bitmap.LowBit = from.lowBit;
    job.bitmap.HighBit = from.highBit;
    const uint32_t entries = 1u << std::min(from.bits, 8);
    Palette palette = from.gray ? grayPalette(random, entries) : random.palette(1 + random.below(entries));
    Palette lut = random.palette(std::max(from.lutLength, 1u), from.gray);
    if (from.bits <= 8) {
        job.bitmap.Palette = palette.data();
        job.bitmap.ColorCount = static_cast<uint32_t>(palette.size());
    }
    if (from.lutLength > 0) {
        job.bitmap.Flags |= BMF_WINDOW;
        job.bitmap.pLUT = lut.data();
        job.bitmap.LUTLength = from.lutLength;
    }
    job.input = randomRows(random, 1 + random.below(random.below(2) == 0 ? 9 : 40),
                           (static_cast<size_t>(width) * static_cast<size_t>(from.bits) + 7) / 8);
    job.groups = random();
    // Input rows of some orders are converted first, which changes the bits that a shorter output row keeps.
    job.inPlace =
        random.below(2) == 0 && job.outputBits <= static_cast<uint32_t>(from.bits) && from.order != ORDER_MATRIX_RGB;
    uint32_t mode = 99;
    ASSERT_STREQ(brokenDithering(job, &mode), nullptr)
        << from.bits << " bits order " << from.order << " window " << from.lowBit << ".." << from.highBit << " method "
        << method << " mode " << mode << " size " << width << " x " << job.input.size();
    ASSERT_EQ(mode, wantedMode);
}

TEST(Dithering, EqualsThePlainForm) {
    RandomNumbers random(32);
    std::vector<DitherSource> sources;
    for (const Format& format : kFormats) sources.push_back({format.bits, format.order});
    sources.insert(sources.end(), std::begin(kSources), std::end(kSources));
    for (const DitherSource& source : sources) {
        // Most pictures are colours or gray levels, which have the most ways of their own.
        const uint32_t times = source.bits == 24 || source.gray ? 3 : 1;
        for (uint32_t method = 0; method <= 8; ++method) {
            for (uint32_t mode = 0; mode < 11 * times; ++mode) {
                const int32_t width = random.below(8) == 0 ? random.between(240, 560) : random.between(1, 70);
                ASSERT_NO_FATAL_FAILURE(checkJob(random, source, width, method, mode % 11));
            }
        }
    }
}

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
    Bytes row(40, 0x55), output(5, 0x77);
    for (const auto& c : cases) {
        BitmapHandle bitmap = c.bitmap;
        if (c.code != ERROR_STRUCT_SIZE) {
            EXPECT_EQ(T_DitherLine(&bitmap, row.data(), output.data()), ERROR_INVALID_PARAMETER) << "not started";
        }
        EXPECT_EQ(T_StartDithering(&bitmap, c.palette, c.count), c.code) << &c - cases;
        EXPECT_EQ(c.code == SUCCESS, bitmap.pDitherState != nullptr);
        EXPECT_EQ(T_StopDithering(&bitmap), SUCCESS);
        EXPECT_EQ(bitmap.pDitherState, nullptr);
    }
    BitmapHandle bitmap = good;
    EXPECT_EQ(T_StartDithering(nullptr, usable, 4), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_StopDithering(nullptr), ERROR_INVALID_PARAMETER);
    ASSERT_EQ(T_StartDithering(&bitmap, usable, 256), SUCCESS);
    EXPECT_EQ(T_DitherLine(nullptr, row.data(), output.data()), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLine(&bitmap, nullptr, output.data()), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLine(&bitmap, row.data(), nullptr), ERROR_INVALID_PARAMETER);
    T_StopDithering(&bitmap);
    EXPECT_EQ(row, Bytes(40, 0x55));
    EXPECT_EQ(output, Bytes(5, 0x77));
}

// A record that no longer says what the run was started for: rows of another length than the caller's would be touched.
TEST(Dithering, RefusesChangedRecords) {
    for (const Format& format : kFormats) {
        for (uint32_t method = 0; method <= 8; ++method) {
            SCOPED_TRACE(::testing::Message() << format.bits << " bits, method " << method);
            BitmapHandle bitmap = describe(format.bits, format.order, 8, method);
            ASSERT_EQ(T_StartDithering(&bitmap, fixedPalette(8), 256), SUCCESS);
            const Bytes before(static_cast<size_t>(format.bits), 0x5A);  // 8 pixels
            Bytes row = before, output(8, 0x77);
            const auto lineWith = [&](auto BitmapHandle::*field, auto value) {
                BitmapHandle changed = bitmap;
                changed.*field = value;
                return T_DitherLine(&changed, row.data(), output.data());
            };
            EXPECT_EQ(lineWith(&BitmapHandle::Width, 9), ERROR_INVALID_PARAMETER);
            for (const int32_t other : {0, 1, 8, 9, 12, 24, 64})
                EXPECT_TRUE(other == format.bits ||
                            lineWith(&BitmapHandle::BitsPerPixel, other) == ERROR_INVALID_PARAMETER);
            for (const uint32_t order : {ORDER_GRAY, ORDER_MATRIX_RGB, 4u, 8u, 33u})
                EXPECT_TRUE(format.bits <= 12 || acceptsOrder(*findPixelFormat(format.bits), order) ||
                            lineWith(&BitmapHandle::Order, order) == ERROR_INVALID_PARAMETER);
            EXPECT_EQ(lineWith(&BitmapHandle::StructSize, 4), ERROR_STRUCT_SIZE);
            EXPECT_EQ(lineWith(&BitmapHandle::Flags, uint32_t{BMF_SIGNED | BMF_WINDOW}), ERROR_SIGNED_DATA);
            EXPECT_EQ(row, before);
            EXPECT_EQ(output, Bytes(8, 0x77));
            EXPECT_EQ(lineWith(&BitmapHandle::Width, 7), SUCCESS) << "narrower is nothing but fewer pixels";
            T_StopDithering(&bitmap);
        }
    }
}

// Without memory for a band the rows go one by one. A second start leaves the first state to a copy of the record.
TEST(Dithering, BandsDoWithoutMemory) {
    RandomNumbers random(3);
    BitmapHandle bitmap = describe(24, ORDER_BGR, 40, DITHER_STEVENSON_ARCE);
    ASSERT_EQ(T_StartDithering(&bitmap, nullptr, 200), SUCCESS);
    BitmapHandle first = bitmap;
    ASSERT_EQ(T_StartDithering(&bitmap, nullptr, 200), SUCCESS);
    ASSERT_NE(first.pDitherState, bitmap.pDitherState);
    DitherRows input = randomRows(random, 32, 120);
    Bytes single(32 * 40), many(32 * 40);
    std::vector<uint8_t*> in, out;
    for (size_t y = 0; y < 32; ++y) {
        in.push_back(input[y].data());
        out.push_back(&many[y * 40]);
        ASSERT_EQ(T_DitherLine(&first, in[y], &single[y * 40]), SUCCESS);
    }
    FailingPlatform failing;
    failing.failFrom(1);
    EXPECT_TRUE(ditherRowsBy(ditherKernelsFor(InstructionSet::sse2), bitmap, in.data(), out.data(), 32).ok());
    EXPECT_EQ(many, single);
    for (BitmapHandle* run : {&first, &bitmap}) T_StopDithering(run);
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
    RandomNumbers random(5);
    const Palette palette = random.palette(5, true);
    // The same levels through a lookup table count as coloured from the first row.
    Palette lut(65536);
    for (uint32_t i = 0; i < lut.size(); ++i) {
        const auto level = static_cast<uint8_t>(i >> 8);
        lut[i] = {level, level, level, 0};
    }
    BitmapHandle gray = describe(16, ORDER_GRAY, 30, DITHER_STUCKI), colored = gray;
    colored.Flags = BMF_WINDOW;
    colored.pLUT = lut.data();
    colored.LUTLength = 65536;
    for (BitmapHandle* bitmap : {&gray, &colored})
        ASSERT_EQ(T_StartDitheringExt(bitmap, palette.data(), 5, 8, nullptr), SUCCESS);
    for (int32_t y = 0; y < 6; ++y) {
        Bytes row = random.bytes(60), output(30), expected(30);
        if (y == 3) gray.Order = colored.Order = ORDER_BGR;
        ASSERT_EQ(T_DitherLine(&gray, row.data(), output.data()), SUCCESS);
        ASSERT_EQ(T_DitherLine(&colored, row.data(), expected.data()), SUCCESS);
        EXPECT_EQ(output, expected) << "row " << y;
    }
    T_StopDithering(&gray);
    T_StopDithering(&colored);
}

TEST(UserMatchTable, HoldsTheNearestEntryOfEveryKey) {
    FailingPlatform failing;
    RandomNumbers random(6);
    for (const uint32_t count : {0u, 7u, 256u}) {
        const Palette palette = random.palette(std::max(count, 1u));
        uint32_t* const table = T_CreateUserMatchTable(palette.data(), count);
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(std::vector<uint32_t>(table, table + kReferenceMatchTableSize),
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
