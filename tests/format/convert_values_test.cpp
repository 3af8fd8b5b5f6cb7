// Values of buffer conversion worked out by hand, its argument checks, and the sizes and windows that go with it.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

#include "support/failing_platform.h"
#include "tnkrn.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct Format {
    int32_t bits;
    uint32_t order;
};

struct Value {
    const char* what;
    int32_t width;
    Format source;
    Format target;
    Bytes before;
    Bytes after;
    uint32_t flags = 0;
    int32_t low = -1;
    int32_t high = -1;
};

const Value kValues[] = {
    {"level 128 to 12 bits is truncated", 2, {0, 0}, {12, 2}, {128, 255, 0}, {0x07, 0xF8, 0xFF}},
    {"12 bits at an odd width leave the nibble", 1, {0, 0}, {12, 2}, {128, 0xA5}, {0x07, 0xA8}},
    {"level 1 fills 32 bits", 1, {0, 0}, {32, 2}, {1, 0, 0, 0}, {1, 1, 1, 1}},
    {"level in all channels, alpha 0", 1, {0, 0}, {32, 1}, {7, 9, 9, 9}, {7, 7, 7, 0}},
    {"5 bits straddle", 3, {8, 0}, {5, 0}, {0, 0, 0, 0xFF}, {0, 0, 0, 0xFF}},
    {"default source palette has 256 entries", 2, {1, 0}, {24, 1}, {0x40, 0, 0, 0, 0, 0}, {0, 0, 0, 85, 0, 0}},
    {"new alpha", 1, {24, 0}, {32, 0}, {1, 2, 3, 9}, {1, 2, 3, 255}, CONVERT_ALPHA_OPAQUE},
    {"new alpha by value",
     1,
     {24, 0},
     {64, 1},
     {1, 2, 3, 9, 9, 9, 9, 9},
     {3, 3, 2, 2, 1, 1, 255, 255},
     CONVERT_ALPHA_FROM_VALUE},
    {"alpha becomes bit 15", 1, {32, 1}, {16, 1}, {8, 16, 24, 128}, {0x41, 0x8C}},
    {"5-5-5 swap clears bit 15", 1, {16, 1}, {16, 0}, {0x01, 0x80}, {0x00, 0x04}},
    {"5-5-5 widens by its top bits", 1, {16, 1}, {24, 1}, {0x41, 0x0C, 0}, {8, 16, 24}},
    {"high bytes of channels", 1, {48, 0}, {24, 0}, {9, 1, 9, 2, 9, 3}, {1, 2, 3, 2, 9, 3}},
    {"gray level", 1, {24, 1}, {0, 0}, {10, 20, 30}, {(2 * 30 + 5 * 20 + 10 + 4) >> 3, 20, 30}},
    {"32-bit colour to 32-bit gray fills 16 bits", 1, {32, 1}, {32, 2}, {2, 2, 2, 9}, {2, 2, 0, 0}},
    {"24-bit colour fills all 32", 1, {24, 1}, {32, 2}, {2, 2, 2, 9}, {2, 2, 2, 2}},
    {"window of a gray source", 1, {16, 2}, {0, 0}, {0xF3, 0x00}, {0xF0 * 17 / 16, 0x00}, CONVERT_SRC_BIT_RANGE, 4, 7},
    {"window of a gray target", 1, {24, 1}, {16, 2}, {255, 255, 255}, {0xF0, 0, 255}, CONVERT_DST_BIT_RANGE, 4, 7},
    {"top bits into a target window", 1, {16, 2}, {16, 2}, {0x34, 0xA2}, {0xA0, 0}, CONVERT_DST_BIT_RANGE, 4, 7},
    {"12 bits to 16 bits of gray", 1, {12, 2}, {16, 2}, {0x01, 0x08}, {0x17, 0x80}},
    {"matrix", 1, {24, 1}, {24, 5}, {10, 20, 30}, {11, 20, 24}},
    {"a matrix row that sums to 8193 wraps", 1, {24, 1}, {48, 5}, {255, 255, 255, 0, 0, 0}, {7, 0, 255, 255, 255, 255}},
    {"both ends of the way back are cut", 1, {24, 5}, {24, 1}, {0, 0, 255}, {0, 0, 255}},
    {"a source range of colours is ignored", 1, {24, 1}, {24, 0}, {1, 2, 3}, {3, 2, 1}, CONVERT_SRC_BIT_RANGE, 9, 3},
};

TEST(ConvertValues, StatedPixels) {
    for (const Value& value : kValues) {
        SCOPED_TRACE(value.what);
        Bytes buffer = value.before;
        buffer.resize(buffer.size() + 8, 0xEE);
        ASSERT_EQ(
            T_ConvertBufferExt(buffer.data(), value.width, value.source.bits, value.target.bits, value.source.order,
                               value.target.order, nullptr, nullptr, value.flags, value.low, value.high),
            SUCCESS);
        EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + static_cast<ptrdiff_t>(value.after.size())), value.after);
        EXPECT_EQ(Bytes(buffer.end() - 8, buffer.end()), Bytes(8, 0xEE));
    }
}

// Depths, orders and windows that are refused are compared with the plain form elsewhere.
TEST(ConvertValues, RefusedWidthsLeaveTheBuffer) {
    Bytes buffer(64, 0x5A);
    for (const int32_t width : {0, -1, INT_MAX}) {
        EXPECT_EQ(T_ConvertBuffer(buffer.data(), width, 24, 64, 1, 1, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(buffer, Bytes(64, 0x5A));
    EXPECT_EQ(T_ConvertBuffer(nullptr, 1, 24, 8, 1, 0, nullptr, nullptr), ERROR_INVALID_PARAMETER);
}

TEST(ConvertValues, WithoutMemoryTheSearchIsSlowerOnly) {
    Bytes pixels(3 * 200);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i * 37);
    Bytes expected = pixels;
    ASSERT_EQ(T_ConvertBuffer(expected.data(), 200, 24, 8, 1, 0, nullptr, nullptr), SUCCESS);
    tnk::test::FailingPlatform failing;
    failing.failFrom(1);
    EXPECT_EQ(T_ConvertBuffer(pixels.data(), 200, 24, 8, 1, 0, nullptr, nullptr), SUCCESS);
    EXPECT_TRUE(failing.injected());
    EXPECT_TRUE(std::equal(pixels.begin(), pixels.begin() + 200, expected.begin()));
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
    struct Case {
        int32_t depth, limit, low, high, bits;
        uint32_t mask;
        int32_t shift;
    };
    const Case cases[] = {
        {12, 8, -1, -1, 8, 255, 4},
        {16, 16, -1, -1, 16, 65535, 0},
        {16, 8, 4, 7, 4, 15, 4},
        {16, 8, 2, 13, 8, 255, 6},
        {32, 32, -1, -1, 32, 0xFFFFFFFF, 0},
        {8, 32, -1, -1, 8, 255, 0},
        {16, 8, 9, 3, -5, 0, 9},
        {16, 8, INT_MIN, INT_MAX, 8, 255, INT_MAX - 7},
    };
    for (const Case& c : cases) {
        int32_t bits = 77;
        uint32_t mask = 77;
        int32_t shift = 77;
        EXPECT_EQ(T_GetGrayParams(c.depth, c.limit, c.low, c.high, &bits, &mask, &shift), SUCCESS);
        EXPECT_EQ(bits, c.bits);
        EXPECT_EQ(mask, c.mask);
        EXPECT_EQ(shift, c.shift);
        EXPECT_EQ(T_GetGrayParams(c.depth, c.limit, c.low, c.high, nullptr, &mask, &shift), SUCCESS);
    }
    int32_t bits = 77;
    uint32_t mask = 77;
    EXPECT_EQ(T_GetGrayParams(16, 8, 4, 7, &bits, &mask, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bits, 77);
    EXPECT_EQ(mask, 77u);
}

}  // namespace
