#include <gtest/gtest.h>

#include <cstring>

#include "bitmap/copy_fixture.h"

namespace tnk::test {
namespace {

using Copy = CopyTest;
INSTANTIATE_TEST_SUITE_P(Requests, Copy, ::testing::Values(MEM_CONVENTIONAL, MEM_NOCONVENTIONAL, MEM_COMPRESSED));

// With memory, and with each allocation and file call failing.
TEST_P(Copy, HasWhatHangsOnTheBitmapOrNothing) {
    for (const auto& [bits, byRequest] : {std::pair{8, false}, {1, true}, {16, false}, {16, true}}) {
        makeSource(bits, 12);
        if (bits > 8) source.pLUT = T_CreateNewPalette(T_IntGetFixedPalette(4), source.LUTLength = 16);
        source.pByteMap[9] = 200;
        const auto make = [&, request = byRequest] {
            return request ? T_CopyBitmap2(&copy, &source, GetParam(), sizeof copy)
                           : T_CopyBitmap(&copy, &source, sizeof copy);
        };
        const auto check = [&, request = byRequest](int32_t result, bool injected) {
            EXPECT_EQ(isBare(), result != SUCCESS);
            EXPECT_TRUE(rowsOf(source) == rows && (injected || result == SUCCESS));
            if (result != SUCCESS) return;  // a copy that gets no memory goes to disk
            EXPECT_TRUE(rowsOf(copy) == rows && copy.ViewPerspective == 3 && copy.Order == source.Order);
            EXPECT_EQ(copy.pByteMap[9], request ? 9 : 200) << "storage by request has a new byte map";
            EXPECT_TRUE(source.Palette == nullptr ||
                        std::memcmp(copy.Palette, source.Palette, 4 * source.ColorCount) == 0);
            EXPECT_TRUE(source.pLUT == nullptr || std::memcmp(copy.pLUT, source.pLUT, 64) == 0);
            EXPECT_TRUE(copy.Palette != source.Palette || copy.pLUT != source.pLUT);
            T_FreeBitmap(&copy);
        };
        EXPECT_GE(sweepFailures(failing, kMemoryFailures | kFileFailures, make, check), 3);
        T_FreeBitmap(&source);
    }
}

TEST_P(Copy, ReportsPercentsAndStopsAtAny) {
    for (const int32_t height : {1, 50, 100, 130, 300}) {
        makeSource(8, height);
        std::vector<int32_t> percents = {0};
        for (int32_t row = 1; row <= height; ++row) {
            if (100 * row / height > percents.back()) percents.push_back(100 * row / height);
        }
        for (size_t stop = 0; stop <= percents.size(); ++stop) {
            CopyReports reports(stop);
            ASSERT_EQ(T_CreateBitmap(&copy, sizeof copy, GetParam(), 30, height, 8, 0, nullptr, 0, nullptr, 0),
                      SUCCESS);
            const bool stops = stop < percents.size();
            EXPECT_EQ(T_CopyBitmapData(&copy, &source), stops ? CopyReports::kStopped : SUCCESS);
            EXPECT_TRUE(std::equal(reports.percents.begin(), reports.percents.end(), percents.begin()));
            // As many rows as the percentage takes, and no other.
            const auto percent = static_cast<size_t>(stops ? percents[stop] : 100);
            const size_t copied = (percent * static_cast<size_t>(height) + 99) / 100 * source.BytesPerLine;
            Bytes expected(rows.begin(), rows.begin() + static_cast<ptrdiff_t>(copied));
            expected.resize(rows.size());
            EXPECT_TRUE(rowsOf(copy) == expected) << stop;
            T_FreeBitmap(&copy);
            if (!stops) break;
            EXPECT_EQ(T_CopyBitmap(&copy, &source, sizeof copy), CopyReports::kStopped);
            EXPECT_TRUE(isBare());
        }
        T_FreeBitmap(&source);
    }
}

TEST_P(Copy, StandsOddTargets) {
    makeSource(8, 12);
    for (const auto& [width, height] : {std::pair{34, 12}, {30, 11}, {26, 14}}) {
        for (const Kind kind : {Kind::section, Kind::disk}) {
            StoredBitmap target(kind, width, height, 8);
            Bytes expected(plainBytes(target.record));
            const bool fits = width == 26;
            for (size_t y = 0; fits && y < 12; ++y) std::copy_n(&rows[y * 32], 28, &expected[y * 28]);
            EXPECT_EQ(T_CopyBitmapData(&target.record, &source), fits ? SUCCESS : ERROR_INVALID_PARAMETER);
            EXPECT_TRUE(rowsOf(target.record) == expected) << width;
        }
    }
    EXPECT_EQ(T_CopyBitmap2(&copy, &source, MEM_USER, sizeof copy), FAILURE) << "there is no memory to write to";
    ASSERT_EQ(T_CopyBitmapHandle(&copy, &source, sizeof copy), SUCCESS);
    EXPECT_EQ(T_CopyBitmapData(&copy, &source), SUCCESS) << "the same pixels";
    EXPECT_EQ(T_CopyBitmapData(&source, &source), SUCCESS);
    EXPECT_EQ(T_CopyBitmap(&source, &source, 1), SUCCESS) << "nothing is to be done";
    EXPECT_TRUE(rowsOf(source) == rows);
}

}  // namespace
}  // namespace tnk::test
