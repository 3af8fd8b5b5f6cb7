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

// Without memory any search is slower only.
TEST(Convert, SearchesWithoutMemory) {
    FailingPlatform failing;
    failing.failFrom(1);
    const std::vector<ReferenceColor> palette = sampleTable();
    const Bytes row = RandomNumbers(21).bytes(600);
    EXPECT_STREQ(brokenConversion({200, 24, 8, 1, 0, nullptr, palette.data()}, row, 1), nullptr);
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
    int32_t bits = 77, shift = 77;
    uint32_t mask = 77;
    for (const auto& [low, high] : {std::pair{INT_MIN, INT_MIN}, {INT_MAX, INT_MAX}, {INT_MIN, INT_MAX}, {-1, 7}}) {
        const ReferenceGrayParams wanted = referenceGrayParams(16, 8, low, high);
        EXPECT_EQ(T_GetGrayParams(16, 8, low, high, &bits, &mask, &shift), SUCCESS);
        EXPECT_TRUE(mask == wanted.mask && (mask == 0 || (bits == wanted.bits && shift == wanted.shift)));
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
