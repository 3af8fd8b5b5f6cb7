// Super-compressed storage with codecs that lie, and the codec module on damaged bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/failing_platform.h"
#include "support/picture.h"
#include "tnkrn_codec.h"

namespace tnk::test {
namespace {

// What the codec of these tests does wrong. From kLoadFails on, what was packed cannot be had back.
constexpr int kHonest = 0, kSaveFails = 1, kSaveClaimsNothing = 2, kSaveClaimsTooMuch = 3, kSaveClaimsLess = 4,
              kSaveWritesTooMuch = 5, kSavePacksOtherRows = 6, kLoadWritesTooMuch = 7, kLoadFails = 8,
              kLoadAnswersNoCode = 9, kLoadDoesNothing = 10, kLoadGivesOtherRows = 11, kLies = 12;
int lie = kHonest;

// Pairs of count and value.
int32_t TNK_CALL saveRuns(const CodecChunk* chunk, const uint8_t* rows, uint8_t* packed, uint32_t capacity,
                          uint32_t* packedBytes) {
    const size_t bytes = size_t{chunk->BytesPerLine} * static_cast<uint32_t>(chunk->Rows);
    uint32_t used = 0;
    for (size_t i = 0, count = 0; i < bytes; i += count, used += 2) {
        for (count = 1; count < 255 && i + count < bytes && rows[i + count] == rows[i];) ++count;
        if (used + 2 > capacity) return FAILURE;
        packed[used] = static_cast<uint8_t>(count);
        packed[used + 1] = rows[i];
    }
    *packedBytes = used;
    if (lie == kSaveClaimsNothing) *packedBytes = 0;
    if (lie == kSaveClaimsTooMuch) *packedBytes = capacity + 1;
    if (lie == kSaveClaimsLess) *packedBytes = used - 2;
    if (lie == kSaveWritesTooMuch) packed[capacity + 100] = 1;
    if (lie == kSavePacksOtherRows) ++packed[used - 1];
    return lie == kSaveFails ? ERROR_FILE_WRITE : SUCCESS;
}

int32_t TNK_CALL loadRuns(const CodecChunk* chunk, const uint8_t* packed, uint32_t packedBytes, uint8_t* rows) {
    const size_t bytes = size_t{chunk->BytesPerLine} * static_cast<uint32_t>(chunk->Rows);
    if (lie == kLoadDoesNothing) return SUCCESS;
    size_t done = 0;
    for (uint32_t i = 0; i + 1 < packedBytes && done + packed[i] <= bytes; i += 2) {
        if (lie == kLoadFails && done > bytes / 2) return ERROR_FILE_READ;
        std::memset(rows + done, packed[i + 1], packed[i]);
        done += packed[i];
    }
    if (lie == kLoadAnswersNoCode) return 7;
    if (lie == kLoadGivesOtherRows) ++rows[bytes - 1];
    if (lie == kLoadWritesTooMuch) rows[bytes + 10] = 1;
    return done == bytes ? SUCCESS : FAILURE;
}

// While it lives, modules are those of the test, F for fax and C for the general one, small for one that lacks an entry
// point.
struct CodecPlatform {
    explicit CodecPlatform(const char* modules = "C") : previous(platform), table(*platform) {
        present = modules;
        tried.clear();
        lie = kHonest;
        table.loadModule = [](const T_WCHAR* name) -> T_HANDLE {
            const std::string text(name, std::find(name, name + 20, 0));
            tried += text == "TFFAX15U" ? 'F' : text == "TFCMP15U" ? 'C' : '?';
            const bool whole = present.find(tried.back()) != std::string::npos;
            if (!whole && present.find(static_cast<char>(tried.back() | 0x20)) == std::string::npos) return 0;
            ++loaded;
            return whole ? 1 : 2;
        };
        table.findSymbol = [](T_HANDLE module, const char* name) -> void* {
            if (std::strcmp(name, "fltSaveBuffer") == 0) return reinterpret_cast<void*>(saveRuns);
            const bool found = module == 1 && std::strcmp(name, "fltLoadBuffer") == 0;
            return found ? reinterpret_cast<void*>(loadRuns) : nullptr;
        };
        table.unloadModule = [](T_HANDLE) { return --loaded >= 0; };
        platform = &table;
    }
    ~CodecPlatform() {
        EXPECT_EQ(loaded, 0) << "modules left loaded";
        platform = previous;
    }
    CodecPlatform(const CodecPlatform&) = delete;
    CodecPlatform& operator=(const CodecPlatform&) = delete;

    static inline std::string present, tried;
    static inline int loaded = 0;
    const Platform* previous;
    Platform table;
};

// Four rows make a chunk.
constexpr int32_t kWidth = 65536;
constexpr int32_t kHeight = 18;

// A packed bitmap of rows that the codec packs well, all different, beside plain ones.
struct Filled {
    Filled() : stored(Kind::super, kWidth, kHeight, 8), model(kHeight) {
        for (int32_t row = 0; row < kHeight; ++row) EXPECT_EQ(put(row, 0), kWidth);
        EXPECT_EQ(T_UpdateBitmapSize(&bitmap), SUCCESS);
        EXPECT_LT(bitmap.Size, uint32_t{kWidth} * kHeight / 50);
    }
    int32_t put(int32_t row, int32_t version) {
        Bytes bytes(kWidth, static_cast<uint8_t>(row * 7 + version * 31));
        std::fill_n(bytes.begin(), 100 * row + version + 1, static_cast<uint8_t>(version + 1));
        const int32_t result = T_PutBitmapRow(&bitmap, bytes.data(), row, kWidth);
        if (result == kWidth) model[static_cast<size_t>(row)] = bytes;
        return result;
    }
    int32_t get(int32_t row) {
        Bytes bytes(kWidth);
        const int32_t result = T_GetBitmapRow(&bitmap, bytes.data(), row, kWidth);
        EXPECT_TRUE(result != kWidth || bytes == model[static_cast<size_t>(row)]) << "row " << row;
        return result;
    }
    void expectAllRows() {
        for (int32_t row = 0; row < kHeight; ++row) ASSERT_EQ(get(row), kWidth);
    }

    StoredBitmap stored;
    BitmapHandle& bitmap = stored.record;
    std::vector<Bytes> model;
};

TEST(SuperStorage, LosesNoRowToACodecThatLies) {
    const CodecPlatform codec;
    for (int i = 1; i < kLies; ++i) {
        SCOPED_TRACE(i);
        Filled filled;
        lie = i;
        RandomNumbers random(static_cast<uint32_t>(i));
        int refused = 0;
        for (int32_t step = 0; step < 60; ++step) {
            const int32_t row = random.between(0, kHeight - 1);
            const int32_t result = random.below(2) != 0 ? filled.put(row, step % 5) : filled.get(row);
            if (result == kWidth) continue;
            EXPECT_EQ(result, lie == kLoadFails ? ERROR_FILE_READ : FAILURE) << "step " << step;
            ++refused;
        }
        EXPECT_EQ(refused > 0, lie >= kLoadFails);
        lie = kHonest;
        filled.expectAllRows();
    }
}

TEST(SuperStorage, TakesTheModuleOfTheDepth) {
    FailingPlatform failing;
    constexpr struct {
        int32_t bits;
        const char *present, *tried;
        bool found;
    } cases[] = {{1, "FC", "F", true}, {1, "fC", "FC", true}, {1, "", "FC", false},
                 {8, "FC", "C", true}, {24, "c", "C", false}, {24, "F", "C", false}};
    for (const auto& c : cases) {
        const CodecPlatform codec(c.present);
        BitmapHandle bitmap;
        ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 9, 9, c.bits), SUCCESS);
        EXPECT_EQ(T_AllocateBitmap(&bitmap, MEM_SUPERCOMPRESSED), c.found ? SUCCESS : ERROR_CODEC_MISSING);
        EXPECT_EQ(CodecPlatform::tried, c.tried);
        EXPECT_EQ(CodecPlatform::loaded, c.found);
        EXPECT_EQ(bitmap.Flags, c.found ? BMF_ALLOCATED | BMF_MEMORY | BMF_SUPERCOMPRESSED : 0);
        T_FreeBitmap(&bitmap);
        EXPECT_EQ(failing.live(), LiveObjects{});
    }
}

TEST(SuperStorage, MeasuresWhatIsStored) {
    const CodecPlatform codec;
    Filled filled;
    BitmapHandle& bitmap = filled.bitmap;
    const uint32_t packed = bitmap.Size;
    EXPECT_EQ(T_ChangeBitmapHeight(&bitmap, 1'000), SUCCESS);
    EXPECT_EQ(T_UpdateBitmapSize(&bitmap), SUCCESS);
    EXPECT_EQ(bitmap.Size, packed) << "rows never written cost nothing";
    Bytes rows = RandomNumbers(1).bytes(size_t{3} * kWidth);
    EXPECT_EQ(T_PutBitmapRow(&bitmap, rows.data(), 500, 3 * kWidth), 3 * kWidth);
    EXPECT_EQ(T_UpdateBitmapSize(&bitmap), SUCCESS);
    EXPECT_EQ(bitmap.Size, packed + 4 * kWidth) << "a chunk that does not get smaller is stored as it is";
    EXPECT_EQ(T_SetBitmapDataPointer(&bitmap, rows.data(), bitmap.Size), ERROR_INVALID_PARAMETER)
        << "Size counts packed bytes, too few for the rows";

    // The record, freed or not, goes on to storage that takes Size for the bytes of its rows.
    BitmapHandle copy = bitmap;
    EXPECT_EQ(T_AllocateBitmap(&copy, MEM_CONVENTIONAL), SUCCESS);
    EXPECT_EQ(copy.Size, uint32_t{kWidth} * 1000);
    T_FreeBitmap(&copy);
}

#ifdef TNK_TEST_CODEC

// The module's own entry points, on bytes that nothing has checked.
TEST(CodecModule, SurvivesDamageAndSmallBuffers) {
    const T_WCHAR name[] = {'T', 'F', 'C', 'M', 'P', '1', '5', 'U', 0};
    const T_HANDLE module = platform->loadModule(name);
    ASSERT_NE(module, 0);
    const auto save = reinterpret_cast<CodecSaveRoutine>(platform->findSymbol(module, "fltSaveBuffer"));
    const auto load = reinterpret_cast<CodecLoadRoutine>(platform->findSymbol(module, "fltLoadBuffer"));
    RandomNumbers random(5);
    for (const int32_t bits : {1, 8, 24}) {
        SCOPED_TRACE(bits);
        const CodecChunk chunk = {sizeof chunk, bits, ORDER_BGR, 320 / bits, 50, 40};
        Bytes rows(2000), packed(3000), back(2000);
        for (size_t i = 0; i < rows.size(); ++i) rows[i] = static_cast<uint8_t>(i / 40 * 3 + i % 40 + random.below(2));
        uint32_t size = 0, written = 0;
        ASSERT_EQ(save(&chunk, rows.data(), packed.data(), 3000, &size), SUCCESS);
        for (const uint32_t capacity : {0u, 1u, size - 1, size}) {
            Bytes tight(capacity + 1, 0xEE);
            EXPECT_EQ(save(&chunk, rows.data(), tight.data(), capacity, &written), capacity < size ? FAILURE : SUCCESS);
            EXPECT_EQ(tight[capacity], 0xEE) << "stays inside";
        }
        ASSERT_EQ(load(&chunk, packed.data(), size, back.data()), SUCCESS);
        EXPECT_TRUE(back == rows);
        for (uint32_t i = 0; i < size; ++i) {
            Bytes damaged(packed.begin(), packed.begin() + size);
            damaged[i] ^= static_cast<uint8_t>(1u << random.below(8));
            const int32_t result = load(&chunk, damaged.data(), size, back.data());
            EXPECT_TRUE(result == FAILURE || (result == SUCCESS && back == rows)) << i;
            const Bytes cut(packed.begin(), packed.begin() + i + 1);
            EXPECT_EQ(load(&chunk, cut.data(), i, back.data()), FAILURE) << i;
        }
    }
    EXPECT_TRUE(platform->unloadModule(module));
}

#endif

}  // namespace
}  // namespace tnk::test
