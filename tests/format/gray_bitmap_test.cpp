// Gray-scale conversion of whole bitmaps: rows, description, what is refused, and what a failure or a stop leaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "fuzz/resolution_properties.h"
#include "support/entry_rule_cases.h"
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

// What conversion row by row gives, whose indexes are gray levels where the target has 8 bits.
Bytes plainGray(BitmapHandle& b, int32_t bits, int32_t low, int32_t high) {
    const ReferencePicture picture = plainPicture(b);
    const ReferenceDitherSource& f = picture.format;
    Bytes expected;
    for (Bytes row : picture.rows) {
        row.resize(static_cast<size_t>(b.Width) * 8 + 8);
        EXPECT_EQ(referenceConvert(row.data(), b.Width, b.BitsPerPixel, bits == 8 ? 0 : bits, f.order, kOrderGray,
                                   f.palette, nullptr, f.order == kOrderGray ? kConvertSrcBitRange : 0, low, high),
                  kReferenceSuccess);
        expected.insert(expected.end(), row.begin(), row.begin() + (b.Width * bits + 7) / 8);
    }
    return expected;
}

TEST(GrayBitmap, EqualsConversionRowByRow) {
    RandomNumbers random(20);
    for (int i = 0; i < 700; ++i) {
        const Format format = kFormats[static_cast<size_t>(i) % std::size(kFormats)];
        const int32_t bits = i % 3 == 0 ? 8 : i % 3 == 1 ? 12 : 16, low = random.between(-1, format.bits / 2);
        const int32_t high = random.below(3) == 0 ? -1 : random.between(std::max(low, 0), format.bits - 1);
        SCOPED_TRACE(::testing::Message() << format.bits << " bits, order " << format.order << ", " << low << " to "
                                          << high << ", to " << bits);
        StoredBitmap stored(Kind::section, random.between(1, 20) * 2, 9, format);
        BitmapHandle& b = stored.record;
        if (format.bits <= 12 && i % 2 == 0) b.Order = random.below(6);
        // The window of the data counts as long as the other is not in force.
        const bool window = random.below(2) == 0;
        (window ? b.LowBit : b.DataLowBit) = low;
        (window ? b.HighBit : b.DataHighBit) = high;
        if (window) b.Flags |= BMF_WINDOW;
        b.ViewPerspective = 7;
        fill(b, random);
        if (T_IsGrayScaleBitmap(&b) != 0 && b.BitsPerPixel == bits) continue;
        const Bytes before = pixelsOf(b), expected = plainGray(b, bits, low, high);
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
        EXPECT_TRUE(hasRange(copy));
        T_FreeBitmap(&copy);
        const uint8_t* data = b.pData;
        EXPECT_EQ(T_GrayScaleBitmap(&b, bits), SUCCESS);
        EXPECT_EQ(b.pData, data) << "nothing was left to do";
        ASSERT_FALSE(HasFailure());
    }
}

TEST(GrayBitmap, RangeOfSignedSamples) {
    for (const int32_t bits : {12, 16, 32}) {
        StoredBitmap stored(Kind::section, 3, 2, {bits, ORDER_GRAY});
        BitmapHandle& b = stored.record;
        T_PutBitmapRow(&b, Bytes(12, 0xFF).data(), 1, static_cast<uint32_t>(3 * bits + 7) / 8);
        EXPECT_EQ(T_IntGetMinMaxValGray(&b, nullptr, &b.MinVal), ERROR_INVALID_PARAMETER);
        b.Flags |= BMF_SIGNED;
        EXPECT_EQ(T_IntGetMinMaxValGray(&b, &b.MinVal, &b.MaxVal), SUCCESS);
        EXPECT_TRUE(b.MinVal == -1 && b.MaxVal == 0) << bits;
    }
}

TEST(GrayValues, SignsAndTables) {
    Samples whole(16, std::vector<int16_t>{-32768, -1, 0, 32767}, BMF_SIGNED | BMF_WINDOW);
    EXPECT_EQ(T_GrayScaleBitmap(&whole.record, 8), SUCCESS);
    EXPECT_EQ(pixelsOf(whole.record), (Bytes{0, 127, 128, 255}));
    Samples below(16, std::vector<int16_t>{-1, 0x70}, BMF_SIGNED | BMF_WINDOW);
    below.record.HighBit = 7;
    EXPECT_EQ(T_GrayScaleBitmap(&below.record, 8), SUCCESS);
    EXPECT_EQ(pixelsOf(below.record), (Bytes{0xFF, 0x70}));
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
    RandomNumbers random(7);
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

TEST(GrayFailures, RefusalsChangeNothing) {
    const EntryCase entries[] = {
        {"in place", -13, -2, -789, [](BitmapHandle* b) { return T_GrayScaleBitmap(b, 12); }},
        {"apart", -13, -2, -789, [](BitmapHandle* b) { return T_CreateGrayScaleBitmap(b + 1, b, sizeof *b, 12); }},
        {"to 16", -13, -2, -789, T_Gray32To16},
        {"to 8", -13, -2, -789, T_Gray32To8},
        {"range", -2, -2, -789, [](BitmapHandle* b) { return T_IntGetMinMaxValGray(b, nullptr, nullptr); }},
    };
    checkEntryCases(entries);
    StoredBitmap stored(Kind::section, 9, 5, {32, ORDER_GRAY});
    BitmapHandle& b = stored.record;
    BitmapHandle copy{};
    const Bytes before = fillRandomly(b);
    const BitmapHandle record = b;
    for (const int32_t bits : {0, 1, 7, 24, 32}) {
        EXPECT_EQ(T_GrayScaleBitmap(&b, bits), ERROR_BPP_NOT_SUPPORTED);
        EXPECT_EQ(T_CreateGrayScaleBitmap(&copy, &b, sizeof b, bits), ERROR_BPP_NOT_SUPPORTED);
    }
    EXPECT_EQ(T_CreateGrayScaleBitmap(nullptr, &b, sizeof b, 8), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_CreateGrayScaleBitmap(&b, &b, sizeof b, 8), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_CreateGrayScaleBitmap(&copy, &b, sizeof b - 4, 8), ERROR_STRUCT_SIZE);
    EXPECT_EQ(std::memcmp(&record, &b, sizeof b), 0);
    EXPECT_EQ(rowsOf(b), before);
}

TEST(GrayFailures, SamplesThatCannotBeRead) {
    Samples samples(16, std::vector<uint16_t>{1, 2}, BMF_SIGNED), wide(32, std::vector<uint32_t>{1, 2}, BMF_WINDOW);
    EXPECT_EQ(T_GrayScaleBitmap(&samples.record, 8), ERROR_SIGNED_DATA);
    EXPECT_EQ(T_Gray32To16(&samples.record), ERROR_BPP_NOT_SUPPORTED);
    samples.record.Flags |= BMF_WINDOW;
    samples.record.LowBit = wide.record.LowBit = 9;  // an empty window
    samples.record.HighBit = wide.record.HighBit = 8;
    EXPECT_EQ(T_GrayScaleBitmap(&samples.record, 8), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_Gray32To16(&wide.record), ERROR_INVALID_PARAMETER);
    wide.record.Order = ORDER_BGR;
    EXPECT_EQ(T_Gray32To8(&wide.record), ERROR_BPP_NOT_SUPPORTED);
}

}  // namespace
}  // namespace tnk::test
