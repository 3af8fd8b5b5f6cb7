// Histograms and colour counts against plain ones, by depth and order, over widths around the blocks and vectors.
#include "color/reduce/histogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include "tnkrn.h"

namespace tnk {
namespace {

constexpr int32_t kHeight = 3;

// A picture of few colours that come again and again, some of them in neighbours.
struct Picture {
    std::vector<uint8_t> pixels;
    BitmapHandle bitmap;

    Picture(std::mt19937& random, int32_t width, int32_t bits, uint32_t order) {
        T_CreateBitmap(&bitmap, sizeof bitmap, MEM_USER, width, kHeight, bits, order, nullptr, 1, nullptr, 0);
        pixels.resize(bitmap.Size);
        for (int32_t y = 0; y < kHeight; ++y) {
            for (int32_t x = 0; x < width; ++x) {
                uint8_t* const pixel = at(x, y);
                const bool same = x > 0 && random() % 3 == 0;
                const auto channels = static_cast<size_t>(bits / 8);
                for (size_t c = 0; c < channels; ++c) {
                    pixel[c] = same ? pixel[c - channels] : static_cast<uint8_t>(random() % 7 * 5);
                }
            }
        }
        T_SetBitmapDataPointer(&bitmap, pixels.data(), bitmap.Size);
    }
    ~Picture() { T_FreeBitmap(&bitmap); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    uint8_t* at(int32_t x, int32_t y) {
        return pixels.data() + static_cast<size_t>(y) * bitmap.BytesPerLine +
               static_cast<size_t>(x * bitmap.BitsPerPixel / 8);
    }
    // Red, green and blue of a pixel.
    std::vector<uint32_t> colorAt(int32_t x, int32_t y) {
        const uint8_t* const pixel = at(x, y);
        std::vector<uint32_t> rgb = {pixel[0], pixel[1], pixel[2]};
        if (bitmap.Order == ORDER_BGR) std::reverse(rgb.begin(), rgb.end());
        return rgb;
    }
};

TEST(Histogram, EqualsPlainCountsInTheOrderOfFirstPixels) {
    std::mt19937 random(5);
    for (const int32_t bits : {24, 32}) {
        for (const uint32_t order : {ORDER_BGR, ORDER_RGB}) {
            for (const int32_t width : {1, 2, 17, 33, 2047, 2049, 4099}) {
                SCOPED_TRACE(::testing::Message() << bits << " bits, order " << order << ", width " << width);
                ColorHistogram histogram;
                ASSERT_TRUE(histogram.prepare().ok());
                std::vector<uint32_t> counts(kHistogramKeys);
                std::vector<uint16_t> keys;
                for (int picture = 0; picture < 2; ++picture) {  // the second finds keys of the first
                    Picture p(random, width, bits, order);
                    ASSERT_TRUE(histogram.add(p.bitmap).ok());
                    for (int32_t y = 0; y < kHeight; ++y) {
                        for (int32_t x = 0; x < width; ++x) {
                            const auto rgb = p.colorAt(x, y);
                            const uint32_t key = rgb[0] / 8 << 10 | rgb[1] / 8 << 5 | rgb[2] / 8;
                            if (counts[key]++ == 0) keys.push_back(static_cast<uint16_t>(key));
                        }
                    }
                }
                ASSERT_TRUE(std::equal(keys.begin(), keys.end(), histogram.keys().begin(), histogram.keys().end()));
                for (uint32_t key = 0; key < kHistogramKeys; ++key) ASSERT_EQ(histogram.pixels(key), counts[key]);
            }
        }
    }
}

// Pixels that were counted before stand for the two thousand million that no test can count.
TEST(Histogram, HalvesAllBinsBeforeOneOverflows) {
    std::mt19937 random(7);
    for (const uint32_t before : {0x80000000u - 150, 0x7FFFFFFFu, 0x80000000u}) {
        SCOPED_TRACE(before);
        ColorHistogram histogram;
        ASSERT_TRUE(histogram.prepare().ok());
        std::vector<uint32_t> counts(kHistogramKeys);
        std::vector<uint16_t> keys = {0, 77};
        histogram.addCounted(0, counts[0] = before);
        histogram.addCounted(77, counts[77] = 6);
        Picture p(random, 99, 24, ORDER_BGR);
        std::fill_n(p.at(0, 1), 3 * 99, uint8_t{7});  // a row of key 0
        ASSERT_TRUE(histogram.add(p.bitmap).ok());
        for (int32_t y = 0; y < kHeight; ++y) {
            for (int32_t x = 0; x < 99; ++x) {
                const auto rgb = p.colorAt(x, y);
                const uint32_t key = rgb[0] / 8 << 10 | rgb[1] / 8 << 5 | rgb[2] / 8;
                if (counts[key] == 0x80000000) {
                    for (uint32_t& count : counts) count = count / 2 + count % 2;
                }
                if (counts[key]++ == 0) keys.push_back(static_cast<uint16_t>(key));
            }
        }
        ASSERT_TRUE(std::equal(keys.begin(), keys.end(), histogram.keys().begin(), histogram.keys().end()));
        for (uint32_t key = 0; key < kHistogramKeys; ++key) ASSERT_EQ(histogram.pixels(key), counts[key]) << key;
    }
}

// With an array the scan may end early, without one it only marks: both count the same.
TEST(ColorCount, WithAndWithoutColorsEqualsASet) {
    std::mt19937 random(6);
    for (const int32_t bits : {24, 32}) {
        for (const uint32_t order : {ORDER_BGR, ORDER_RGB}) {
            Picture p(random, 301, bits, order);
            std::set<std::vector<uint32_t>> colors;
            for (int32_t y = 0; y < kHeight; ++y) {
                for (int32_t x = 0; x < 301; ++x) colors.insert(p.colorAt(x, y));
            }
            uint32_t count = 0;
            ASSERT_EQ(T_GetBitmapColorCountExt(&p.bitmap, &count, nullptr), SUCCESS);
            EXPECT_EQ(count, colors.size());
            std::vector<PaletteEntry> found(1000);
            count = 1000;
            ASSERT_EQ(T_GetBitmapColorCountExt(&p.bitmap, &count, found.data()), SUCCESS);
            ASSERT_EQ(count, colors.size());
            for (uint32_t i = 0; i < count; ++i) colors.erase({found[i].Red, found[i].Green, found[i].Blue});
            EXPECT_TRUE(colors.empty());
            count = 5;
            ASSERT_EQ(T_GetBitmapColorCountExt(&p.bitmap, &count, found.data()), SUCCESS);
            EXPECT_EQ(count, 6u) << "one more than fit";
        }
    }
}

}  // namespace
}  // namespace tnk
