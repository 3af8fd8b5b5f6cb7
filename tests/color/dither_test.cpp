// The dithering engine against its plain form, bands of rows against single rows, and what start, stop and rows answer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "color/dither.h"
#include "color/dither_band.h"
#include "color/dither_modes.h"
#include "color/dither_state.h"
#include "color/palette.h"
#include "reference/dither.h"
#include "support/failing_platform.h"
#include "tnkrn.h"

namespace tnk::test {
namespace {

using Bytes = std::vector<uint8_t>;
using Rows = std::vector<Bytes>;
using Palette = std::vector<PaletteEntry>;
using Random = std::mt19937;

const ReferenceColor* asReference(const PaletteEntry* palette) {
    return reinterpret_cast<const ReferenceColor*>(palette);
}

uint32_t below(Random& random, uint32_t limit) { return static_cast<uint32_t>(random()) % limit; }

// Every third entry or so may not be chosen where `blocked`.
Palette randomPalette(Random& random, uint32_t count, bool gray = false, bool blocked = false) {
    Palette palette(count);
    for (PaletteEntry& entry : palette) {
        const uint32_t bits = random();
        entry = {static_cast<uint8_t>(bits), static_cast<uint8_t>(bits >> 8), static_cast<uint8_t>(bits >> 16), 0};
        if (gray) entry.Red = entry.Green = entry.Blue;
        if (blocked && below(random, 3) == 0) entry.Reserved = static_cast<uint8_t>(bits >> 24);
    }
    palette[0].Reserved = 0;
    return palette;
}

// Random grays, or entry i is the gray level i.
Palette grayPalette(Random& random, uint32_t count) {
    Palette palette = randomPalette(random, count, true);
    if (count == 256 && below(random, 2) == 0) fillGrayRamp(palette);
    return palette;
}

// Noise, or slopes that leave long runs of equal colours and clamp now and then.
Rows randomRows(Random& random, int32_t height, size_t bytes) {
    const bool smooth = below(random, 2) == 0;
    Rows rows(static_cast<size_t>(height), Bytes(bytes));
    for (size_t y = 0; y < rows.size(); ++y) {
        for (size_t x = 0; x < bytes; ++x) {
            rows[y][x] = static_cast<uint8_t>(smooth ? x * 2 / 3 + y * 3 + x % 3 * 40 : random());
        }
    }
    return rows;
}

// A destination that takes match mode `mode`.
struct Target {
    const PaletteEntry* palette = nullptr;
    Palette own;
    uint32_t count = 0;
    uint32_t bits = 8;
    std::vector<uint32_t> table;  // mode 1

    Target(Random& random, uint32_t mode, bool gray) {
        if (mode <= 1) {
            count = 3 + below(random, 254);
            own = randomPalette(random, count, gray, true);
            palette = own.data();
            bits = 1 + below(random, 8);
            if (mode == 1) table = userTable(random);
        } else if (mode == 10) {
            count = 129 + below(random, 128);
            palette = webPalette();
        } else {
            bits = mode - 1;
            const uint32_t most = 1u << bits;
            count = below(random, 2) == 0 ? most : most / 2 + 1 + below(random, most / 2);
            if (bits == 1) count = 1 + below(random, 2);
            if (below(random, 2) == 0) palette = fixedPalette(static_cast<int32_t>(bits));
        }
    }

    uint32_t* tableOrNull() { return table.empty() ? nullptr : table.data(); }

  private:
    // Partly filled, now and then with places that do not exist.
    std::vector<uint32_t> userTable(Random& random) const {
        std::vector<uint32_t> words(kMatchTableEntries);
        for (uint32_t& word : words) {
            if (below(random, 2) == 0)
                word = below(random, 8) == 0 ? static_cast<uint32_t>(random()) : 1 + below(random, count);
        }
        return words;
    }
};

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

class Dithered {
  public:
    Dithered(const BitmapHandle& bitmap, Target& target) : bitmap_(bitmap), table_(target.table) {
        started = T_StartDitheringExt(&bitmap_, target.palette, target.count, target.bits,
                                      table_.empty() ? nullptr : table_.data());
    }
    ~Dithered() { T_StopDithering(&bitmap_); }
    Dithered(const Dithered&) = delete;
    Dithered& operator=(const Dithered&) = delete;

    int32_t line(Bytes& input, Bytes& output) { return T_DitherLine(&bitmap_, input.data(), output.data()); }

    // In groups of random size, by kernels of our choice.
    int32_t rows(const DitherKernels* kernels, Random& random, Rows& input, Rows& output) {
        std::vector<uint8_t*> in;
        std::vector<uint8_t*> out;
        for (Bytes& row : input) in.push_back(row.data());
        for (Bytes& row : output) out.push_back(row.data());
        const auto height = static_cast<int32_t>(input.size());
        for (int32_t y = 0; y < height;) {
            const int32_t most = below(random, 4) == 0 ? std::min(height - y, 5) : height - y;
            const int32_t count = 1 + static_cast<int32_t>(below(random, static_cast<uint32_t>(most)));
            const Result result = ditherRowsBy(kernels, bitmap_, in.data() + y, out.data() + y, count);
            if (!result.ok()) return result.code;
            y += count;
        }
        return SUCCESS;
    }

    const DitherState& state() const { return *static_cast<const DitherState*>(bitmap_.pDitherState); }
    const std::vector<uint32_t>& table() const { return table_; }

    int32_t started;

  private:
    BitmapHandle bitmap_;
    std::vector<uint32_t> table_;
};

struct SourceFormat {
    int32_t bits;
    uint32_t order;
    int32_t lowBit = 0;
    int32_t highBit = -1;
    uint32_t lutLength = 0;  // with a lookup table of so many entries
    bool grayPalette = false;
};

const SourceFormat kFormats[] = {
    {1, 0},
    {2, 0},
    {3, 0},
    {4, 0},
    {5, 0},
    {6, 0},
    {7, 0},
    {8, 0},
    {1, 0, 0, -1, 0, true},
    {8, 0, 0, -1, 0, true},
    {12, 2},
    {12, 2, 2, 6},
    {12, 2, 0, 9, 1024},
    {12, 2, 3, 9, 100},
    {16, 0},
    {16, 1},
    {16, 2},
    {16, 2, 4, 15},
    {16, 2, 9, 11},
    {16, 2, 0, 15, 65536},
    {16, 2, 14, 2},
    {24, 0},
    {24, 1},
    {24, 5},
    {32, 0},
    {32, 1},
    {32, 2},
    {32, 2, 20, 25},
    {32, 2, 0, 7, 256},
    {48, 0},
    {48, 1},
    {48, 5},
    {64, 0},
    {64, 1},
};

TEST(Dithering, EqualsThePlainFormForEveryFormatMethodAndMode) {
    Random random(32);
    for (const SourceFormat& format : kFormats) {
        for (uint32_t method = 0; method <= kMaxDitherMethod; ++method) {
            for (uint32_t mode = 0; mode < kMatchModes; ++mode) {
                const auto width =
                    static_cast<int32_t>(below(random, 12) == 0 ? 250 + below(random, 300) : 1 + below(random, 70));
                const auto height = static_cast<int32_t>(1 + below(random, 9));
                SCOPED_TRACE(::testing::Message() << format.bits << " bits order " << format.order << " window "
                                                  << format.lowBit << ".." << format.highBit << " method " << method
                                                  << " mode " << mode << " size " << width << " x " << height);
                Target target(random, mode, below(random, 2) == 0);
                const uint32_t entries = 1u << std::min(format.bits, 8);
                const Palette sourcePalette = format.grayPalette ? grayPalette(random, entries)
                                                                 : randomPalette(random, 1 + below(random, entries));
                const Palette lut = randomPalette(random, std::max(format.lutLength, 1u), format.grayPalette);

                BitmapHandle bitmap = describe(format.bits, format.order, width, method);
                bitmap.LowBit = format.lowBit;
                bitmap.HighBit = format.highBit;
                ReferenceDitherSource source{
                    .bits = format.bits, .order = static_cast<int32_t>(format.order), .width = width};
                source.lowBit = format.lowBit;
                source.highBit = format.highBit;
                if (format.bits <= 8) {
                    bitmap.Palette = const_cast<PaletteEntry*>(sourcePalette.data());
                    source.paletteCount = bitmap.ColorCount = static_cast<uint32_t>(sourcePalette.size());
                    source.palette = asReference(sourcePalette.data());
                }
                if (format.lutLength > 0) {
                    bitmap.Flags |= BMF_WINDOW;
                    bitmap.pLUT = const_cast<PaletteEntry*>(lut.data());
                    source.lutLength = bitmap.LUTLength = format.lutLength;
                    source.window = true;
                    source.lut = asReference(lut.data());
                }

                std::vector<uint32_t> referenceTable = target.table;
                ReferenceDither reference;
                ASSERT_EQ(reference.start(source,
                                          {.palette = asReference(target.palette),
                                           .count = target.count,
                                           .outputBits = static_cast<int32_t>(target.bits),
                                           .method = method,
                                           .userMatchTable = referenceTable.empty() ? nullptr : referenceTable.data()}),
                          SUCCESS);
                ASSERT_EQ(reference.mode(), mode);
                Dithered run(bitmap, target);
                ASSERT_EQ(run.started, SUCCESS);

                // Exact sizes, so that the sanitizer sees a byte beyond; old contents show which bits are kept.
                const auto inputBytes = (static_cast<size_t>(width) * static_cast<size_t>(format.bits) + 7) / 8;
                const auto outputBytes = (static_cast<size_t>(width) * target.bits + 7) / 8;
                for (Bytes& input : randomRows(random, height, inputBytes)) {
                    Bytes expectedInput = input;
                    Bytes expected(outputBytes, 0xA5);
                    Bytes output = expected;
                    ASSERT_EQ(reference.line(expectedInput.data(), expected.data()), SUCCESS);
                    ASSERT_EQ(run.line(input, output), SUCCESS);
                    ASSERT_EQ(output, expected);
                    ASSERT_EQ(input, expectedInput);
                }
                ASSERT_EQ(run.table(), referenceTable);
            }
        }
    }
}

// Sums for the columns of the bitmap; what lies beyond them is nobody's.
std::vector<int32_t> errorSums(const DitherState& state) {
    std::vector<int32_t> sums;
    for (uint32_t row = 0; row < static_cast<uint32_t>(state.shape.rows); ++row) {
        for (uint32_t channel = 0; channel < (state.grayErrors ? 1 : kChannels); ++channel) {
            const int32_t* const first = state.errorRow(row, channel) + state.shape.pad;
            sums.insert(sums.end(), first, first + state.columns);
        }
    }
    return sums;
}

void expectRowsEqualLines(const DitherKernels* kernels, Random& random, uint32_t method, uint32_t mode, int32_t width,
                          int32_t bits) {
    SCOPED_TRACE(::testing::Message() << "method " << method << " mode " << mode << " width " << width << " bits "
                                      << bits);
    const bool gray = bits == 8;
    Target target(random, mode, gray && below(random, 2) == 0);
    const Palette sourcePalette = grayPalette(random, 256);
    BitmapHandle bitmap = describe(bits, gray ? ORDER_RGB : ORDER_BGR, width, method);
    bitmap.Palette = const_cast<PaletteEntry*>(sourcePalette.data());
    bitmap.ColorCount = gray ? 256 : 0;
    Dithered single(bitmap, target);
    Dithered many(bitmap, target);
    ASSERT_EQ(many.started, SUCCESS);

    const auto height = static_cast<int32_t>(8 + below(random, 33));
    Rows input = randomRows(random, height, static_cast<size_t>(width * bits / 8));
    Rows expected(input.size(), Bytes((static_cast<size_t>(width) * target.bits + 7) / 8, 0xA5));
    Rows output = expected;
    for (size_t y = 0; y < input.size(); ++y) ASSERT_EQ(single.line(input[y], expected[y]), SUCCESS);
    ASSERT_EQ(many.rows(kernels, random, input, output), SUCCESS);
    for (size_t y = 0; y < input.size(); ++y) ASSERT_EQ(output[y], expected[y]) << "row " << y;
    ASSERT_EQ(errorSums(many.state()), errorSums(single.state()));
    if (single.state().usesTable()) {
        ASSERT_EQ(std::memcmp(many.state().matchTable, single.state().matchTable, kMatchTableEntries * 4), 0);
    }
}

class DitheringBy : public ::testing::TestWithParam<InstructionSet> {};

TEST_P(DitheringBy, ManyRowsEqualSingleRows) {
    if (GetParam() > instructionSet()) GTEST_SKIP() << "the processor lacks it";
    const DitherKernels* const kernels = ditherKernelsFor(GetParam());
    Random random(7);
    for (uint32_t method = 0; method <= kMaxDitherMethod; ++method) {
        for (uint32_t mode = 0; mode < kMatchModes; ++mode) {
            for (const int32_t bits : {8, 24}) {
                // All widths up to 70 come by over the modes; the others cross blocks and tiles.
                for (int32_t width = 1 + static_cast<int32_t>(mode) % 8; width <= 70; width += 8) {
                    ASSERT_NO_FATAL_FAILURE(expectRowsEqualLines(kernels, random, method, mode, width, bits));
                }
                const auto wide = static_cast<int32_t>(240 + below(random, 40) + 256 * below(random, 2));
                ASSERT_NO_FATAL_FAILURE(expectRowsEqualLines(kernels, random, method, mode, wide, bits));
            }
        }
    }
}

constexpr const char* kSetNames[] = {"scalar", "sse2", "ssse3", "avx2"};

INSTANTIATE_TEST_SUITE_P(, DitheringBy,
                         ::testing::Values(InstructionSet::scalar, InstructionSet::sse2, InstructionSet::ssse3,
                                           InstructionSet::avx2),
                         [](const auto& set) { return kSetNames[static_cast<int32_t>(set.param)]; });

TEST(Dithering, AnswersToBadArguments) {
    Random random(1);
    const Palette palette = randomPalette(random, 256);
    Palette blocked(4, PaletteEntry{1, 2, 3, 2});
    const BitmapHandle good = describe(24, ORDER_BGR, 5, DITHER_FLOYD_STEINBERG);
    const auto start = [&](const BitmapHandle& from, const Palette& colors, uint32_t count) {
        BitmapHandle bitmap = from;
        const int32_t result = T_StartDithering(&bitmap, colors.data(), count);
        EXPECT_EQ(result == SUCCESS, bitmap.pDitherState != nullptr);
        EXPECT_EQ(T_StopDithering(&bitmap), SUCCESS);
        EXPECT_EQ(bitmap.pDitherState, nullptr);
        return result;
    };
    EXPECT_EQ(start(good, palette, 256), SUCCESS);
    EXPECT_EQ(start(good, palette, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(start(good, palette, 257), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(start(good, blocked, 4), ERROR_INVALID_PARAMETER) << "no entry may be chosen";
    for (const int32_t bits : {0, 9, 10, 15, 40, 65, -8}) {
        EXPECT_EQ(start(describe(bits, ORDER_BGR, 5, 1), palette, 4), ERROR_INVALID_PARAMETER) << bits;
    }
    EXPECT_EQ(start(describe(24, ORDER_BGR, 5, 9), palette, 4), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(start(describe(24, ORDER_BGR, -1, 1), palette, 4), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_StartDithering(nullptr, palette.data(), 4), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_StopDithering(nullptr), ERROR_INVALID_PARAMETER);
    BitmapHandle wrongSize = good;
    wrongSize.StructSize = 12;
    EXPECT_EQ(start(wrongSize, palette, 0), ERROR_STRUCT_SIZE);

    Bytes row(5 * 8, 0x55);
    const Bytes before = row;
    Bytes output(5, 0x77);
    BitmapHandle bitmap = good;
    EXPECT_EQ(T_DitherLine(&bitmap, row.data(), output.data()), ERROR_INVALID_PARAMETER) << "not started";
    ASSERT_EQ(T_StartDithering(&bitmap, palette.data(), 256), SUCCESS);
    EXPECT_EQ(T_DitherLine(nullptr, row.data(), output.data()), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLine(&bitmap, nullptr, output.data()), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLine(&bitmap, row.data(), nullptr), ERROR_INVALID_PARAMETER);
    const auto lineWith = [&](auto change) {
        BitmapHandle changed = bitmap;
        change(changed);
        return T_DitherLine(&changed, row.data(), output.data());
    };
    EXPECT_EQ(lineWith([](BitmapHandle& b) { b.StructSize = 4; }), ERROR_STRUCT_SIZE);
    EXPECT_EQ(lineWith([](BitmapHandle& b) { b.Flags = BMF_SIGNED | BMF_WINDOW; }), ERROR_SIGNED_DATA);
    EXPECT_EQ(lineWith([](BitmapHandle& b) { b.Order = ORDER_GRAY; }), ERROR_INVALID_PARAMETER) << "no 24-bit order";
    EXPECT_EQ(lineWith([](BitmapHandle& b) { b.Width = 6; }), ERROR_INVALID_PARAMETER) << "wider than started";
    EXPECT_EQ(row, before);
    EXPECT_EQ(output, Bytes(5, 0x77));
    T_StopDithering(&bitmap);
}

TEST(Dithering, OutputDepthsOutsideOneToEightWriteNothing) {
    Random random(2);
    const Palette palette = randomPalette(random, 16);
    for (const uint32_t bits : {0u, 9u, 0xFFFFFFFFu}) {
        BitmapHandle bitmap = describe(24, ORDER_RGB, 600, DITHER_ORDERED);  // in several blocks
        ASSERT_EQ(T_StartDitheringExt(&bitmap, palette.data(), 16, bits, nullptr), SUCCESS);
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
    const int failures = sweepFailures(
        failing, kAllFailures, [&] { return T_StartDitheringExt(&bitmap, palette.data(), 200, 8, nullptr); },
        [&](int32_t result, bool injected) {
            EXPECT_EQ(result, injected ? FAILURE : SUCCESS);
            if (injected) {
                EXPECT_EQ(std::memcmp(&bitmap, &before, sizeof bitmap), 0);
            }
            T_StopDithering(&bitmap);
        });
    EXPECT_GE(failures, 3) << "state, match table, error rows";
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
    Random random(6);
    for (const uint32_t count : {0u, 1u, 7u, 256u}) {
        const Palette palette = randomPalette(random, std::max(count, 1u));
        uint32_t* const table = T_CreateUserMatchTable(palette.data(), count);
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(std::vector<uint32_t>(table, table + kMatchTableEntries),
                  referenceMatchTable(asReference(palette.data()), count));
        EXPECT_EQ(T_FreeUserMatchTable(table), SUCCESS);
    }
    EXPECT_EQ(T_CreateUserMatchTable(nullptr, 3), nullptr);
    EXPECT_EQ(T_CreateUserMatchTable(fixedPalette(8), static_cast<uint32_t>(-1)), nullptr);
    EXPECT_EQ(T_FreeUserMatchTable(nullptr), SUCCESS);
    FailingPlatform failing;
    const PaletteEntry black{};
    failing.failAt(1);
    EXPECT_EQ(T_CreateUserMatchTable(&black, 1), nullptr);
    failing.stopFailing();
}

TEST(UserMatchTable, SetterReturnsTheOneBefore) {
    uint32_t first = 0;
    uint32_t second = 0;
    uint32_t* const original = T_SetUserMatchTable(&first);
    EXPECT_EQ(T_SetUserMatchTable(&second), &first);
    EXPECT_EQ(T_SetUserMatchTable(original), &second);
}

}  // namespace
}  // namespace tnk::test
