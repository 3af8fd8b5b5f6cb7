#include <gtest/gtest.h>

#include "bitmap/copy_fixture.h"

namespace tnk::test {
namespace {

struct Rect {
    int32_t left, top, width, height;
};

// The rule, bit by bit.
Bytes cutPlainly(const BitmapHandle& source, const Bytes& rows, const Rect& r) {
    const int64_t bits = source.BitsPerPixel;
    const auto maskOf = [&](int64_t bit) { return bits == 12 ? 1 << bit % 8 : 0x80 >> bit % 8; };
    const int64_t stride = (r.width * bits + 31) / 32 * 4;
    Bytes out(static_cast<size_t>(stride * r.height));
    for (int64_t y = 0; y < r.height; ++y) {
        for (int64_t bit = 0; bit < r.width * bits; ++bit) {
            const int64_t from = bit + r.left * bits, fromY = y + r.top;
            if (from < 0 || from >= source.Width * bits || fromY < 0 || fromY >= source.Height) continue;
            const uint8_t byte = rows[static_cast<size_t>(fromY * source.BytesPerLine + from / 8)];
            if ((byte & maskOf(from)) == 0) continue;
            out[static_cast<size_t>(y * stride + bit / 8)] |= static_cast<uint8_t>(maskOf(bit));
        }
    }
    return out;
}

TEST(CopyRect, EqualsThePlainRule) {
    for (const int32_t bits : kAllDepths) {
        StoredBitmap source(Kind::section, 261, 9, bits);
        const Bytes rows = fillRandomly(source.record);
        std::vector<Rect> cases = {{0, 0, 261, 9}, {260, 8, 5, 5}, {261, 0, 3, 3}, {INT32_MIN, INT32_MAX, 9, 9}};
        for (const int32_t left : {-9, -4, -1, 0, 1, 2, 3, 4, 5, 6, 7}) {
            for (const int32_t width : {1, 17, 190, 280}) cases.push_back({left, left % 4, width, 5});
        }
        for (const Rect& r : cases) {
            const uint32_t memory = r.width == 17 ? MEM_NOCONVENTIONAL : MEM_CONVENTIONAL;
            BitmapHandle copy;
            ASSERT_EQ(T_CopyBitmapRect2(&copy, &source.record, sizeof copy, r.left, r.top, r.width, r.height, memory),
                      SUCCESS);
            EXPECT_TRUE(rowsOf(copy) == cutPlainly(source.record, rows, r)) << bits << ": " << r.left << ' ' << r.width;
            T_FreeBitmap(&copy);
        }
    }
}

int32_t regionResult = SUCCESS;

// A region's handle tells how far it was moved.
int32_t TNK_CALL copyRegionRoutine(BitmapHandle* destination, BitmapHandle*, int32_t dx, int32_t dy) {
    destination->Region = 1000 + 10 * dx + dy;
    return dx == 0 && dy == 0 ? SUCCESS : regionResult;
}

class Trim : public CopyTest {
  protected:
    void SetUp() override {
        uintptr_t table[DISPATCH_WORDS] = {1};
        table[DISPATCH_COPY_REGION] = reinterpret_cast<uintptr_t>(copyRegionRoutine);
        T_SetDisDispatch(table);
        renewSource();
    }
    void TearDown() override {
        T_ResetDisDispatch();
        CopyTest::TearDown();
    }
    void renewSource() {
        T_FreeBitmap(&source);
        makeSource(4, 20);
        source.Region = 77;
    }
    void expectUnharmed() {
        EXPECT_TRUE(rowsOf(source) == rows);
        EXPECT_TRUE(source.Width == 30 && source.Region == 77 && source.Palette != nullptr);
    }
};
INSTANTIATE_TEST_SUITE_P(Requests, Trim, ::testing::Values(MEM_CONVENTIONAL, MEM_NOCONVENTIONAL));

TEST_P(Trim, ReplacesTheSourceByWhatLiesInside) {
    const std::pair<Rect, Rect> cases[] = {{{-3, -2, 10, 10}, {0, 0, 7, 8}}, {{28, 15, 90, INT32_MAX}, {28, 15, 2, 5}}};
    for (const auto& [r, left] : cases) {
        const Bytes expected = cutPlainly(source, rows, left);
        if (left.left > 0) source.Region = 0;  // the routine is asked all the same
        EXPECT_EQ(T_TrimBitmap(&source, r.left, r.top, r.width, r.height), SUCCESS);
        EXPECT_TRUE(rowsOf(source) == expected);
        EXPECT_TRUE(source.ViewPerspective == 3 && source.Region == 1000 - 10 * left.left - left.top);
        renewSource();
    }
    EXPECT_EQ(failing.deletedRegions(), 5) << "of each source, its result, and what that had before the move";
    for (const Rect& r :
         {Rect{30, 0, 5, 5}, {0, -9, 5, 9}, {3, 3, 0, 4}, {3, 3, 4, -1}, {INT32_MIN, 0, INT32_MIN, 4}}) {
        EXPECT_EQ(T_TrimBitmap(&source, r.left, r.top, r.width, r.height), ERROR_INVALID_SIZE);
    }
    EXPECT_EQ(T_CopyBitmapRect(&copy, &source, sizeof copy, 0, 0, -1, 4), ERROR_INVALID_SIZE);
    regionResult = -99;
    EXPECT_EQ(T_CopyBitmapRect(&copy, &source, sizeof copy, 3, -4, 8, 8), -99);
    EXPECT_TRUE(isBare());
    regionResult = SUCCESS;
    expectUnharmed();
}

TEST_P(Trim, LeavesTheSourceAfterAFailure) {
    for (size_t stop = 0; stop <= 5; ++stop) {
        CopyReports reports(stop);
        EXPECT_EQ(T_CopyBitmapRect(nullptr, &source, sizeof source, 3, 15, 8, 10), CopyReports::kStopped);
        EXPECT_EQ(reports.percents.back(), static_cast<int32_t>(stop) * 10) << "of the rows that were asked for";
        expectUnharmed();
        reports.percents.clear();
        EXPECT_EQ(T_CopyBitmapRect2(&copy, &source, sizeof copy, 3, 15, 8, 10, GetParam()), CopyReports::kStopped);
        Bytes expected = cutPlainly(source, rows, {3, 15, 8, 10});
        std::fill(expected.begin() + static_cast<ptrdiff_t>(stop * copy.BytesPerLine), expected.end(), uint8_t{0});
        EXPECT_TRUE(rowsOf(copy) == expected) << "the rows so far";
        T_FreeBitmap(&copy);
    }
    for (BitmapHandle* target : {&source, &copy}) {
        Bytes expected;
        const auto cut = [&] {
            expected = cutPlainly(source, rows, {3, 3, 8, 10});
            return T_CopyBitmapRect(target, &source, sizeof source, 3, 3, 8, 10);
        };
        const auto check = [&](int32_t result, bool) {
            EXPECT_EQ(isBare(), result != SUCCESS || target == &source);
            if (result != SUCCESS) return expectUnharmed();
            EXPECT_TRUE(rowsOf(*target) == expected);  // a copy that gets no memory goes to disk
            target == &source ? renewSource() : T_FreeBitmap(&copy);
        };
        EXPECT_GE(sweepFailures(failing, kMemoryFailures | kFileFailures, cut, check), 3);
    }
}

// A byte past such a row can be past the end of a 32-bit address space.
TEST(CopyRect, TakesTheEndOfTheWidestRow) {
    constexpr int32_t kWidth = INT32_MAX - 63;
    StoredBitmap source(Kind::section, kWidth, 1, 1);
    ASSERT_EQ(T_PutPixelColor(&source.record, 0, kWidth - 2, 0x01000001), SUCCESS);
    BitmapHandle copy;
    ASSERT_EQ(T_CopyBitmapRect(&copy, &source.record, sizeof copy, kWidth - 9, 0, 9, 1), SUCCESS);
    EXPECT_EQ(rowsOf(copy), (Bytes{1, 0, 0, 0}));
    T_FreeBitmap(&copy);
}

}  // namespace
}  // namespace tnk::test
