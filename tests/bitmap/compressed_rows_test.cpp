// Run-compressed storage, and changing to and from it.
#include <gtest/gtest.h>

#include <vector>

#include "support/bitmap_operations.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

// Heights on both sides of the 32,768 rows of a group.
TEST(CompressedStorage, HasGroupsOfRows) {
    StoredBitmap stored(Kind::compressed, 70, 32'770, 1);
    StoredBitmap model(Kind::section, 70, 32'770, 1);
    RandomNumbers random(5);
    for (const int32_t height : {65'600, 98'400, 32'768, 100, 32'780}) {
        ASSERT_EQ(T_ChangeBitmapHeight(&stored.record, height), SUCCESS);
        ASSERT_EQ(T_ChangeBitmapHeight(&model.record, height), SUCCESS);
        for (int i = 0; i < 4000; ++i) {
            const auto y = static_cast<int32_t>(random() % static_cast<uint32_t>(height));
            const auto bytes = static_cast<uint32_t>(std::min(height - y, 3)) * stored.record.BytesPerLine;
            const Bytes rows = i % 2 == 0 ? random.bytes(bytes) : Bytes(bytes, random.byte());
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
    EXPECT_EQ(rowsOf(bitmap), Bytes(24, 0));
}

class Compression : public ::testing::TestWithParam<Kind> {};
INSTANTIATE_TEST_SUITE_P(Kinds, Compression, ::testing::ValuesIn(kAllKinds), kindName);

TEST_P(Compression, ChangesInPlace) {
    StoredBitmap stored(GetParam(), 300, 90, Format{1, ORDER_RGB});
    BitmapHandle& bitmap = stored.record;
    RandomNumbers random(8);
    fill(bitmap, random, Content::runs);
    const Bytes before = contents(bitmap);
    if (GetParam() == Kind::movable) {
        EXPECT_EQ(T_ChangeBitmapCompression(&bitmap, 1), ERROR_INVALID_PARAMETER) << "accessed";
    }
    T_ReleaseBitmap(&bitmap);
    const BitmapHandle record = bitmap;
    const bool compressed = GetParam() == Kind::compressed;
    for (const bool expected : {!compressed, compressed}) {
        EXPECT_EQ(T_ToggleBitmapCompression(&bitmap), SUCCESS);
        EXPECT_EQ(T_ChangeBitmapCompression(&bitmap, expected ? 1 : 0), SUCCESS) << "as wanted already";
        EXPECT_EQ((bitmap.Flags & BMF_COMPRESSED) != 0, expected);
        EXPECT_TRUE(bitmap.Palette == record.Palette && bitmap.pByteMap == record.pByteMap);
        EXPECT_TRUE(contents(bitmap) == before);
        EXPECT_EQ(bitmap.Size == record.Size, expected == compressed);
    }
}

}  // namespace
}  // namespace tnk::test
