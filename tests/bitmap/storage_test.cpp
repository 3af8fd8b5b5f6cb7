// What the kinds of storage share beside their pixels: the seek cache, lent rows, heights, Size, release; and where they differ.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "bitmap/rows.h"
#include "support/failing_platform.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

void expectSeekCache(const BitmapHandle& bitmap, int32_t row) {
    if ((bitmap.Flags & (BMF_COMPRESSED | BMF_TILED)) != 0 || isSuper(bitmap)) row = 0;  // do not use it
    EXPECT_EQ(bitmap.CurrentRow, static_cast<uint32_t>(row));
    EXPECT_EQ(bitmap.CurrentPos, bitmap.BytesPerLine * static_cast<uint32_t>(row));
}

class Storage : public ::testing::TestWithParam<Kind> {};
INSTANTIATE_TEST_SUITE_P(Kinds, Storage, ::testing::ValuesIn(kAllKinds), kindName);

class OwnStorage : public Storage {};
INSTANTIATE_TEST_SUITE_P(Kinds, OwnStorage, ::testing::ValuesIn(kOwnKinds), kindName);

TEST_P(Storage, NotesTheRowItWasAt) {
    StoredBitmap stored(GetParam(), 40, 3, depthFor(GetParam(), 8));
    BitmapHandle& bitmap = stored.record;
    EXPECT_EQ(rowsOf(bitmap), Bytes(plainBytes(bitmap), 0)) << "storage starts as zero";
    const Bytes rows = fillRandomly(bitmap);
    uint8_t byte = 0;
    ASSERT_EQ(T_GetBitmapRowCol(&bitmap, &byte, 1, 2, 1), 1);
    expectSeekCache(bitmap, 1);
    ASSERT_EQ(T_PutBitmapRow(&bitmap, &byte, 2, 0), 0) << "no bytes";
    expectSeekCache(bitmap, 2);
    ASSERT_EQ(T_PutBitmapRowCol(&bitmap, &rows[bitmap.BytesPerLine], 1, 0, 1), 1);
    expectSeekCache(bitmap, 1);
    EXPECT_EQ(rowsOf(bitmap), rows);
    if (GetParam() == Kind::compressed) return;
    bitmap.BitsPerPixel = 10;
    EXPECT_EQ(T_GetBitmapRowCol(&bitmap, &byte, 1, 2, 1), 1);
    EXPECT_EQ(byte, rows[bitmap.BytesPerLine + 2]) << "a depth of no bitmap counts bytes";
}

TEST_P(Storage, ThreadsReadOneBitmap) {
    StoredBitmap stored(GetParam(), 256, 40, depthFor(GetParam(), 8));
    BitmapHandle& bitmap = stored.record;
    std::vector<uint32_t> colors;
    const auto color = [&](int32_t i) { return T_GetPixelColor(&bitmap, i * 7 % 40, i * 31 % 256); };
    const Bytes rows = fillRandomly(bitmap);
    for (int32_t i = 0; i < 2000; ++i) colors.push_back(color(i));
    std::atomic<int> wrong = 0;
    for (const bool accessed : {true, false}) {  // pixels need no access beforehand, rows do
        const auto read = [&](int32_t start) {
            Bytes row(bitmap.BytesPerLine);
            for (int32_t i = start; i < start + 1000; ++i) {
                wrong += color(i) != colors[static_cast<size_t>(i)];
                if (!accessed && GetParam() == Kind::movable) continue;
                const int32_t got = T_GetBitmapRow(&bitmap, row.data(), i % 40, bitmap.BytesPerLine);
                wrong += got < 0 || std::memcmp(&row[0], &rows[row.size() * (i % 40u)], row.size()) != 0;
            }
        };
        std::thread first(read, 0);
        std::thread second(read, 1000);
        first.join();
        second.join();
        EXPECT_EQ((bitmap.Flags & BMF_LOCKED) != 0, accessed && GetParam() == Kind::movable) << "as it was";
        T_ReleaseBitmap(&bitmap);
    }
    EXPECT_EQ(wrong, 0);
}

TEST_P(OwnStorage, HeightsThatCannotBe) {
    StoredBitmap stored(GetParam(), 37, 23, depthFor(GetParam(), 24));
    BitmapHandle& bitmap = stored.record;
    const Bytes rows = fillRandomly(bitmap);
    if (GetParam() == Kind::movable) {
        EXPECT_EQ(T_ChangeBitmapHeight(&bitmap, 30), ERROR_INVALID_PARAMETER) << "accessed";
        T_ReleaseBitmap(&bitmap);
    }
    const BitmapHandle before = bitmap;
    EXPECT_EQ(T_ChangeBitmapHeight(&bitmap, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ChangeBitmapHeight(&bitmap, INT32_MAX), ERROR_SIZE_TOO_LARGE);
    EXPECT_EQ(T_ChangeBitmapHeight(&bitmap, 23), SUCCESS) << "the same height changes nothing";
    EXPECT_EQ(std::memcmp(&before, &bitmap, sizeof bitmap), 0);
    T_AccessBitmap(&bitmap);
    EXPECT_EQ(rowsOf(bitmap), rows);
    T_ReleaseBitmap(&bitmap);
    ASSERT_EQ(T_ChangeBitmapHeight(&bitmap, 40), SUCCESS);
    EXPECT_EQ(bitmap.Height, 40);
    expectSeekCache(bitmap, 0);
}

// The kinds whose rows do not lie one behind the other check every place.
class RowsInParts : public Storage {};
INSTANTIATE_TEST_SUITE_P(Kinds, RowsInParts, ::testing::Values(Kind::compressed, Kind::tiled), kindName);
#ifdef TNK_TEST_CODEC
INSTANTIATE_TEST_SUITE_P(Codec, RowsInParts, ::testing::Values(Kind::super), kindName);
#endif

TEST_P(RowsInParts, RefuseSpansOutside) {
    StoredBitmap stored(GetParam(), depthFor(GetParam(), 8) == 1 ? 512 : 64, 10, depthFor(GetParam(), 8));
    BitmapHandle& bitmap = stored.record;
    const Bytes rows = fillRandomly(bitmap);
    constexpr struct {
        int32_t row;
        uint32_t byte, bytes;
    } outside[] = {{-1, 0, 1},  {-1, 64, 1},        {INT32_MIN, 0, 64},     {10, 0, 1},        {9, 64, 1}, {9, 63, 2},
                   {0, 0, 641}, {INT32_MAX, 0, 64}, {0, UINT32_MAX / 8, 1}, {0, 1, UINT32_MAX}};
    const uint32_t segment[] = {0, 9};
    uint8_t bytes[1024] = {9};
    for (const auto& c : outside) {
        const uint32_t column = c.byte * 8 / static_cast<uint32_t>(bitmap.BitsPerPixel);
        EXPECT_EQ(T_GetBitmapRowCol(&bitmap, bytes, c.row, column, c.bytes), FAILURE);
        EXPECT_EQ(bytes[0], 9);
        EXPECT_EQ(T_PutBitmapRowCol(&bitmap, bytes, c.row, column, c.bytes), FAILURE);
        if (c.row < 0 || c.row > 9) {
            EXPECT_LT(T_PutBitmapRowSegments(&bitmap, bytes, c.row, 0, segment, 2, 0), 0);
        }
        if (c.byte != 0) continue;
        EXPECT_EQ(T_PutBitmapRow(&bitmap, bytes, c.row, c.bytes), GetParam() == Kind::tiled ? 0 : FAILURE);
    }
    EXPECT_EQ(rowsOf(bitmap), rows);
    EXPECT_EQ(T_GetBitmapRowCol(&bitmap, bytes, 9, static_cast<uint32_t>(bitmap.Width), 0),
              GetParam() == Kind::tiled ? FAILURE : 0)
        << "no bytes, at the very end";

    // Flags set by hand for storage that is not there, or is another: a code, and nothing is touched.
    BitmapHandle claimed = bitmap;
    uintptr_t other[4] = {};
    for (uint8_t* const data : {static_cast<uint8_t*>(nullptr), reinterpret_cast<uint8_t*>(other)}) {
        if (data != nullptr && GetParam() == Kind::tiled) continue;
        claimed.pData = data;
        EXPECT_EQ(T_GetBitmapRow(&claimed, bytes, 0, 1), ERROR_NOT_ALLOCATED);
        EXPECT_EQ(T_PutBitmapRowCol(&claimed, bytes, 0, 8, 1),
                  GetParam() == Kind::tiled ? FAILURE : ERROR_NOT_ALLOCATED);
        EXPECT_EQ(T_PutBitmapRowSegments(&claimed, bytes, 0, 0, segment, 2, 0), ERROR_NOT_ALLOCATED);
        EXPECT_FALSE(RowReader(claimed).prepare().ok() || RowWriter(claimed).prepare().ok());
        EXPECT_LT(T_ChangeBitmapHeight(&claimed, 5), 0);
        if (GetParam() != Kind::tiled) {
            EXPECT_EQ(T_UpdateBitmapSize(&claimed), ERROR_NOT_ALLOCATED);
        }
        if (GetParam() == Kind::compressed) {
            EXPECT_EQ(T_GetBitmapRowCompressed(&claimed, nullptr, bytes, 1, 1), ERROR_NOT_ALLOCATED);
            EXPECT_EQ(T_PutBitmapRowCompressed(&claimed, nullptr, Bytes(4).data(), 1, 1), ERROR_NOT_ALLOCATED);
        }
    }
    uint32_t kind = 0;
    claimed.pData = claimed.pByteMap = nullptr;
    EXPECT_EQ(T_GetBitmapMemoryInfo(&claimed, &kind, &kind, &kind, &kind, &kind, &kind), SUCCESS);
    T_FreeBitmap(&claimed);
}

TEST_P(Storage, TellsItsKindAndFreesEverything) {
    FailingPlatform failing;
    StoredBitmap stored(GetParam(), 50, 50, depthFor(GetParam(), GetParam() == Kind::super ? 24 : 16));
    BitmapHandle& bitmap = stored.record;
    uint32_t kind = 0;
    EXPECT_EQ(T_GetBitmapMemoryInfo(&bitmap, &kind, nullptr, nullptr, nullptr, nullptr, nullptr), SUCCESS);
    constexpr uint32_t kKinds[] = {MEMKIND_MEMORY,          MEMKIND_DISK,       MEMKIND_MEMORY, MEMKIND_MEMORY,
                                   MEMKIND_SUPERCOMPRESSED, MEMKIND_COMPRESSED, MEMKIND_TILED};
    EXPECT_EQ(kind, kKinds[static_cast<int>(GetParam())]);
    uint8_t* const data = bitmap.pData;
    T_FreeBitmap(&bitmap);
    EXPECT_EQ(failing.live(), LiveObjects{});
    EXPECT_TRUE(bitmap.Flags == 0 && bitmap.DataHandle == 0);
    EXPECT_EQ(bitmap.Size, plainBytes(bitmap)) << "what the record would be allocated with next";
    EXPECT_EQ(bitmap.pData, GetParam() == Kind::user ? data : nullptr);
    uint8_t byte = 0;
    EXPECT_EQ(T_GetBitmapRow(&bitmap, &byte, 0, 1), FAILURE) << "no storage";
}

TEST(MovableStorage, HasAnAddressWhileAccessed) {
    FailingPlatform failing;
    StoredBitmap stored(Kind::movable, 8, 8, 8);
    BitmapHandle& bitmap = stored.record;
    uint8_t byte = 9;
    EXPECT_EQ(T_LockBitmap(&bitmap), 1) << "accessed already";
    for (const int32_t locked : {1, 0}) {
        T_UnlockBitmap(&bitmap, static_cast<uint32_t>(locked));
        EXPECT_EQ(bitmap.pData != nullptr, locked != 0);
        EXPECT_EQ(failing.live().movableLocks, locked);
    }
    EXPECT_EQ(T_GetBitmapRow(&bitmap, &byte, 0, 1), ERROR_NOT_ALLOCATED);
    EXPECT_EQ(T_PutBitmapRow(&bitmap, &byte, 0, 1), ERROR_NOT_ALLOCATED);
    const uint32_t segment[] = {0, 1};
    EXPECT_EQ(T_PutBitmapRowSegments(&bitmap, &byte, 0, 0, segment, 2, 0), ERROR_NOT_ALLOCATED);
    EXPECT_EQ(RowReader(bitmap).prepare().code, ERROR_NOT_ALLOCATED);

    failing.failAt(1);
    EXPECT_EQ(T_LockBitmap(&bitmap), 0);
    EXPECT_EQ(bitmap.Flags & BMF_LOCKED, 0u) << "a block that cannot be locked is not accessed";
    failing.stopFailing();
    bitmap.DataOffset = 8;
    EXPECT_EQ(T_LockBitmap(&bitmap), 0);
    EXPECT_EQ(T_PutBitmapRow(&bitmap, &byte, 0, 1), 1);
    EXPECT_EQ(bitmap.pData[0], 9);
    T_UnlockBitmap(&bitmap, 0);
    bitmap.DataOffset = 1;
    EXPECT_EQ(T_ChangeBitmapHeight(&bitmap, 0x1FFFE000), ERROR_SIZE_TOO_LARGE) << "by one byte";
    bitmap.DataOffset = 8;
    ASSERT_EQ(T_ChangeBitmapHeight(&bitmap, 10), SUCCESS);
    EXPECT_EQ(bitmap.Size, 88u) << "Size takes in the offset here";
    bitmap.DataOffset = 0;
    T_AccessBitmap(&bitmap);
    EXPECT_EQ(bitmap.pData[8], 9);
    bitmap.pData[80] = 7;  // behind the rows, where the block is longer
    T_ReleaseBitmap(&bitmap);
    ASSERT_EQ(T_ChangeBitmapHeight(&bitmap, 12), SUCCESS);
    T_AccessBitmap(&bitmap);
    EXPECT_EQ(bitmap.pData[80], 0) << "new rows are zero";
}

TEST(MovableStorage, EndsItsOwnAccessOnly) {
    StoredBitmap source(Kind::movable, 8, 64, 8), other(Kind::movable, 8, 8, 8);
    for (StoredBitmap* each : {&source, &other}) T_ReleaseBitmap(&each->record);
    const auto accessOther = [](int32_t, void* user) TNK_CALL -> int32_t {
        T_AccessBitmap(static_cast<BitmapHandle*>(user));
        return SUCCESS;
    };
    T_SetCopyStatusCallBack(accessOther, &other.record, nullptr, nullptr);
    BitmapHandle copy;
    EXPECT_EQ(T_CopyBitmap(&copy, &source.record, sizeof copy), SUCCESS);
    T_SetCopyStatusCallBack(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(source.record.Flags & BMF_LOCKED, 0u);
    EXPECT_NE(other.record.Flags & BMF_LOCKED, 0u);
    T_FreeBitmap(&copy);
}

TEST(DiskStorage, ReportsFailedTransfers) {
    FailingPlatform failing;
    StoredBitmap stored(Kind::disk, 64, 4, 8);
    BitmapHandle& bitmap = stored.record;
    uint8_t row[256] = {};
    for (const bool placeToo : {false, true}) {
        const auto fail = [&] { placeToo ? failing.failFrom(1) : failing.failAt(1); };
        fail();
        EXPECT_EQ(T_GetBitmapRow(&bitmap, row, 2, 64), placeToo ? ERROR_FILE_SEEK : ERROR_FILE_READ);
        fail();
        EXPECT_EQ(T_PutBitmapRow(&bitmap, row, 2, 64), placeToo ? ERROR_FILE_SEEK : ERROR_FILE_WRITE);
    }
    failing.stopFailing();
    failing.setDiskRoom(0);
    EXPECT_EQ(T_PutBitmapRow(&bitmap, row, 2, 64), ERROR_FILE_WRITE);
    failing.setDiskRoom(UINT64_MAX);
    EXPECT_EQ(T_GetBitmapRow(&bitmap, row, 3, 128), ERROR_FILE_READ) << "past the end of the file";
    EXPECT_EQ(T_GetBitmapRow(&bitmap, row, -1, 64), ERROR_FILE_SEEK);
    BitmapHandle marked;
    ASSERT_EQ(T_InitBitmap(&marked, sizeof marked, 8, 8, 8), SUCCESS);
    marked.Flags = BMF_DISK;
    EXPECT_EQ(T_GetBitmapRow(&marked, row, 0, 1), ERROR_FILE_SEEK) << "no file behind the flag";
}

// The row beyond 4 GB lies past the bitmap's end, where a position of 32 bits would fall into row 4464.
TEST(DiskStorage, ReachesBeyond2And4Gigabytes) {
    StoredBitmap stored(Kind::disk, 65536, 65000, 8);
    BitmapHandle& bitmap = stored.record;
    ASSERT_EQ(bitmap.Size, 65536u * 65000u);
    const int32_t rows[] = {70000, 69999, 70001, 4464, 4463, 64999, 32768, 32767, 0};
    for (const bool writes : {true, false}) {
        for (const int32_t row : rows) {
            const auto expected = static_cast<uint8_t>(row % 251 + 1);
            uint8_t value = writes ? expected : 0;
            ASSERT_EQ(writes ? T_PutBitmapRow(&bitmap, &value, row, 1) : T_GetBitmapRow(&bitmap, &value, row, 1), 1)
                << row;
            EXPECT_EQ(value, expected) << row;
            expectSeekCache(bitmap, row);
        }
    }
}

}  // namespace
}  // namespace tnk::test
