// T_GetBitmapColorCountExt held against its plain form, and what is left of it when it is stopped.
#include <gtest/gtest.h>

#include "fuzz/resolution_properties.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

constexpr PaletteEntry kUntouched = {1, 2, 3, 4};

void expectCount(BitmapHandle& bitmap, const ReferenceRegion* region = nullptr) {
    const ReferencePicture plain = plainPicture(bitmap);
    SCOPED_TRACE(::testing::Message() << plain.format.bits << " bits, order " << plain.format.order << ", window "
                                      << plain.format.lowBit << " to " << plain.format.highBit);
    uint32_t count = 77;
    ASSERT_EQ(T_GetBitmapColorCountExt(&bitmap, &count, nullptr), SUCCESS);
    EXPECT_EQ(count, referenceColorCount(plain, std::nullopt, region).count);

    const uint32_t all = referenceColorCount(plain, UINT32_MAX, region).count;
    for (const uint32_t capacity : {0u, 1u, all - 1, all, all + 1}) {
        const ReferenceCount expected = referenceColorCount(plain, capacity, region);
        Palette colors(capacity + 1u, kUntouched);
        count = capacity;
        ASSERT_EQ(T_GetBitmapColorCountExt(&bitmap, &count, colors.data()), SUCCESS);
        EXPECT_EQ(count, expected.count) << capacity;
        std::vector<ReferenceColor> wanted = expected.colors;
        wanted.resize(colors.size(), *plainColors(&kUntouched));
        EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), plainColors(colors.data()))) << capacity;
    }
}

TEST(ColorCount, EqualsThePlainForm) {
    RandomNumbers random(351);
    for (int i = 0; i < 800; ++i) {
        SCOPED_TRACE(i);
        const Bytes bytes = random.bytes(60);
        Script script(bytes.data(), bytes.size());
        BitmapHandle bitmap{};
        ASSERT_TRUE(drawBitmap(script, bitmap, 70, 9));
        bitmap.Flags &= ~BMF_SIGNED;
        if (i % 2 == 0 && bitmap.BitsPerPixel <= 8) {  // entries of the same colour
            for (uint32_t k = 0; k < bitmap.ColorCount; ++k) {
                bitmap.Palette[k] = bitmap.Palette[random.below(k + 1)];
                bitmap.Palette[k].Reserved = static_cast<uint8_t>(k);
            }
        }
        expectCount(bitmap);
        T_FreeBitmap(&bitmap);
    }
}

// A region of a few segments in some rows, as a display module would tell of it.
struct RegionRoutines {
    using Segments = std::vector<std::pair<int32_t, int32_t>>;
    inline static BitmapRect bounds;
    inline static int failing;  // the word of the routine that refuses
    static constexpr int32_t kRefusal = -55;

    static Segments segmentsOf(int32_t row) {
        return row % 3 == 0 ? Segments{} : Segments{{0, 1}, {5, 5}, {7 + row / 4, 20}, {39, 40}};
    }
    static int32_t TNK_CALL tellBounds(BitmapHandle*, BitmapRect* out) {
        *out = bounds;
        return failing == DISPATCH_BOUNDS ? kRefusal : 1;
    }
    static int32_t TNK_CALL tellCount(BitmapHandle*, uint32_t* count) {
        *count = 8;
        return failing == DISPATCH_SEGMENT_COUNT ? kRefusal : 1;
    }
    static int32_t TNK_CALL tellSegments(BitmapHandle*, int32_t row, uint32_t* out, uint32_t* count) {
        const Segments segments = segmentsOf(row);
        *count = static_cast<uint32_t>(segments.size() * 2);
        if (*count != 0) std::memcpy(out, segments.data(), 4 * *count);
        return failing == DISPATCH_ROW_SEGMENTS ? kRefusal : 1;
    }

    RegionRoutines() {
        uintptr_t words[DISPATCH_WORDS] = {1};
        words[DISPATCH_BOUNDS] = reinterpret_cast<uintptr_t>(&tellBounds);
        words[DISPATCH_SEGMENT_COUNT] = reinterpret_cast<uintptr_t>(&tellCount);
        words[DISPATCH_ROW_SEGMENTS] = reinterpret_cast<uintptr_t>(&tellSegments);
        T_SetDisDispatch(words);
    }
    ~RegionRoutines() { T_ResetDisDispatch(); }
};

TEST(ColorCount, OnlyInsideTheRegion) {
    RandomNumbers random(354);
    const RegionRoutines routines;
    ReferenceRegion region;
    for (int32_t y = 4; y < 25; ++y) region.push_back({y, RegionRoutines::segmentsOf(y)});
    uint32_t count = 77;
    for (const Format format : kFormats) {
        StoredBitmap picture(Kind::section, 40, 30, format);
        fill(picture.record, random);
        if (format.bits == 32 && format.order == ORDER_GRAY) picture.record.LowBit = 12;
        RegionRoutines::bounds = {-3, 4, 44, 25};
        expectCount(picture.record);  // it has none
        picture.record.Region = 1;
        expectCount(picture.record, &region);
        RegionRoutines::bounds = {0, 60, 40, 90};  // wholly outside
        EXPECT_EQ(T_GetBitmapColorCountExt(&picture.record, &count, nullptr), SUCCESS);
        EXPECT_EQ(count, 0u);
        picture.record.Region = 0;
    }
    StoredBitmap picture(Kind::section, 40, 30, 24);
    picture.record.Region = 1;
    RegionRoutines::bounds = {0, 0, 40, 30};
    for (const int word : {DISPATCH_BOUNDS, DISPATCH_SEGMENT_COUNT, DISPATCH_ROW_SEGMENTS, 0}) {
        RegionRoutines::failing = word;
        EXPECT_EQ(T_GetBitmapColorCountExt(&picture.record, &count, nullptr),
                  word != 0 ? RegionRoutines::kRefusal : SUCCESS);
        EXPECT_EQ(count, word != 0 ? 0u : 1u) << word;
    }
    picture.record.Region = 0;
}

// An array that is filled early ends the scan, and is reported as done.
TEST(ColorCount, ReportsTheEndWhenTheArrayIsFull) {
    RandomNumbers random(355);
    StoredBitmap picture(Kind::section, 20, 7, {24, ORDER_BGR});
    fill(picture.record, random);
    const auto report = [](int32_t percent, void* user) TNK_CALL -> int32_t {
        static_cast<std::vector<int32_t>*>(user)->push_back(percent);
        return percent == 100 ? -74 : 1;
    };
    std::vector<int32_t> percents;
    Palette colors(21);
    uint32_t count = 21;  // in the second row
    T_SetStatusCallBack(report, &percents, nullptr, nullptr);
    EXPECT_EQ(T_GetBitmapColorCountExt(&picture.record, &count, colors.data()), -74);
    T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(percents, (std::vector<int32_t>{0, 14, 100}));
    EXPECT_EQ(count, 21u);
}

}  // namespace
}  // namespace tnk::test
