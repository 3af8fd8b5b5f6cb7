#include <gtest/gtest.h>

#include "support/entry_rule_cases.h"

namespace tnk::test {
namespace {

constexpr int32_t kNull = ERROR_INVALID_PARAMETER;
constexpr int32_t kBare = ERROR_NOT_ALLOCATED;
constexpr int32_t kSize = ERROR_STRUCT_SIZE;

uint8_t buffer[64];
const uint32_t segments[] = {0, 1};

TEST(EntryRules, Bitmap) {
    BitmapHandle model;
    ASSERT_EQ(T_InitBitmap(&model, sizeof model, 4, 4, 8), SUCCESS);
    const EntryCase cases[] = {
        {"T_AllocateBitmap", kNull, kNotLookedAt, kSize,
         [](BitmapHandle* bitmap) { return T_AllocateBitmap(bitmap, MEM_CONVENTIONAL); }},
        {"T_ChangeBitmapHeight", kBare, kBare, kSize,
         [](BitmapHandle* bitmap) { return T_ChangeBitmapHeight(bitmap, 3); }},
        {"T_UpdateBitmapSize", kBare, kBare, kSize, T_UpdateBitmapSize},
        {"T_SetBitmapDataPointer", kNull, kNotLookedAt, kSize,
         [](BitmapHandle* bitmap) { return T_SetBitmapDataPointer(bitmap, buffer, sizeof buffer); }},
        {"T_GetBitmapMemoryInfo", kBare, kBare, kSize,
         [](BitmapHandle* bitmap) {
             uint32_t kind = 0;
             return T_GetBitmapMemoryInfo(bitmap, &kind, nullptr, nullptr, nullptr, nullptr, nullptr);
         }},
        {"T_DupBitmapNewDim, source", kBare, kBare, kSize,
         [](BitmapHandle* bitmap) {
             BitmapHandle copy;
             return T_DupBitmapNewDim(&copy, bitmap, sizeof copy, 1, 1, 8, DUP_ALLOCATE);
         }},
        {"T_CopyBitmapHandle, source", kNull, kNotLookedAt, kSize,
         [](BitmapHandle* bitmap) { return T_CopyBitmapHandle(nullptr, bitmap, sizeof *bitmap); }},
        {"T_CopyGrayParams, source", kNull, kNotLookedAt, kSize,
         [&](BitmapHandle* bitmap) { return T_CopyGrayParams(&model, bitmap); }},
        {"T_CopyGrayParams, destination", kNull, kNotLookedAt, kSize,
         [&](BitmapHandle* bitmap) { return T_CopyGrayParams(bitmap, &model); }},
        {"T_GetBitmapRow", kNull, kNotLookedAt, kSize,
         [](BitmapHandle* bitmap) { return T_GetBitmapRow(bitmap, buffer, 1, 1); }},
        {"T_PutBitmapRow", kNull, kNotLookedAt, kSize,
         [](BitmapHandle* bitmap) { return T_PutBitmapRow(bitmap, buffer, 1, 1); }},
        {"T_GetBitmapRowCol", kNull, kNotLookedAt, kSize,
         [](BitmapHandle* bitmap) { return T_GetBitmapRowCol(bitmap, buffer, 1, 1, 1); }},
        {"T_PutBitmapRowCol", kNull, kNotLookedAt, kSize,
         [](BitmapHandle* bitmap) { return T_PutBitmapRowCol(bitmap, buffer, 1, 1, 1); }},
        {"T_PutBitmapRowSegments", kNull, kNotLookedAt, kSize,
         [](BitmapHandle* bitmap) { return T_PutBitmapRowSegments(bitmap, buffer, 1, 0, segments, 2, 0); }},
    };
    checkEntryCases(cases);
}

// What has no place in the table: other null arguments, size arguments, functions without a result.
TEST(EntryRules, BitmapArguments) {
    BitmapHandle bitmap;
    EXPECT_EQ(T_InitBitmap(nullptr, sizeof bitmap, 1, 1, 8), kNull);
    EXPECT_EQ(T_InitBitmap(&bitmap, sizeof bitmap + 4, 1, 1, 8), kSize);
    EXPECT_EQ(T_CreateBitmap(nullptr, sizeof bitmap, 1, 1, 1, 8, 0, nullptr, 0, nullptr, 0), kNull);
    EXPECT_EQ(T_CreateBitmap(&bitmap, 4, 1, 1, 1, 8, 0, nullptr, 0, nullptr, 0), kSize);

    ASSERT_EQ(T_CreateBitmap(&bitmap, sizeof bitmap, 1, 9, 5, 8, 0, nullptr, 0, nullptr, 0), SUCCESS);
    EXPECT_EQ(T_GetBitmapRow(&bitmap, nullptr, 0, 1), kNull);
    EXPECT_EQ(T_PutBitmapRow(&bitmap, nullptr, 0, 1), kNull);
    EXPECT_EQ(T_PutBitmapRowSegments(&bitmap, nullptr, 0, 0, segments, 2, 0), kNull);
    EXPECT_EQ(T_PutBitmapRowSegments(&bitmap, buffer, 0, 0, nullptr, 2, 0), kNull);
    EXPECT_EQ(T_GetBitmapMemoryInfo(&bitmap, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), kNull);
    BitmapHandle copy;
    EXPECT_EQ(T_CopyBitmapHandle(&copy, &bitmap, sizeof copy - 4), kSize);
    EXPECT_EQ(T_DupBitmapNewDim(nullptr, &bitmap, sizeof copy, 1, 1, 8, 0), kBare);
    EXPECT_EQ(T_DupBitmapNewDim(&copy, &bitmap, sizeof copy - 4, 1, 1, 8, 0), kSize);
    EXPECT_EQ(T_DupBitmapNewDim(&bitmap, &bitmap, sizeof bitmap, 1, 1, 8, 0), kNull) << "onto itself";
    EXPECT_EQ(T_FreeDuplicateBitmap(nullptr, 15), kNull);

    EXPECT_EQ(T_LockBitmap(nullptr), 0);
    T_UnlockBitmap(nullptr, 0);
    T_AccessBitmap(nullptr);
    T_ReleaseBitmap(nullptr);
    T_FreeBitmap(nullptr);
    bitmap.StructSize -= 4;
    T_FreeBitmap(&bitmap);
    EXPECT_NE(bitmap.pData, nullptr) << "a record of the wrong size is not freed";
    bitmap.StructSize += 4;
    T_FreeBitmap(&bitmap);
}

}  // namespace
}  // namespace tnk::test
