#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "bitmap/copy_fixture.h"
#include "bitmap/storage_cases.h"
#include "support/failing_platform.h"

namespace tnk::test {
namespace {

uint32_t kindOf(BitmapHandle& bitmap) {
    uint32_t kind = 0;
    T_GetBitmapMemoryInfo(&bitmap, &kind, nullptr, nullptr, nullptr, nullptr, nullptr);
    return kind;
}

bool isBare(const BitmapHandle& bitmap) {
    return (bitmap.Flags & BMF_ALLOCATED) == 0 && bitmap.Palette == nullptr && bitmap.pLUT == nullptr;
}

class CopyOfKind : public ::testing::TestWithParam<Kind> {};
INSTANTIATE_TEST_SUITE_P(Kinds, CopyOfKind, ::testing::ValuesIn(kAllKinds), kindName);

TEST_P(CopyOfKind, HasTheSameRows) {
    for (const int32_t bits : kAllDepths) {
        StoredBitmap source(GetParam(), 37, 70, bits);
        const Bytes rows = fillRandomly(source.record);
        BitmapHandle copy;
        ASSERT_EQ(T_CopyBitmap(&copy, &source.record, sizeof copy), SUCCESS);
        EXPECT_EQ(rowsOf(copy), rows) << bits;
        EXPECT_EQ(kindOf(copy), kindOf(source.record));
        EXPECT_EQ(source.record.CurrentRow, 69u);
        T_FreeBitmap(&copy);
        ASSERT_EQ(T_CopyBitmap2(&copy, &source.record, MEM_NOCONVENTIONAL, sizeof copy), SUCCESS);
        EXPECT_EQ(rowsOf(copy), rows) << bits;
        EXPECT_EQ(kindOf(copy), MEMKIND_DISK);
        T_FreeBitmap(&copy);
        for (const Kind kind : kAllKinds) {
            StoredBitmap target(kind, 37, 70, bits);
            EXPECT_EQ(T_CopyBitmapData(&target.record, &source.record), SUCCESS);
            EXPECT_EQ(rowsOf(target.record), rows) << bits << " to kind " << static_cast<int>(kind);
        }
        EXPECT_EQ(rowsOf(source.record), rows);
    }
}

// Rows wider than a band, and more of them than one holds.
TEST_P(CopyOfKind, MovesLargeBitmapsInBands) {
    for (const auto& [width, height] : {std::pair{90'000, 5}, {1200, 150}}) {
        StoredBitmap source(GetParam(), width, height, 32);
        const Bytes rows = fillRandomly(source.record);
        BitmapHandle copy;
        ASSERT_EQ(T_CopyBitmap(&copy, &source.record, sizeof copy), SUCCESS);
        EXPECT_EQ(rowsOf(copy) == rows, true) << width;
        T_FreeBitmap(&copy);
    }
}

class Copy : public ::testing::Test {
  protected:
    void makeSource(int32_t bits, uint32_t request = MEM_CONVENTIONAL, int32_t height = 12) {
        ASSERT_EQ(T_CreateBitmap(&source, sizeof source, request, 20, height, bits, ORDER_GRAY, nullptr, 6, nullptr, 0),
                  SUCCESS);
        if (bits > 8) {
            source.HighBit = 9;
            source.MaxVal = 1000;
            source.pLUT = T_CreateNewPalette(T_IntGetFixedPalette(4), 16);
            source.LUTLength = 16;
        }
        source.pByteMap[9] = 200;
        source.Flags |= BMF_BYTEMAP;
        source.ByteMapParam2 = 5;
        rows = fillRandomly(source);
    }
    void TearDown() override {
        T_FreeBitmap(&source);
        EXPECT_EQ(failing.live(), LiveObjects{});
    }

    FailingPlatform failing;
    BitmapHandle source{};
    BitmapHandle copy{};
    Bytes rows;
};

TEST_F(Copy, CarriesWhatHangsOnTheBitmap) {
    for (const int32_t bits : {8, 16}) {
        for (const bool byRequest : {false, true}) {
            makeSource(bits);
            ASSERT_EQ(byRequest ? T_CopyBitmap2(&copy, &source, MEM_CONVENTIONAL, sizeof copy)
                                : T_CopyBitmap(&copy, &source, sizeof copy),
                      SUCCESS);
            EXPECT_EQ(copy.Order, source.Order);
            EXPECT_EQ(copy.ViewPerspective, 6u);
            EXPECT_EQ(copy.pByteMap[9], byRequest ? 9 : 200) << "a request makes a new byte map";
            EXPECT_EQ(copy.Flags, byRequest ? source.Flags & ~BMF_BYTEMAP : source.Flags);
            if (bits == 8) {
                EXPECT_NE(copy.Palette, source.Palette);
                EXPECT_EQ(std::memcmp(copy.Palette, source.Palette, 1024), 0);
            } else {
                EXPECT_TRUE(copy.HighBit == 9 && copy.MaxVal == 1000);
                EXPECT_NE(copy.pLUT, source.pLUT);
                EXPECT_EQ(std::memcmp(copy.pLUT, source.pLUT, 64), 0);
            }
            T_FreeBitmap(&copy);
            T_FreeBitmap(&source);
        }
    }
}

TEST_F(Copy, ReportsRisingPercents) {
    for (const int32_t height : {1, 3, 50, 100, 101, 300, 977}) {
        makeSource(8, MEM_CONVENTIONAL, height);
        std::vector<int32_t> expected = {0};
        for (int32_t row = 1; row <= height; ++row) {
            if (100 * row / height > expected.back()) expected.push_back(100 * row / height);
        }
        CopyReports reports;
        EXPECT_EQ(T_CopyBitmap(&copy, &source, sizeof copy), SUCCESS);
        EXPECT_EQ(reports.percents, expected) << height;
        T_FreeBitmap(&copy);
        T_FreeBitmap(&source);
    }
}

TEST_F(Copy, StopsWhereTheCallbackSaysSo) {
    constexpr int32_t kHeight = 130;
    for (const uint32_t request : {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL}) {
        makeSource(8, request, kHeight);
        for (size_t stop = 0; stop <= 100; stop += 7) {
            CopyReports reports;
            reports.stopAt = stop;
            EXPECT_EQ(T_CopyBitmap(&copy, &source, sizeof copy), CopyReports::kStopped);
            EXPECT_TRUE(isBare(copy));

            reports.percents.clear();
            ASSERT_EQ(T_CreateBitmap(&copy, sizeof copy, request, 20, kHeight, 8, 0, nullptr, 0, nullptr, 0), SUCCESS);
            EXPECT_EQ(T_CopyBitmapData(&copy, &source), CopyReports::kStopped);
            // As many rows as the percentage takes, and no other.
            const size_t copied = (stop * kHeight + 99) / 100 * source.BytesPerLine;
            Bytes expected(rows.begin(), rows.begin() + static_cast<ptrdiff_t>(copied));
            expected.resize(rows.size());
            EXPECT_EQ(rowsOf(copy), expected) << stop;
            T_FreeBitmap(&copy);
        }
        T_FreeBitmap(&source);
    }
}

TEST_F(Copy, UndoesAFailure) {
    for (const uint32_t request : {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL}) {
        for (const int32_t bits : {8, 16}) {
            for (const bool byRequest : {false, true}) {
                makeSource(bits, request);
                const auto make = [&] {
                    return byRequest ? T_CopyBitmap2(&copy, &source, request, sizeof copy)
                                     : T_CopyBitmap(&copy, &source, sizeof copy);
                };
                // Without memory storage the copy goes to disk.
                const auto check = [&](int32_t result, bool) {
                    EXPECT_TRUE(result != SUCCESS || rowsOf(copy) == rows);
                    EXPECT_EQ(isBare(copy), result != SUCCESS);
                    EXPECT_EQ(rowsOf(source), rows);
                    T_FreeBitmap(&copy);
                };
                EXPECT_GE(sweepFailures(failing, kMemoryFailures | kFileFailures, make, check), 3);
                T_FreeBitmap(&source);
            }
        }
    }
}

TEST_F(Copy, RefusesRowsThatDoNotFit) {
    makeSource(8);
    for (const auto& [width, height] : {std::pair{24, 12}, {16, 12}, {20, 11}}) {
        StoredBitmap target(Kind::section, width, height, 8);
        EXPECT_EQ(T_CopyBitmapData(&target.record, &source), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(rowsOf(target.record), Bytes(target.record.Size)) << "untouched";
    }
    EXPECT_EQ(T_CopyBitmap2(&copy, &source, MEM_USER, sizeof copy), FAILURE) << "there is no memory to write to";
    EXPECT_EQ(T_CopyBitmap2(&copy, &source, 3, sizeof copy), ERROR_INVALID_PARAMETER);
    StoredBitmap taller(Kind::section, 20, 14, 8);
    EXPECT_EQ(T_CopyBitmapData(&taller.record, &source), SUCCESS);
    rows.resize(taller.record.Size);
    EXPECT_EQ(rowsOf(taller.record), rows);
}

TEST_F(Copy, StandsRecordsOfTheSamePixels) {
    for (const uint32_t request : {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL}) {
        makeSource(8, request);
        ASSERT_EQ(T_CopyBitmapHandle(&copy, &source, sizeof copy), SUCCESS);
        EXPECT_EQ(T_CopyBitmapData(&copy, &source), SUCCESS);
        EXPECT_EQ(T_CopyBitmap(&source, &source, 1), SUCCESS) << "nothing is to be done";
        EXPECT_EQ(T_CopyBitmapData(&source, &source), SUCCESS);
        EXPECT_EQ(rowsOf(source), rows);
        T_FreeBitmap(&source);
    }
}

}  // namespace
}  // namespace tnk::test
