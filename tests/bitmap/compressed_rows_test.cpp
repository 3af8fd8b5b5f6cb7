// Run-compressed storage against plain memory, encoded rows on every kind of storage, and turning encoded images.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "reference/runs.h"
#include "storage_cases.h"
#include "support/failing_platform.h"

namespace tnk::test {
namespace {

using Bytes = std::vector<uint8_t>;

uint32_t widthOf(const BitmapHandle& bitmap) { return static_cast<uint32_t>(bitmap.Width); }

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

Bytes rowOf(BitmapHandle& bitmap, int32_t row) {
    Bytes bytes(bitmap.BytesPerLine);
    EXPECT_EQ(T_GetBitmapRow(&bitmap, bytes.data(), row, bitmap.BytesPerLine), static_cast<int32_t>(bytes.size()));
    return bytes;
}

Bytes encodedOf(BitmapHandle& bitmap, int32_t row, uint32_t column, uint32_t pixels) {
    Bytes out(4 + 2 * (size_t{pixels} + 1), 0xEE);
    EXPECT_EQ(T_GetBitmapRowColCompressed(&bitmap, nullptr, out.data(), row, column, pixels), 1);
    uint32_t count = 0;
    std::memcpy(&count, out.data(), 4);
    out.resize(std::min<size_t>(out.size(), 4 + 2 * size_t{count}));
    return out;
}

// A compressed bitmap and a plain one to which the same is done.
class Twins {
  public:
    Twins(int32_t width, int32_t height, uint32_t seed)
        : compressed_(Kind::compressed, width, height, 1), plain_(Kind::section, width, height, 1), random_(seed) {}

    void step() {
        const auto height = static_cast<uint32_t>(compressed_.record.Height);
        const uint32_t width = widthOf(compressed_.record);
        const uint32_t line = compressed_.record.BytesPerLine;
        const auto row = static_cast<int32_t>(random_() % height);
        const auto column = static_cast<uint32_t>(random_() % width);
        const auto pixels = 1 + static_cast<uint32_t>(random_() % (width - column));
        switch (random_() % 6) {
            case 0: {
                const auto rows =
                    1 + static_cast<uint32_t>(random_() % std::min(3u, height - static_cast<uint32_t>(row)));
                const Bytes data = randomRow(random_, size_t{line} * rows);
                both(static_cast<int32_t>(line * rows),
                     [&](auto* b) { return T_PutBitmapRow(b, data.data(), row, line * rows); });
                break;
            }
            case 1: {
                // From inside a byte, perhaps into the next rows.
                const uint32_t rest = line * (height - static_cast<uint32_t>(row)) - column / 8;
                const auto bytes = static_cast<uint32_t>(random_() % std::min(rest + 1, 2 * line));
                const Bytes data = randomRow(random_, bytes + 1);
                both(static_cast<int32_t>(bytes),
                     [&](auto* b) { return T_PutBitmapRowCol(b, data.data(), row, column, bytes); });
                break;
            }
            case 2: {
                const Bytes data = randomRow(random_, line + 1);
                const uint32_t segments[] = {0, pixels / 3, pixels / 2, pixels};
                both(1, [&](auto* b) {
                    return T_PutBitmapRowSegments(b, data.data(), row, column & ~7u, segments, 4, 0);
                });
                break;
            }
            case 3: {
                Bytes rows = randomRuns(random_, width);
                const Bytes second = randomRuns(random_, width);
                const int32_t count = row + 1 < compressed_.record.Height ? 2 : 1;
                rows.insert(rows.end(), second.begin(), second.end());
                both(count, [&](auto* b) { return T_PutBitmapRowCompressed(b, nullptr, rows.data(), row, count); });
                break;
            }
            case 4: {
                const Bytes runs = randomRuns(random_, pixels);
                both(1, [&](auto* b) {
                    return T_PutBitmapRowColCompressed(b, nullptr, runs.data(), row, column, pixels);
                });
                break;
            }
            default: {
                const Bytes whole = rowOf(plain_.record, row);
                EXPECT_EQ(encodedOf(compressed_.record, row, column, pixels),
                          referenceEncode(&whole[column / 8], column % 8, pixels));
            }
        }
    }
    void changeHeight(int32_t height) {
        both(1, [&](auto* b) { return T_ChangeBitmapHeight(b, height); });
    }
    // Rows are alike, and Size is the sum of their lengths.
    void check() {
        uint64_t size = 0;
        for (int32_t y = 0; y < compressed_.record.Height; ++y) {
            Bytes expected = rowOf(plain_.record, y);
            dropLostBits(compressed_.record, expected);
            ASSERT_EQ(rowOf(compressed_.record, y), expected) << y;
            size += referenceEncode(expected.data(), 0, widthOf(compressed_.record)).size();
        }
        EXPECT_EQ(compressed_.record.Size, size);
        EXPECT_EQ(T_UpdateBitmapSize(&compressed_.record), SUCCESS);
        EXPECT_EQ(compressed_.record.Size, size);
    }
    std::mt19937& random() { return random_; }

  private:
    template <typename Call>
    void both(int32_t result, Call call) {
        EXPECT_EQ(call(&compressed_.record), result);
        EXPECT_EQ(call(&plain_.record), result);
    }

    StoredBitmap compressed_;
    StoredBitmap plain_;
    std::mt19937 random_;
};

TEST(CompressedStorage, DoesWhatPlainMemoryDoes) {
    for (const int32_t width : {1, 7, 33, 200, 65'531, 140'000}) {
        SCOPED_TRACE(width);
        Twins twins(width, 20, static_cast<uint32_t>(width));
        twins.check();
        const int rounds = width > 1000 ? 3 : 25;
        for (int round = 0; round < rounds; ++round) {
            for (int i = 0; i < 20; ++i) twins.step();
            twins.changeHeight(1 + static_cast<int32_t>(twins.random()() % 40));
            twins.check();
            if (::testing::Test::HasFatalFailure()) return;
        }
    }
}

TEST(CompressedStorage, HasGroupsOfRows) {
    FailingPlatform failing;
    Twins twins(70, 32'770, 5);
    for (const int32_t height : {32'768, 65'600, 32'769, 100, 32'780}) {
        for (int i = 0; i < 4000; ++i) twins.step();
        twins.changeHeight(height);
        twins.check();
    }
}

TEST(CompressedStorage, RefusesRowsOutside) {
    StoredBitmap stored(Kind::compressed, 40, 3, 1);
    BitmapHandle& bitmap = stored.record;
    const BitmapHandle before = bitmap;
    uint8_t row[64] = {1, 0, 0, 0, 9, 0};
    const uint32_t segment[] = {0, 9};
    for (const int32_t outside : {-1, 3, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(T_GetBitmapRow(&bitmap, row, outside, 1), FAILURE);
        EXPECT_EQ(T_PutBitmapRow(&bitmap, row, outside, 1), FAILURE);
        EXPECT_EQ(T_PutBitmapRowSegments(&bitmap, row, outside, 0, segment, 2, 0), FAILURE);
        EXPECT_EQ(T_GetBitmapRowCompressed(&bitmap, nullptr, row, outside, 1), ERROR_INVALID_SIZE);
        EXPECT_EQ(T_PutBitmapRowColCompressed(&bitmap, nullptr, row, outside, 1, 1), ERROR_INVALID_SIZE);
    }
    EXPECT_EQ(T_PutBitmapRow(&bitmap, row, 1, 17), FAILURE) << "over the end";
    EXPECT_EQ(T_PutBitmapRowCompressed(&bitmap, nullptr, row, 1, 3), ERROR_INVALID_SIZE);
    EXPECT_EQ(T_GetBitmapRowCompressed(&bitmap, nullptr, row, 1, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_PutBitmapRowColCompressed(&bitmap, nullptr, row, 1, 30, 11), ERROR_INVALID_SIZE);
    EXPECT_EQ(T_PutBitmapRowColCompressed(&bitmap, nullptr, row, 1, UINT32_MAX, 2), ERROR_INVALID_SIZE);
    EXPECT_EQ(T_GetBitmapRowColCompressed(&bitmap, nullptr, row, 1, 30, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(std::memcmp(&before, &bitmap, sizeof bitmap), 0);
    for (int32_t y = 0; y < 3; ++y) EXPECT_EQ(rowOf(bitmap, y), Bytes(8, 0));
    EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, row, bitmap.Size), ERROR_INVALID_PARAMETER) << "plain rows take more";
    ASSERT_EQ(T_SetBitmapDataPointer(&bitmap, row, 24), SUCCESS);
    EXPECT_EQ(rowOf(bitmap, 0)[0], 1);
}

TEST(CompressedStorage, KeepsTheRowWhenMemoryEnds) {
    FailingPlatform failing;
    BitmapHandle bitmap;
    ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 600, 40'000, 1), SUCCESS);
    const auto allocate = [&] { return T_AllocateBitmap(&bitmap, MEM_COMPRESSED); };
    EXPECT_EQ(sweepFailures(failing, kAllFailures, allocate,
                            [&](int32_t result, bool injected) {
                                EXPECT_EQ(result, injected ? FAILURE : SUCCESS);
                                T_FreeBitmap(&bitmap);
                            }),
              6);

    StoredBitmap stored(Kind::compressed, 80, 2, 1);
    const Bytes busy(stored.record.BytesPerLine, 0x55);
    const Bytes calm = {0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    ASSERT_EQ(T_PutBitmapRow(&stored.record, calm.data(), 0, 12), 12);
    const uint32_t size = stored.record.Size;
    for (const uint32_t column : {0u, 9u}) {
        failing.failFrom(1);
        EXPECT_EQ(T_PutBitmapRowCol(&stored.record, busy.data(), 0, column, 10 - column / 8), FAILURE);
        EXPECT_EQ(T_ChangeBitmapHeight(&stored.record, 40'000), FAILURE);
        failing.stopFailing();
        EXPECT_EQ(rowOf(stored.record, 0), calm);
        EXPECT_EQ(stored.record.Size, size);
    }
}

TEST(CompressedStorage, ThreadsReadDifferentRows) {
    StoredBitmap stored(Kind::compressed, 500, 200, 1);
    std::mt19937 random(4);
    std::vector<Bytes> rows;
    for (int32_t y = 0; y < 200; ++y) {
        rows.push_back(randomRow(random, stored.record.BytesPerLine));
        dropLostBits(stored.record, rows.back());
        T_PutBitmapRow(&stored.record, rows.back().data(), y, stored.record.BytesPerLine);
    }
    const auto readAll = [&](int32_t first) {
        for (int32_t y = first; y < 200; y += 2) EXPECT_EQ(rowOf(stored.record, y), rows[static_cast<size_t>(y)]);
    };
    std::thread other(readAll, 1);
    readAll(0);
    other.join();
}

class EncodedRows : public ::testing::TestWithParam<Kind> {};
INSTANTIATE_TEST_SUITE_P(Kinds, EncodedRows, ::testing::ValuesIn(kAllKinds), kindName);

TEST_P(EncodedRows, MoveThroughEveryStorage) {
    std::mt19937 random(6);
    StoredBitmap stored(GetParam(), 53, 6, 1);
    StoredBitmap model(Kind::section, 53, 6, 1);
    Bytes work(stored.record.BytesPerLine);
    for (int round = 0; round < 100; ++round) {
        const Bytes rows = randomRuns(random, 53);
        const auto y = static_cast<int32_t>(random() % 6);
        const auto column = static_cast<uint32_t>(random() % 53);
        const auto pixels = 1 + static_cast<uint32_t>(random() % (53 - column));
        void* buffer = round % 2 == 0 ? nullptr : work.data();
        for (BitmapHandle* bitmap : {&stored.record, &model.record}) {
            ASSERT_EQ(T_PutBitmapRowColCompressed(bitmap, buffer, rows.data(), y, column, pixels), 1);
            ASSERT_EQ(T_PutBitmapRowCompressed(bitmap, buffer, rows.data(), 5, 1), 1);
        }
        Bytes all(6 * (4 + 2 * 54));
        ASSERT_EQ(T_GetBitmapRowCompressed(&stored.record, buffer, all.data(), 0, 6), 6);
        Bytes expected;
        for (int32_t row = 0; row < 6; ++row) {
            const Bytes runs = referenceEncode(rowOf(model.record, row).data(), 0, 53);
            expected.insert(expected.end(), runs.begin(), runs.end());
        }
        all.resize(expected.size());
        ASSERT_EQ(all, expected);
    }
}

// Status reports on record; a stop at the third.
int32_t TNK_CALL stopAtThird(int32_t, void* count) { return ++*static_cast<int*>(count) == 3 ? 77 : SUCCESS; }

TEST_P(EncodedRows, StorageChangesInPlace) {
    FailingPlatform failing;
    StoredBitmap stored(GetParam(), 300, 90, 1);
    BitmapHandle& bitmap = stored.record;
    T_CreateBitmapGrayPalette(&bitmap);
    std::mt19937 random(8);
    std::vector<Bytes> rows;
    for (int32_t y = 0; y < 90; ++y) {
        rows.push_back(randomRow(random, bitmap.BytesPerLine));
        rows.back()[37] &= 0xF0;
        rows.back()[38] = rows.back()[39] = 0;
        T_PutBitmapRow(&bitmap, rows.back().data(), y, bitmap.BytesPerLine);
    }
    if (GetParam() == Kind::movable) {
        EXPECT_EQ(T_ChangeBitmapCompression(&bitmap, 1), ERROR_INVALID_PARAMETER) << "accessed";
    }
    T_ReleaseBitmap(&bitmap);
    const BitmapHandle before = bitmap;
    const auto expectSame = [&](bool compressed) {
        EXPECT_EQ((bitmap.Flags & BMF_COMPRESSED) != 0, compressed);
        EXPECT_TRUE(bitmap.Palette == before.Palette && bitmap.pByteMap == before.pByteMap);
        const int32_t locked = T_LockBitmap(&bitmap);
        for (int32_t y = 0; y < 90; ++y) ASSERT_EQ(rowOf(bitmap, y), rows[static_cast<size_t>(y)]) << y;
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
            Bytes row = y == 0 ? Bytes(line, 0) : y == 1 ? Bytes(line, 0xFF) : randomRow(random, line);
            Bytes runs = referenceEncode(row.data(), 0, width);
            if (y == 3) {
                runs = randomRuns(random, width);
                std::vector<uint16_t> list((runs.size() - 4) / 2);
                std::copy_n(runs.begin() + 4, list.size() * 2, reinterpret_cast<uint8_t*>(list.data()));
                row = referenceExpand(list, 0, width);
            }
            append(image, runs);
            flipped.insert(flipped.begin(), runs.begin(), runs.end());
            Bytes turned(line);
            for (uint32_t x = 0; x < width; ++x) {
                const uint32_t from = width - 1 - x;
                if ((row[from / 8] >> (7 - from % 8) & 1) != 0) turned[x / 8] |= static_cast<uint8_t>(0x80 >> x % 8);
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
