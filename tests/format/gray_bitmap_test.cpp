// Gray-scale conversion of whole bitmaps: rows, description, what is refused, and what a failure or a stop leaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "support/entry_rule_cases.h"
#include "support/failing_platform.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

// The rows without their padding.
Bytes pixelsOf(BitmapHandle& b) {
    const Bytes rows = rowsOf(b);
    const auto used = (b.Width * b.BitsPerPixel + 7) / 8;
    Bytes all;
    for (auto row = rows.begin(); row != rows.end(); row += b.BytesPerLine) all.insert(all.end(), row, row + used);
    return all;
}

void fill(BitmapHandle& b) {
    fillRandomly(b);
    if (b.BitsPerPixel <= 8) T_CreateBitmapFixedPalette(&b);
}

// One bitmap of `samples`, taken as the depth has them.
struct Samples : StoredBitmap {
    template <typename T>
    Samples(int32_t bits, const std::vector<T>& samples, uint32_t flags)
        : StoredBitmap(Kind::section, static_cast<int32_t>(samples.size()), 1, bits) {
        record.Order = ORDER_GRAY;
        record.Flags |= flags;
        std::memcpy(record.pData, samples.data(), samples.size() * sizeof(T));
    }
};

struct Source {
    int32_t bits;
    uint32_t order;
    int32_t low = 0, high = -1;
};
constexpr Source kSources[] = {{1, 0},  {3, 0},  {8, 0},         {12, 2},    {12, 2, 3, 8},
                               {16, 1}, {16, 2}, {16, 2, 2, 13}, {32, 2, 5}, {32, 2, 6, 11},
                               {24, 0}, {24, 5}, {32, 1},        {48, 1},    {64, 0}};

TEST(GrayBitmap, EqualsConversionRowByRow) {
    for (const Source& from : kSources) {
        for (const int32_t bits : {8, 12, 16}) {
            SCOPED_TRACE(::testing::Message() << from.bits << " bits, order " << from.order << ", to " << bits);
            StoredBitmap stored(Kind::section, 20, 9, from.bits);
            BitmapHandle& b = stored.record;
            b.Order = from.order;
            // The window of the data counts as long as the other is not in force.
            const bool window = bits == 16;
            (window ? b.LowBit : b.DataLowBit) = from.low;
            (window ? b.HighBit : b.DataHighBit) = from.high;
            if (window) b.Flags |= BMF_WINDOW;
            b.ViewPerspective = 7;
            fill(b);
            const uint32_t flags = from.order == 2 ? CONVERT_SRC_BIT_RANGE : 0;
            const Bytes before = pixelsOf(b);
            const auto used = static_cast<ptrdiff_t>(before.size() / 9);
            Bytes expected;
            for (auto at = before.begin(); at != before.end(); at += used) {
                Bytes row(at, at + used);
                row.resize(20 * 8);
                ASSERT_EQ(T_ConvertBufferExt(row.data(), 20, from.bits, bits == 8 ? 0 : bits, b.Order, ORDER_GRAY,
                                             b.Palette, nullptr, flags, from.low, from.high),
                          SUCCESS);
                expected.insert(expected.end(), row.begin(), row.begin() + (20 * bits + 7) / 8);
            }
            BitmapHandle copy;
            ASSERT_EQ(T_CreateGrayScaleBitmap(&copy, &b, sizeof copy, bits), SUCCESS);
            EXPECT_EQ(pixelsOf(b), before);
            ASSERT_EQ(T_GrayScaleBitmap(&b, bits), SUCCESS);
            for (BitmapHandle* made : {&copy, &b}) {
                EXPECT_EQ(pixelsOf(*made), expected);
                EXPECT_EQ(T_IsGrayScaleBitmap(made), GRAYSCALE_NORMAL);
                EXPECT_TRUE(made->BitsPerPixel == bits && made->Order == (bits == 8 ? ORDER_RGB : ORDER_GRAY));
                EXPECT_TRUE(made->ColorCount == (bits == 8 ? 256 : 0) && made->ViewPerspective == 7);
            }
            int32_t least, greatest;
            EXPECT_EQ(T_IntGetMinMaxValGray(&copy, &least, &greatest), SUCCESS);
            EXPECT_TRUE(copy.MinVal == least && copy.MaxVal == greatest && (bits == 8) == (greatest == 0));
            T_FreeBitmap(&copy);
            const uint8_t* data = b.pData;
            EXPECT_EQ(T_GrayScaleBitmap(&b, bits), SUCCESS);
            EXPECT_EQ(b.pData, data) << "nothing was left to do";
        }
    }
}

TEST(GrayBitmap, RangeOfSamples) {
    for (const int32_t bits : {12, 16, 32}) {
        StoredBitmap stored(Kind::section, 3, 2, bits);
        BitmapHandle& b = stored.record;
        b.Order = ORDER_GRAY;
        const Bytes row(12, 0xFF);
        const auto used = static_cast<uint32_t>(3 * bits + 7) / 8;
        T_PutBitmapRow(&b, row.data(), 1, used);
        for (const uint32_t sign : {0u, BMF_SIGNED}) {
            b.Flags |= sign;
            int32_t least = 9, greatest = 9;
            EXPECT_EQ(T_IntGetMinMaxValGray(&b, &least, &greatest), SUCCESS);
            EXPECT_EQ(least, sign ? -1 : 0) << bits;
            EXPECT_EQ(greatest, sign ? 0 : bits == 32 ? -1 : (1 << bits) - 1) << "as stored in 32 bits";
        }
    }
}

TEST(GrayValues, SignsAndTables) {
    Samples whole(16, std::vector<int16_t>{-32768, -1, 0, 32767}, BMF_SIGNED | BMF_WINDOW);
    EXPECT_EQ(T_GrayScaleBitmap(&whole.record, 8), SUCCESS);
    EXPECT_EQ(pixelsOf(whole.record), (Bytes{0, 127, 128, 255}));
    Samples below(16, std::vector<int16_t>{-1, 0x70, 0x0F, 0x80}, BMF_SIGNED | BMF_WINDOW);
    below.record.HighBit = 7;
    EXPECT_EQ(T_GrayScaleBitmap(&below.record, 8), SUCCESS);
    EXPECT_EQ(pixelsOf(below.record), (Bytes{0xFF, 0x70, 0x0F, 0x80}));
    Samples pair(12, std::vector<uint8_t>{0x00, 0xF8, 0x7F}, BMF_SIGNED | BMF_WINDOW);  // -2048, 2047
    EXPECT_EQ(T_GrayScaleBitmap(&pair.record, 16), SUCCESS);
    EXPECT_EQ(pixelsOf(pair.record), (Bytes{0, 0, 255, 255, 7, 128})) << "and 0 from the padding";
    for (const auto convert :
         {+[](BitmapHandle* b) { return T_GrayScaleBitmap(b, 8); }, +[](BitmapHandle* b) { return T_Gray32To8(b); }}) {
        Samples looked(32, std::vector<uint32_t>{0x40, 0xFF}, BMF_WINDOW);
        looked.record.LowBit = looked.record.HighBit = 6;
        looked.record.pLUT = T_CreateFixedPalette(1);
        looked.record.pLUT[0] = {0, 0, 100, 0};
        looked.record.LUTLength = 3;
        EXPECT_EQ(convert(&looked.record), ERROR_LUT_LENGTH);
        looked.record.LUTLength = 2;
        looked.record.pLUT[1] = {80, 0, 0, 0};
        EXPECT_EQ(convert(&looked.record), SUCCESS);
        EXPECT_EQ(pixelsOf(looked.record), (Bytes{10, 10}));
    }
}

TEST(GrayValues, WideSamplesAreScaledAndRounded) {
    std::mt19937 random(7);
    for (int32_t i = 0; i < 400; ++i) {
        const bool sign = i % 2 != 0, window = i % 3 == 0, to16 = i % 5 < 3;
        std::vector<uint32_t> samples(50);
        for (uint32_t& sample : samples) sample = static_cast<uint32_t>(static_cast<int32_t>(random()) >> i % 31);
        Samples source(32, samples, (sign ? BMF_SIGNED : 0) | (window ? BMF_WINDOW : 0));
        source.record.LowBit = i % 20;
        source.record.HighBit = 31 - i % 7;
        std::vector<uint64_t> values(samples.begin(), samples.end());
        for (uint64_t& value : values) {
            if (sign && (!window || i % 7 == 0)) value ^= 0x80000000;
            if (window) value = value % (uint64_t{1} << (32 - i % 7)) >> i % 20;
        }
        const auto [lowest, highest] = std::minmax_element(values.begin(), values.end());
        const uint64_t least = window ? 0 : *lowest;
        const uint64_t range = (window ? (uint64_t{1} << (32 - i % 7 - i % 20)) - 1 : *highest) - least;
        Bytes expected;
        for (const uint64_t value : values) {
            const uint64_t level = range == 0 ? 0 : ((value - least) * (to16 ? 65535 : 255) * 2 + range) / (2 * range);
            expected.push_back(static_cast<uint8_t>(level));
            if (to16) expected.push_back(static_cast<uint8_t>(level >> 8));
        }
        ASSERT_EQ(to16 ? T_Gray32To16(&source.record) : T_Gray32To8(&source.record), SUCCESS);
        ASSERT_EQ(pixelsOf(source.record), expected) << i;
        ASSERT_EQ(source.record.Flags & (BMF_SIGNED | BMF_WINDOW), 0u);
    }
}

TEST(GrayFailures, LoseNothing) {
    const EntryCase entries[] = {
        {"in place", -13, -2, -789, [](BitmapHandle* b) { return T_GrayScaleBitmap(b, 12); }},
        {"apart", -13, -2, -789, [](BitmapHandle* b) { return T_CreateGrayScaleBitmap(b + 1, b, sizeof *b, 12); }},
        {"to 16", -13, -2, -789, T_Gray32To16},
        {"to 8", -13, -2, -789, T_Gray32To8},
        {"range", -2, -2, -789, [](BitmapHandle* b) { return T_IntGetMinMaxValGray(b, nullptr, nullptr); }},
    };
    checkEntryCases(entries);
    FailingPlatform failing;
    BitmapHandle b, copy;
    for (const uint32_t memory : {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL}) {
        ASSERT_EQ(T_CreateBitmap(&b, sizeof b, memory, 9, 5, 32, ORDER_GRAY, nullptr, 1, nullptr, 0), SUCCESS);
        fill(b);
        const BitmapHandle record = b;
        const Bytes before = pixelsOf(b);
        const auto expectKept = [&](int32_t code, bool known) {
            EXPECT_TRUE(known) << code;
            EXPECT_EQ(std::memcmp(&record, &b, sizeof b), 0);
            EXPECT_EQ(pixelsOf(b), before);
            b = record;  // reading rows notes them
        };
        b.CurrentRow = record.CurrentRow;
        b.CurrentPos = record.CurrentPos;
        for (const int32_t bits : {0, 1, 7, 24, 32}) expectKept(bits, T_GrayScaleBitmap(&b, bits) == -27);
        EXPECT_EQ(T_CreateGrayScaleBitmap(&b, &b, sizeof b, 8), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(T_CreateGrayScaleBitmap(&copy, &b, sizeof b - 4, 8), ERROR_STRUCT_SIZE);
        const auto stop = [](int32_t percent, void* limit)
                              TNK_CALL -> int32_t { return percent < *static_cast<int32_t*>(limit) ? 1 : -74; };
        for (int32_t limit : {0, 40, 100}) {
            T_SetStatusCallBack(stop, &limit, nullptr, nullptr);
            for (const auto convert : {T_Gray32To16, T_Gray32To8}) expectKept(limit, convert(&b) == -74);
            expectKept(limit, T_GrayScaleBitmap(&b, 8) == -74);
            T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
        }
        sweepFailures(
            failing, kAllFailures, [&] { return T_CreateGrayScaleBitmap(&copy, &b, sizeof b, 8); },
            [&](int32_t code, bool injected) {
                expectKept(code, injected || code == SUCCESS);
                EXPECT_EQ(copy.BitsPerPixel, code == SUCCESS ? 8 : 0);
                T_FreeBitmap(&copy);
            });
        // In place a success replaces the source, which ends the sweep.
        for (int k = 1, code = 0; code != SUCCESS; ++k) {
            const LiveObjects live = failing.live();
            failing.failAt(k);
            code = T_Gray32To16(&b);
            failing.stopFailing();
            if (code == SUCCESS) break;
            expectKept(code, failing.injected());
            EXPECT_EQ(failing.live(), live) << k;
        }
        EXPECT_EQ(b.BitsPerPixel, 16);
        T_FreeBitmap(&b);
    }
    EXPECT_EQ(failing.live(), LiveObjects{});
}

TEST(GrayFailures, SamplesThatCannotBeRead) {
    Samples samples(16, std::vector<uint16_t>{1, 2}, BMF_SIGNED);
    EXPECT_EQ(T_GrayScaleBitmap(&samples.record, 8), ERROR_SIGNED_DATA);
    EXPECT_EQ(T_Gray32To16(&samples.record), ERROR_BPP_NOT_SUPPORTED);
    samples.record.Flags |= BMF_WINDOW;
    samples.record.LowBit = 9;
    samples.record.HighBit = 8;
    EXPECT_EQ(T_GrayScaleBitmap(&samples.record, 8), ERROR_INVALID_PARAMETER) << "empty window";
    Samples wide(32, std::vector<uint32_t>{1, 2}, BMF_WINDOW);
    wide.record.LowBit = 9;
    wide.record.HighBit = 8;
    EXPECT_EQ(T_Gray32To16(&wide.record), ERROR_INVALID_PARAMETER);
    wide.record.Order = ORDER_BGR;
    EXPECT_EQ(T_Gray32To8(&wide.record), ERROR_BPP_NOT_SUPPORTED);
}

}  // namespace
}  // namespace tnk::test
