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
    bool null;
    int32_t answer;  // 0: what the last row got
    int32_t result;
};
constexpr Lie kLies[] = {{"honest", 3, 1, false, SUCCESS, SUCCESS},
                         {"too few", 2, 1, false, SUCCESS, ERROR_INVALID_DIB},
                         {"too many", 4, 1, false, SUCCESS, ERROR_INVALID_DIB},
                         {"out of order", 2, 2, false, SUCCESS, ERROR_INVALID_DIB},
                         {"upwards", 3, -1, false, 0, ERROR_INVALID_DIB},
                         {"null", 3, 1, true, 0, ERROR_INVALID_DIB},
                         {"no code", 3, 1, false, 7, ERROR_INVALID_DIB},
                         {"out of memory", 1, 1, false, FAILURE, FAILURE},
                         {"no module", 0, 0, false, 0, ERROR_CODEC_MISSING}};
const Lie* lie = nullptr;
const T_HANDLE kModule = 1;

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
    for (const Lie& each : kLies) {
        SCOPED_TRACE(each.what);
        lie = &each;
        for (const int32_t view : {TOP_LEFT, BOTTOM_LEFT}) {
            Picture24 picture(2, 3, view);
            Platform table = *previous;
            table.loadModule = [](const T_WCHAR*) { return kModule; };
            table.findSymbol = [](T_HANDLE, const char* name) -> void* {
                const bool found = lie->rows != 0 && std::strcmp(name, "fltLoadImage") == 0;
                return found ? reinterpret_cast<void*>(giveRows) : nullptr;
            };
            static int unloads;
            unloads = 0;
            table.unloadModule = [](T_HANDLE module) { return (unloads += module == kModule) > 0; };
            platform = &table;
            const Result result = decodeImage(Bytes(1).data(), 1, picture.record);
            platform = previous;
            EXPECT_EQ(result, each.result);
            EXPECT_EQ(unloads, 1);
            if (!result.ok()) continue;
            const Bytes rows = rowsOf(picture.record), top(6, 1), bottom(6, 3);
            EXPECT_EQ(std::memcmp(rows.data(), (view == TOP_LEFT ? top : bottom).data(), 6), 0);
            EXPECT_EQ(std::memcmp(rows.data() + 16, (view == TOP_LEFT ? bottom : top).data(), 6), 0);
        }
    }
}

#ifdef TNK_TEST_CODEC

Bytes smallJpeg() {
    std::ifstream file(TNK_TEST_DATA "/small.jpg", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Without its Huffman tables, as frames of motion JPEG have it.
Bytes withoutTables(const Bytes& jpeg) {
    Bytes rest(jpeg.begin(), jpeg.begin() + 2);
    for (size_t at = 2; at + 4 <= jpeg.size();) {
        const bool tables = jpeg[at + 1] == 0xC4, last = jpeg[at + 1] == 0xDA;
        const size_t bytes = last ? jpeg.size() - at : 2u + jpeg[at + 2] * 256u + jpeg[at + 3];
        const auto start = jpeg.begin() + static_cast<ptrdiff_t>(at);
        if (!tables) rest.insert(rest.end(), start, start + static_cast<ptrdiff_t>(bytes));
        at += bytes;
    }
    return rest;
}

int32_t decode(const Bytes& jpeg, BitmapHandle& bitmap) { return decodeImage(jpeg.data(), jpeg.size(), bitmap).code; }

TEST(CodedImage, DecodesJpegWithAndWithoutTables) {
    FailingPlatform failing;
    const Bytes jpeg = smallJpeg(), bare = withoutTables(jpeg);
    EXPECT_LT(bare.size() + 400, jpeg.size());
    Picture24 whole(48, 32, TOP_LEFT), motion(48, 32, TOP_LEFT), narrow(47, 32, TOP_LEFT), low(48, 31, TOP_LEFT);
    EXPECT_EQ(decode(jpeg, whole.record), SUCCESS);
    EXPECT_EQ(decode(bare, motion.record), SUCCESS);
    EXPECT_EQ(rowsOf(whole.record), rowsOf(motion.record));
    EXPECT_EQ(decode(jpeg, narrow.record), ERROR_INVALID_DIB);
    EXPECT_EQ(decode(jpeg, low.record), ERROR_INVALID_DIB);
    EXPECT_EQ(decode({}, whole.record), ERROR_INVALID_DIB);
    EXPECT_EQ(decode(Bytes(1000, 0x55), whole.record), ERROR_INVALID_DIB);
}

// What a damaged image looks like is open; the sanitizers see the rest.
TEST(CodedImage, SurvivesDamage) {
    RandomNumbers random(9);
    const Bytes jpeg = smallJpeg();
    Picture24 picture(48, 32, BOTTOM_LEFT);
    int refused = 0;
    for (size_t i = 0; i < 3 * jpeg.size(); i += 2) {
        Bytes damaged = jpeg;
        const size_t at = i % jpeg.size();
        damaged[at] = i < jpeg.size() ? 0xFF : random.byte();
        if (i >= 2 * jpeg.size()) damaged.resize(at);
        const int32_t result = decode(damaged, picture.record);
        EXPECT_TRUE(result == SUCCESS || result == ERROR_INVALID_DIB) << i << ": " << result;
        refused += result != SUCCESS;
    }
    EXPECT_GT(refused, 300) << "every byte of the headers counts";
}

#endif

}  // namespace
}  // namespace tnk::test
