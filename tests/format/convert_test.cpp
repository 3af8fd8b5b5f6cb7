// Buffer conversion against its plainest form: any formats, with palettes, windows and alpha, at many widths.
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "fuzz/convert_properties.h"
#include "support/failing_platform.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

// Every second one has pixels and colours of few levels, so that ties, equal palettes and white come by.
TEST(Convert, EqualsThePlainForm) {
    RandomNumbers random(20);
    for (int i = 0; i < 30000; ++i) {
        Bytes bytes = random.bytes(400);
        if (i % 2 == 0)
            for (size_t at = 10; at < bytes.size(); ++at) bytes[at] = static_cast<uint8_t>(bytes[at] % 4 * 85);
        if (i % 8 != 0) bytes[1] = 0;                                       // narrow
        if (i % 3 == 0) bytes[9] = bytes[8] / 4 % 64 + bytes[9] / 64 * 64;  // the same palette
        if (i % 3 == 1) bytes[6] %= 20, bytes[7] %= 34;                     // likely windows
        ASSERT_STREQ(brokenDrawnConversion(bytes.data(), bytes.size()), nullptr)
            << i << ": " << ::testing::PrintToString(Bytes(bytes.begin(), bytes.begin() + 10));
    }
}

// Depths that are none; no pixels, too many, none lent.
TEST(Convert, Refusals) {
    Bytes buffer(64, 0x5A);
    for (const int32_t bits : {-1, 9, 15, 40, 65, 128})
        for (const auto& [from, to] : {std::pair{24, bits}, {bits, 24}})
            EXPECT_EQ(T_ConvertBuffer(buffer.data(), 1, from, to, 1, 1, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    for (const int32_t width : {0, -1, INT_MAX})
        EXPECT_EQ(T_ConvertBuffer(buffer.data(), width, 24, 64, 1, 1, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ConvertBuffer(nullptr, 1, 24, 8, 1, 0, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(buffer, Bytes(64, 0x5A));
}

// The match of two entries decides by a linear form, which must agree with the search for every colour: all blues of
// some reds and greens, so that ties come by. And without memory any search is slower only.
TEST(Convert, MatchesOfEveryColour) {
    RandomNumbers random(21);
    const auto byte = [&] { return random.byte(); };
    std::vector<std::vector<ReferenceColor>> pairs = {{{}, {255, 255, 255, 0}},
                                                      {{255, 255, 255, 0}, {}},
                                                      {{10, 20, 30, 0}, {30, 20, 10, 0}},
                                                      {{7, 7, 7, 0}, {7, 7, 7, 3}}};
    while (pairs.size() < 20)
        pairs.push_back({{byte(), byte(), byte(), 0}, {byte(), static_cast<uint8_t>(byte() % 4 * 85), byte(), 0}});
    Bytes row(256 * 3);
    for (const auto& pair : pairs) {
        for (uint32_t rest = random() % 211; rest < 65536; rest += 211) {
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
    const std::vector<ReferenceColor> palette = sampleTable();
    EXPECT_STREQ(brokenConversion({200, 24, 8, 1, 0, nullptr, palette.data()}, random.bytes(600), 1), nullptr);
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
