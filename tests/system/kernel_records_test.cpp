// The version record, animation values, the dispatch table and the memory blocks for callers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "support/failing_platform.h"
#include "system/dispatch.h"

namespace tnk::test {
namespace {

TEST(Version, FillsTheWholeRecord) {
    VersionRecord record;
    std::memset(&record, 0xEE, sizeof record);
    EXPECT_EQ(T_VersionInfo(nullptr, sizeof record), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_VersionInfo(&record, sizeof record - 1), ERROR_STRUCT_SIZE);
    EXPECT_EQ(record.Size, 0xEEEEEEEEu) << "untouched";

    ASSERT_EQ(T_VersionInfo(&record, 108), SUCCESS);
    EXPECT_EQ(record.Size, 108u);
    EXPECT_EQ(record.Level, 2u);
    EXPECT_EQ(record.MajorVersion, 15u);
    EXPECT_EQ(record.MinorVersion, 0u);
    const std::string name = record.ProductName;
    EXPECT_EQ(name.substr(0, 7), "Tarnkit");
    EXPECT_EQ(name.substr(name.size() - 10), " for Win32");
#ifndef _WIN32
    EXPECT_EQ(name.substr(7, 2), "\xC2\xAE");
#endif
    const auto zeroFrom = [](const auto& text) {
        const size_t used = std::strlen(text);
        return std::all_of(text + used, text + sizeof text, [](char c) { return c == 0; });
    };
    EXPECT_TRUE(zeroFrom(record.ProductName));
    EXPECT_STREQ(record.BuildDate, "Jun 11 2010");
    EXPECT_TRUE(zeroFrom(record.BuildDate));
    EXPECT_STREQ(record.BuildTime, "12:52:03");
    EXPECT_TRUE(zeroFrom(record.BuildTime));
}

TEST(PlaybackParms, CopyFlagsValuesAndTranslatedColours) {
    PaletteEntry palette[256] = {};
    palette[9] = {30, 20, 10, 0};
    BitmapHandle source;
    BitmapHandle destination;
    ASSERT_EQ(T_InitBitmap(&source, sizeof source, 4, 4, 8), SUCCESS);
    ASSERT_EQ(T_InitBitmap(&destination, sizeof destination, 4, 4, 24), SUCCESS);
    source.Palette = palette;
    source.Flags = BMF_PLAYBACK_B | BMF_WINDOW;
    source.PlaybackValue1 = 1;
    source.PlaybackValue2 = 2;
    source.PlaybackValue3 = 3;
    source.PlaybackMode = 4;
    source.PlaybackColor1 = COLOR_TAG_INDEX | 9;
    source.PlaybackColor2 = 0x112233;
    destination.Flags = BMF_PLAYBACK_A | BMF_BYTEMAP;
    EXPECT_EQ(T_CopyPlaybackParms(&destination, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_CopyPlaybackParms(nullptr, &source), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_CopyPlaybackParms(&destination, &source), SUCCESS);
    EXPECT_EQ(destination.Flags, BMF_PLAYBACK_B | BMF_BYTEMAP);
    EXPECT_EQ(destination.PlaybackValue1, 1u);
    EXPECT_EQ(destination.PlaybackValue2, 2u);
    EXPECT_EQ(destination.PlaybackValue3, 3u);
    EXPECT_EQ(destination.PlaybackMode, 4u);
    EXPECT_EQ(destination.PlaybackColor1, 0x1E140Au);
    EXPECT_EQ(destination.PlaybackColor2, 0x112233u);
}

struct RegionCall {
    BitmapHandle* destination = nullptr;
    BitmapHandle* source = nullptr;
    int32_t dx = 0;
    int32_t dy = 0;
    T_HANDLE attach = 0;
    int32_t result = SUCCESS;
} regionCall;

int32_t TNK_CALL copyRegionRoutine(BitmapHandle* destination, BitmapHandle* source, int32_t dx, int32_t dy) {
    regionCall.destination = destination;
    regionCall.source = source;
    regionCall.dx = dx;
    regionCall.dy = dy;
    destination->Region = regionCall.attach;
    return regionCall.result;
}

TEST(Dispatch, StoresTheTable) {
    uintptr_t table[DISPATCH_WORDS];
    uintptr_t read[DISPATCH_WORDS] = {};
    EXPECT_EQ(T_SetDisDispatch(nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_GetDisDispatch(nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_GetDisDispatch(read), ERROR_NOT_INITIALIZED);
    std::iota(table, table + DISPATCH_WORDS, 0u);
    EXPECT_EQ(T_SetDisDispatch(table), SUCCESS);
    EXPECT_EQ(T_GetDisDispatch(read), ERROR_NOT_INITIALIZED) << "the first word tells";
    EXPECT_EQ(read[1], 0u);
    table[0] = UINTPTR_MAX;
    EXPECT_EQ(T_SetDisDispatch(table), SUCCESS);
    EXPECT_EQ(T_GetDisDispatch(read), SUCCESS);
    EXPECT_TRUE(std::equal(table, table + DISPATCH_WORDS, read));
    EXPECT_EQ(T_ResetDisDispatch(), SUCCESS);
    EXPECT_EQ(T_GetDisDispatch(read), ERROR_NOT_INITIALIZED);
}

TEST(Dispatch, CopiesRegionsThroughTheRoutine) {
    BitmapHandle source{};
    BitmapHandle destination{};
    source.Region = 11;
    destination.Region = 22;
    EXPECT_EQ(copyRegion(destination, source, 3, 4), Result(SUCCESS));
    EXPECT_EQ(destination.Region, 0) << "no routine, no region";
    EXPECT_EQ(source.Region, 11);

    uintptr_t table[DISPATCH_WORDS] = {};
    table[DISPATCH_COPY_REGION] = reinterpret_cast<uintptr_t>(&copyRegionRoutine);
    T_SetDisDispatch(table);
    regionCall = {};
    regionCall.attach = 33;
    EXPECT_EQ(copyRegion(destination, source, 3, -4), Result(SUCCESS));
    EXPECT_EQ(regionCall.destination, &source);
    EXPECT_EQ(regionCall.source, &source);
    EXPECT_EQ(regionCall.dx, 3);
    EXPECT_EQ(regionCall.dy, -4);
    EXPECT_EQ(destination.Region, 33);
    EXPECT_EQ(source.Region, 11);

    regionCall.result = -99;
    EXPECT_EQ(copyRegion(destination, source, 0, 0), Result(-99));
    EXPECT_EQ(destination.Region, 0);
    EXPECT_EQ(source.Region, 11);
    T_ResetDisDispatch();
}

TEST(Dispatch, DeletesRegions) {
    FailingPlatform counting;
    EXPECT_EQ(T_DeleteTarnRgn(0), SUCCESS);
    EXPECT_EQ(counting.deletedRegions(), 0);
    EXPECT_EQ(T_DeleteTarnRgn(7), SUCCESS);
    EXPECT_EQ(counting.deletedRegions(), 1);
}

TEST(MovableBlocks, AreZeroGrowAndStayWhereTheyAreLocked) {
    const T_HANDLE block = T_OsAllocHandle(10, 0, nullptr);
    ASSERT_NE(block, 0);
    auto* bytes = static_cast<uint8_t*>(T_OsLockHandle(block));
    ASSERT_NE(bytes, nullptr);
    for (int i = 0; i < 10; ++i) EXPECT_EQ(bytes[i], 0);
    std::memset(bytes, 0x77, 10);
    EXPECT_EQ(T_OsReAllocHandle(block, 100'000, 0, nullptr), 0) << "its address is in use";
    EXPECT_EQ(T_OsUnlockHandle(block), SUCCESS);

    T_HANDLE moved = T_OsReAllocHandle(block, 100'000, 0, nullptr);
    ASSERT_NE(moved, 0);
    EXPECT_GE(T_OsSizeHandle(moved), 100'000u);
    bytes = static_cast<uint8_t*>(T_OsLockHandle(moved));
    for (int i = 0; i < 10; ++i) EXPECT_EQ(bytes[i], 0x77);
    for (int i = 16; i < 100'000; ++i) ASSERT_EQ(bytes[i], 0);
    T_OsUnlockHandle(moved);

    moved = T_OsReAllocHandle(moved, 0, 0, nullptr);
    ASSERT_NE(moved, 0) << "an empty block is still one";
    moved = T_OsReAllocHandle(moved, 50, 0, nullptr);
    ASSERT_NE(moved, 0);
    bytes = static_cast<uint8_t*>(T_OsLockHandle(moved));
    for (int i = 0; i < 50; ++i) EXPECT_EQ(bytes[i], 0) << "what was cut does not come back";
    T_OsUnlockHandle(moved);
    EXPECT_EQ(T_OsFreeHandle(moved, 0, nullptr), SUCCESS);

    EXPECT_EQ(T_OsReAllocHandle(0, 10, 0, nullptr), 0);
    EXPECT_EQ(T_OsLockHandle(0), nullptr);
    EXPECT_EQ(T_OsUnlockHandle(0), SUCCESS);
    EXPECT_EQ(T_OsSizeHandle(0), 0u);
    EXPECT_EQ(T_OsFreeHandle(0, 0, nullptr), SUCCESS);
    EXPECT_EQ(T_GlobalFree(nullptr, 0, nullptr), SUCCESS);
}

TEST(MovableBlocks, FailuresLeaveThemAlone) {
    FailingPlatform failing;
    failing.failAt(2, kMovableFailures);
    const T_HANDLE block = T_OsAllocHandle(10, 0, nullptr);
    EXPECT_EQ(T_OsReAllocHandle(block, 20, 0, nullptr), 0);
    EXPECT_EQ(T_OsLockHandle(block) != nullptr, true);
    T_OsUnlockHandle(block);
    EXPECT_EQ(failing.live(), (LiveObjects{.movable = 1}));
    T_OsFreeHandle(block, 0, nullptr);
    EXPECT_EQ(failing.live(), LiveObjects{});
}

}  // namespace
}  // namespace tnk::test
