// Tiles that are paged: limits, order, failures, threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "support/bitmap_operations.h"
#include "support/failing_platform.h"
#include "support/files.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

// What T_GetBitmapMemoryInfo tells.
struct Info {
    uint32_t kind, tileBytes, tileCount, inMemory, limit1, limit2;
    bool operator==(const Info&) const = default;
};

Info infoOf(const BitmapHandle& bitmap) {
    Info info{};
    EXPECT_EQ(T_GetBitmapMemoryInfo(&bitmap, &info.kind, &info.tileBytes, &info.tileCount, &info.inMemory, &info.limit1,
                                    &info.limit2),
              SUCCESS);
    return info;
}

// An 8-bit bitmap with what it should hold.
class Tiled : public StoredBitmap {
  public:
    // Tiles since the settings of these tests allow no memory.
    Tiled(int32_t width, int32_t height) : StoredBitmap(Kind::section, width, height, 8), model(record.Size) {}

    uint8_t* at(int32_t row) { return &model[size_t{record.BytesPerLine} * size_t(row)]; }
    int32_t put(int32_t row, int value) {
        const Bytes bytes(record.BytesPerLine, uint8_t(row + value));
        const int32_t result = T_PutBitmapRowCol(&record, bytes.data(), row, 0, record.BytesPerLine);
        if (result > 0) std::memcpy(at(row), bytes.data(), bytes.size());
        return result;
    }
    void expectRow(int32_t row) {
        Bytes bytes(record.BytesPerLine, 0xEE);
        ASSERT_EQ(T_GetBitmapRow(&record, bytes.data(), row, record.BytesPerLine), int32_t(bytes.size()));
        ASSERT_EQ(std::memcmp(bytes.data(), at(row), bytes.size()), 0) << row;
    }
    void expectAll() { EXPECT_EQ(rowsOf(record), model); }

    Bytes model;
};

TEST(Tiles, KeepTheirLimitsThroughRandomOperations) {
    const TempDirectorySetting directory;
    constexpr struct {
        uint32_t tileSize;
        int32_t mostBytes, leastTiles;
    } cases[] = {{1000, 0, 1}, {1, 0, 1}, {700, 1500, 1}, {333, 0, 3}, {5000, -100, 1}, {1 << 20, 0, 1}, {400, 0, -40}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.tileSize);
        FailingPlatform failing;
        StoredBitmap model(Kind::section, 99, 61, 8);
        const int others = failing.live().sections;
        const TileSettings settings(c.tileSize, c.mostBytes, c.leastTiles);
        StoredBitmap tiled(Kind::section, 99, 61, 8);
        std::mt19937 random(c.tileSize);
        std::vector<uint8_t> script(4'000);
        for (uint8_t& byte : script) byte = static_cast<uint8_t>(random());
        EXPECT_STREQ(OperationPair(tiled.record, model.record, Script(script.data(), script.size())).run(), nullptr);
        const uint32_t line = tiled.record.BytesPerLine;
        const Info info = infoOf(tiled.record);
        // A bitmap of less than a tile has one of its own size until it grows.
        const uint32_t tileBytes = std::max(c.tileSize / line, 1u) * line;
        EXPECT_TRUE(info.tileBytes == tileBytes || info.tileBytes == std::min(tileBytes, 61 * line)) << info.tileBytes;
        EXPECT_EQ(info.tileCount, (tiled.record.Size - 1) / info.tileBytes + 1);
        EXPECT_LE(info.inMemory, std::max(info.limit2, info.limit1 / info.tileBytes));
        EXPECT_EQ(static_cast<int>(info.inMemory) + others, failing.live().sections);
        T_FreeBitmap(&tiled.record);
        EXPECT_EQ(directory.folder().entries(), 0);
    }
}

TEST(Tiles, PageOutTheLeastRecentlyUsed) {
    FailingPlatform failing;
    const TileSettings settings(64, 3 * 64, 2);
    Tiled tiled(64, 6);
    EXPECT_EQ(infoOf(tiled.record), (Info{MEMKIND_TILED, 64, 6, 2, 3 * 64, 2})) << "the least number is there at once";
    // The table: five words, then four a tile, of which the second is the view.
    const auto inMemory = [&tiled] {
        std::string tiles;
        const auto* words = reinterpret_cast<const uintptr_t*>(tiled.record.pData);
        for (int i = 0; i < 6; ++i) tiles += words[5 + 4 * i + 1] != 0 ? static_cast<char>('0' + i) : '.';
        return tiles;
    };
    const auto get = [&tiled](int32_t row) { tiled.expectRow(row); };
    const auto put = [&tiled](int32_t row) { ASSERT_EQ(tiled.put(row, 7), 64); };
    get(5);
    EXPECT_EQ(inMemory(), "01....") << "what was never written needs no memory";
    put(0);
    put(3);
    put(4);
    EXPECT_EQ(inMemory(), "0..34.") << "0 was used after 1";
    EXPECT_EQ(failing.live().files, 0) << "1 had nothing to be kept";
    get(0);
    put(1);
    EXPECT_EQ(inMemory(), "01..4.");
    put(5);
    put(3);
    failing.setDiskRoom(0);  // what did not change since it was stored is not stored again
    for (const int32_t row : {4, 0, 1, 4}) get(row);
    EXPECT_EQ(infoOf(tiled.record).inMemory, 4u) << "one beyond the limits, where unchanged tiles take turns";
    tiled.expectAll();
}

TEST(Tiles, GrowToTheSizeOfTheSettingAndShareOneFile) {
    FailingPlatform failing;
    const TempDirectorySetting directory;
    for (const bool manyOpen : {false, true}) {
        const TileSettings settings(10 * 64);
        Tiled tiled(64, 1);
        ASSERT_EQ(tiled.put(0, 5), 64);
        failing.setHandleCount(manyOpen ? UINT32_MAX : 0);
        ASSERT_EQ(T_ChangeBitmapHeight(&tiled.record, 95), SUCCESS);
        EXPECT_EQ(infoOf(tiled.record), (Info{MEMKIND_TILED, 10 * 64, 10, 1, 0, 1}));
        tiled.model.resize(95 * 64);
        for (int32_t row = 94; row > 0; row -= 3) ASSERT_EQ(tiled.put(row, 5), 64);
        tiled.expectAll();
        EXPECT_EQ(failing.live().files, manyOpen ? 0 : 1) << "none where half of what may be open is";
        EXPECT_EQ(infoOf(tiled.record).inMemory, manyOpen ? 10u : 1u);
        ASSERT_EQ(T_ChangeBitmapHeight(&tiled.record, 33), SUCCESS);
        ASSERT_EQ(T_ChangeBitmapHeight(&tiled.record, 50), SUCCESS);
        std::fill(tiled.model.begin() + 33 * 64, tiled.model.end(), uint8_t{0});
        tiled.model.resize(50 * 64);
        tiled.expectAll();
    }
}

// What is allowed in memory and what is written stay far below the bitmap's size.
TEST(Tiles, Hold4GigabytesIn64Megabytes) {
    FailingPlatform failing;
    const TileSettings settings(0, 64 << 20);
    BitmapHandle bitmap;
    constexpr int32_t kRows = 65000;
    ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 65536, kRows, 8), SUCCESS);
    ASSERT_EQ(T_AllocateBitmap(&bitmap, MEM_TILED), SUCCESS);
    EXPECT_EQ(infoOf(bitmap), (Info{MEMKIND_TILED, 16 << 20, 254, 1, 64 << 20, 1}));
    Bytes line(65536);
    for (const bool writes : {true, false}) {
        for (int32_t row = 0; row < kRows; row += row % 256 == 255 ? 1 : 85) {  // first and last of a tile, two between
            const Bytes expected(65536, static_cast<uint8_t>(row % 251 + 1));
            line = expected;
            ASSERT_EQ(writes ? T_PutBitmapRow(&bitmap, line.data(), row, 65536)
                             : T_GetBitmapRow(&bitmap, line.data(), row, 65536),
                      65536);
            ASSERT_EQ(line, expected) << row;
            ASSERT_LE(failing.live().sections, 4);
        }
    }
    for (const int32_t row : {40, 64001}) {
        ASSERT_EQ(T_GetBitmapRow(&bitmap, line.data(), row, 65536), 65536);
        EXPECT_EQ(line, Bytes(65536, 0));
    }
    T_FreeBitmap(&bitmap);
    EXPECT_EQ(failing.live(), LiveObjects{});
}

TEST(Tiles, AllocateAsMemoryAndDiskAllow) {
    FailingPlatform failing;
    BitmapHandle bitmap;
    ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 64, 4096, 8), SUCCESS);
    const auto allocate = [&bitmap] { return T_AllocateBitmap(&bitmap, MEM_TILED); };
    const TileSettings settings(64 << 10, -50, -75);
    failing.setMemoryStatus({8 << 20, 1 << 20, 8 << 20, 1 << 20});
    // Sections that cannot be had are tried again with half the tile, down to eight rows; so is the table.
    std::vector<Info> made;
    const auto check = [&](int32_t result, bool) {
        if (result == SUCCESS) made.push_back(infoOf(bitmap));
        T_FreeBitmap(&bitmap);
    };
    EXPECT_EQ(sweepFailures(failing, kMemoryFailures, allocate, check), 5);
    const Info halved = {MEMKIND_TILED, 32 << 10, 8, 6, 1 << 20, 6};
    EXPECT_EQ(made, (std::vector<Info>{halved, halved, halved, halved, {MEMKIND_TILED, 64 << 10, 4, 3, 1 << 20, 3}}));
    EXPECT_EQ(sweepFailures(failing, kMemoryFailures, allocate, check, true), 5);
    EXPECT_EQ(made.size(), 6u) << "no size can be had while memory fails";
    bitmap.BytesPerLine = 0;  // as a caller may have left it
    EXPECT_EQ(allocate(), FAILURE);
}

// Five tiles, two of which stay in memory, so that every step pages.
class TilesUnderFailure : public ::testing::Test {
  protected:
    TilesUnderFailure() {
        for (int32_t row = 0; row < 10; row += 2) EXPECT_EQ(tiled_.put(row, 1), 64);
    }

    FailingPlatform failing_;
    TempDirectorySetting directory_;
    TileSettings settings_{2 * 64, 0, 2};
    Tiled tiled_{64, 10};
};

// A put that failed changed nothing, and every row that was stored is there.
TEST_F(TilesUnderFailure, LosesNoStoredRow) {
    for (int k = 1; k < 240; ++k) {
        const uint32_t kinds[] = {kAllFailures, kFileFailures, kSectionFailures};
        SCOPED_TRACE(k);
        k % 2 == 0 ? failing_.failFrom(k / 6, kinds[k % 3]) : failing_.failAt(k / 6, kinds[k % 3]);
        for (const int32_t row : {1, 8, 3, 6, 5}) {
            const int32_t put = tiled_.put(row, k);
            EXPECT_TRUE(put == 64 || (put == FAILURE && failing_.injected())) << put;
            uint8_t bytes[64];
            const int32_t got = T_GetBitmapRow(&tiled_.record, bytes, 9 - row, 64);
            if (got < 0) {
                EXPECT_TRUE(failing_.injected());
                EXPECT_TRUE(got == FAILURE || got <= ERROR_FILE_SEEK) << got;
            } else {
                EXPECT_EQ(std::memcmp(bytes, tiled_.at(9 - row), 64), 0);
            }
        }
        failing_.stopFailing();
        tiled_.expectAll();
        ASSERT_FALSE(HasFailure());
    }
    T_FreeBitmap(&tiled_.record);
    EXPECT_EQ(failing_.live(), LiveObjects{});
    EXPECT_EQ(directory_.folder().entries(), 0);
}

TEST_F(TilesUnderFailure, PassesTheLimitsOnAFullDisk) {
    failing_.setDiskRoom(0);
    for (const int32_t row : {1, 3, 5, 7, 9}) ASSERT_EQ(tiled_.put(row, 2), 64);
    EXPECT_EQ(infoOf(tiled_.record).inMemory, 5u);
    failing_.setDiskRoom(UINT64_MAX);
    ASSERT_EQ(T_ChangeBitmapHeight(&tiled_.record, 12), SUCCESS);
    tiled_.model.resize(12 * 64);
    ASSERT_EQ(tiled_.put(11, 2), 64);
    EXPECT_EQ(infoOf(tiled_.record).inMemory, 2u) << "back within the limits";

    failing_.setDiskRoom(0);
    failing_.failFrom(1, kSectionFailures);
    for (const int32_t row : {11, 9}) ASSERT_EQ(tiled_.put(row, 3), 64);
    uint8_t byte = 9;
    EXPECT_EQ(T_GetBitmapRow(&tiled_.record, &byte, 0, 1), ERROR_DISK_FULL) << "no memory either";
    EXPECT_EQ(T_PutBitmapRow(&tiled_.record, &byte, 0, 1), 0);
    failing_.stopFailing();
    tiled_.expectAll();
}

}  // namespace
}  // namespace tnk::test
