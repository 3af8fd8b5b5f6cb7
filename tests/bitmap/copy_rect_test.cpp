#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "bitmap/bit_run.h"
#include "bitmap/copy_fixture.h"
#include "bitmap/storage_cases.h"
#include "support/failing_platform.h"

namespace tnk::test {
namespace {

struct Rect {
    int32_t left, top, width, height;
};

bool bitOf(const Bytes& bytes, size_t bit, bool lowFirst) {
    return (bytes[bit / 8] >> (lowFirst ? bit % 8 : 7 - bit % 8) & 1) != 0;
}

// The rule, bit by bit.
Bytes cutPlainly(const BitmapHandle& source, const Bytes& rows, const Rect& rect) {
    const auto bits = static_cast<size_t>(source.BitsPerPixel);
    const bool lowFirst = bits == 12;
    const size_t stride = (static_cast<size_t>(rect.width) * bits + 31) / 32 * 4;
    Bytes out(stride * static_cast<size_t>(rect.height));
    for (int32_t y = 0; y < rect.height; ++y) {
        for (int32_t x = 0; x < rect.width; ++x) {
            const int64_t fromX = int64_t{x} + rect.left, fromY = int64_t{y} + rect.top;
            if (fromX < 0 || fromX >= source.Width || fromY < 0 || fromY >= source.Height) continue;
            for (size_t bit = 0; bit < bits; ++bit) {
                const size_t from =
                    static_cast<size_t>(fromY) * source.BytesPerLine * 8 + static_cast<size_t>(fromX) * bits + bit;
                const size_t to = static_cast<size_t>(y) * stride * 8 + static_cast<size_t>(x) * bits + bit;
                const int set = bitOf(rows, from, lowFirst) ? 1 : 0;
                out[to / 8] |= static_cast<uint8_t>(set << (lowFirst ? to % 8 : 7 - to % 8));
            }
        }
    }
    return out;
}

class RectOfKind : public ::testing::TestWithParam<Kind> {};
INSTANTIATE_TEST_SUITE_P(Kinds, RectOfKind, ::testing::ValuesIn(kAllKinds), kindName);

TEST_P(RectOfKind, EqualsThePlainRule) {
    for (const int32_t bits : kAllDepths) {
        StoredBitmap source(GetParam(), 61, 9, bits);
        const Bytes rows = fillRandomly(source.record);
        const auto check = [&](const Rect& r, uint32_t request) {
            SCOPED_TRACE(::testing::Message()
                         << bits << " bits from " << r.left << "," << r.top << " " << r.width << "x" << r.height);
            BitmapHandle copy;
            ASSERT_EQ(
                request == 0
                    ? T_CopyBitmapRect(&copy, &source.record, sizeof copy, r.left, r.top, r.width, r.height)
                    : T_CopyBitmapRect2(&copy, &source.record, sizeof copy, r.left, r.top, r.width, r.height, request),
                SUCCESS);
            EXPECT_EQ(rowsOf(copy), cutPlainly(source.record, rows, r));
            T_FreeBitmap(&copy);
        };
        for (const int32_t left : {-9, -4, -1, 0, 1, 2, 3, 5, 6, 7}) {
            for (const int32_t width : {1, 17, 80}) check({left, left % 4, width, 6}, 0);
            check({left, 1, 40, 3}, MEM_NOCONVENTIONAL);
        }
        for (const Rect& r :
             {Rect{0, 0, 61, 9}, {60, 8, 5, 5}, {61, 0, 3, 3}, {0, -7, 4, 7}, {INT32_MIN, INT32_MAX, 9, 9}}) {
            check(r, 0);
        }
        EXPECT_EQ(rowsOf(source.record), rows);
    }
}

// Long runs with every pair of phases, against a plain copy of each bit; nothing beside the run is touched.
TEST(BitRun, EqualsThePlainRule) {
    Bytes from(40);
    for (size_t i = 0; i < from.size(); ++i) from[i] = static_cast<uint8_t>(i * 151 + 77);
    for (const bool lowFirst : {false, true}) {
        for (uint32_t phases = 0; phases < 64; ++phases) {
            const uint32_t toPhase = phases / 8, fromPhase = phases % 8;
            for (size_t bits = 1; bits < 300; bits += 1 + bits / 20) {
                const size_t inBytes = (fromPhase + bits + 7) / 8, outBytes = (toPhase + bits + 7) / 8;
                const Bytes exact(from.begin(), from.begin() + static_cast<ptrdiff_t>(inBytes));
                Bytes out(outBytes + 1, 0xEE), expected(outBytes);
                moveBits(out.data(), toPhase, exact.data(), fromPhase, bits, lowFirst);
                for (size_t i = 0; i < bits; ++i) {
                    const size_t to = toPhase + i;
                    const int set = bitOf(from, fromPhase + i, lowFirst) ? 1 : 0;
                    expected[to / 8] |= static_cast<uint8_t>(set << (lowFirst ? to % 8 : 7 - to % 8));
                }
                expected.push_back(0xEE);
                ASSERT_EQ(out, expected) << fromPhase << " to " << toPhase << ", " << bits << " bits";
            }
        }
    }
}

T_HANDLE newRegion = 0;
int32_t regionResult = SUCCESS;
int32_t regionX = 0, regionY = 0;

int32_t TNK_CALL copyRegionRoutine(BitmapHandle* destination, BitmapHandle*, int32_t dx, int32_t dy) {
    destination->Region = ++newRegion;
    regionX = dx;
    regionY = dy;
    return dx == 0 && dy == 0 ? SUCCESS : regionResult;
}

class CopyRect : public ::testing::Test {
  protected:
    void SetUp() override {
        uintptr_t table[DISPATCH_WORDS] = {1};
        table[DISPATCH_COPY_REGION] = reinterpret_cast<uintptr_t>(copyRegionRoutine);
        ASSERT_EQ(T_SetDisDispatch(table), SUCCESS);
        regionResult = SUCCESS;
        newRegion = 88;
    }
    void makeSource(uint32_t request, int32_t bits = 4) {
        ASSERT_EQ(T_CreateBitmap(&source, sizeof source, request, 30, 20, bits, ORDER_GRAY, nullptr, 3, nullptr, 0),
                  SUCCESS);
        if (bits > 8) {
            source.HighBit = 9;
            source.pLUT = T_CreateNewPalette(T_IntGetFixedPalette(4), 16);
            source.LUTLength = 16;
        }
        source.Region = 77;
        rows = fillRandomly(source);
    }
    void TearDown() override {
        T_FreeBitmap(&source);
        T_ResetDisDispatch();
        EXPECT_EQ(failing.live(), LiveObjects{});
    }

    FailingPlatform failing;
    BitmapHandle source{};
    BitmapHandle copy{};
    Bytes rows;
};

TEST_F(CopyRect, CarriesAttributesAndMovesTheRegion) {
    for (const uint32_t request : {0u, MEM_NOTILES}) {
        makeSource(MEM_CONVENTIONAL, 16);
        ASSERT_EQ(request == 0 ? T_CopyBitmapRect(&copy, &source, sizeof copy, 3, -4, 8, 8)
                               : T_CopyBitmapRect2(&copy, &source, sizeof copy, 3, -4, 8, 8, request),
                  SUCCESS);
        EXPECT_TRUE(copy.Order == ORDER_GRAY && copy.HighBit == 9 && copy.LUTLength == 16 && copy.pLUT != source.pLUT);
        EXPECT_TRUE(regionX == -3 && regionY == 4);
        EXPECT_EQ(copy.Region, newRegion);
        EXPECT_EQ(source.Region, 77);
        T_FreeBitmap(&copy);
        regionResult = -99;
        EXPECT_EQ(T_CopyBitmapRect(&copy, &source, sizeof copy, 3, -4, 8, 8), -99);
        EXPECT_TRUE(copy.Flags == 0 && copy.Region == 0 && source.Region == 77);
        regionResult = SUCCESS;
        T_FreeBitmap(&source);
    }
    EXPECT_EQ(failing.deletedRegions(), 8) << "two of each source and copy, and what copies had before the move";
}

TEST_F(CopyRect, ReplacesTheSourceInPlace) {
    const Rect r{5, 2, 12, 9};
    for (const bool null : {true, false}) {
        makeSource(MEM_NOCONVENTIONAL);
        const Bytes expected = cutPlainly(source, rows, r);
        ASSERT_EQ(T_CopyBitmapRect(null ? nullptr : &source, &source, sizeof source, r.left, r.top, r.width, r.height),
                  SUCCESS);
        EXPECT_TRUE(source.Width == 12 && source.Height == 9 && source.Palette != nullptr &&
                    source.ViewPerspective == 3);
        EXPECT_EQ(rowsOf(source), expected);
        T_FreeBitmap(&source);
    }
}

TEST_F(CopyRect, TrimsToWhatLiesInside) {
    struct {
        Rect wanted, left;
    } const cases[] = {
        {{-3, -2, 10, 10}, {0, 0, 7, 8}}, {{28, 15, 90, INT32_MAX}, {28, 15, 2, 5}}, {{0, 0, 30, 20}, {0, 0, 30, 20}}};
    for (const auto& [r, left] : cases) {
        makeSource(MEM_CONVENTIONAL);
        const Bytes expected = cutPlainly(source, rows, left);
        EXPECT_EQ(T_TrimBitmap(&source, r.left, r.top, r.width, r.height), SUCCESS);
        EXPECT_EQ(rowsOf(source), expected);
        T_FreeBitmap(&source);
    }
    makeSource(MEM_CONVENTIONAL);
    const BitmapHandle before = source;
    for (const Rect& r :
         {Rect{30, 0, 5, 5}, {31, 0, 5, 5}, {0, -9, 5, 9}, {3, 3, 0, 4}, {3, 3, 4, -1}, {INT32_MIN, 0, INT32_MIN, 4}}) {
        EXPECT_EQ(T_TrimBitmap(&source, r.left, r.top, r.width, r.height), ERROR_INVALID_SIZE);
        EXPECT_EQ(T_CopyBitmapRect(&copy, &source, sizeof copy, r.left, r.top, -1, 4), ERROR_INVALID_SIZE);
        EXPECT_EQ(std::memcmp(&source, &before, sizeof source), 0);
    }
    EXPECT_EQ(rowsOf(source), rows);
}

TEST_F(CopyRect, CountsTheRowsThatWereAskedFor) {
    makeSource(MEM_CONVENTIONAL);
    CopyReports reports;
    ASSERT_EQ(T_CopyBitmapRect(&copy, &source, sizeof copy, 0, 15, 3, 10), SUCCESS);
    EXPECT_EQ(reports.percents, (std::vector<int32_t>{0, 10, 20, 30, 40, 50}));
    T_FreeBitmap(&copy);
}

// A copy that is stopped, or fails anywhere, leaves the bitmap that it was to replace as it was.
TEST_F(CopyRect, LeavesTheSourceAfterAFailure) {
    for (const uint32_t request : {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL}) {
        makeSource(request);
        const auto expectUnharmed = [&](const BitmapHandle& before) {
            EXPECT_EQ(rowsOf(source), rows);
            EXPECT_TRUE(source.Width == 30 && source.Region == 77 && source.Palette == before.Palette &&
                        source.pData == before.pData);
        };
        BitmapHandle before = source;
        for (size_t stop = 0; stop <= 10; ++stop) {
            CopyReports reports;
            reports.stopAt = stop;
            EXPECT_EQ(T_CopyBitmapRect(nullptr, &source, sizeof source, 3, 3, 8, 10), CopyReports::kStopped);
            expectUnharmed(before);
            EXPECT_EQ(T_CopyBitmapRect2(&copy, &source, sizeof source, 3, 3, 8, 10, MEM_NOCONVENTIONAL),
                      CopyReports::kStopped);
            EXPECT_EQ(copy.Flags & BMF_ALLOCATED, 0u);
        }
        const auto trim = [&] { return T_TrimBitmap(&source, 3, 3, 8, 10); };
        const auto check = [&](int32_t result, bool injected) {
            if (result != SUCCESS) return expectUnharmed(before);
            EXPECT_EQ(source.Width, 8);
            // Without memory storage the copy goes to disk: back to the first source for the next run.
            if (!injected) return;
            T_FreeBitmap(&source);
            makeSource(request);
            before = source;
        };
        EXPECT_GE(sweepFailures(failing, kMemoryFailures | kFileFailures, trim, check), 3);
        T_FreeBitmap(&source);
    }
}

}  // namespace
}  // namespace tnk::test
