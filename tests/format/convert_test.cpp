// Buffer conversion against its plainest form: any formats, with palettes, windows and alpha, at many widths.
#include <gtest/gtest.h>

#include <climits>
#include <thread>
#include <vector>

#include "convert/conversion_cache.h"
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

// Without memory any search is slower only, and so is each conversion that is prepared again.
TEST(Convert, SearchesWithoutMemory) {
    const std::vector<ReferenceColor> palette = sampleTable();
    const LibraryConversion conversion({200, 24, 8, 1, 0, nullptr, palette.data()});
    Bytes row = RandomNumbers(21).bytes(600), searched = row;
    EXPECT_EQ(conversion.convert(row.data()), SUCCESS);
    FailingPlatform failing;
    dropKeptConversions();
    failing.failFrom(1);
    EXPECT_EQ(conversion.convert(searched.data()), SUCCESS);
    EXPECT_TRUE(failing.injected());
    EXPECT_EQ(searched, row);
}

// A thread keeps its last four, and looks up in what a table of samples holds now.
TEST(Convert, ThreadsKeepTheirLastConversions) {
    std::vector<ReferenceColor> samples = sampleTable();
    const auto wasKept = [&](int32_t bits, bool memory) {
        FailingPlatform failing;
        if (!memory) failing.failFrom(1);
        Bytes row(16, 3), expected = row;
        const RowConversion c = {2, 16, bits, 2, bits > 8 ? 1 : 0, samples.data()};
        EXPECT_EQ(LibraryConversion(c).convert(row.data()), SUCCESS);
        referenceConvert(expected.data(), 2, 16, bits, 2, c.orderDst, samples.data(), nullptr, 0, -1, -1);
        EXPECT_EQ(row, expected) << bits;
        return !failing.injected();
    };
    const auto work = [] {
        uint8_t row[16] = {};
        for (const int32_t bits : {24, 8, 24, 8, 16, 4, 2, 24})
            EXPECT_EQ(T_ConvertBuffer(row, 2, 64, bits, 1, 1, nullptr, nullptr), SUCCESS);
    };
    std::thread beside(work);
    work();
    beside.join();
    for (const int32_t bits : {24, 32, 48, 64}) wasKept(bits, true);
    samples[0x0303].green ^= 0xFF;
    EXPECT_TRUE(wasKept(24, false));
    wasKept(1, true);
    for (const int32_t bits : {24, 1, 64, 48}) EXPECT_TRUE(wasKept(bits, false)) << bits;
    EXPECT_FALSE(wasKept(32, false)) << "the least recently used one went";
}

TEST(Convert, LinesRefuse) {
    FailingPlatform failing;
    T_HANDLE conversion = 0;
    const auto start = [&] { return T_StartConvert(&conversion, 24, 32, 1, 1, nullptr, nullptr, 0, -1, -1); };
    sweepFailures(failing, kAllFailures, start, [&](int32_t result, bool injected) {
        EXPECT_EQ(result, injected ? FAILURE : SUCCESS);
        EXPECT_EQ(T_StopConvert(conversion), injected ? ERROR_INVALID_PARAMETER : SUCCESS);
    });
    EXPECT_EQ(T_StartConvert(nullptr, 24, 32, 1, 1, nullptr, nullptr, 0, -1, -1), ERROR_INVALID_PARAMETER);
    ASSERT_EQ(start(), SUCCESS);
    Bytes bytes(1000, 0x5A);  // rows of 10 pixels: 30 and 40 bytes
    const struct {
        size_t from;
        int32_t fromStride;
        size_t to;
        int32_t toStride;
        int32_t width = 10, rows = 3;
        int32_t code = ERROR_INVALID_PARAMETER;
    } cases[] = {{0, 29, 500, 40},
                 {0, 30, 500, -39},
                 {0, INT32_MIN, 500, INT32_MIN},
                 {0, 30, 89, 40},
                 {100, 30, 219, -40},
                 {0, 39, 0, 39},
                 {0, 44, 0, 48},
                 {0, 30, 20, 0, 10, 1},
                 {0, 30, 500, 40, 0},
                 {0, 30, 500, 40, 10, 0},
                 {0, 30, 500, 40, INT32_MAX, 1},
                 {0, 30, 90, 40, 10, 3, SUCCESS},
                 {580, -30, 80, -40, 10, 3, SUCCESS},
                 {0, 1, 0, 2, 10, 1, SUCCESS}};
    for (const auto& c : cases) {
        const Bytes before = bytes;
        EXPECT_EQ(T_ConvertLines(conversion, &bytes[c.from], c.fromStride, &bytes[c.to], c.toStride, c.width, c.rows),
                  c.code)
            << &c - cases;
        EXPECT_EQ(bytes == before, c.code != SUCCESS) << &c - cases;
    }
    EXPECT_EQ(T_ConvertLines(conversion, nullptr, 30, &bytes[0], 40, 10, 1), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ConvertLines(conversion, &bytes[0], 30, nullptr, 40, 10, 1), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ConvertLines(0, &bytes[0], 30, &bytes[500], 40, 10, 1), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_StopConvert(conversion), SUCCESS);
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
