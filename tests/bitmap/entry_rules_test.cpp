#include <gtest/gtest.h>

#include "support/entry_rule_cases.h"

namespace tnk::test {
namespace {

constexpr int32_t kNull = ERROR_INVALID_PARAMETER;
constexpr int32_t kBare = ERROR_NOT_ALLOCATED;
constexpr int32_t kSize = ERROR_STRUCT_SIZE;
constexpr int32_t kNoColor = INT32_MIN;  // COLOR_ERROR

uint8_t buffer[64];
uint32_t word;
BitmapHandle model;
BitmapHandle stored;

TEST(EntryRules, Bitmap) {
    ASSERT_EQ(T_InitBitmap(&model, sizeof model, 4, 4, 8), SUCCESS);
    ASSERT_EQ(T_CreateBitmap(&stored, sizeof stored, 1, 9, 5, 8, 0, nullptr, 0, nullptr, 0), SUCCESS);
    using Record = BitmapHandle*;
    const EntryCase cases[] = {
        {"allocate", kNull, 0, kSize, [](Record r) { return T_AllocateBitmap(r, MEM_CONVENTIONAL); }},
        {"height", kBare, kBare, kSize, [](Record r) { return T_ChangeBitmapHeight(r, 3); }},
        {"update", kBare, kBare, kSize, T_UpdateBitmapSize},
        {"data", kNull, 0, kSize, [](Record r) { return T_SetBitmapDataPointer(r, buffer, sizeof buffer); }},
        {"info", kBare, kBare, kSize, [](Record r) { return T_GetBitmapMemoryInfo(r, &word, 0, 0, 0, 0, 0); }},
        {"duplicate", kBare, kBare, kSize,
         [](Record r) { return T_DupBitmapNewDim(&model, r, sizeof *r, 1, 1, 8, 0); }},
        {"copy", kNull, 0, kSize, [](Record r) { return T_CopyBitmapHandle(nullptr, r, sizeof *r); }},
        {"gray, source", kNull, 0, kSize, [](Record r) { return T_CopyGrayParams(&model, r); }},
        {"gray, destination", kNull, 0, kSize, [](Record r) { return T_CopyGrayParams(r, &model); }},
        {"whole copy", kNull, kNull, kSize, [](Record r) { return T_CopyBitmap(&model, r, sizeof *r); }},
        {"whole copy 2", kNull, kNull, kSize, [](Record r) { return T_CopyBitmap2(&model, r, 1, sizeof *r); }},
        {"data, source", kBare, kBare, kSize, [](Record r) { return T_CopyBitmapData(&stored, r); }},
        {"data, destination", kBare, kBare, kSize, [](Record r) { return T_CopyBitmapData(r, &stored); }},
        {"rectangle", kNull, kNull, kSize, [](Record r) { return T_CopyBitmapRect(0, r, sizeof *r, 0, 0, 1, 1); }},
        {"rectangle 2", kNull, kNull, kSize,
         [](Record r) { return T_CopyBitmapRect2(0, r, sizeof *r, 0, 0, 1, 1, 1); }},
        {"trim", kNull, kNull, kSize, [](Record r) { return T_TrimBitmap(r, 0, 0, 1, 1); }},
        {"get", kNull, 0, kSize, [](Record r) { return T_GetBitmapRow(r, buffer, 1, 1); }},
        {"put", kNull, 0, kSize, [](Record r) { return T_PutBitmapRow(r, buffer, 1, 1); }},
        {"get column", kNull, 0, kSize, [](Record r) { return T_GetBitmapRowCol(r, buffer, 1, 1, 1); }},
        {"put column", kNull, 0, kSize, [](Record r) { return T_PutBitmapRowCol(r, buffer, 1, 1, 1); }},
        {"segments", kNull, 0, kSize, [](Record r) { return T_PutBitmapRowSegments(r, buffer, 1, 0, &word, 1, 0); }},
        {"get pixel", kBare, kBare, kSize, [](Record r) { return T_GetPixelData(r, buffer, 1, 1, 8); }},
        {"put pixel", kBare, kBare, kSize, [](Record r) { return T_PutPixelData(r, buffer, 1, 1, 8); }},
        {"get colour", kNoColor, kNoColor, kNoColor,
         [](Record r) { return static_cast<int32_t>(T_GetPixelColor(r, 1, 1)); }},
        {"put colour", kBare, kBare, kSize, [](Record r) { return T_PutPixelColor(r, 1, 1, 0); }},
        {"get runs", kNull, kBare, kSize, [](Record r) { return T_GetBitmapRowCompressed(r, 0, buffer, 0, 1); }},
        {"put runs", kNull, kBare, kSize, [](Record r) { return T_PutBitmapRowCompressed(r, 0, buffer, 0, 1); }},
        {"get run columns", kNull, kBare, kSize,
         [](Record r) { return T_GetBitmapRowColCompressed(r, 0, buffer, 0, 0, 1); }},
        {"put run columns", kNull, kBare, kSize,
         [](Record r) { return T_PutBitmapRowColCompressed(r, 0, buffer, 0, 0, 1); }},
        {"compression", kNull, kBare, kSize, [](Record r) { return T_ChangeBitmapCompression(r, 1); }},
        {"toggled compression", kNull, kBare, kSize, T_ToggleBitmapCompression},
    };
    checkEntryCases(cases);
    T_FreeBitmap(&stored);
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
    EXPECT_EQ(T_GetBitmapRowCompressed(&bitmap, nullptr, nullptr, 0, 1), kNull);
    EXPECT_EQ(T_PutBitmapRowColCompressed(&bitmap, nullptr, nullptr, 0, 0, 1), kNull);
    EXPECT_EQ(T_GetBitmapRowCompressed(&bitmap, nullptr, buffer, 0, 1), ERROR_BPP_NOT_SUPPORTED);
    EXPECT_EQ(T_PutBitmapRowSegments(&bitmap, nullptr, 0, 0, &word, 1, 0), kNull);
    EXPECT_EQ(T_PutBitmapRowSegments(&bitmap, buffer, 0, 0, nullptr, 2, 0), kNull);
    EXPECT_EQ(T_GetBitmapMemoryInfo(&bitmap, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), kNull);
    BitmapHandle copy;
    EXPECT_EQ(T_CopyBitmapHandle(&copy, &bitmap, sizeof copy - 4), kSize);
    EXPECT_EQ(T_DupBitmapNewDim(nullptr, &bitmap, sizeof copy, 1, 1, 8, 0), kBare);
    EXPECT_EQ(T_DupBitmapNewDim(&copy, &bitmap, sizeof copy - 4, 1, 1, 8, 0), kSize);
    EXPECT_EQ(T_DupBitmapNewDim(&bitmap, &bitmap, sizeof bitmap, 1, 1, 8, 0), kNull) << "onto itself";
    EXPECT_EQ(T_FreeDuplicateBitmap(nullptr, 15), kNull);
    EXPECT_EQ(T_CopyBitmap(nullptr, &bitmap, sizeof copy), kNull);
    EXPECT_EQ(T_CopyBitmap2(&copy, &bitmap, 1, sizeof copy - 4), kSize);
    EXPECT_EQ(T_CopyBitmapRect(&copy, &bitmap, sizeof copy - 4, 0, 0, 1, 1), kSize);

    EXPECT_EQ(T_LockBitmap(nullptr), 0);
    T_UnlockBitmap(nullptr, 0);
    for (const auto call : {T_AccessBitmap, T_ReleaseBitmap, T_FreeBitmap}) call(nullptr);
    bitmap.StructSize -= 4;
    T_FreeBitmap(&bitmap);
    EXPECT_NE(bitmap.pData, nullptr) << "a record of the wrong size is not freed";
    bitmap.StructSize += 4;
    T_FreeBitmap(&bitmap);
}

}  // namespace
}  // namespace tnk::test
