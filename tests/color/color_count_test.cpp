// T_GetBitmapColorCountExt held against its plain form, and what is left of it when it is stopped or fails.
#include <gtest/gtest.h>

#include "color/picture_fixture.h"
#include "support/entry_rule_cases.h"
#include "support/failing_platform.h"

namespace tnk::test {
namespace {

constexpr PaletteEntry kUntouched = {1, 2, 3, 4};

void expectCount(Picture& picture, const ReferenceRegion* region = nullptr) {
    const ReferencePicture plain = picture.reference();
    uint32_t count = 77;
    ASSERT_EQ(T_GetBitmapColorCountExt(&picture.record, &count, nullptr), SUCCESS);
    EXPECT_EQ(count, referenceColorCount(plain, std::nullopt, region).count);

    const uint32_t all = referenceColorCount(plain, UINT32_MAX, region).count;
    for (const uint32_t capacity : {0u, 1u, all - 1, all, all + 1}) {
        const ReferenceCount expected = referenceColorCount(plain, capacity, region);
        Palette colors(capacity + 1u, kUntouched);
        count = capacity;
        ASSERT_EQ(T_GetBitmapColorCountExt(&picture.record, &count, colors.data()), SUCCESS);
        EXPECT_EQ(count, expected.count) << capacity;
        std::vector<ReferenceColor> wanted = expected.colors;
        wanted.resize(colors.size(), *asReference(&kUntouched));
        EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), asReference(colors.data()))) << capacity;
    }
}

TEST(ColorCount, EqualsThePlainForm) {
    Random random(351);
    for (const PixelFormat format : kPixelFormats) {
        for (const Kind kind : kKinds) {
            SCOPED_TRACE(testing::Message()
                         << format.bits << " bits, order " << format.order << ", kind " << static_cast<int>(kind));
            Picture picture(random, format, kind, 1 + static_cast<int32_t>(below(random, 70)), 9,
                            1 + below(random, 40));
            expectCount(picture);
            // Entries of the same colour, and indexes without an entry.
            if (format.bits > 8) continue;
            BitmapHandle& record = picture.record;
            for (uint32_t i = 0; i < record.ColorCount; ++i) {
                record.Palette[i] = record.Palette[below(random, i + 1)];
                record.Palette[i].Reserved = static_cast<uint8_t>(i);
            }
            expectCount(picture);
            record.ColorCount = 1 + below(random, record.ColorCount);
            expectCount(picture);
        }
    }
}

TEST(ColorCount, GrayWindowsAndTables) {
    Random random(352);
    for (const auto& [bits, low, high] : {std::tuple{12, 0, 11},
                                          {12, 4, 11},
                                          {12, 3, 6},
                                          {16, 0, -1},
                                          {16, 2, 13},
                                          {16, 9, 9},
                                          {32, 8, 31},
                                          {32, 20, 24},
                                          {32, 0, 7},
                                          {32, 0, 24},
                                          {32, 0, 31}}) {
        for (const bool lut : {false, true}) {
            if (lut && (high < 0 || high - low > 16)) continue;
            SCOPED_TRACE(testing::Message() << bits << " bits, " << low << " to " << high << (lut ? ", table" : ""));
            Picture picture(random, {bits, ORDER_GRAY}, Kind::kNoise, 61, 20);
            picture.setWindow(random, low, high, lut);
            expectCount(picture);
        }
    }
}

// A record may say any order; gray samples are those of 12, 16 and 32 bits only.
TEST(ColorCount, OrdersThatTheDepthDoesNotHave) {
    Random random(358);
    for (const int32_t bits : {12, 16, 24, 32, 48, 64}) {
        Picture picture(random, {bits, bits == 12 ? ORDER_GRAY : ORDER_BGR}, Kind::kNoise, 20, 20);
        for (const uint32_t order : {ORDER_RGB, ORDER_GRAY, 3u, ORDER_MATRIX_RGB, UINT32_MAX}) {
            if (bits == 16 && order == ORDER_MATRIX_RGB) continue;  // either reading of its fields will do
            SCOPED_TRACE(testing::Message() << bits << " bits, order " << order);
            picture.record.Order = order;
            if (bits == 32) picture.setWindow(random, 8, 31, false);
            expectCount(picture);
        }
    }
}

TEST(ColorCount, EveryColorThatThereCanBe) {
    Random random(353);
    Picture picture(random, {16, ORDER_BGR}, Kind::kNoise, 256, 256);
    for (int32_t y = 0; y < 256; ++y) {
        std::vector<uint16_t> row(256);
        for (size_t x = 0; x < 256; ++x) row[x] = static_cast<uint16_t>(static_cast<size_t>(y) * 256 + x);
        T_PutBitmapRow(&picture.record, reinterpret_cast<const uint8_t*>(row.data()), y, 512);
    }
    uint32_t count = 0;
    EXPECT_EQ(T_GetBitmapColorCountExt(&picture.record, &count, nullptr), SUCCESS);
    EXPECT_EQ(count, 32768u);
    picture.record.Order = ORDER_GRAY;
    EXPECT_EQ(T_GetBitmapColorCountExt(&picture.record, &count, nullptr), SUCCESS);
    EXPECT_EQ(count, 65536u);
}

// A region of a few segments a row, as a display module would tell of it.
struct RegionRoutines {
    inline static ReferenceRegion region;
    inline static BitmapRect bounds;
    inline static int failing;  // the word of the routine that refuses
    static constexpr int32_t kRefusal = -55;

    static int32_t TNK_CALL tellBounds(BitmapHandle*, BitmapRect* out) {
        *out = bounds;
        return failing == DISPATCH_BOUNDS ? kRefusal : 1;
    }
    static int32_t TNK_CALL tellCount(BitmapHandle*, uint32_t* count) {
        for (const auto& [y, segments] : region) *count = std::max(*count, static_cast<uint32_t>(segments.size() * 2));
        return failing == DISPATCH_SEGMENT_COUNT ? kRefusal : 1;
    }
    static int32_t TNK_CALL tellSegments(BitmapHandle*, int32_t row, uint32_t* out, uint32_t* count) {
        *count = 0;
        for (const auto& [y, segments] : region) {
            if (y != row) continue;
            for (const auto& [first, end] : segments) {
                out[(*count)++] = static_cast<uint32_t>(first);
                out[(*count)++] = static_cast<uint32_t>(end);
            }
        }
        return failing == DISPATCH_ROW_SEGMENTS ? kRefusal : 1;
    }

    RegionRoutines() {
        failing = 0;
        uintptr_t words[DISPATCH_WORDS] = {1};
        words[DISPATCH_BOUNDS] = reinterpret_cast<uintptr_t>(&tellBounds);
        words[DISPATCH_SEGMENT_COUNT] = reinterpret_cast<uintptr_t>(&tellCount);
        words[DISPATCH_ROW_SEGMENTS] = reinterpret_cast<uintptr_t>(&tellSegments);
        T_SetDisDispatch(words);
    }
    ~RegionRoutines() { T_ResetDisDispatch(); }
    RegionRoutines(const RegionRoutines&) = delete;
    RegionRoutines& operator=(const RegionRoutines&) = delete;
};

TEST(ColorCount, OnlyInsideTheRegion) {
    Random random(354);
    RegionRoutines routines;
    for (const PixelFormat format : kPixelFormats) {
        if (format.bits == 32 && format.order == ORDER_GRAY) continue;
        SCOPED_TRACE(testing::Message() << format.bits << " bits, order " << format.order);
        Picture picture(random, format, Kind::kNoise, 40, 30);
        RegionRoutines::region.clear();
        for (int32_t y = 4; y < 25; y += 1 + static_cast<int32_t>(below(random, 3)))
            RegionRoutines::region.push_back({y, {{0, 1}, {5, 5}, {7 + y / 4, 20}, {39, 40}}});
        RegionRoutines::bounds = {-3, 4, 44, 25};
        expectCount(picture);  // it has none
        picture.record.Region = 1;
        expectCount(picture, &RegionRoutines::region);
    }
    Picture picture(random, {24, ORDER_BGR}, Kind::kNoise, 40, 30);
    picture.record.Region = 1;
    RegionRoutines::bounds = {0, 60, 40, 90};  // wholly outside
    uint32_t count = 77;
    EXPECT_EQ(T_GetBitmapColorCountExt(&picture.record, &count, nullptr), SUCCESS);
    EXPECT_EQ(count, 0u);
    RegionRoutines::bounds = {0, 0, 40, 30};
    for (const int word : {DISPATCH_BOUNDS, DISPATCH_SEGMENT_COUNT, DISPATCH_ROW_SEGMENTS}) {
        RegionRoutines::failing = word;
        EXPECT_EQ(T_GetBitmapColorCountExt(&picture.record, &count, nullptr), RegionRoutines::kRefusal);
        EXPECT_EQ(count, 0u) << word;
    }
}

TEST(ColorCount, ReportsAndStops) {
    struct Reports {
        std::vector<int32_t> percents;
        int32_t stopAt;
    };
    const auto report = [](int32_t percent, void* user) TNK_CALL -> int32_t {
        Reports& reports = *static_cast<Reports*>(user);
        reports.percents.push_back(percent);
        return percent == reports.stopAt ? -74 : 1;
    };
    Random random(355);
    Picture picture(random, {24, ORDER_BGR}, Kind::kNoise, 20, 7);
    Palette colors(21);
    const struct {
        uint32_t capacity;  // 0: no array
        std::vector<int32_t> percents;
    } cases[] = {{0, {0, 14, 28, 42, 57, 71, 85, 100}}, {21, {0, 14, 100}}};  // filled in the second row
    for (const auto& c : cases) {
        for (int32_t stopAt = -1; stopAt <= 100; ++stopAt) {
            Reports reports{{}, stopAt};
            T_SetStatusCallBack(report, &reports, nullptr, nullptr);
            uint32_t count = c.capacity;
            const int32_t result =
                T_GetBitmapColorCountExt(&picture.record, &count, c.capacity != 0 ? colors.data() : nullptr);
            T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
            const auto stopped = std::find(c.percents.begin(), c.percents.end(), stopAt);
            if (stopped == c.percents.end()) {
                EXPECT_EQ(result, SUCCESS);
                EXPECT_EQ(reports.percents, c.percents);
                EXPECT_EQ(count, c.capacity != 0 ? c.capacity + 1 : 140u);
            } else {
                EXPECT_EQ(result, -74) << stopAt;
                EXPECT_EQ(reports.percents, std::vector<int32_t>(c.percents.begin(), stopped + 1));
                EXPECT_EQ(count, c.capacity) << stopAt;
            }
        }
    }
}

TEST(ColorCount, FailuresLoseNothing) {
    Random random(356);
    FailingPlatform failing;
    for (const PixelFormat format : {PixelFormat{4, ORDER_RGB}, {24, ORDER_BGR}}) {
        Picture picture(random, format, Kind::kNoise, 30, 20, 5, MEM_NOCONVENTIONAL);
        uint32_t count = 77;
        const int failures = sweepFailures(
            failing, kAllFailures, [&] { return T_GetBitmapColorCountExt(&picture.record, &count, nullptr); },
            [&](int32_t result, bool injected) {
                EXPECT_EQ(result == SUCCESS, !injected);
                EXPECT_TRUE(!injected || count == 77) << count;
            });
        EXPECT_GT(failures, 3);
    }
}

TEST(EntryRules, ColorCount) {
    uint32_t count = 0;
    const EntryCase cases[] = {
        {"T_GetBitmapColorCountExt", ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE,
         [&](BitmapHandle* bitmap) { return T_GetBitmapColorCountExt(bitmap, &count, nullptr); }},
    };
    checkEntryCases(cases);
    Random random(357);
    Picture picture(random, {8, ORDER_RGB}, Kind::kNoise, 3, 3);
    picture.record.StructSize = 4;
    EXPECT_EQ(T_GetBitmapColorCountExt(&picture.record, nullptr, nullptr), ERROR_INVALID_PARAMETER) << "asked first";
    picture.record.StructSize = sizeof(BitmapHandle);
}

}  // namespace
}  // namespace tnk::test
