// Buffer conversion against its plainest form: every pair of formats, with palettes, windows and alpha, at many widths.
#include <gtest/gtest.h>

#include <climits>
#include <random>
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

    uint8_t byte() { return static_cast<uint8_t>(random_()); }
    uint8_t few() { return static_cast<uint8_t>(random_() % 4 * 85); }
    int32_t width() { return 1 + static_cast<int32_t>(random_() % 70); }

    void check(const RowConversion& c) {
        Bytes source(c.bytesOf(c.bitsSrc));
        const bool plain = random_() % 4 == 0;  // few values: black, white, ties
        for (uint8_t& value : source) value = plain ? few() : byte();
        ASSERT_STREQ(brokenConversion(c, source, random_() % 17), nullptr)
            << c.bitsSrc << '/' << c.orderSrc << " to " << c.bitsDst << '/' << c.orderDst << ", width " << c.width
            << ", flags " << c.flags << ", " << c.low << '-' << c.high << ", palettes " << (c.paletteSrc != nullptr)
            << (c.paletteDst != nullptr);
    }
    template <typename Check>
    void forAllPairs(Check check) {
        for (const RowFormat& from : formats()) {
            for (const RowFormat& to : formats()) {
                check(from, to, RowConversion{0, from.bits, to.bits, from.order, to.order});
                if (HasFatalFailure()) return;
            }
        }
    }

    std::mt19937 random_{20};
    std::vector<ReferenceColor> arbitrary_;
    std::vector<ReferenceColor> twin_;
    std::vector<ReferenceColor> marked_;  // the same colours, but not the same bytes: searched
};

// Equal palettes, and palettes that begin alike, keep the indexes.
TEST_F(Convert, PalettesAlphaAndWidths) {
    forAllPairs([&](const RowFormat& from, const RowFormat& to, RowConversion c) {
        std::vector<const ReferenceColor*> sources = {nullptr}, targets = {nullptr};
        if (from.hasPalette()) sources = {nullptr, arbitrary_.data(), twin_.data()};
        if (from.bits == 12 || (from.bits == 16 && from.isGray())) sources.push_back(arbitrary_.data());
        if (to.hasPalette()) targets = {nullptr, arbitrary_.data(), twin_.data(), marked_.data()};
        for (c.width = 1; c.width <= 9; ++c.width) check(c);
        for (c.paletteSrc = nullptr; const ReferenceColor* source : sources) {
            for (const ReferenceColor* target : targets) {
                c.paletteSrc = source;
                c.paletteDst = target;
                for (const uint32_t flags : {0x00u, 0x00u, 0x20u, 0x20u}) {
                    c.flags = flags;
                    c.width = width();
                    check(c);
                }
            }
        }
        c.paletteSrc = c.paletteDst = nullptr;
        c.flags = CONVERT_ALPHA_FROM_VALUE;
        for (const int32_t many : {70, 255, 256, 257, 511, 771}) {
            c.width = many;
            check(c);
        }
    });
}

TEST_F(Convert, Windows) {
    constexpr int32_t kWindows[][2] = {{0, 7},  {4, 11}, {2, 2},   {3, -1},  {-1, 9},  {0, 15}, {0, 11},  {-1, -1},
                                       {10, 3}, {5, 8},  {20, 27}, {12, 40}, {40, 47}, {1, 31}, {0, 1000}};
    forAllPairs([&](const RowFormat& from, const RowFormat& to, RowConversion c) {
        for (const auto& window : kWindows) {
            for (const uint32_t flags : {0x04u, 0x08u, 0x0Cu, 0x24u}) {
                const bool gray = from.isGray() || to.isGray();
                c = {width(), from.bits, to.bits, from.order, to.order, nullptr, nullptr, flags, window[0], window[1]};
                if (gray || window[0] == 0) check(c);
                // A table of samples, as far as it reaches.
                c.paletteSrc = arbitrary_.data();
                const bool windowed = flags == 0x04 && window[0] >= 2 && window[1] < 16 && window[1] > 0;
                if (gray && (from.bits == 12 || from.bits == 16 || windowed || !from.isGray())) check(c);
            }
        }
    });
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

// Values worked out by hand, for what is odd.
TEST_F(Convert, StatedPixels) {
    const struct {
        const char* what;
        RowConversion c;
        Bytes before, after;
    } values[] = {
        {"level 128 to 12 bits is truncated; the nibble stays", {1, 0, 12, 0, 2}, {128, 0xA5}, {0x07, 0xA8}},
        {"level 1 fills 32 bits", {1, 0, 32, 0, 2}, {1, 0, 0, 0}, {1, 1, 1, 1}},
        {"the default palette has 256 entries", {2, 1, 24, 0, 1}, {0x40, 0, 0, 0, 0, 0}, {0, 0, 0, 85, 0, 0}},
        {"5-5-5 swap clears bit 15", {1, 16, 16, 1, 0}, {0x01, 0x80}, {0x00, 0x04}},
        {"5-5-5 widens by its top bits", {1, 16, 24, 1, 1}, {0x41, 0x0C, 0}, {8, 16, 24}},
        {"gray level", {1, 24, 0, 1, 0}, {10, 20, 30}, {(2 * 30 + 5 * 20 + 10 + 4) >> 3, 20, 30}},
        {"32-bit colour fills 16 bits of gray", {1, 32, 32, 1, 2}, {2, 2, 2, 9}, {2, 2, 0, 0}},
        {"24-bit colour fills all 32", {1, 24, 32, 1, 2}, {2, 2, 2, 9}, {2, 2, 2, 2}},
        {"a matrix row of 8193 wraps", {1, 24, 48, 1, 5}, {255, 255, 255, 0, 0, 0}, {7, 0, 255, 255, 255, 255}},
    };
    for (const auto& v : values) {
        Bytes buffer = v.before;
        T_ConvertBuffer(buffer.data(), v.c.width, v.c.bitsSrc, v.c.bitsDst, static_cast<uint32_t>(v.c.orderSrc),
                        static_cast<uint32_t>(v.c.orderDst), nullptr, nullptr);
        EXPECT_EQ(buffer, v.after) << v.what;
    }
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
