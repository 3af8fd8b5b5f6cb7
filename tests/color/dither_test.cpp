// The dithering engine against its plain form, what start, stop and rows answer, and user match tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

#include "fuzz/dither_properties.h"
#include "palette/palette.h"
#include "support/failing_platform.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

BitmapHandle describe(int32_t bits, uint32_t order, int32_t width, uint32_t method) {
    BitmapHandle bitmap{};
    bitmap.StructSize = sizeof(BitmapHandle);
    bitmap.Width = width;
    bitmap.BitsPerPixel = bits;
    bitmap.Order = order;
    bitmap.HighBit = -1;
    bitmap.DitherMethod = method;
    return bitmap;
}

TEST(Dithering, EqualsThePlainForm) {
    RandomNumbers random(32);
    std::set<uint32_t> modes;
    for (int i = 0; i < 3500; ++i) {
        const Bytes bytes = random.bytes(64);
        const DrawnDitherJob job(bytes.data(), bytes.size());
        uint32_t mode = 0;
        ASSERT_STREQ(brokenDithering(job, &mode), nullptr)
            << i << ": " << job.bitmap.BitsPerPixel << " bits order " << job.bitmap.Order << " method "
            << job.bitmap.DitherMethod << " mode " << mode << " size " << job.bitmap.Width << " x " << job.input.size();
        modes.insert(mode);
    }
    EXPECT_EQ(modes.size(), 11u);
}

TEST(Dithering, AnswersToBadArguments) {
    Bytes row(40, 0x55), output(5, 0x77);
    BitmapHandle good = describe(24, ORDER_BGR, 5, DITHER_FLOYD_STEINBERG), wrongSize = good;
    wrongSize.StructSize = 12;
    BitmapHandle narrow = describe(24, ORDER_BGR, -1, 1);
    EXPECT_EQ(T_StartDithering(&narrow, nullptr, 4), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_StartDithering(&wrongSize, nullptr, 0), ERROR_STRUCT_SIZE);
    EXPECT_EQ(T_StartDithering(nullptr, nullptr, 4), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_StopDithering(nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_StopDithering(&good), SUCCESS);
    EXPECT_EQ(T_DitherLine(&good, row.data(), output.data()), ERROR_INVALID_PARAMETER) << "not started";
    ASSERT_EQ(T_StartDithering(&good, nullptr, 256), SUCCESS);
    EXPECT_EQ(T_DitherLine(nullptr, row.data(), output.data()), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLine(&good, nullptr, output.data()), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLine(&good, row.data(), nullptr), ERROR_INVALID_PARAMETER);
    uint8_t* const in = row.data();
    uint8_t* const out = output.data();
    EXPECT_EQ(T_DitherLines(nullptr, in, 15, out, 5, 1), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLines(&good, nullptr, 15, out, 5, 1), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLines(&good, in, 15, nullptr, 5, 1), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLines(&good, in, 15, out, 5, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLines(&good, in, 14, out, 5, 2), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLines(&good, in, 15, out, -4, 2), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLines(&good, in, 15, in, 5, 2), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_DitherLines(&good, in, 15, in + 19, 5, 2), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_StopDithering(&good), SUCCESS);
    EXPECT_EQ(good.pDitherState, nullptr);
    BitmapHandle shallow = describe(1, ORDER_BGR, 5, DITHER_NONE);
    ASSERT_EQ(T_StartDithering(&shallow, nullptr, 256), SUCCESS);
    EXPECT_EQ(T_DitherLines(&shallow, in, 15, in, 15, 1), ERROR_INVALID_PARAMETER) << "longer rows in place";
    T_StopDithering(&shallow);
    EXPECT_EQ(row, Bytes(40, 0x55));
    EXPECT_EQ(output, Bytes(5, 0x77));
}

// A record that no longer says what the run was started for: rows of another length than the caller's would be touched.
TEST(Dithering, RefusesChangedRecords) {
    for (const Format& format : kFormats) {
        for (uint32_t method = 0; method <= 8; ++method) {
            SCOPED_TRACE(::testing::Message() << format.bits << " bits, method " << method);
            BitmapHandle bitmap = describe(format.bits, format.order, 8, method);
            ASSERT_EQ(T_StartDithering(&bitmap, fixedPalette(8), 256), SUCCESS);
            const Bytes before(static_cast<size_t>(format.bits), 0x5A);  // 8 pixels
            Bytes row = before, output(8, 0x77);
            const auto lineWith = [&](auto BitmapHandle::*field, auto value) {
                BitmapHandle changed = bitmap;
                changed.*field = value;
                const int32_t code = T_DitherLine(&changed, row.data(), output.data());
                EXPECT_EQ(T_DitherLines(&changed, row.data(), 0, output.data(), 0, 1), code);
                return code;
            };
            EXPECT_EQ(lineWith(&BitmapHandle::Width, 9), ERROR_INVALID_PARAMETER);
            for (const int32_t other : {0, 1, 8, 9, 12, 24, 64})
                EXPECT_TRUE(other == format.bits ||
                            lineWith(&BitmapHandle::BitsPerPixel, other) == ERROR_INVALID_PARAMETER);
            for (const uint32_t order : {ORDER_GRAY, ORDER_MATRIX_RGB, 4u, 8u, 33u})
                EXPECT_TRUE(format.bits <= 12 || acceptsOrder(*findPixelFormat(format.bits), order) ||
                            lineWith(&BitmapHandle::Order, order) == ERROR_INVALID_PARAMETER);
            EXPECT_EQ(lineWith(&BitmapHandle::StructSize, 4), ERROR_STRUCT_SIZE);
            EXPECT_EQ(lineWith(&BitmapHandle::Flags, uint32_t{BMF_SIGNED | BMF_WINDOW}), ERROR_SIGNED_DATA);
            EXPECT_EQ(row, before);
            EXPECT_EQ(output, Bytes(8, 0x77));
            EXPECT_EQ(lineWith(&BitmapHandle::Width, 7), SUCCESS) << "narrower is nothing but fewer pixels";
            T_StopDithering(&bitmap);
        }
    }
}

// Without memory for a band the rows go one by one. A second start leaves the first state to a copy of the record.
TEST(Dithering, BandsDoWithoutMemory) {
    RandomNumbers random(3);
    BitmapHandle bitmap = describe(24, ORDER_BGR, 40, DITHER_STEVENSON_ARCE);
    ASSERT_EQ(T_StartDithering(&bitmap, nullptr, 200), SUCCESS);
    BitmapHandle first = bitmap;
    ASSERT_EQ(T_StartDithering(&bitmap, nullptr, 200), SUCCESS);
    ASSERT_NE(first.pDitherState, bitmap.pDitherState);
    Bytes input = random.bytes(32 * 120), single(32 * 40), many(32 * 40);
    std::vector<uint8_t*> in, out;
    for (size_t y = 0; y < 32; ++y) {
        in.push_back(&input[y * 120]);
        out.push_back(&many[y * 40]);
        ASSERT_EQ(T_DitherLine(&first, in[y], &single[y * 40]), SUCCESS);
    }
    FailingPlatform failing;
    failing.failFrom(1);
    EXPECT_TRUE(ditherRowsBy(ditherKernelsFor(InstructionSet::sse2), bitmap, in.data(), out.data(), 32).ok());
    EXPECT_EQ(many, single);
    for (BitmapHandle* run : {&first, &bitmap}) T_StopDithering(run);
}

// The cells beside the first column collect without end in a tall picture: the sanitizer sees them overflow. Against a
// palette of one black entry every white pixel leaves its whole level as error.
TEST(Dithering, SumsBesideTheColumnsStayBounded) {
    BitmapHandle bitmap = describe(24, ORDER_RGB, 1, DITHER_STEVENSON_ARCE);
    ASSERT_EQ(T_StartDithering(&bitmap, nullptr, 1), SUCCESS);
    Bytes pixel(3, 255);
    uint8_t output = 0;
    constexpr int32_t kRows = INT32_MAX / (26 * 255) + 1'000;
    for (int32_t y = 0; y < kRows; ++y) ASSERT_EQ(T_DitherLine(&bitmap, pixel.data(), &output), SUCCESS);
    EXPECT_EQ(output, 0x80) << "index 1";
    T_StopDithering(&bitmap);
}

// Errors that were equal in all channels go on as three once a row has colours.
TEST(UserMatchTable, HoldsTheNearestEntryOfEveryKey) {
    FailingPlatform failing;
    RandomNumbers random(6);
    for (const uint32_t count : {0u, 7u, 256u}) {
        const Palette palette = random.palette(std::max(count, 1u));
        uint32_t* const table = T_CreateUserMatchTable(palette.data(), count);
        ASSERT_NE(table, nullptr);
        EXPECT_EQ(std::vector<uint32_t>(table, table + kReferenceMatchTableSize),
                  referenceMatchTable(asReference(palette.data()), count));
        EXPECT_EQ(T_LocalSize(table), 131'072u);
        EXPECT_EQ(T_FreeUserMatchTable(table), SUCCESS);
        EXPECT_EQ(failing.live(), LiveObjects{});
    }
    EXPECT_EQ(T_CreateUserMatchTable(nullptr, 3), nullptr);
    EXPECT_EQ(T_CreateUserMatchTable(fixedPalette(8), UINT32_MAX), nullptr);
    EXPECT_EQ(T_FreeUserMatchTable(nullptr), SUCCESS);
    failing.failAt(1);
    EXPECT_EQ(T_CreateUserMatchTable(fixedPalette(8), 1), nullptr);
}

}  // namespace
}  // namespace tnk::test
