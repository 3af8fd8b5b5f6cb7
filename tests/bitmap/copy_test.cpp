// Copies of bitmaps, whole, of rectangles and of the record alone: what goes with them, what the plain rule cuts out, what is refused.
#include <gtest/gtest.h>

#include <cstring>
#include <utility>

#include "support/failing_platform.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

struct Rect {
    int32_t left, top, width, height;
};

std::vector<uint32_t> colorsOf(BitmapHandle& bitmap, const Rect& r) {
    std::vector<uint32_t> colors;
    for (int32_t i = 0; i < r.width * r.height; ++i) {
        colors.push_back(T_GetPixelColor(&bitmap, r.top + i / r.width, r.left + i % r.width));
    }
    return colors;
}

// A region's handle tells how far it was moved.
int32_t failingShift = INT32_MAX;
int32_t TNK_CALL copyRegionRoutine(BitmapHandle* destination, BitmapHandle*, int32_t dx, int32_t dy) {
    destination->Region = static_cast<T_HANDLE>(1000 + int64_t{10} * dx + dy);
    return dx == failingShift ? -99 : SUCCESS;
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
        failingShift = INT32_MAX;
    }
    int32_t duplicate(BitmapHandle& source, uint32_t what, int32_t bits) {
        return T_DupBitmapNewDim(&copy, &source, sizeof copy, 30, 40, bits, what);
    }

    static constexpr uint32_t kEverything = DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | DUP_OVERLAYS;
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

TEST_P(Copy, DuplicatesCarryTheAttributes) {
    Source stored(GetParam(), {16, ORDER_GRAY});
    BitmapHandle& source = stored.record;
    source.Flags |= BMF_SIGNED | 0x10000 | BMF_PLAYBACK_A | BMF_BYTEMAP;
    int32_t value = 2;
    for (int32_t* field : {&source.XResolution, &source.YResolution, &source.ByteMapParam2, &source.MinVal,
                           &source.MaxVal, &source.DataLowBit, &source.DataHighBit, &source.LowBit}) {
        *field = value++;
    }
    for (uint32_t* field : {&source.Reserved2, &source.PlaybackValue1, &source.PlaybackValue2, &source.PlaybackValue3,
                            &source.PlaybackMode, &source.PlaybackColor1}) {
        *field = static_cast<uint32_t>(value++);
    }
    source.PlaybackColor2 = COLOR_TAG_INDEX | 9;
    ASSERT_EQ(duplicate(source, kEverything, 16), SUCCESS);
    EXPECT_EQ(std::memcmp(copy.pByteMap, source.pByteMap, 256), 0);
    EXPECT_NE(copy.pLUT, source.pLUT);
    EXPECT_EQ(std::memcmp(copy.pLUT, source.pLUT, 64), 0);
    EXPECT_EQ(source.Region, 77);
    BitmapHandle expected = source;  // but for what a copy has of its own
    expected.Height = 40;
    expected.Size = 2400;
    expected.Region = 1000;
    expected.pData = copy.pData;
    expected.DataHandle = copy.DataHandle;
    expected.pByteMap = copy.pByteMap;
    expected.pLUT = copy.pLUT;
    expected.CurrentRow = expected.CurrentPos = expected.PlaybackColor2 = 0;  // no palette for the index
    EXPECT_EQ(std::memcmp(&copy, &expected, sizeof copy), 0);
    copy.Flags ^= BMF_PLAYBACK_A | BMF_PLAYBACK_B;
    copy.PlaybackColor2 = copy.PlaybackMode = 1;
    EXPECT_EQ(T_CopyPlaybackParms(&copy, &source), SUCCESS);
    EXPECT_EQ(std::memcmp(&copy, &expected, sizeof copy), 0);

    T_FreeBitmap(&copy);
    copy = source;
    ASSERT_EQ(T_CopyGrayParams(&copy, &source), SUCCESS);
    EXPECT_NE(copy.pLUT, source.pLUT) << "a table of its own";
    T_GlobalFree(copy.pLUT, 0, nullptr);

    source.Region = 0;
    ASSERT_EQ(duplicate(source, kEverything, 12), SUCCESS);
    EXPECT_TRUE(copy.Region == 1000 && source.Region == 0) << "the routine is asked also without a region";
    EXPECT_EQ(copy.HighBit, 11) << "another depth has its own window";
    T_FreeBitmap(&copy);
    failingShift = 0;
    EXPECT_EQ(duplicate(source, kEverything, 8), -99);
    EXPECT_EQ(copy.Flags & BMF_ALLOCATED, 0u);
    T_ResetDisDispatch();
    ASSERT_EQ(duplicate(source, kEverything, 8), SUCCESS);
    EXPECT_EQ(copy.Region, 0) << "no routine, no region";
}

TEST_P(Copy, DuplicatesShareWhatIsNotCopied) {
    Source stored(GetParam(), {8, ORDER_RGB});
    BitmapHandle& source = stored.record;
    ASSERT_EQ(duplicate(source, 0, 8), SUCCESS);
    EXPECT_EQ(copy.Flags, source.Flags & BMF_DISK) << "the kind is remembered without storage";
    EXPECT_TRUE(copy.Palette == source.Palette && copy.Region == 77);
    EXPECT_EQ(T_FreeDuplicateBitmap(&copy, 0), SUCCESS);
    EXPECT_TRUE(copy.Palette == nullptr && copy.Region == 0 && source.Palette != nullptr);

    ASSERT_EQ(duplicate(source, DUP_PALETTE | DUP_REGION, 8), SUCCESS);
    EXPECT_NE(copy.Palette, source.Palette);
    EXPECT_EQ(T_CompareBitmapToPalette(&copy, source.Palette, 256), 1);
    copy.pLUT = copy.Palette;
    EXPECT_EQ(T_FreeDuplicateBitmap(&copy, DUP_PALETTE | DUP_REGION), SUCCESS);
    EXPECT_NE(copy.pLUT, nullptr) << "nothing else is freed";
    EXPECT_EQ(failing.deletedRegions(), 1) << "the copy's";

    failing.failFrom(1, kModuleFailures);
    source.Flags |= BMF_SUPERCOMPRESSED;
    EXPECT_EQ(duplicate(source, kEverything, 8), ERROR_CODEC_MISSING) << "of the source's kind";
    source.Flags &= ~BMF_SUPERCOMPRESSED;
}

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
            EXPECT_TRUE(!fits || target.record.CurrentRow == 19) << "as if the rows had been put one by one";
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
        const std::vector<uint32_t> expected = colorsOf(b, left);
        if (left.left > 0) b.Region = 0;  // the routine is asked all the same
        EXPECT_EQ(T_TrimBitmap(&b, r.left, r.top, r.width, r.height), SUCCESS);
        EXPECT_TRUE(b.Width == left.width && b.Height == left.height);
        EXPECT_EQ(colorsOf(b, {0, 0, left.width, left.height}), expected);
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
    EXPECT_EQ(T_CopyBitmapRect(&copy, &b, sizeof copy, INT32_MIN, INT32_MAX, 9, 9), SUCCESS);
    EXPECT_EQ(rowsOf(copy), Bytes(9 * 8)) << "nothing in common";
    T_FreeBitmap(&copy);
    failingShift = -3;
    EXPECT_EQ(T_CopyBitmapRect(&copy, &b, sizeof copy, 3, -4, 8, 8), -99);
    EXPECT_TRUE(isBare(copy));
    failingShift = INT32_MAX;
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
