// The dithering engine against its plain form, and bands of rows against single rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/pixel_format.h"
#include "color/dither/dither_modes.h"
#include "color/dither_fixture.h"
#include "reference/dither.h"
#include "tnkrn.h"

namespace tnk::test {
namespace {

struct SourceFormat {
    int32_t bits;
    uint32_t order;
    int32_t lowBit = 0;
    int32_t highBit = -1;
    uint32_t lutLength = 0;  // with a lookup table of so many entries
    bool grayPalette = false;
};

// Every depth and order, then windows and tables of gray samples.
std::vector<SourceFormat> sourceFormats() {
    std::vector<SourceFormat> all = {{1, 0, 0, -1, 0, true}, {8, 0, 0, -1, 0, true}, {12, 2, 2, 6},
                                     {12, 2, 0, 9, 1024},    {12, 2, 3, 9, 100},     {16, 2, 4, 15},
                                     {16, 2, 9, 11},         {16, 2, 0, 15, 65536},  {16, 2, 14, 2},
                                     {32, 2, 20, 25},        {32, 2, 0, 7, 256}};
    for (int32_t bits = 1; bits <= 64; ++bits) {
        const PixelFormat* format = findPixelFormat(bits);
        for (uint32_t order = 0; format != nullptr && order <= ORDER_MATRIX_RGB; ++order) {
            if (acceptsOrder(*format, order) && (bits > 8 || order == ORDER_RGB)) all.push_back({bits, order});
        }
    }
    return all;
}

TEST(Dithering, EqualsThePlainFormForEveryFormatMethodAndMode) {
    Random random(32);
    for (const SourceFormat& format : sourceFormats()) {
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
                const bool inPlace = below(random, 2) == 0 && target.bits <= static_cast<uint32_t>(format.bits) &&
                                     format.order != ORDER_MATRIX_RGB;
                for (Bytes& input : randomRows(random, height, inputBytes)) {
                    Bytes expectedInput = input;
                    Bytes expected(outputBytes, 0xA5);
                    if (inPlace) std::copy_n(input.begin(), outputBytes, expected.begin());
                    Bytes output = inPlace ? input : expected;
                    ASSERT_EQ(reference.line(expectedInput.data(), expected.data()), SUCCESS);
                    ASSERT_EQ(run.line(inPlace ? output : input, output), SUCCESS);
                    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), output.begin()));
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
    Palette sourcePalette = grayPalette(random, 256);
    if (below(random, 2) == 0) {
        for (uint32_t i = 0; i < 256; ++i) {  // pixels that are their own levels have ways of their own
            const auto level = static_cast<uint8_t>(i);
            sourcePalette[i] = {level, level, level, 0};
        }
    }
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

}  // namespace
}  // namespace tnk::test
