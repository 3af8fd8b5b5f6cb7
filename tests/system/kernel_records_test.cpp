// The version record, animation values and the dispatch table.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string>

#include "support/failing_platform.h"
#include "tnkrn.h"

namespace tnk::test {
namespace {

TEST(Version, FillsTheWholeRecord) {
    VersionRecord record;
    std::memset(&record, 0xEE, sizeof record);
    EXPECT_EQ(T_VersionInfo(nullptr, sizeof record), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_VersionInfo(&record, sizeof record - 1), ERROR_STRUCT_SIZE);
    EXPECT_EQ(record.Size, 0xEEEEEEEEu) << "untouched";

    ASSERT_EQ(T_VersionInfo(&record, 108), SUCCESS);
    const std::string name = record.ProductName;
    EXPECT_EQ(name.substr(0, 7), "Tarnkit");
    EXPECT_EQ(name.substr(name.size() - 10), " for Win32");
#ifndef _WIN32
    EXPECT_EQ(name.substr(7, 2), "\xC2\xAE");
#endif
    VersionRecord expected{};
    expected.Size = 108;
    expected.Level = 2;
    expected.MajorVersion = 15;
    name.copy(expected.ProductName, name.size());
    std::strcpy(expected.BuildDate, "Jun 11 2010");
    std::strcpy(expected.BuildTime, "12:52:03");
    EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0);
}

TEST(PlaybackParms, CopyFlagsValuesAndTranslatedColours) {
    PaletteEntry palette[256] = {};
    palette[9] = {30, 20, 10, 0};
    BitmapHandle source;
    ASSERT_EQ(T_InitBitmap(&source, sizeof source, 4, 4, 24), SUCCESS);
    BitmapHandle destination = source;
    source.Palette = palette;
    source.PlaybackValue1 = 1;
    source.PlaybackValue2 = 2;
    source.PlaybackValue3 = 3;
    source.PlaybackMode = 4;
    source.PlaybackColor1 = COLOR_TAG_INDEX | 9;
    source.PlaybackColor2 = 0x112233;
    BitmapHandle expected = source;
    expected.Palette = nullptr;
    expected.PlaybackColor1 = 0x1E140A;
    expected.Flags = BMF_PLAYBACK_B | BMF_BYTEMAP;
    source.BitsPerPixel = 8;
    source.ColorCount = 256;
    source.Flags = BMF_PLAYBACK_B | BMF_WINDOW;
    destination.Flags = BMF_PLAYBACK_A | BMF_BYTEMAP;
    EXPECT_EQ(T_CopyPlaybackParms(&destination, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_CopyPlaybackParms(nullptr, &source), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_CopyPlaybackParms(&destination, &source), SUCCESS);
    EXPECT_EQ(std::memcmp(&destination, &expected, sizeof expected), 0);
}

TEST(Dispatch, StoresTheTableAndDeletesRegions) {
    uintptr_t table[DISPATCH_WORDS];
    uintptr_t read[DISPATCH_WORDS] = {};
    EXPECT_EQ(T_SetDisDispatch(nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_GetDisDispatch(nullptr), ERROR_INVALID_PARAMETER);
    std::iota(table, table + DISPATCH_WORDS, 1u);
    for (const bool stored : {true, false}) {
        EXPECT_EQ(T_SetDisDispatch(table), SUCCESS);
        EXPECT_EQ(T_GetDisDispatch(read), stored ? SUCCESS : ERROR_NOT_INITIALIZED) << "the first word tells";
        EXPECT_EQ(std::equal(table, table + DISPATCH_WORDS, read), stored);
        table[0] = 0;
    }
    EXPECT_EQ(T_ResetDisDispatch(), SUCCESS);
    EXPECT_EQ(T_GetDisDispatch(read), ERROR_NOT_INITIALIZED);
    FailingPlatform counting;
    EXPECT_EQ(T_DeleteTarnRgn(0), SUCCESS);
    EXPECT_EQ(counting.deletedRegions(), 0);
    EXPECT_EQ(T_DeleteTarnRgn(7), SUCCESS);
    EXPECT_EQ(counting.deletedRegions(), 1);
}

}  // namespace
}  // namespace tnk::test
