// The nearest entry of a palette, for single colours and for rows, against a plain form.
#include "palette/nearest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "palette/palette.h"
#include "reference/palette.h"
#include "support/failing_platform.h"

namespace tnk {
namespace {

using Palette = std::vector<PaletteEntry>;

PaletteEntry rgb(int red, int green, int blue) {
    return {static_cast<uint8_t>(blue), static_cast<uint8_t>(green), static_cast<uint8_t>(red), 0};
}

uint32_t reference(const Palette& palette, int red, int green, int blue) {
    return test::referenceFindPaletteIndex(reinterpret_cast<const test::ReferenceColor*>(palette.data()),
                                           static_cast<uint32_t>(palette.size()), red, green, blue);
}

// Channels are multiples of `step`, so that larger steps make ties and duplicates; reserved bytes are noise.
Palette randomPalette(size_t count, uint32_t step, uint32_t seed) {
    std::mt19937 random(seed);
    Palette palette(count);
    const auto level = [&] { return static_cast<uint8_t>(random() % 256 / step * step); };
    for (PaletteEntry& entry : palette) entry = {level(), level(), level(), static_cast<uint8_t>(random())};
    return palette;
}

std::vector<Palette> palettes() {
    const PaletteEntry black = rgb(0, 0, 0), white = rgb(255, 255, 255);
    Palette crowded = randomPalette(200, 1, 5);
    for (PaletteEntry& entry : crowded) entry = rgb(96 + entry.Red / 16, 96 + entry.Green / 8, entry.Blue / 2);
    Palette duplicates = randomPalette(256, 85, 4);
    std::copy_n(duplicates.begin(), 128, duplicates.begin() + 128);
    Palette grays(256);
    fillGrayRamp(grays);
    return {
        randomPalette(256, 1, 1),
        randomPalette(256, 32, 2),
        randomPalette(255, 64, 3),
        duplicates,
        crowded,
        grays,
        Palette(256, rgb(100, 100, 101)),
        {rgb(3, 200, 7)},
        {webPalette(), webPalette() + 256},
        {fixedPalette(1), fixedPalette(1) + 2},
        {fixedPalette(8), fixedPalette(8) + 256},
        // The last black and white answer where the first are not at their ends.
        {rgb(9, 9, 9), black, white, black},
        {white, black, rgb(128, 0, 0), white},
        {rgb(255, 255, 254), rgb(254, 255, 255), rgb(255, 254, 255), rgb(1, 0, 0), rgb(0, 0, 1)},
    };
}

TEST(FindNearest, DecidesTiesAndShortcuts) {
    const PaletteEntry black = rgb(0, 0, 0), white = rgb(255, 255, 255);
    struct {
        const char* what;
        Palette palette;
        PaletteEntry wanted;
        uint32_t index;
    } const cases[] = {
        {"black prefers the first entry", {black, white, black}, black, 0},
        {"then the last, over an earlier one", {white, black, rgb(1, 0, 0), black}, black, 3},
        {"else the search", {white, black, white}, black, 1},
        {"white prefers the last entry", {white, black, white}, white, 2},
        {"then the first, over a later one", {white, white, black}, white, 0},
        {"equal entries: the first", {white, rgb(9, 8, 7), rgb(9, 8, 7)}, rgb(9, 8, 7), 1},
        {"a later gray beats a coloured one", {rgb(12, 10, 10), rgb(10, 10, 12), rgb(9, 9, 9)}, rgb(10, 10, 10), 2},
        {"the last of the class", {rgb(10, 10, 12), rgb(12, 10, 10), rgb(10, 12, 10)}, rgb(11, 11, 11), 1},
        {"none of the class: the first", {rgb(10, 12, 10), rgb(10, 10, 12), rgb(10, 12, 10)}, rgb(11, 11, 11), 0},
    };
    for (const auto& c : cases) {
        const auto count = static_cast<uint32_t>(c.palette.size());
        EXPECT_EQ(T_FindPaletteIndex(c.palette.data(), count, c.wanted.Red, c.wanted.Green, c.wanted.Blue), c.index)
            << c.what;
    }
    EXPECT_EQ(T_FindPaletteIndex(nullptr, 5, 1, 2, 3), 0u);
    EXPECT_EQ(T_FindPaletteIndex(&black, 0, 0, 0, 0), 0xFFFFFFFFu);
}

// Lengths around the widths of vectors and beyond 256, as gray tables have them.
TEST(FindNearest, EqualsThePlainRuleAtEveryLength) {
    std::mt19937 random(11);
    for (const size_t count : {1, 2, 3, 4, 5, 6, 7, 8, 15, 31, 33, 254, 255, 256, 257, 300, 511, 513, 1030, 65536})
        for (const uint32_t step : {1u, 40u}) {
            const Palette palette = randomPalette(count, step, static_cast<uint32_t>(count));
            for (int i = 0; i < (count > 1000 ? 40 : 600); ++i) {
                const uint32_t color = i == 0 ? 0 : i == 1 ? 0xFFFFFF : static_cast<uint32_t>(random());
                const uint8_t red = colorRed(color), green = colorGreen(color), blue = colorBlue(color);
                ASSERT_EQ(findNearest(palette, red, green, blue), reference(palette, red, green, blue))
                    << count << " entries of step " << step << ", colour " << +red << ' ' << +green << ' ' << +blue;
            }
        }
}

using Bytes = std::vector<uint8_t>;

void addPixel(Bytes& pixels, uint32_t color) {
    pixels.insert(pixels.end(), {colorRed(color), colorGreen(color), colorBlue(color)});
}

// The colours of a cube of 16 levels a channel.
void addCube(Bytes& pixels, const PaletteEntry& at) {
    for (uint32_t i = 0; i < 4096; ++i)
        addPixel(pixels, (colorOf(at) & 0xF0F0F0) + i / 256 + (i / 16 % 16 << 8) + (i % 16 << 16));
}

void expectRow(NearestMatcher& matcher, const Palette& palette, const Bytes& pixels) {
    Bytes indexes(pixels.size() / 3);
    matcher.findRow(pixels.data(), 3, 0, 1, 2, indexes.data(), static_cast<int32_t>(indexes.size()));
    for (size_t i = 0; i < indexes.size(); ++i) {
        const uint8_t* at = &pixels[i * 3];
        const uint32_t wanted = findNearest(palette, at[0], at[1], at[2]);
        ASSERT_TRUE(indexes[i] == wanted && matcher.find(at[0], at[1], at[2]) == wanted)
            << "colour " << +at[0] << ' ' << +at[1] << ' ' << +at[2];
    }
}

// Whole cubes in every octant, on the gray axis, at the corners and where entries lie; twice, since a cell's first
// touch is answered on another path than the next. Then colours from everywhere, a prime apart.
TEST(NearestMatcher, EqualsSingleSearches) {
    const std::vector<Palette> all = palettes();
    NearestMatcher matcher;  // the next palette takes the place of the one before
    for (const Palette& palette : all) {
        SCOPED_TRACE(&palette - all.data());
        ASSERT_TRUE(matcher.prepare(palette));
        std::mt19937 random(17);
        for (int cube = 0; cube < 24; ++cube) {
            PaletteEntry at = rgb(cube & 1 ? 240 : 0, cube & 2 ? 240 : 0, cube & 4 ? 240 : 0);
            if (cube >= 8) at = rgb(cube * 10 - 70, cube * 10 - 70, cube * 10 - 70);
            if (cube >= 14) at = palette[random() % palette.size()];
            Bytes pixels;
            addCube(pixels, at);
            ASSERT_NO_FATAL_FAILURE(expectRow(matcher, palette, pixels));
            ASSERT_NO_FATAL_FAILURE(expectRow(matcher, palette, pixels));
        }
        Bytes pixels;
        for (uint32_t color = 0; color <= 0xFFFFFF; color += 1021) addPixel(pixels, color);
        ASSERT_NO_FATAL_FAILURE(expectRow(matcher, palette, pixels));
    }
}

TEST(NearestMatcher, AnswersRightlyWithoutMemory) {
    const Palette palette = randomPalette(256, 32, 31);
    Bytes pixels;
    for (const int low : {0, 80, 160}) addCube(pixels, rgb(low, low, 160 - low));
    for (uint32_t color = 0; color <= 0xFFFFFF; color += 4093) addPixel(pixels, color);
    test::FailingPlatform failing;
    for (const bool fromThere : {false, true}) {
        const int failures = test::sweepFailures(
            failing, test::kLocalFailures,
            [&] {
                NearestMatcher matcher;
                const bool prepared = matcher.prepare(palette);
                if (prepared) expectRow(matcher, palette, pixels);
                return prepared;
            },
            [](bool prepared, bool injected) { EXPECT_TRUE(prepared || injected); }, fromThere);
        EXPECT_GT(failures, 5) << "the tables were expected to grow";
    }
}

}  // namespace
}  // namespace tnk
