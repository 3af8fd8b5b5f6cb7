// Buffer conversion against its plainest form: every pair of formats, with palettes, windows and alpha, at many widths.
#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <tuple>
#include <vector>

#include "fuzz/convert_properties.h"
#include "support/failing_platform.h"

namespace tnk::test {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr int32_t kDepths[] = {-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 15, 16, 24, 32, 40, 48, 64, 65, 128};
constexpr int32_t kOrders[] = {0, 1, 2, 5, 3, 6, 31, 33, -1};

struct RowFormat {
    int32_t bits;
    int32_t order;
    bool isGray() const { return bits > 8 && order == 2; }
    bool hasPalette() const { return bits >= 1 && bits <= 8; }
};

std::vector<RowFormat> formats() {
    std::vector<RowFormat> all = {{0, 0}};
    for (const int32_t bits : kDepths) {
        const PixelFormat* format = findPixelFormat(bits);
        for (const int32_t order : kOrders)
            if (format != nullptr && acceptsOrder(*format, static_cast<uint32_t>(order))) all.push_back({bits, order});
    }
    return all;
}

class Convert : public testing::Test {
  protected:
    Convert() : arbitrary_(65536), twin_(256) {
        for (ReferenceColor& color : arbitrary_) color = {byte(), byte(), byte(), byte()};
        // Many equal distances: few levels.
        for (ReferenceColor& color : twin_) color = {few(), few(), few(), 0};
        marked_ = twin_;
        marked_[0].reserved = 1;
    }

    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_()) % limit; }
    uint8_t byte() { return static_cast<uint8_t>(random_()); }
    uint8_t few() { return static_cast<uint8_t>(random_() % 4 * 85); }

    void check(const RowConversion& c) {
        Bytes source(c.bytesOf(c.bitsSrc));
        const bool plain = below(4) == 0;  // few values: black, white, ties
        for (uint8_t& value : source) value = plain ? few() : byte();
        ASSERT_STREQ(brokenConversion(c, source, below(17)), nullptr)
            << c.bitsSrc << '/' << c.orderSrc << " to " << c.bitsDst << '/' << c.orderDst << ", width " << c.width
            << ", flags " << c.flags << ", " << c.low << '-' << c.high << ", palettes " << (c.paletteSrc != nullptr)
            << (c.paletteDst != nullptr);
    }

    std::mt19937 random_{20};
    std::vector<ReferenceColor> arbitrary_;
    std::vector<ReferenceColor> twin_;
    std::vector<ReferenceColor> marked_;  // the same colours, but not the same bytes: searched
};

// Equal palettes, and palettes that begin alike, keep the indexes. Every second conversion has a window.
TEST_F(Convert, EqualsThePlainForm) {
    constexpr int32_t kWindows[][2] = {{0, 7},  {4, 11}, {2, 2},   {3, -1},  {-1, 9},  {0, 15}, {0, 11},  {-1, -1},
                                       {10, 3}, {5, 8},  {20, 27}, {12, 40}, {40, 47}, {1, 31}, {0, 1000}};
    constexpr int32_t kWide[] = {255, 256, 257, 511, 771};
    const ReferenceColor* const palettes[] = {nullptr, arbitrary_.data(), twin_.data(), marked_.data()};
    for (const RowFormat& from : formats()) {
        for (const RowFormat& to : formats()) {
            for (uint32_t i = 0; i < 80; ++i) {
                RowConversion c = {1 + static_cast<int32_t>(i < 9 ? i : below(70)), from.bits, to.bits, from.order,
                                   to.order};
                if (i % 16 == 15) c.width = kWide[below(5)];
                c.paletteSrc = palettes[below(from.hasPalette() ? 3 : 2)];
                c.paletteDst = palettes[below(4)];
                c.flags = below(64) & ~0xCu;
                if (i % 2 != 0) {
                    c.flags |= (1 + below(3)) * CONVERT_SRC_BIT_RANGE;
                    std::tie(c.low, c.high) = std::tie(kWindows[i / 2 % 15][0], kWindows[i / 2 % 15][1]);
                }
                // A table of samples must reach as far as the window does.
                const bool reaches = (c.flags & CONVERT_SRC_BIT_RANGE) != 0 && c.low >= 2 && c.high > 0 && c.high < 16;
                if (from.isGray() && from.bits == 32 && !reaches) c.paletteSrc = nullptr;
                ASSERT_NO_FATAL_FAILURE(check(c));
            }
        }
    }
}

// Every order, also those that a depth does not have, and depths that are none; no pixels, too many, none lent.
TEST_F(Convert, Refusals) {
    for (const int32_t from : kDepths)
        for (const int32_t to : kDepths)
            for (const int32_t orderFrom : kOrders)
                for (const int32_t orderTo : kOrders) ASSERT_NO_FATAL_FAILURE(check({9, from, to, orderFrom, orderTo}));
    Bytes buffer(64, 0x5A);
    for (const int32_t width : {0, -1, INT_MAX})
        EXPECT_EQ(T_ConvertBuffer(buffer.data(), width, 24, 64, 1, 1, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ConvertBuffer(nullptr, 1, 24, 8, 1, 0, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(buffer, Bytes(64, 0x5A));
}

// The match of two entries decides by a linear form, which must agree with the search for every colour: all blues of
// some reds and greens, so that ties come by. And without memory any search is slower only.
TEST_F(Convert, MatchesOfEveryColour) {
    std::vector<std::vector<ReferenceColor>> pairs = {{{}, {255, 255, 255, 0}},
                                                      {{255, 255, 255, 0}, {}},
                                                      {{10, 20, 30, 0}, {30, 20, 10, 0}},
                                                      {{7, 7, 7, 0}, {7, 7, 7, 3}}};
    while (pairs.size() < 20) pairs.push_back({{byte(), byte(), byte(), 0}, {byte(), few(), byte(), 0}});
    Bytes row(256 * 3);
    for (const auto& pair : pairs) {
        for (uint32_t rest = random_() % 211; rest < 65536; rest += 211) {
            for (uint32_t i = 0; i < 256; ++i) {
                row[3 * i] = static_cast<uint8_t>(i);
                row[3 * i + 1] = static_cast<uint8_t>(rest);
                row[3 * i + 2] = static_cast<uint8_t>(rest >> 8);
            }
            ASSERT_STREQ(brokenConversion({256, 24, 1, 1, 0, nullptr, pair.data()}, row, 1), nullptr) << rest;
        }
    }
    FailingPlatform failing;
    failing.failFrom(1);
    check({200, 24, 8, 1, 0, nullptr, arbitrary_.data()});
    EXPECT_TRUE(failing.injected());
}

TEST(ConvertSize, LargestOfThreeRows) {
    EXPECT_EQ(T_CalcConvertSize(10, 24, 10, 8), 32u);
    EXPECT_EQ(T_CalcConvertSize(10, 8, 10, 32), 40u);
    EXPECT_EQ(T_CalcConvertSize(3, 8, 100, 1), 100u);  // the new width at the old depth
    EXPECT_EQ(T_CalcConvertSize(33, 1, 0, 0), 8u);
    EXPECT_EQ(T_CalcConvertSize(5, 0, 5, 0), 8u);
    EXPECT_EQ(T_CalcConvertSize(INT_MAX, 64, 1, 1), 0u);
    EXPECT_EQ(T_CalcConvertSize(INT_MAX, 8, 1, 1), 0x80000000u);
    EXPECT_EQ(T_CalcConvertSize(-1, 8, 1, 1), 0u);
}

TEST(GrayParams, Windows) {
    constexpr int32_t kPlaces[] = {INT_MIN, -1, 0, 2, 4, 7, 9, 13, 31, 40, INT_MAX};
    int32_t bits = 77, shift = 77;
    uint32_t mask = 77;
    for (const int32_t depth : {8, 12, 16, 32}) {
        for (const int32_t limit : {8, 16, 32}) {
            for (const int32_t low : kPlaces) {
                for (const int32_t high : kPlaces) {
                    const ReferenceGrayParams wanted = referenceGrayParams(depth, limit, low, high);
                    EXPECT_EQ(T_GetGrayParams(depth, limit, low, high, &bits, &mask, &shift), SUCCESS);
                    EXPECT_TRUE(mask == wanted.mask && (mask == 0 || (bits == wanted.bits && shift == wanted.shift)))
                        << depth << " at most " << limit << ": " << low << " - " << high;
                }
            }
        }
    }
    EXPECT_EQ(T_GetGrayParams(16, 8, 9, 3, &bits, &mask, &shift), SUCCESS);
    EXPECT_TRUE(bits == -5 && mask == 0 && shift == 9) << "a window upside down";
    EXPECT_EQ(T_GetGrayParams(16, 8, 4, 7, nullptr, &mask, &shift), SUCCESS);
    EXPECT_EQ(mask, 15u);
    EXPECT_EQ(T_GetGrayParams(16, 8, 0, 1, &bits, &mask, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(mask, 15u);
}

}  // namespace
}  // namespace tnk::test
