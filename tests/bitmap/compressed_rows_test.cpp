// Run-compressed storage, changing to and from it, and turning encoded images.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "reference/runs.h"
#include "storage_cases.h"
#include "support/bitmap_operations.h"
#include "support/failing_platform.h"

namespace tnk::test {
namespace {

// Mostly long runs, as in a scanned page.
Bytes randomRow(std::mt19937& random, size_t bytes) {
    Bytes row(bytes);
    uint8_t value = 0;
    for (uint8_t& byte : row) {
        if (random() % 8 == 0) value = static_cast<uint8_t>(0u - (random() >> 5 & 1));
        byte = random() % 6 == 0 ? static_cast<uint8_t>(random()) : value;
    }
    return row;
}

// Any runs: too few pixels, too many, empty runs, none.
Bytes randomRuns(std::mt19937& random, uint32_t pixels) {
    const auto count = static_cast<uint32_t>(random() % 9);
    Bytes row(4 + 2 * size_t{count});
    std::memcpy(row.data(), &count, 4);
    for (size_t at = 4; at < row.size(); at += 2) {
        const auto run = static_cast<uint16_t>(random() % 3 == 0 ? 0 : random() % (pixels / 2 + 2));
        std::memcpy(&row[at], &run, 2);
    }
    return row;
}

// Heights on both sides of the 32,768 rows of a group.
TEST(CompressedStorage, HasGroupsOfRows) {
    StoredBitmap stored(Kind::compressed, 70, 32'770, 1);
    StoredBitmap model(Kind::section, 70, 32'770, 1);
    std::mt19937 random(5);
    for (const int32_t height : {65'600, 98'400, 32'768, 100, 32'780}) {
        ASSERT_EQ(T_ChangeBitmapHeight(&stored.record, height), SUCCESS);
        ASSERT_EQ(T_ChangeBitmapHeight(&model.record, height), SUCCESS);
        for (int i = 0; i < 4000; ++i) {
            const auto y = static_cast<int32_t>(random() % static_cast<uint32_t>(height));
            const auto bytes = static_cast<uint32_t>(std::min(height - y, 3)) * stored.record.BytesPerLine;
            const Bytes rows = randomRow(random, bytes);
            for (BitmapHandle* bitmap : {&stored.record, &model.record}) {
                ASSERT_EQ(T_PutBitmapRow(bitmap, rows.data(), y, bytes), static_cast<int32_t>(bytes));
            }
        }
        ASSERT_TRUE(samePixels(stored.record, model.record)) << height;
        const uint32_t size = stored.record.Size;
        EXPECT_EQ(T_UpdateBitmapSize(&stored.record), SUCCESS);
        EXPECT_EQ(stored.record.Size, size);
    }
}

TEST(CompressedStorage, RefusesRunsOutside) {
    StoredBitmap stored(Kind::compressed, 40, 3, 1);
    BitmapHandle& bitmap = stored.record;
    const BitmapHandle before = bitmap;
    uint8_t row[64] = {1, 0, 0, 0, 9, 0};
    for (const int32_t outside : {-1, 3, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(T_GetBitmapRowCompressed(&bitmap, nullptr, row, outside, 1), ERROR_INVALID_SIZE);
        EXPECT_EQ(T_PutBitmapRowColCompressed(&bitmap, nullptr, row, outside, 1, 1), ERROR_INVALID_SIZE);
    }
    EXPECT_EQ(T_PutBitmapRowCompressed(&bitmap, nullptr, row, 1, 3), ERROR_INVALID_SIZE);
    EXPECT_EQ(T_GetBitmapRowCompressed(&bitmap, nullptr, row, 1, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_PutBitmapRowColCompressed(&bitmap, nullptr, row, 1, 30, 11), ERROR_INVALID_SIZE);
    EXPECT_EQ(T_PutBitmapRowColCompressed(&bitmap, nullptr, row, 1, UINT32_MAX, 2), ERROR_INVALID_SIZE);
    EXPECT_EQ(T_GetBitmapRowColCompressed(&bitmap, nullptr, row, 1, 30, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(std::memcmp(&before, &bitmap, sizeof bitmap), 0);
    EXPECT_EQ(rowsOf(bitmap), Bytes(24, 0));
    EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, row, bitmap.Size), ERROR_INVALID_PARAMETER) << "plain rows take more";
    ASSERT_EQ(T_SetBitmapDataPointer(&bitmap, row, 24), SUCCESS);
    EXPECT_EQ(rowsOf(bitmap)[0], 1);
}

TEST(CompressedStorage, KeepsTheRowWhenMemoryEnds) {
    FailingPlatform failing;
    BitmapHandle bitmap;
    ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 600, 40'000, 1), SUCCESS);
    const auto allocate = [&] { return T_AllocateBitmap(&bitmap, MEM_COMPRESSED); };
    const auto check = [&](int32_t result, bool injected) {
        EXPECT_EQ(result, injected ? FAILURE : SUCCESS);
        T_FreeBitmap(&bitmap);
    };
    EXPECT_EQ(sweepFailures(failing, kAllFailures, allocate, check), 6);

    StoredBitmap stored(Kind::compressed, 80, 2, 1);
    const Bytes busy(stored.record.BytesPerLine, 0x55);
    Bytes calm(2 * stored.record.BytesPerLine);
    calm[1] = 1;
    ASSERT_EQ(T_PutBitmapRow(&stored.record, calm.data(), 0, 24), 24);
    const uint32_t size = stored.record.Size;
    for (const uint32_t column : {0u, 9u}) {
        failing.failFrom(1);
        EXPECT_EQ(T_PutBitmapRowCol(&stored.record, busy.data(), 0, column, 10 - column / 8), FAILURE);
        EXPECT_EQ(T_ChangeBitmapHeight(&stored.record, 40'000), FAILURE);
        failing.stopFailing();
        EXPECT_EQ(rowsOf(stored.record), calm);
        EXPECT_EQ(stored.record.Size, size);
    }
}

class Compression : public ::testing::TestWithParam<Kind> {};
INSTANTIATE_TEST_SUITE_P(Kinds, Compression, ::testing::ValuesIn(kAllKinds), kindName);

// Status reports on record; a stop at the third.
int32_t TNK_CALL stopAtThird(int32_t, void* count) { return ++*static_cast<int*>(count) == 3 ? 77 : SUCCESS; }

TEST_P(Compression, ChangesInPlace) {
    FailingPlatform failing;
    StoredBitmap stored(GetParam(), 300, 90, 1);
    BitmapHandle& bitmap = stored.record;
    T_CreateBitmapGrayPalette(&bitmap);
    Bytes rows = fillRandomly(bitmap);
    for (size_t i = 37; i < rows.size(); i += bitmap.BytesPerLine) {
        rows[i] &= 0xF0;  // the last of 300 pixels; what follows is not kept
        rows[i + 1] = rows[i + 2] = 0;
    }
    T_PutBitmapRow(&bitmap, rows.data(), 0, static_cast<uint32_t>(rows.size()));
    if (GetParam() == Kind::movable) {
        EXPECT_EQ(T_ChangeBitmapCompression(&bitmap, 1), ERROR_INVALID_PARAMETER) << "accessed";
    }
    T_ReleaseBitmap(&bitmap);
    const BitmapHandle before = bitmap;
    const auto expectSame = [&](bool compressed) {
        EXPECT_EQ((bitmap.Flags & BMF_COMPRESSED) != 0, compressed);
        EXPECT_TRUE(bitmap.Palette == before.Palette && bitmap.pByteMap == before.pByteMap);
        const int32_t locked = T_LockBitmap(&bitmap);
        ASSERT_EQ(rowsOf(bitmap), rows);
        T_UnlockBitmap(&bitmap, static_cast<uint32_t>(locked));
    };
    const bool compressed = GetParam() == Kind::compressed;
    int reports = 0;
    T_SetStatusCallBack(stopAtThird, &reports, nullptr, nullptr);
    EXPECT_EQ(T_ToggleBitmapCompression(&bitmap), 77);
    T_SetStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    expectSame(compressed);
    const auto toggle = [&] { return T_ToggleBitmapCompression(&bitmap); };
    for (const bool expected : {!compressed, compressed}) {
        // A section that fails makes way for a file, which is no failure.
        for (int call = 1;; ++call) {
            failing.failAt(call, kLocalFailures | kGlobalFailures);
            const int32_t result = toggle();
            const bool injected = failing.injected();
            failing.stopFailing();
            EXPECT_EQ(result, injected ? FAILURE : SUCCESS);
            expectSame(injected ? !expected : expected);
            if (!injected) break;
        }
        EXPECT_EQ(T_ChangeBitmapCompression(&bitmap, expected ? 1 : 0), SUCCESS) << "as wanted already";
        EXPECT_EQ(bitmap.Size == before.Size, expected == compressed);
    }
    T_FreeBitmap(&bitmap);
    EXPECT_EQ(failing.live(), LiveObjects{});
}

// Rows turned as runs against rows turned as pixels, then encoded.
TEST(EncodedImage, TurnsAsItsPixelsDo) {
    std::mt19937 random(9);
    for (const uint32_t width : {1u, 8u, 31u, 100u, 65'536u, 200'001u}) {
        const uint32_t line = (width + 7) / 8;
        Bytes image, flipped, mirrored;
        const auto append = [](Bytes& to, const Bytes& row) { to.insert(to.end(), row.begin(), row.end()); };
        for (uint32_t y = 0; y < 5; ++y) {
            const Bytes row = y == 0 ? Bytes(line, 0) : y == 1 ? Bytes(line, 0xFF) : randomRow(random, line);
            const Bytes runs = y == 3 ? randomRuns(random, width) : referenceEncode(row.data(), 0, width);
            std::vector<uint16_t> list((runs.size() - 4) / 2);
            if (!list.empty()) std::memcpy(list.data(), &runs[4], list.size() * 2);
            const Bytes pixels = referenceExpand(list, 0, width);
            append(image, runs);
            flipped.insert(flipped.begin(), runs.begin(), runs.end());
            Bytes turned(line);
            for (uint32_t x = 0; x < width; ++x) {
                const uint32_t from = width - 1 - x;
                if ((pixels[from / 8] >> (7 - from % 8) & 1) != 0) turned[x / 8] |= static_cast<uint8_t>(0x80 >> x % 8);
            }
            append(mirrored, referenceEncode(turned.data(), 0, width));
        }
        for (const bool inPlace : {false, true}) {
            Bytes source = image;
            Bytes out(inPlace ? source : Bytes(image.size()));
            EXPECT_EQ(T_FlipCompressedBuffer(inPlace ? out.data() : source.data(), out.data(), 5), SUCCESS);
            EXPECT_EQ(out, flipped) << width;
            out = image;
            out.resize(std::max(image.size(), mirrored.size()));
            EXPECT_EQ(T_MirrorCompressedBuffer(inPlace ? out.data() : source.data(), out.data(), width, 5), SUCCESS);
            out.resize(mirrored.size());
            EXPECT_EQ(out, mirrored) << width;
        }
        FailingPlatform failing;
        failing.failAt(1);
        Bytes kept = image;
        EXPECT_EQ(T_MirrorCompressedBuffer(kept.data(), kept.data(), width, 5), FAILURE);
        EXPECT_EQ(kept, image);
    }
    uint8_t byte[8] = {};
    EXPECT_EQ(T_FlipCompressedBuffer(nullptr, byte, 1), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_MirrorCompressedBuffer(byte, nullptr, 1, 1), ERROR_INVALID_PARAMETER);
}

}  // namespace
}  // namespace tnk::test
