// The nearest entry of a palette, for single colours and for rows, against a plain form.
#include "palette/nearest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "palette/palette.h"
#include "reference/palette.h"
#include "support/failing_platform.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

constexpr PaletteEntry gray(uint8_t level) { return {level, level, level, 0}; }

// Channels are multiples of `step`, so that larger steps make ties and duplicates; reserved bytes are noise.
Palette steppedPalette(RandomNumbers& random, uint32_t count, uint32_t step) {
    Palette palette = random.palette(count);
    for (PaletteEntry& entry : palette)
        for (uint8_t* channel : {&entry.Red, &entry.Green, &entry.Blue})
            *channel = static_cast<uint8_t>(*channel / step * step);
    for (PaletteEntry& entry : palette) entry.Reserved = random.byte();
    return palette;
}

std::vector<Palette> palettes() {
    RandomNumbers random(1);
    Palette crowded = random.palette(200), grays(256), duplicates = steppedPalette(random, 256, 85);
    for (PaletteEntry& entry : crowded)
        entry = {static_cast<uint8_t>(entry.Blue / 2), static_cast<uint8_t>(96 + entry.Green / 8),
                 static_cast<uint8_t>(96 + entry.Red / 16), 0};
    std::copy_n(duplicates.begin(), 128, duplicates.begin() + 128);
    fillGrayRamp(grays);
    return {
        random.palette(256),
        steppedPalette(random, 256, 32),
        steppedPalette(random, 255, 64),
        duplicates,
        crowded,
        grays,
        Palette(256, PaletteEntry{101, 100, 100, 0}),
        {webPalette(), webPalette() + 256},
        {fixedPalette(1), fixedPalette(1) + 2},
        {fixedPalette(8), fixedPalette(8) + 256},
        // The last black and white answer where the first are not at their ends, and the search elsewhere.
        {gray(9), gray(0), gray(255), gray(0)},
        {gray(255), gray(0), {0, 0, 128, 0}, gray(255)},
        {gray(255), gray(255), gray(0), {1, 0, 0, 0}, gray(9)},
        // Ties between gray and coloured entries, and between the classes of hues.
        {{10, 10, 12, 0}, {12, 10, 10, 0}, gray(9)},
        {{12, 10, 10, 0}, {10, 10, 12, 0}, {10, 12, 10, 0}},
        {{254, 255, 255, 0}, {255, 255, 254, 0}, {255, 254, 255, 0}, {0, 0, 1, 0}, {1, 0, 0, 0}},
    };
}

uint32_t wantedIndex(const Palette& palette, uint8_t red, uint8_t green, uint8_t blue) {
    return referenceFindPaletteIndex(reinterpret_cast<const ReferenceColor*>(palette.data()),
                                     static_cast<uint32_t>(palette.size()), red, green, blue);
}

// Lengths around the widths of vectors and beyond 256, as gray tables have them; colours from everywhere and near entries.
TEST(FindNearest, EqualsThePlainRuleAtEveryLength) {
    RandomNumbers random(11);
    std::vector<Palette> all = palettes();
    for (const uint32_t count : {1, 2, 3, 4, 5, 6, 7, 8, 15, 31, 33, 254, 255, 257, 300, 511, 513, 1030, 65536})
        for (const uint32_t step : {1u, 40u}) all.push_back(steppedPalette(random, count, step));
    for (const Palette& palette : all) {
        const auto count = static_cast<uint32_t>(palette.size());
        for (uint32_t i = 0; i < (count > 1000 ? 40 : 600); ++i) {
            PaletteEntry color = i < 2 ? gray(static_cast<uint8_t>(i * 255)) : random.palette(1)[0];
            if (i % 3 == 2) {
                color = palette[random.below(count)];
                for (uint8_t* channel : {&color.Red, &color.Green, &color.Blue})
                    *channel = static_cast<uint8_t>(std::clamp(*channel + random.between(-2, 2), 0, 255));
            }
            ASSERT_EQ(T_FindPaletteIndex(palette.data(), count, color.Red, color.Green, color.Blue),
                      wantedIndex(palette, color.Red, color.Green, color.Blue))
                << &palette - all.data() << " of " << count << " entries, colour " << +color.Red << ' ' << +color.Green
                << ' ' << +color.Blue;
        }
    }
    EXPECT_EQ(T_FindPaletteIndex(nullptr, 5, 1, 2, 3), 0u);
    EXPECT_EQ(T_FindPaletteIndex(all[0].data(), 0, 0, 0, 0), 0xFFFFFFFFu);
}

// The colours of a cube of 16 levels a channel.
void addCube(Bytes& pixels, const PaletteEntry& at) {
    for (uint32_t i = 0; i < 4096; ++i)
        for (const uint32_t channel :
             {(at.Red & 0xF0) + i / 256, (at.Green & 0xF0) + i / 16 % 16, (at.Blue & 0xF0) + i % 16})
            pixels.push_back(static_cast<uint8_t>(channel));
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
    RandomNumbers random(17);
    const std::vector<Palette> all = palettes();
    NearestMatcher matcher;  // the next palette takes the place of the one before
    for (const Palette& palette : all) {
        SCOPED_TRACE(&palette - all.data());
        ASSERT_TRUE(matcher.prepare(palette));
        for (uint32_t cube = 0; cube < 24; ++cube) {
            const auto side = [&](uint32_t bit) { return static_cast<uint8_t>(cube & bit ? 240 : 0); };
            Bytes pixels;
            addCube(pixels, cube >= 14  ? palette[random.below(static_cast<uint32_t>(palette.size()))]
                            : cube >= 8 ? gray(static_cast<uint8_t>(cube * 10 - 70))
                                        : PaletteEntry{side(4), side(2), side(1), 0});
            ASSERT_NO_FATAL_FAILURE(expectRow(matcher, palette, pixels));
            ASSERT_NO_FATAL_FAILURE(expectRow(matcher, palette, pixels));
        }
        ASSERT_NO_FATAL_FAILURE(expectRow(matcher, palette, random.bytes(3 * 16001)));
    }
}

TEST(NearestMatcher, AnswersRightlyWithoutMemory) {
    RandomNumbers random(31);
    const Palette palette = steppedPalette(random, 256, 32);
    Bytes pixels = random.bytes(3 * 4000);
    for (const uint8_t low : {0, 80, 160}) addCube(pixels, {static_cast<uint8_t>(160 - low), low, low, 0});
    FailingPlatform failing;
    for (const bool fromThere : {false, true}) {
        const int failures = sweepFailures(
            failing, kLocalFailures,
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
}  // namespace tnk::test
