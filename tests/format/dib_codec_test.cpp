// Coded images: modules that lie or are missing, and the module's own entry point on damaged bytes.
#include "format/dib/dib_codec.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "support/failing_platform.h"
#include "support/picture.h"
#include "tnkrn_codec.h"

namespace tnk::test {
namespace {

struct Lie {
    const char* what;
    int32_t rows, step;  // given, and how far apart
    int32_t answer;      // 0: what the last row got
    int32_t result;
    bool null = false;
};
constexpr Lie kLies[] = {{"honest", 3, 1, SUCCESS, SUCCESS},
                         {"too few", 2, 1, SUCCESS, ERROR_INVALID_DIB},
                         {"too many", 4, 1, SUCCESS, ERROR_INVALID_DIB},
                         {"out of order", 3, 2, SUCCESS, ERROR_INVALID_DIB},
                         {"upwards", 3, -1, 0, ERROR_INVALID_DIB},
                         {"null", 3, 1, 0, ERROR_INVALID_DIB, true},
                         {"no code", 3, 1, 7, ERROR_INVALID_DIB},
                         {"out of memory", 1, 1, FAILURE, FAILURE},
                         {"no module", 0, 0, 0, ERROR_CODEC_MISSING}};
const Lie* lie = nullptr;
constexpr T_HANDLE kModule = 1;
int unloads;

int32_t TNK_CALL giveRows(const CodecImage* image, const uint8_t*, uint32_t, CodecRowRoutine takeRow, void* user) {
    int32_t taken = SUCCESS;
    for (int32_t i = 0; i < lie->rows; ++i) {
        const Bytes row(static_cast<size_t>(image->Width) * 3, static_cast<uint8_t>(i + 1));
        taken = takeRow(user, i * lie->step, lie->null ? nullptr : row.data());
    }
    return lie->answer == 0 ? taken : lie->answer;
}

struct Picture24 : StoredBitmap {
    Picture24(int32_t width, int32_t height, int32_t view) : StoredBitmap(Kind::section, width, height, 24) {
        record.Order = ORDER_BGR;
        record.ViewPerspective = view;
    }
};

TEST(CodedImage, TakesNoRowOnTrust) {
    const Platform* const previous = platform;
    Platform table = *previous;
    table.loadModule = [](const T_WCHAR*) { return kModule; };
    table.findSymbol = [](T_HANDLE, const char* name) -> void* {
        const bool found = lie->rows != 0 && std::strcmp(name, "fltLoadImage") == 0;
        return found ? reinterpret_cast<void*>(giveRows) : nullptr;
    };
    table.unloadModule = [](T_HANDLE module) { return (unloads += module == kModule) > 0; };
    for (const Lie& each : kLies)
        for (const int32_t view : {TOP_LEFT, BOTTOM_LEFT}) {
            SCOPED_TRACE(each.what);
            lie = &each;
            unloads = 0;
            Picture24 picture(2, 3, view);
            platform = &table;
            const Result result = decodeImage(Bytes(1).data(), 1, picture.record);
            platform = previous;
            EXPECT_EQ(result, each.result);
            EXPECT_EQ(unloads, 1);
            const Bytes rows = rowsOf(picture.record);
            for (size_t i = 0; i < 18 && result.ok(); ++i)
                EXPECT_EQ(rows[i / 6 * 8 + i % 6], view == TOP_LEFT ? 1 + i / 6 : 3 - i / 6);
        }
}

#ifdef TNK_TEST_CODEC

// Rows from the top; none after a failure.
Bytes decoded(const Bytes& jpeg, int32_t width = 48, int32_t height = 32) {
    Picture24 picture(width, height, TOP_LEFT);
    const Result result = decodeImage(jpeg.data(), jpeg.size(), picture.record);
    EXPECT_TRUE(result.ok() || result.code == ERROR_INVALID_DIB) << result.code;
    return result.ok() ? rowsOf(picture.record) : Bytes();
}

TEST(CodedImage, DecodesJpegWithAndWithoutTables) {
    FailingPlatform failing;
    std::ifstream file(TNK_TEST_DATA "/small.jpg", std::ios::binary);
    const Bytes jpeg{std::istreambuf_iterator<char>(file), {}}, rows = decoded(jpeg);
    EXPECT_FALSE(rows.empty());
    // Frames of motion JPEG have no Huffman tables.
    Bytes bare = jpeg;
    for (auto at = bare.begin(); at + 4 < bare.end();)
        at = at[0] == 0xFF && at[1] == 0xC4 ? bare.erase(at, at + 2 + at[2] * 256 + at[3]) : at + 1;
    EXPECT_LT(bare.size() + 400, jpeg.size());
    EXPECT_EQ(decoded(bare), rows);
    // Nor need they have an end marker; data that ends before the last rows is damaged.
    EXPECT_EQ(decoded({jpeg.begin(), jpeg.end() - 2}), rows);
    EXPECT_TRUE(decoded({jpeg.begin(), jpeg.end() - 40}).empty());
    for (const Bytes& none : {decoded(jpeg, 47), decoded(jpeg, 48, 31), decoded({}), decoded(Bytes(1000, 0x55))})
        EXPECT_TRUE(none.empty());
    // What a damaged image looks like is open; the sanitizers see the rest.
    for (size_t at = 0; at < jpeg.size(); at += 2) {
        bare = jpeg;
        bare[at] = 0xFF;
        decoded(bare);
        decoded({jpeg.begin(), jpeg.begin() + static_cast<ptrdiff_t>(at)});
    }
}

#endif

}  // namespace
}  // namespace tnk::test
