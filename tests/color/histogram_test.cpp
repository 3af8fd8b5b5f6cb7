// Histograms against plain counts, by depth and order, over widths around the blocks and vectors.
#include "color/reduce/histogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "color/reduce/color_sums.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

// Adds pictures of few values to a histogram, with `before` pixels of key 0 counted already: they stand for the two
// thousand million that no test can count. A bin that would overflow has all bins halved first.
void expectCounts(Format format, int32_t width, uint32_t before) {
    SCOPED_TRACE(::testing::Message() << format.bits << " bits, order " << format.order << ", width " << width << ", "
                                      << before << " before");
    RandomNumbers random(before + static_cast<uint32_t>(width));
    ColorHistogram histogram;
    ASSERT_TRUE(histogram.prepare().ok());
    std::vector<uint32_t> counts(kHistogramKeys);
    std::vector<uint16_t> keys;
    if (before != 0) {
        keys = {0, 77};
        histogram.addCounted(0, counts[0] = before);
        histogram.addCounted(77, counts[77] = 6);
    }
    for (int picture = 0; picture < 2; ++picture) {  // the second finds keys of the first
        StoredBitmap bitmap(Kind::section, width, 3, format);
        Bytes pixels = fill(bitmap.record, random, Content::few, 9);
        std::fill_n(pixels.begin(), bitmap.record.BytesPerLine, uint8_t{7});  // a row of key 0
        T_PutBitmapRow(&bitmap.record, pixels.data(), 0, bitmap.record.BytesPerLine);
        ASSERT_TRUE(histogram.add(bitmap.record).ok());
        for (uint32_t y = 0; y < 3; ++y) {
            for (uint32_t x = 0; x < static_cast<uint32_t>(width); ++x) {
                const uint8_t* at =
                    &pixels[y * bitmap.record.BytesPerLine + x * static_cast<uint32_t>(format.bits) / 8];
                const uint32_t red = at[format.order == ORDER_RGB ? 0 : 2],
                               blue = at[format.order == ORDER_RGB ? 2 : 0];
                uint32_t& count = counts[red / 8 << 10 | at[1] / 8u << 5 | blue / 8];
                if (count == 0x80000000)
                    for (uint32_t& each : counts) each = each / 2 + each % 2;
                if (count++ == 0) keys.push_back(static_cast<uint16_t>(&count - counts.data()));
            }
        }
    }
    ASSERT_TRUE(std::equal(keys.begin(), keys.end(), histogram.keys().begin(), histogram.keys().end()));
    for (uint32_t key = 0; key < kHistogramKeys; ++key) ASSERT_EQ(histogram.pixels(key), counts[key]) << key;
}

TEST(Histogram, EqualsPlainCountsInTheOrderOfFirstPixels) {
    for (const Format format : {Format{24, ORDER_BGR}, {24, ORDER_RGB}, {32, ORDER_BGR}, {32, ORDER_RGB}}) {
        for (const int32_t width : {1, 2, 17, 33, 99, 2047, 2049, 4099})
            for (const uint32_t before : {0u, 0x80000000u - 150, 0x7FFFFFFFu, 0x80000000u})
                ASSERT_NO_FATAL_FAILURE(expectCounts(format, width, before));
    }
}

// More pixels of a key than its word sums before it is unpacked, of the largest values.
TEST(ColorSums, HoldManyPixelsOfAColor) {
    StoredBitmap white(Kind::section, 700, 100, {24, ORDER_BGR});
    const Bytes row(white.record.BytesPerLine, 0xFF);
    for (int32_t y = 0; y < 100; ++y) T_PutBitmapRow(&white.record, row.data(), y, white.record.BytesPerLine);
    ColorSums sums;
    ASSERT_TRUE(sums.prepare().ok() && sums.add(white.record).ok());
    const ColorSum& sum = sums.sums().back();
    EXPECT_EQ(sum.pixels, 70'000u);
    for (const uint64_t channel : sum.channels) EXPECT_EQ(channel, 70'000u * 0xFFFFull);
}

}  // namespace
}  // namespace tnk::test
