// Device-independent bitmaps: bytes worked out by hand, round trips, and what hostile headers and rows come to.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "format/dib/fourcc.h"
#include "platform/platform.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

constexpr uint32_t kSize = sizeof(BitmapHandle);
// Where fields of the header lie.
constexpr size_t kWidth = 4, kHeight = 8, kPlanes = 12, kBits = 14, kCoding = 16, kImage = 20, kPels = 24, kColors = 32;

// A movable block that holds a DIB.
struct Block {
    explicit Block(T_HANDLE dib) : handle(dib) {}
    explicit Block(const Bytes& bytes) : handle(T_OsAllocHandle(static_cast<uint32_t>(bytes.size()), 0, nullptr)) {
        std::memcpy(T_OsLockHandle(handle), bytes.data(), bytes.size());
        T_OsUnlockHandle(handle);
    }
    ~Block() { T_OsFreeHandle(handle, 0, nullptr); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    Bytes bytes() const {
        const auto* data = static_cast<const uint8_t*>(T_OsLockHandle(handle));
        Bytes all(data, data + T_OsSizeHandle(handle));
        T_OsUnlockHandle(handle);
        return all;
    }
    T_HANDLE handle;
};

struct Made {
    ~Made() { T_FreeBitmap(&record); }
    int32_t from(const Bytes& dib) { return T_ChangeFromDIB(&record, kSize, Block(dib).handle); }
    BitmapHandle record{};
};

template <typename Word>
void put(Bytes& bytes, size_t at, Word word) {
    if (bytes.size() < at + sizeof word) bytes.resize(at + sizeof word);
    std::memcpy(&bytes[at], &word, sizeof word);
}

// Header and, from 40 bytes on, what follows it.
Bytes infoHeader(uint32_t size, int32_t width, int32_t height, uint32_t bits, uint32_t coding) {
    Bytes dib(size);
    put(dib, 0, size);
    put(dib, kWidth, width);
    put(dib, kHeight, height);
    put(dib, kPlanes, uint16_t{1});
    put(dib, kBits, static_cast<uint16_t>(bits));
    put(dib, kCoding, coding);
    return dib;
}
Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// The rows as they come in by each way, which must be the same ones: by address, out of a block, mirrored.
Bytes rowsTakenIn(Made& made, const Bytes& header, const Bytes& rows) {
    const Block block(header + rows);
    const Bytes longer = rows + Bytes(8, 3);
    Made mirrored, byAddress;
    EXPECT_EQ(T_ChangeFromDIB(&made.record, kSize, block.handle), SUCCESS);
    EXPECT_EQ(T_MirrorFromDIB(&mirrored.record, kSize, block.handle), SUCCESS);
    EXPECT_EQ(T_ConvertFromDIB(&byAddress.record, kSize, header.data(), longer.data()), SUCCESS);
    EXPECT_NE(T_OsReAllocHandle(block.handle, 1, 0, nullptr), 0) << "the block is left locked";
    EXPECT_EQ(made.record.ViewPerspective + mirrored.record.ViewPerspective, uint32_t{TOP_LEFT + BOTTOM_LEFT});
    EXPECT_EQ(T_FlipBitmap(&mirrored.record), SUCCESS);
    const Bytes all = rowsOf(made.record);
    EXPECT_TRUE(rowsOf(mirrored.record) == all && contents(byAddress.record) == contents(made.record));
    return all;
}

// The picture as it is seen: rows from the top, in `bits` of a pixel.
Bytes seenRows(BitmapHandle& bitmap, int32_t bits) {
    Made plain;
    EXPECT_EQ(T_ChangeBitmapViewPerspective(&plain.record, &bitmap, kSize, TOP_LEFT), SUCCESS);
    EXPECT_EQ(T_ColorResBitmap(&plain.record, &plain.record, kSize, bits, CRF_BGR, nullptr, 0, 0, nullptr, nullptr),
              SUCCESS);
    return contents(plain.record);
}

TEST(Dib, BytesAreThoseOfTheFormat) {
    BitmapHandle bitmap;
    const PaletteEntry colors[] = {{1, 2, 3, 77}, {4, 5, 6, 0}, {7, 8, 9, 0}, {10, 11, 12, 0}};
    ASSERT_EQ(T_CreateBitmap(&bitmap, kSize, MEM_CONVENTIONAL, 5, 2, 2, 0, colors, TOP_LEFT, nullptr, 0), SUCCESS);
    bitmap.XResolution = 300;
    bitmap.YResolution = -1;
    std::memcpy(bitmap.pData, "\x1B\x40\0\0\xFF\xC0", 6);  // 0 1 2 3 1, then 3 3 3 3 3
    Bytes expected = infoHeader(124, 5, 2, 4, 0);
    put(expected, kImage, 8);
    put(expected, kPels, 11811);
    put(expected, kPels + 4, -38);
    put(expected, kColors, 16);
    std::memcpy(&expected[56], "BGRs", 4);
    Bytes table(64);
    for (uint8_t i = 0; i < 16; ++i) table[i] = i % 4 == 3 ? 0 : static_cast<uint8_t>(i / 4 * 3 + i % 4 + 1);
    Bytes rows = {0x33, 0x33, 0x30, 0, 0x01, 0x23, 0x10, 0};
    EXPECT_EQ(Block(T_ConvertToDIB(&bitmap, DIB_HEADER_V5)).bytes(), expected + table + rows);
    put(expected, 56, 0);
    for (const uint32_t size : {108u, 40u}) {
        expected.resize(size);
        put(expected, 0, size);
        EXPECT_EQ(Block(T_ConvertToDIB(&bitmap, size == 40 ? 99 : DIB_HEADER_V4)).bytes(), expected + table + rows);
    }

    // Bottom-left rows are stored as they are; fewer colours than the depth has are told.
    bitmap.ViewPerspective = BOTTOM_LEFT;
    std::rotate(rows.begin(), rows.begin() + 4, rows.end());
    EXPECT_EQ(Block(T_ConvertToDIB(&bitmap, 0)).bytes(), expected + table + rows);
    T_FreeBitmap(&bitmap);
}

class DibKinds : public ::testing::TestWithParam<Kind> {};
INSTANTIATE_TEST_SUITE_P(Storage, DibKinds, ::testing::ValuesIn(kAllKinds), kindName);

// The depth of what an export makes.
int32_t exportedBits(const Format& format) {
    if (format.bits <= 8) return format.bits == 1 ? 1 : format.bits <= 4 ? 4 : 8;
    if (format.bits == 12 || format.bits == 48 || (format.bits == 16 && format.order == ORDER_GRAY)) return 24;
    return format.bits == 64 ? 32 : format.bits;
}

TEST_P(DibKinds, RoundTripsKeepThePictureAsItIsSeen) {
    RandomNumbers random(1);
    uint32_t turn = 0;
    for (const Format& format : kFormats) {
        if (!kindTakes(GetParam(), format.bits)) continue;
        for (const uint32_t view :
             {TOP_LEFT, TOP_RIGHT, BOTTOM_RIGHT, BOTTOM_LEFT, LEFT_TOP, RIGHT_TOP, RIGHT_BOTTOM, LEFT_BOTTOM}) {
            SCOPED_TRACE(::testing::Message() << format.bits << " bits, order " << format.order << ", view " << view);
            StoredBitmap source(GetParam(), 29, 83, format);
            fill(source.record, random);
            source.record.ViewPerspective = view;
            const int32_t bits = exportedBits(format), compared = format.bits <= 8 ? 24 : bits;
            const Bytes before = contents(source.record);
            const Block dib(T_ConvertToDIB(&source.record, turn++ % 3));
            ASSERT_NE(dib.handle, 0);
            EXPECT_TRUE(contents(source.record) == before);
            const Bytes bytes = dib.bytes();
            const int32_t width = view <= BOTTOM_LEFT ? 29 : 83;
            const auto image = bytes.end() - (width * bits + 31) / 32 * 4 * (29 + 83 - width);
            Made made, again;
            rowsTakenIn(made, Bytes(bytes.begin(), image), Bytes(image, bytes.end()));
            EXPECT_EQ(made.record.BitsPerPixel, bits);
            EXPECT_EQ(made.record.Order, usualOrder(bits));
            EXPECT_EQ(made.record.ViewPerspective, uint32_t{BOTTOM_LEFT});
            EXPECT_TRUE(seenRows(made.record, compared) == seenRows(source.record, compared));
            T_UnlockBitmap(&source.record, 0);
            const Block consumed(T_ChangeToDIB(&source.record, DIB_HEADER_V4));
            ASSERT_NE(consumed.handle, 0);
            EXPECT_TRUE(isBare(source.record));
            ASSERT_EQ(T_ChangeFromDIB(&again.record, kSize, consumed.handle), SUCCESS);
            EXPECT_TRUE(contents(again.record) == contents(made.record));
        }
    }
}

// While a large picture goes over, its own memory shrinks; the section that it leaves serves the next bitmap as a clean one.
TEST(Dib, ConsumedPicturesAreInMemoryOnce) {
    static const Platform* const native = platform;
    static size_t forgotten;
    static Platform table;
    table = *native;
    table.forgetPages = [](uint8_t* start, size_t bytes) {
        forgotten += bytes;
        native->forgetPages(start, bytes);
    };
    for (const bool consumes : {false, true}) {
        StoredBitmap source(Kind::section, 2048, 4096, Format{24, 1});
        std::memset(source.record.pData, 77, source.record.Size);
        source.record.ViewPerspective = TOP_LEFT;
        const uint32_t size = source.record.Size;
        platform = &table;
        forgotten = 0;
        const Block dib((consumes ? T_ChangeToDIB : T_ConvertToDIB)(&source.record, 0));
        platform = native;
        EXPECT_EQ(forgotten >= size - (4u << 20), consumes);
        const Bytes bytes = dib.bytes();
        EXPECT_EQ(std::count(bytes.begin() + 40, bytes.end(), 77), static_cast<ptrdiff_t>(size));
        StoredBitmap next(Kind::section, 2048, 4096, Format{24, 1});
        EXPECT_TRUE(rowsOf(next.record) == Bytes(size));
    }
}

// ---- rows that are coded ----

// Rows of a run-coded picture, pixel by pixel.
Bytes decodedRuns(const Bytes& data, uint32_t bits, uint32_t width, uint32_t height) {
    const size_t line = (width * bits + 31) / 32 * 4;
    Bytes rows(line * height);
    uint32_t x = 0, y = 0;
    // Of one pixel, whose nibble is the upper one of the byte for even `i`.
    const auto put = [&](uint32_t byte, uint32_t i) {
        const uint32_t nibble = i % 2 != 0 ? byte & 15u : byte >> 4u, value = bits == 8 ? byte : nibble;
        if (x < width)
            rows[line * y + x * bits / 8] |= static_cast<uint8_t>(value << (bits == 8 || x % 2 != 0 ? 0 : 4));
        ++x;
    };
    for (size_t at = 0; at + 1 < data.size() && y < height;) {
        const uint32_t count = data[at], value = data[at + 1];
        at += 2;
        if (count == 0 && (value == 1 || (value == 2 && at + 1 >= data.size()))) break;
        for (uint32_t i = 0; i < count; ++i) put(value, i);
        if (count != 0) continue;
        if (value == 0) {
            x = 0;
            ++y;
        } else if (value == 2) {
            x = std::min(x, width) + data[at];
            y += data[at + 1];
            at += 2;
        } else {
            for (uint32_t i = 0; i < value && at + i * bits / 8 < data.size(); ++i) put(data[at + i * bits / 8], i);
            at += ((value * bits + 7) / 8 + 1) / 2 * 2;
        }
    }
    return rows;
}

TEST(Dib, RunsAreDecodedAndNeverLeaveTheRowOrTheBlock) {
    RandomNumbers random(7);
    for (int32_t round = 0; round < 600; ++round) {
        SCOPED_TRACE(round);
        const uint32_t bits = round % 2 != 0 ? 4 : 8, width = 1 + random.below(40), height = 1 + random.below(12);
        Bytes data = random.bytes(2 + random.below(90));
        constexpr uint32_t kBounds[] = {3, 13, 256};  // escapes, short runs, anything
        for (uint8_t& byte : data) byte = static_cast<uint8_t>(byte % kBounds[random.below(3)]);
        Bytes header =
            infoHeader(40, static_cast<int32_t>(width), static_cast<int32_t>(height), bits, bits == 8 ? 1 : 2);
        put(header, kImage, static_cast<uint32_t>(data.size()));
        put(header, kColors, 2);
        Made made;
        ASSERT_EQ(rowsTakenIn(made, header + Bytes(8), data), decodedRuns(data, bits, width, height));
    }
    // Without a size the mark is the end.
    Made marked;
    EXPECT_EQ(rowsTakenIn(marked, infoHeader(40, 3, 2, 8, 1) + Bytes(1024), {2, 5, 0, 1}),
              (Bytes{5, 5, 0, 0, 0, 0, 0, 0}));
}

uint32_t scaledField(uint32_t pixel, uint32_t mask, uint32_t top) {
    double value = 0, weight = 1;
    for (; mask != 0; mask >>= 1, pixel >>= 1) {
        value += (pixel & mask & 1) * weight;
        weight *= 1 + (mask & 1);
    }
    return weight == 1 ? 0 : static_cast<uint32_t>(std::floor(value * top / (weight - 1) + 0.5));
}

TEST(Dib, ChannelsComeFromAnyBits) {
    // Red, green, blue, alpha.
    std::vector<std::array<uint32_t, 4>> cases = {
        {0x7C00, 0x3E0, 0x1F, 0x8000},        {0xF800, 0x7E0, 0x1F, 0},    {0xF00, 0xF0, 0xF, 0xF000},
        {0xFF0000, 0xFF00, 0xFF, 0xFF000000}, {0xFF, 0xFF00, 0xFF0000, 0}, {0x3FF00000, 0xFFC00, 0x3FF, 0xC0000000},
        {0xFFFFFFFF, 0, 0, 0x80000000},       {0x1FFFF, 0xFFFF8000, 1, 0}};
    RandomNumbers random(3);
    const auto any = [&] { return static_cast<uint32_t>(random()); };
    for (int i = 0; i < 40; ++i) cases.push_back({any() & any(), any() | any(), any(), any() & any() & any()});
    for (const auto& masks : cases)
        for (const uint32_t bits : {16u, 32u})
            for (const uint32_t size : {40u, 52u, 56u, 124u}) {
                SCOPED_TRACE(::testing::PrintToString(masks) + ", header " + std::to_string(size));
                constexpr uint32_t kPixels = 71;
                const uint32_t used = bits == 16 ? 0xFFFF : 0xFFFFFFFF, line = (kPixels * bits + 31) / 32 * 4;
                if (((masks[0] | masks[1] | masks[2]) & used) == 0) continue;
                Bytes header = infoHeader(size, kPixels, -2, bits, 3);
                header.resize(std::max(size, 52u));
                std::memcpy(&header[40], masks.data(), size >= 56 ? 16 : 12);
                const Bytes rows = random.bytes(2 * line);
                const uint32_t step = bits == 16 ? 5 : 8, top = (1u << step) - 1;
                Bytes expected(2 * line);
                for (size_t i = 0; i < 2 * kPixels; ++i) {
                    const size_t at = i / kPixels * line + i % kPixels * bits / 8;
                    uint32_t pixel = 0, wanted = 0;
                    std::memcpy(&pixel, &rows[at], bits / 8);
                    for (uint32_t c = 0; c < 3; ++c) wanted |= scaledField(pixel, masks[2 - c] & used, top) << c * step;
                    if (size >= 56) wanted |= scaledField(pixel, masks[3] & used, bits == 16 ? 1 : 255) << 3 * step;
                    std::memcpy(&expected[at], &wanted, bits / 8);
                }
                Made made;
                ASSERT_EQ(rowsTakenIn(made, header, rows), expected);
                EXPECT_EQ(made.record.ViewPerspective, uint32_t{TOP_LEFT});
            }
}

// How forms of luma and chroma are published. Planes: "YUV" or "YVU" and the side of the square of pixels that share a chroma
// sample. Packed: the bytes of a group in letters and columns; every pixel takes the nearest sample of its kind at or before it.
struct Published {
    std::string_view names;  // of four letters each
    uint32_t bits, widthStep, heightStep;
    std::string_view samples;
    uint32_t shared, groupPixels;  // 0: packed, planes
};
constexpr Published kPublished[] = {
    {"YVU9IF09", 9, 16, 16, "YVU", 4, 0},
    {"I420IYUV", 12, 4, 4, "YUV", 2, 0},
    {"YV12", 12, 4, 4, "YVU", 2, 0},
    {"UYVYcyuvY42T", 16, 2, 1, "U0Y0V0Y1", 0, 2},
    {"YUY2", 16, 2, 1, "Y0U0Y1V0", 0, 2},
    {"YVYU", 16, 2, 1, "Y0V0Y1U0", 0, 2},
    {"Y41PY41T", 12, 4, 4, "U0Y0V0Y1U4Y2V4Y3Y4Y5Y6Y7", 0, 8},
    {"Y211", 8, 2, 1, "Y0U0Y2V0", 0, 4},
};

// Where the sample of a pixel lies.
size_t sampleAt(const Published& form, uint32_t width, uint32_t height, uint32_t x, uint32_t y, char kind) {
    size_t at = 0;
    if (form.shared == 0) {
        const size_t bytes = form.samples.size() / 2;
        for (size_t i = 0; i < bytes; ++i)
            if (form.samples[2 * i] == kind && form.samples[2 * i + 1] <= static_cast<char>('0' + x % form.groupPixels))
                at = i;
        return (width * form.bits + 31) / 32 * 4 * y + x / form.groupPixels * bytes + at;
    }
    for (const char plane : form.samples) {
        const uint32_t side = plane == 'Y' ? 1 : form.shared;
        if (plane == kind) return at + width / side * (y / side) + x / side;
        at += width / side * (height / side);
    }
    return at;
}

// Planes begin with the row that is the last one elsewhere.
TEST(Dib, LumaAndChromaEqualSamplesLookedUpOneByOne) {
    RandomNumbers random(77);
    for (const Published& form : kPublished)
        for (const uint32_t steps : {1, 2, 3, 7, 37, 270}) {
            const uint32_t width = steps * form.widthStep, height = 2 * form.heightStep, line = (3 * width + 3) / 4 * 4;
            SCOPED_TRACE(::testing::Message() << form.names << ", " << width << " x " << height);
            uint32_t name;
            std::memcpy(&name, &form.names[random.below(static_cast<uint32_t>(form.names.size() / 4)) * 4], 4);
            const bool topDown = random.below(2) != 0, planar = form.shared != 0;
            const auto header = [&](uint32_t w, uint32_t h, uint32_t bits) {
                return infoHeader(40, static_cast<int32_t>(w), static_cast<int32_t>(topDown ? 0 - h : h), bits, name);
            };
            const Bytes bits =
                random.bytes((planar ? width * form.bits : (width * form.bits + 31) / 32 * 32) * height / 8);
            Bytes expected(line * height);
            for (uint32_t i = 0; i < width * height; ++i) {
                const uint32_t x = i % width, y = i / width;
                const auto sample = [&](char kind) { return int32_t{bits[sampleAt(form, width, height, x, y, kind)]}; };
                const int32_t level = sample('Y'), u = sample('U') - 128, v = sample('V') - 128;
                const int32_t more[] = {(1772 * u + 500) / 1000, (-714 * v - 344 * u + 500) / 1000,
                                        (1402 * v + 500) / 1000};
                for (size_t k = 0; k < 3; ++k)
                    expected[line * y + 3 * x + k] = static_cast<uint8_t>(std::clamp(level + more[k], 0, 255));
            }
            Made made, none;
            EXPECT_TRUE(rowsTakenIn(made, header(width, height, steps % 2 != 0 ? form.bits : 24), bits) == expected);
            EXPECT_EQ(made.record.ViewPerspective, topDown != planar ? uint32_t{TOP_LEFT} : uint32_t{BOTTOM_LEFT});
            EXPECT_EQ(none.from(header(width, height, 24) + Bytes(bits.begin() + 1, bits.end())), ERROR_INVALID_DIB);
            EXPECT_EQ(none.from(header(width, height, form.bits + 1) + bits), ERROR_INVALID_DIB);
            EXPECT_EQ(none.from(header(width - 1, height, 24) + bits), ERROR_INVALID_DIB);
            const int32_t lower = none.from(header(width, height - 1, 24) + bits);
            EXPECT_EQ(lower, form.heightStep == 1 ? SUCCESS : ERROR_INVALID_DIB);
        }
}

#ifdef TNK_TEST_CODEC
TEST(Dib, CodedImagesComeInTheRightWayUp) {
    std::ifstream file(TNK_TEST_DATA "/small.jpg", std::ios::binary);
    const Bytes image{std::istreambuf_iterator<char>(file), {}};
    Bytes header = infoHeader(40, 48, 32, 0, fourcc("JPEG"));
    Made unsized, made, upright;
    EXPECT_EQ(T_ConvertFromDIB(&unsized.record, kSize, header.data(), image.data()), ERROR_INVALID_DIB);
    put(header, kImage, static_cast<uint32_t>(image.size()));
    const Bytes rows = rowsTakenIn(made, header, image);
    EXPECT_EQ(made.record.ViewPerspective, uint32_t{BOTTOM_LEFT});
    ASSERT_EQ(upright.from(infoHeader(40, 48, -32, 24, fourcc("MJPG")) + image), SUCCESS);
    EXPECT_EQ(upright.record.ViewPerspective, uint32_t{TOP_LEFT});
    EXPECT_EQ(T_FlipBitmap(&upright.record), SUCCESS);
    EXPECT_TRUE(rowsOf(upright.record) == rows);
}
#endif

TEST(Dib, HeadersAreTakenOrRefusedByTheirFields) {
    constexpr size_t kLength = SIZE_MAX;  // of the block, which has a byte for each of 1076
    constexpr int32_t kBad = ERROR_INVALID_DIB, kNone = ERROR_INVALID_PARAMETER;
    struct Case {
        const char* name;
        size_t at;
        uint32_t bytes, value;
        int32_t code;
    };
    constexpr Case kCases[] = {
        {"as it is", kLength, 0, 1076, SUCCESS},
        {"shorter block", kLength, 0, 1075, kBad},
        {"three bytes", kLength, 0, 3, kBad},
        {"header of 39 bytes", 0, 4, 39, kBad},
        {"header past the end", 0, 4, 5000, kBad},
        {"no planes", kPlanes, 2, 0, kBad},
        {"two bits", kBits, 2, 2, kBad},
        {"coding of 4 bits", kCoding, 4, 2, kBad},
        {"unknown coding", kCoding, 4, 0x30363248, kBad},
        {"no height", kHeight, 4, 0, ERROR_INVALID_SIZE},
        {"width below 0", kWidth, 4, 0xFFFFFFFC, kNone},
        {"least height", kHeight, 4, 0x80000000, kNone},
        {"greatest height", kHeight, 4, 0x7FFFFFFF, ERROR_SIZE_TOO_LARGE},
        {"more colours than there can be", kColors, 4, 0xFFFFFFFF, SUCCESS},
        {"wrong image size", kImage, 4, 1, SUCCESS},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        Bytes dib = infoHeader(40, 4, 3, 8, 0) + Bytes(1036);
        c.at == kLength ? dib.resize(c.value) : (void)std::memcpy(&dib[c.at], &c.value, std::min(c.bytes, 4u));
        Made made;
        EXPECT_EQ(made.from(dib), c.code);
        EXPECT_EQ((made.record.Flags & BMF_ALLOCATED) != 0, c.code == SUCCESS);
    }
    // Masks that the block ends in.
    Made cut;
    EXPECT_EQ(cut.from(infoHeader(40, 0, 3, 32, 3) + Bytes(11, 1)), kBad);
}

TEST(Dib, TablesStandBetweenHeaderAndRows) {
    // Fewer colours than the depth has, three bytes a colour, and a hint of colours above 8 bits, which may be there or not.
    Bytes few = infoHeader(64, 4, 1, 8, 0);
    put(few, kColors, 2u);
    Made made, core, hinted, bare;
    EXPECT_EQ(rowsTakenIn(made, few + Bytes{1, 2, 3, 9, 4, 5, 6, 0}, {1, 0, 1, 7}), (Bytes{1, 0, 1, 7}));
    EXPECT_EQ(made.record.ColorCount, 2u);
    EXPECT_EQ(std::memcmp(made.record.Palette, "\1\2\3\11\4\5\6", 8), 0);
    const Bytes small = {12, 0, 0, 0, 9, 0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 4, 5, 6};
    EXPECT_EQ(rowsTakenIn(core, small, {0x55, 0xFF, 0xFF, 0xFF}), (Bytes{0x55, 0x80, 0, 0}));
    EXPECT_EQ(std::memcmp(core.record.Palette, "\1\2\3\0\4\5\6", 8), 0);
    Bytes deep = infoHeader(40, 1, 1, 24, 0);
    put(deep, kColors, 2u);
    ASSERT_EQ(hinted.from(deep + Bytes(8) + Bytes{7, 8, 9, 0}), SUCCESS);
    ASSERT_EQ(bare.from(deep + Bytes{7, 8, 9, 0}), SUCCESS);
    EXPECT_EQ(rowsOf(hinted.record), (Bytes{7, 8, 9, 0}));
    EXPECT_EQ(rowsOf(bare.record), (Bytes{7, 8, 9, 0}));
}

TEST(Dib, ResolutionsAreTheHeadersOrTheScreens) {
    static const Platform* const native = platform;
    static Platform table;
    table = *native;
    table.screenResolution = [](int32_t* x, int32_t* y) { return *x = 3780, *y = 3937, true; };
    Bytes dib = infoHeader(40, 7, 3, 24, 0);
    put(dib, kPels, 11811);
    platform = &table;
    for (const int32_t vertical : {100, 150}) {
        Made made;
        EXPECT_EQ(T_ConvertFromDIB(&made.record, kSize, dib.data(), nullptr), SUCCESS);
        EXPECT_EQ(made.record.XResolution, 300);
        EXPECT_EQ(made.record.YResolution, vertical);
        EXPECT_EQ(made.record.Flags & BMF_ALLOCATED, 0u);
        table.screenResolution = [](int32_t*, int32_t*) { return false; };
    }
    platform = native;
}

TEST(Dib, ArgumentsThatAreNoneAreRefused) {
    StoredBitmap source(Kind::section, 3, 3, Format{12, 2});
    Palette table(7);  // no window has as many values
    const auto takes = [](BitmapHandle bitmap) {
        return T_ConvertToDIB(&bitmap, 0) != 0 || T_ChangeToDIB(&bitmap, 0) != 0;
    };
    BitmapHandle bare{}, size = source.record, view = size, sign = size, window = size, accessed = size;
    bare.StructSize = kSize;
    size.StructSize = 1;
    view.ViewPerspective = 9;
    sign.Flags |= BMF_SIGNED;
    window.Flags |= BMF_WINDOW;
    window.pLUT = table.data();
    window.LUTLength = 7;
    for (const BitmapHandle& each : {bare, size, view, sign, window}) EXPECT_FALSE(takes(each));
    accessed.Flags |= BMF_LOCKED;
    EXPECT_TRUE(T_ConvertToDIB(nullptr, 0) == 0 && T_ChangeToDIB(nullptr, 0) == 0 && T_ChangeToDIB(&accessed, 0) == 0);

    Made none;
    const Bytes dib = infoHeader(40, 4, 3, 24, 0) + Bytes(36);
    const Block block(dib);
    EXPECT_EQ(T_ConvertFromDIB(nullptr, kSize, dib.data(), &dib[40]), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ConvertFromDIB(&none.record, kSize, nullptr, &dib[40]), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ConvertFromDIB(&none.record, kSize - 1, dib.data(), &dib[40]), ERROR_STRUCT_SIZE);
    EXPECT_EQ(T_ConvertFromDIB(&none.record, kSize, Bytes{13, 0, 0, 0}.data(), nullptr), ERROR_INVALID_DIB);
    EXPECT_EQ(T_ChangeFromDIB(nullptr, kSize, block.handle), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_MirrorFromDIB(&none.record, kSize, 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_MirrorFromDIB(&none.record, 0, block.handle), ERROR_STRUCT_SIZE);
}

}  // namespace
}  // namespace tnk::test
