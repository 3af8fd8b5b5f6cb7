// Every allocation, file call and palette call that T_ColorResBitmap makes fails once: the result is one of the promised
// codes and the source is as it was, or the operation got around the failure and the rows are right.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/failing_platform.h"
#include "tnkrn.h"

namespace tnk::test {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes pixelsOf(BitmapHandle& bitmap) {
    Bytes pixels(bitmap.Size);
    for (int32_t y = 0; y < bitmap.Height; ++y) {
        uint8_t* row = &pixels[bitmap.BytesPerLine * static_cast<size_t>(y)];
        EXPECT_EQ(T_GetBitmapRow(&bitmap, row, y, bitmap.BytesPerLine), static_cast<int32_t>(bitmap.BytesPerLine));
    }
    return pixels;
}

struct Case {
    const char* name;
    uint32_t memory;
    int32_t bits;
    uint32_t flags;
    bool inPlace;
    bool fromHandle;
};

class ColorResolutionFailure : public testing::TestWithParam<Case> {};

TEST_P(ColorResolutionFailure, LosesNothing) {
    const Case& c = GetParam();
    FailingPlatform failing;
    BitmapHandle source;
    ASSERT_EQ(T_CreateBitmap(&source, sizeof source, c.memory, 37, 40, 24, ORDER_BGR, nullptr, 1, nullptr, 0), SUCCESS);
    for (int32_t y = 0; y < source.Height; ++y) {
        Bytes row(source.BytesPerLine, static_cast<uint8_t>(y * 6));
        for (size_t x = 0; x < row.size(); x += 2) row[x] = static_cast<uint8_t>(x);
        T_PutBitmapRow(&source, row.data(), y, source.BytesPerLine);
    }
    const Bytes before = pixelsOf(source);
    const T_HANDLE handle = c.fromHandle ? T_CreatePalette(T_IntGetNetscapePalette(), 200) : 0;

    const auto run = [&](BitmapHandle* destination) {
        return T_ColorResBitmap(&source, destination, sizeof source, c.bits, c.flags, nullptr, handle, 0, nullptr,
                                nullptr);
    };
    BitmapHandle good;
    ASSERT_EQ(run(&good), SUCCESS);
    const Bytes expected = pixelsOf(good);
    T_FreeBitmap(&good);

    BitmapHandle result{};
    int failures = 0;
    if (!c.inPlace) {
        for (const bool fromThere : {false, true}) {
            failures += sweepFailures(
                failing, kAllFailures, [&] { return run(&result); },
                [&](int32_t code, bool injected) {
                    if (code == SUCCESS) {
                        EXPECT_EQ(pixelsOf(result), expected);
                    } else {
                        EXPECT_TRUE(injected);
                        EXPECT_TRUE(code == FAILURE || code == ERROR_FILE_SEEK || code == ERROR_FILE_WRITE ||
                                    code == ERROR_FILE_READ || code == ERROR_DISK_FULL ||
                                    (c.fromHandle && code == ERROR_INVALID_PARAMETER))
                            << code;
                        EXPECT_EQ(result.Flags & BMF_ALLOCATED, 0u);
                    }
                    T_FreeBitmap(&result);
                    EXPECT_EQ(pixelsOf(source), before);
                },
                fromThere);
        }
    } else {
        // In place a success replaces the source, which ends the sweep.
        for (int k = 1; source.BitsPerPixel == 24; ++k) {
            SCOPED_TRACE(k);
            const LiveObjects live = failing.live();
            const BitmapHandle record = source;
            failing.failAt(k);
            const int32_t code = run(&source);
            failing.stopFailing();
            if (code == SUCCESS) {
                EXPECT_EQ(pixelsOf(source), expected);
                break;
            }
            ++failures;
            EXPECT_EQ(std::memcmp(&record, &source, sizeof record), 0);
            EXPECT_EQ(failing.live(), live);
            EXPECT_EQ(pixelsOf(source), before);
            source.CurrentRow = record.CurrentRow;
            source.CurrentPos = record.CurrentPos;
        }
    }
    EXPECT_GT(failures, 1);
    T_FreeBitmap(&source);
    if (handle != 0) T_DeletePalette(handle);
    EXPECT_EQ(failing.live(), LiveObjects{});
}

constexpr uint32_t kDiffuse = CRF_DITHER_METHOD(DITHER_JARVIS);
constexpr Case kCases[] = {
    {"FixedPalette", MEM_CONVENTIONAL, 8, CRF_FIXEDPALETTE | kDiffuse, false, false},
    {"FixedPaletteOnDisk", MEM_NOCONVENTIONAL, 4, CRF_FIXEDPALETTE | kDiffuse, false, false},
    {"HandlePalette", MEM_CONVENTIONAL, 8, CRF_USERPALETTE | kDiffuse, false, true},
    {"DeeperOnDisk", MEM_NOCONVENTIONAL, 48, CRF_BGR, false, false},
    {"Gray", MEM_CONVENTIONAL, 16, CRF_GRAY, false, false},
    {"InPlace", MEM_CONVENTIONAL, 8, CRF_FIXEDPALETTE | kDiffuse, true, false},
    {"InPlaceOnDisk", MEM_NOCONVENTIONAL, 8, CRF_FIXEDPALETTE | kDiffuse, true, false},
};

INSTANTIATE_TEST_SUITE_P(Paths, ColorResolutionFailure, testing::ValuesIn(kCases),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace tnk::test
