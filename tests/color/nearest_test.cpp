// The nearest entry of a palette, for single colours and for rows, against a plain form.
#include "color/nearest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "color/palette.h"
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

Palette repeated(Palette palette, int times) {
    Palette all;
    for (int i = 0; i < times; ++i) all.insert(all.end(), palette.begin(), palette.end());
    return all;
}

Palette grays(size_t count) {
    Palette palette(count);
    fillGrayRamp(palette);
    return palette;
}

struct Case {
    std::string name;
    Palette palette;
};

std::vector<Case> palettes() {
    std::vector<Case> all = {
        {"random", randomPalette(256, 1, 1)},
        {"coarse", randomPalette(256, 32, 2)},
        {"coarser", randomPalette(255, 64, 3)},
        {"duplicates", repeated(randomPalette(64, 85, 4), 4)},
        {"crowded", randomPalette(200, 1, 5)},
        {"gray", grays(256)},
        {"short gray", grays(7)},
        {"all equal", Palette(256, rgb(100, 100, 101))},
        {"one", {rgb(3, 200, 7)}},
        {"web", {webPalette(), webPalette() + 256}},
        // The last black and white answer where the first are not at their ends.
        {"black and white inside", {rgb(9, 9, 9), rgb(0, 0, 0), rgb(255, 255, 255), rgb(0, 0, 0)}},
        {"white first and last", {rgb(255, 255, 255), rgb(0, 0, 0), rgb(128, 0, 0), rgb(255, 255, 255)}},
        {"near white", {rgb(255, 255, 254), rgb(254, 255, 255), rgb(255, 254, 255), rgb(1, 0, 0), rgb(0, 0, 1)}},
    };
    for (PaletteEntry& entry : all[4].palette) entry = rgb(96 + entry.Red / 16, 96 + entry.Green / 8, entry.Blue / 2);
    for (const int32_t bits : {1, 4, 8})
        all.push_back(
            {"fixed " + std::to_string(bits), {fixedPalette(bits), fixedPalette(bits) + (size_t{1} << bits)}});
    return all;
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
        {"else the search", {black, white, black}, white, 1},
        {"equal entries: the first", {white, rgb(9, 8, 7), rgb(9, 8, 7)}, rgb(9, 8, 7), 1},
        {"a later gray beats a coloured one", {rgb(12, 10, 10), rgb(10, 10, 12), rgb(9, 9, 9)}, rgb(10, 10, 10), 2},
        {"the last of the class", {rgb(10, 10, 12), rgb(12, 10, 10), rgb(10, 12, 10)}, rgb(11, 11, 11), 1},
        {"none of the class: the first", {rgb(10, 12, 10), rgb(10, 10, 12), rgb(10, 12, 10)}, rgb(11, 11, 11), 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const auto count = static_cast<uint32_t>(c.palette.size());
        const uint32_t found = T_FindPaletteIndex(c.palette.data(), count, c.wanted.Red, c.wanted.Green, c.wanted.Blue);
        EXPECT_EQ(found, reference(c.palette, c.wanted.Red, c.wanted.Green, c.wanted.Blue));
        EXPECT_EQ(found, c.index);
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

// The colours of a cube of 16 levels a channel.
std::vector<uint8_t> cubePixels(int red, int green, int blue) {
    std::vector<uint8_t> pixels;
    for (int i = 0; i < 4096; ++i)
        pixels.insert(pixels.end(), {static_cast<uint8_t>(red + i / 256), static_cast<uint8_t>(green + i / 16 % 16),
                                     static_cast<uint8_t>(blue + i % 16)});
    return pixels;
}

void expectRow(NearestMatcher& matcher, const Palette& palette, const std::vector<uint8_t>& pixels) {
    std::vector<uint8_t> indexes(pixels.size() / 3);
    matcher.findRow(pixels.data(), 3, 0, 1, 2, indexes.data(), static_cast<int32_t>(indexes.size()));
    for (size_t i = 0; i < indexes.size(); ++i) {
        const uint8_t* at = &pixels[i * 3];
        ASSERT_EQ(indexes[i], findNearest(palette, at[0], at[1], at[2]))
            << "colour " << +at[0] << ' ' << +at[1] << ' ' << +at[2];
    }
}

// Whole cubes in every octant, on the gray axis, at the corners and where entries lie; twice, since a cell's first
// touch is answered on another path than the next.
TEST(NearestMatcher, EqualsSingleSearches) {
    for (const Case& c : palettes()) {
        SCOPED_TRACE(c.name);
        NearestMatcher matcher;
        ASSERT_TRUE(matcher.prepare(c.palette));
        std::mt19937 random(17);
        for (int cube = 0; cube < 24; ++cube) {
            PaletteEntry at = rgb(cube & 1 ? 240 : 0, cube & 2 ? 240 : 0, cube & 4 ? 240 : 0);
            if (cube >= 8) at = rgb(cube * 10 - 70, cube * 10 - 70, cube * 10 - 70);
            if (cube >= 14) at = c.palette[random() % c.palette.size()];
            const auto pixels = cubePixels(at.Red & 240, at.Green & 240, at.Blue & 240);
            ASSERT_NO_FATAL_FAILURE(expectRow(matcher, c.palette, pixels));
            ASSERT_NO_FATAL_FAILURE(expectRow(matcher, c.palette, pixels));
        }
        // Colours from everywhere, a prime apart.
        std::vector<uint8_t> pixels;
        for (uint32_t color = 0; color <= 0xFFFFFF; color += 1021)
            pixels.insert(pixels.end(), {colorRed(color), colorGreen(color), colorBlue(color)});
        ASSERT_NO_FATAL_FAILURE(expectRow(matcher, c.palette, pixels));
    }
}

TEST(NearestMatcher, ReadsEveryPixelFormat) {
    const Palette palette = randomPalette(256, 1, 21);
    NearestMatcher matcher;
    ASSERT_TRUE(matcher.prepare(randomPalette(9, 1, 22)));
    ASSERT_TRUE(matcher.prepare(palette));  // takes the place of the first
    std::mt19937 random(23);
    struct {
        uint32_t stride, red, green, blue;
    } const formats[] = {{3, 0, 1, 2}, {3, 2, 1, 0}, {4, 0, 1, 2}, {4, 2, 1, 0}, {6, 1, 3, 5}, {8, 5, 3, 1}};
    for (const auto& format : formats) {
        constexpr int32_t kWidth = 131;
        std::vector<uint8_t> pixels(kWidth * format.stride);
        for (uint8_t& byte : pixels) byte = static_cast<uint8_t>(random());
        const std::vector<uint8_t> before = pixels;
        std::vector<uint8_t> apart(kWidth + 1, 0xA5);
        matcher.findRow(pixels.data(), format.stride, format.red, format.green, format.blue, apart.data(), kWidth);
        EXPECT_EQ(pixels, before);
        EXPECT_EQ(apart.back(), 0xA5);
        matcher.findRow(pixels.data(), format.stride, format.red, format.green, format.blue, pixels.data(), kWidth);
        for (size_t i = 0; i < kWidth; ++i) {
            const uint8_t* at = &before[i * format.stride];
            const uint32_t wanted = findNearest(palette, at[format.red], at[format.green], at[format.blue]);
            ASSERT_EQ(apart[i], wanted);
            ASSERT_EQ(pixels[i], wanted) << "in place, stride " << format.stride;
            ASSERT_EQ(matcher.find(at[format.red], at[format.green], at[format.blue]), wanted);
        }
    }
}

TEST(NearestMatcher, AnswersRightlyWithoutMemory) {
    const Palette palette = randomPalette(256, 32, 31);
    std::vector<uint8_t> pixels;
    for (const int low : {0, 80, 160}) {
        const auto cube = cubePixels(low, low, 160 - low);
        pixels.insert(pixels.end(), cube.begin(), cube.end());
    }
    for (uint32_t color = 0; color <= 0xFFFFFF; color += 4093)
        pixels.insert(pixels.end(), {colorRed(color), colorGreen(color), colorBlue(color)});
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
