// Copies of bitmaps, whole and of rectangles: what goes with them, what the plain rule cuts out, what is refused.
#include <gtest/gtest.h>

#include <utility>

#include "support/failing_platform.h"
#include "support/picture.h"

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

// A region's handle tells how far it was moved.
int32_t regionResult = SUCCESS;
int32_t TNK_CALL copyRegionRoutine(BitmapHandle* destination, BitmapHandle*, int32_t dx, int32_t dy) {
    destination->Region = 1000 + 10 * dx + dy;
    return dx == 0 && dy == 0 ? SUCCESS : regionResult;
}

class Copy : public ::testing::TestWithParam<Kind> {
  protected:
    void SetUp() override {
        uintptr_t table[DISPATCH_WORDS] = {1};
        table[DISPATCH_COPY_REGION] = reinterpret_cast<uintptr_t>(copyRegionRoutine);
        T_SetDisDispatch(table);
    }
    void TearDown() override {
        T_ResetDisDispatch();
        T_FreeBitmap(&copy);
        EXPECT_EQ(failing.live(), LiveObjects{});
    }

    FailingPlatform failing;
    BitmapHandle copy{};
};
INSTANTIATE_TEST_SUITE_P(Kinds, Copy, ::testing::Values(Kind::section, Kind::disk), kindName);

// A source with all that a copy takes along.
struct Source : StoredBitmap {
    Source(Kind kind, Format format) : StoredBitmap(kind, 30, 20, format) {
        fillRandomly(record);
        record.ViewPerspective = 3;
        record.Region = 77;
        record.pByteMap[9] = 200;
        if (format.bits <= 8) return;
        record.Flags |= BMF_WINDOW;
        record.pLUT = T_CreateNewPalette(T_IntGetFixedPalette(4), record.LUTLength = 16);
    }
};

TEST_P(Copy, HasWhatHangsOnTheBitmap) {
    for (const Format format : {Format{4, ORDER_RGB}, {16, ORDER_GRAY}}) {
        Source source(GetParam(), format);
        for (const bool byRequest : {false, true}) {
            ASSERT_EQ(byRequest ? T_CopyBitmap2(&copy, &source.record, MEM_CONVENTIONAL, sizeof copy)
                                : T_CopyBitmap(&copy, &source.record, sizeof copy),
                      SUCCESS);
            EXPECT_EQ(copy.Region, 1000);
            EXPECT_EQ(copy.pByteMap[9], byRequest ? 9 : 200) << "storage by request has a new byte map";
            EXPECT_TRUE(copy.Palette != source.record.Palette || copy.pLUT != source.record.pLUT);
            copy.Region = 77;
            copy.pByteMap[9] = 200;
            EXPECT_EQ(contents(copy), contents(source.record));
            T_FreeBitmap(&copy);
        }
    }
}

TEST_P(Copy, StandsOddTargets) {
    Source source(GetParam(), {8, ORDER_RGB});
    BitmapHandle& b = source.record;
    const Bytes rows = rowsOf(b);
    for (const auto& [width, height] : {std::pair{34, 20}, {30, 19}, {26, 22}}) {
        for (const Kind kind : {Kind::section, Kind::disk}) {
            StoredBitmap target(kind, width, height, 8);
            Bytes expected(plainBytes(target.record));
            const bool fits = width == 26;
            for (size_t y = 0; fits && y < 20; ++y) std::copy_n(&rows[y * 32], 28, &expected[y * 28]);
            EXPECT_EQ(T_CopyBitmapData(&target.record, &b), fits ? SUCCESS : ERROR_INVALID_PARAMETER);
            EXPECT_TRUE(rowsOf(target.record) == expected) << width;
        }
    }
    EXPECT_EQ(T_CopyBitmap2(&copy, &b, MEM_USER, sizeof copy), FAILURE) << "there is no memory to write to";
    const Bytes before = contents(b);
    BitmapHandle same;
    ASSERT_EQ(T_CopyBitmapHandle(&same, &b, sizeof same), SUCCESS);
    EXPECT_EQ(T_CopyBitmapData(&same, &b), SUCCESS) << "the same pixels";
    EXPECT_EQ(T_CopyBitmapData(&b, &b), SUCCESS);
    EXPECT_EQ(T_CopyBitmap(&b, &b, 1), SUCCESS) << "nothing is to be done";
    EXPECT_EQ(contents(b), before);
}

TEST_P(Copy, TrimReplacesTheSourceByWhatLiesInside) {
    const std::pair<Rect, Rect> cases[] = {{{-3, -2, 10, 10}, {0, 0, 7, 8}}, {{28, 15, 90, INT32_MAX}, {28, 15, 2, 5}}};
    for (const auto& [r, left] : cases) {
        Source source(GetParam(), {4, ORDER_RGB});
        BitmapHandle& b = source.record;
        const Bytes expected = cutPlainly(b, rowsOf(b), left);
        if (left.left > 0) b.Region = 0;  // the routine is asked all the same
        EXPECT_EQ(T_TrimBitmap(&b, r.left, r.top, r.width, r.height), SUCCESS);
        EXPECT_TRUE(rowsOf(b) == expected);
        EXPECT_TRUE(b.ViewPerspective == 3 && b.Region == 1000 - 10 * left.left - left.top);
    }
    EXPECT_EQ(failing.deletedRegions(), 5) << "of each source, its result, and what that had before the move";
    Source source(GetParam(), {4, ORDER_RGB});
    BitmapHandle& b = source.record;
    const Bytes before = contents(b);
    for (const Rect& r :
         {Rect{30, 0, 5, 5}, {0, -9, 5, 9}, {3, 3, 0, 4}, {3, 3, 4, -1}, {INT32_MIN, 0, INT32_MIN, 4}}) {
        EXPECT_EQ(T_TrimBitmap(&b, r.left, r.top, r.width, r.height), ERROR_INVALID_SIZE);
    }
    EXPECT_EQ(T_CopyBitmapRect(&copy, &b, sizeof copy, 0, 0, -1, 4), ERROR_INVALID_SIZE);
    regionResult = -99;
    EXPECT_EQ(T_CopyBitmapRect(&copy, &b, sizeof copy, 3, -4, 8, 8), -99);
    EXPECT_TRUE(isBare(copy));
    regionResult = SUCCESS;
    EXPECT_EQ(contents(b), before);

    int32_t percent = 0;
    const auto note = [](int32_t reported, void* last) TNK_CALL -> int32_t {
        *static_cast<int32_t*>(last) = reported;
        return SUCCESS;
    };
    T_SetCopyStatusCallBack(note, &percent, nullptr, nullptr);
    EXPECT_EQ(T_CopyBitmapRect(&copy, &b, sizeof copy, 3, 15, 8, 10), SUCCESS);
    T_SetCopyStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(percent, 50) << "of the rows that were asked for";
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
