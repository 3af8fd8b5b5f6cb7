// Tiles that are paged: limits, order, a full disk.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "support/failing_platform.h"
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
    tiled.expectRow(5);
    EXPECT_EQ(inMemory(), "01....") << "what was never written needs no memory";
    for (const int32_t row : {0, 3, 4}) ASSERT_EQ(tiled.put(row, 7), 64);
    EXPECT_EQ(inMemory(), "0..34.") << "0 was used after 1";
    EXPECT_EQ(failing.live().files, 0) << "1 had nothing to be kept";
    tiled.expectRow(0);
    for (const int32_t row : {1, 5, 3}) ASSERT_EQ(tiled.put(row, 7), 64);
    EXPECT_EQ(inMemory(), ".1.3.5");
    failing.setDiskRoom(0);  // what did not change since it was stored is not stored again
    for (const int32_t row : {4, 0, 1, 4}) tiled.expectRow(row);
    EXPECT_EQ(infoOf(tiled.record).inMemory, 4u) << "one beyond the limits, where unchanged tiles take turns";
    tiled.expectAll();
}

TEST(Tiles, GrowToTheSizeOfTheSettingAndShareOneFile) {
    FailingPlatform failing;
    for (const bool manyOpen : {false, true}) {
        const TileSettings settings(10 * 64);
        Tiled tiled(64, 1);
        ASSERT_EQ(tiled.put(0, 5), 64);
        uint32_t limit = 0;
        ASSERT_TRUE(platform->handleLimit(&limit));
        failing.setHandleCount(limit / 2 - (manyOpen ? 0 : 1));
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
    StoredBitmap stored(Kind::section, 65536, 65000, 8);
    EXPECT_EQ(infoOf(stored.record), (Info{MEMKIND_TILED, 16 << 20, 254, 1, 64 << 20, 1}));
    for (const bool writes : {true, false}) {
        for (int32_t row = 0; row < 65000; row += row % 256 == 255 ? 1 : 85) {  // the edges of a tile, two between
            uint8_t value = writes ? static_cast<uint8_t>(row % 251) : 255;
            ASSERT_EQ(writes ? T_PutBitmapRow(&stored.record, &value, row, 1)
                             : T_GetBitmapRow(&stored.record, &value, row, 1),
                      1);
            ASSERT_EQ(value, row % 251) << row;
            ASSERT_LE(failing.live().sections, 4);
        }
    }
}

TEST(Tiles, AllocateAsMemoryAndDiskAllow) {
    FailingPlatform failing;
    BitmapHandle bitmap;
    ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 64, 4096, 8), SUCCESS);
    const TileSettings settings(64 << 10, -50, -75);
    failing.setMemoryStatus({8 << 20, 1 << 20, 8 << 20, 1 << 20});
    for (const int halved : {0, 1}) {  // sections that cannot be had are tried again with half the tile
        failing.failAt(halved, kSectionFailures);
        ASSERT_EQ(T_AllocateBitmap(&bitmap, MEM_TILED), SUCCESS);
        EXPECT_EQ(infoOf(bitmap),
                  (Info{MEMKIND_TILED, 0x10000u >> halved, 4u << halved, 3u << halved, 1 << 20, 3u << halved}));
        T_FreeBitmap(&bitmap);
    }
    failing.failFrom(1, kSectionFailures);
    EXPECT_EQ(T_AllocateBitmap(&bitmap, MEM_TILED), FAILURE) << "no size can be had while memory fails";
}

TEST(Tiles, PassTheLimitsOnAFullDisk) {
    FailingPlatform failing;
    const TileSettings settings(2 * 64, 0, 2);
    Tiled tiled(64, 10);  // five tiles, two of which stay in memory, so that every step pages
    for (int32_t row = 0; row < 10; row += 2) EXPECT_EQ(tiled.put(row, 1), 64);
    failing.setDiskRoom(0);
    for (const int32_t row : {1, 3, 5, 7, 9}) ASSERT_EQ(tiled.put(row, 2), 64);
    EXPECT_EQ(infoOf(tiled.record).inMemory, 5u);
    failing.setDiskRoom(UINT64_MAX);
    ASSERT_EQ(T_ChangeBitmapHeight(&tiled.record, 12), SUCCESS);
    tiled.model.resize(12 * 64);
    ASSERT_EQ(tiled.put(11, 2), 64);
    EXPECT_EQ(infoOf(tiled.record).inMemory, 2u) << "back within the limits";

    failing.setDiskRoom(0);
    failing.failFrom(1, kSectionFailures);
    for (const int32_t row : {11, 9}) ASSERT_EQ(tiled.put(row, 3), 64);
    uint8_t byte = 9;
    EXPECT_EQ(T_GetBitmapRow(&tiled.record, &byte, 0, 1), ERROR_DISK_FULL) << "no memory either";
    EXPECT_EQ(T_PutBitmapRow(&tiled.record, &byte, 0, 1), 0);
    failing.stopFailing();
    tiled.expectAll();
}

}  // namespace
}  // namespace tnk::test
