// Device-independent bitmaps: bytes worked out by hand, round trips, and what hostile headers and rows come to.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <string>

#include "platform/platform.h"
#include "support/failing_platform.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

constexpr uint32_t kSize = sizeof(BitmapHandle);
enum Offset : size_t {
    kWidth = 4,
    kHeight = 8,
    kPlanes = 12,
    kBits = 14,
    kCoding = 16,
    kImage = 20,
    kPels = 24,
    kColors = 32
};

// A movable block that holds a DIB.
class Block {
  public:
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
    Made() { record.StructSize = kSize; }
    ~Made() { T_FreeBitmap(&record); }
    int32_t from(const Bytes& dib) {
        const Block block(dib);
        const int32_t result = T_ChangeFromDIB(&record, kSize, block.handle);
        EXPECT_NE(T_OsReAllocHandle(block.handle, 1, 0, nullptr), 0) << "the block is left locked";
        return result;
    }
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
    bitmap.pData[0] = 0x1B;  // 0 1 2 3, 1
    bitmap.pData[1] = 0x40;
    bitmap.pData[4] = 0xFF;  // 3 3 3 3, 3
    bitmap.pData[5] = 0xC0;
    const Block v5(T_ConvertToDIB(&bitmap, DIB_HEADER_V5));
    Bytes expected = infoHeader(124, 5, 2, 4, 0);
    put(expected, kImage, 8);
    put(expected, kPels, 11811);
    put(expected, kPels + 4, -38);
    put(expected, kColors, 16);
    std::memcpy(&expected[56], "BGRs", 4);
    Bytes table(64);
    for (uint8_t i = 0; i < 16; ++i) table[i] = i % 4 == 3 ? 0 : static_cast<uint8_t>(i / 4 * 3 + i % 4 + 1);
    const Bytes rows = {0x33, 0x33, 0x30, 0, 0x01, 0x23, 0x10, 0};
    EXPECT_EQ(v5.bytes(), expected + table + rows);

    const Block v4(T_ConvertToDIB(&bitmap, DIB_HEADER_V4)), info(T_ConvertToDIB(&bitmap, 99));
    expected.resize(108);
    put(expected, 0, 108);
    put(expected, 56, 0);
    EXPECT_EQ(v4.bytes(), expected + table + rows);
    expected.resize(40);
    put(expected, 0, 40);
    EXPECT_EQ(info.bytes(), expected + table + rows);

    // Bottom-left rows are stored as they are; fewer colours than the depth has are told.
    bitmap.ViewPerspective = BOTTOM_LEFT;
    const Bytes reversed = {0x01, 0x23, 0x10, 0, 0x33, 0x33, 0x30, 0};
    EXPECT_EQ(Block(T_ConvertToDIB(&bitmap, 0)).bytes(), expected + table + reversed);
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
            Made made, mirrored;
            ASSERT_EQ(T_ChangeFromDIB(&made.record, kSize, dib.handle), SUCCESS);
            ASSERT_EQ(T_MirrorFromDIB(&mirrored.record, kSize, dib.handle), SUCCESS);
            EXPECT_EQ(made.record.BitsPerPixel, bits);
            EXPECT_EQ(made.record.Order, usualOrder(bits));
            EXPECT_EQ(made.record.ViewPerspective, uint32_t{BOTTOM_LEFT});
            EXPECT_EQ(mirrored.record.ViewPerspective, uint32_t{TOP_LEFT});
            const Bytes seen = seenRows(source.record, compared);
            EXPECT_TRUE(seenRows(made.record, compared) == seen);
            EXPECT_TRUE(seenRows(mirrored.record, compared) == seen);
            T_UnlockBitmap(&source.record, 0);
            const Block consumed(T_ChangeToDIB(&source.record, DIB_HEADER_V4));
            ASSERT_NE(consumed.handle, 0);
            EXPECT_TRUE(isBare(source.record));
            Made again;
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
        const Bytes rows = rowsOf(next.record);
        EXPECT_TRUE(std::all_of(rows.begin(), rows.end(), [](uint8_t byte) { return byte == 0; }));
    }
}

// ---- rows that are coded ----

// Pixels of a run-coded picture, one by one; rows from the first one.
Bytes decodedRuns(const Bytes& data, int32_t bits, uint32_t width, uint32_t height) {
    Bytes pixels(size_t{width} * height);
    uint32_t x = 0, y = 0;
    const auto set = [&](uint32_t value) {
        if (x < width && y < height) pixels[size_t{y} * width + x] = static_cast<uint8_t>(value);
        ++x;
    };
    for (size_t at = 0; at + 1 < data.size() && y < height;) {
        const uint32_t count = data[at], value = data[at + 1];
        at += 2;
        if (count != 0) {
            for (uint32_t i = 0; i < count; ++i) set(bits == 8 ? value : i % 2 != 0 ? value & 15 : value >> 4);
        } else if (value == 0) {
            x = 0;
            ++y;
        } else if (value == 1) {
            break;
        } else if (value == 2) {
            if (at + 1 >= data.size()) break;
            x = std::min(x, width) + data[at];
            y += data[at + 1];
            at += 2;
        } else {
            const size_t bytes = bits == 8 ? value : (value + 1) / 2;
            for (uint32_t i = 0; i < value && at + (bits == 8 ? i : i / 2) < data.size(); ++i)
                set(bits == 8 ? data[at + i] : i % 2 != 0 ? data[at + i / 2] & 15u : data[at + i / 2] >> 4u);
            at += (bytes + 1) / 2 * 2;
        }
    }
    return pixels;
}

Bytes randomRuns(RandomNumbers& random, uint32_t steps) {
    Bytes data;
    for (uint32_t i = 0; i < steps; ++i) {
        switch (random.below(8)) {
            case 0:
                data = data + Bytes{0, 0};
                break;
            case 1:
                data = data + Bytes{0, 2, static_cast<uint8_t>(random.below(9)), static_cast<uint8_t>(random.below(3))};
                break;
            case 2:
            case 3: {
                const uint32_t count = 3 + random.below(random.below(4) == 0 ? 250 : 9);
                data = data + Bytes{0, static_cast<uint8_t>(count)} + random.bytes(count);
                break;
            }
            default:
                data = data +
                       Bytes{static_cast<uint8_t>(1 + random.below(random.below(6) == 0 ? 255 : 12)), random.byte()};
        }
    }
    if (random.below(3) == 0) data = data + Bytes{0, 1};
    return data + random.bytes(random.below(3));
}

Bytes runDib(int32_t bits, int32_t width, int32_t height, const Bytes& data) {
    Bytes dib = infoHeader(40, width, height, static_cast<uint32_t>(bits), bits == 8 ? 1 : 2);
    put(dib, kColors, 2);
    return dib + Bytes(8) + data;
}

Bytes indexesOf(BitmapHandle& bitmap) {
    const Bytes rows = rowsOf(bitmap);
    Bytes indexes;
    for (int32_t y = 0; y < bitmap.Height; ++y)
        for (int32_t x = 0; x < bitmap.Width; ++x) {
            const uint8_t* row = &rows[size_t{bitmap.BytesPerLine} * static_cast<uint32_t>(y)];
            indexes.push_back(bitmap.BitsPerPixel == 8 ? row[x] : x % 2 != 0 ? row[x / 2] & 15 : row[x / 2] >> 4);
        }
    return indexes;
}

TEST(Dib, RunsAreDecodedAndNeverLeaveTheRowOrTheBlock) {
    RandomNumbers random(7);
    for (int32_t round = 0; round < 400; ++round) {
        const int32_t bits = round % 2 != 0 ? 4 : 8, width = random.between(1, 40), height = random.between(1, 12);
        const Bytes data = randomRuns(random, random.below(40));
        Made made, mirrored;
        const Block block(runDib(bits, width, height, data));
        ASSERT_EQ(T_ChangeFromDIB(&made.record, kSize, block.handle), SUCCESS);
        const Bytes expected = decodedRuns(data, bits, static_cast<uint32_t>(width), static_cast<uint32_t>(height));
        ASSERT_EQ(indexesOf(made.record), expected) << round;
        ASSERT_EQ(T_MirrorFromDIB(&mirrored.record, kSize, block.handle), SUCCESS);
        ASSERT_EQ(T_FlipBitmap(&mirrored.record), SUCCESS);
        ASSERT_EQ(indexesOf(mirrored.record), expected);
    }
}

// Rows that come by address end where the header says, or at the mark.
TEST(Dib, RunsByAddressEndAtTheirSizeOrMark) {
    const Bytes data = {2, 5, 0, 0, 3, 6, 0, 1, 0xEE};
    Bytes dib = runDib(8, 3, 2, {});
    Made whole, cut;
    EXPECT_EQ(T_ConvertFromDIB(&whole.record, kSize, dib.data(), data.data()), SUCCESS);
    EXPECT_EQ(indexesOf(whole.record), (Bytes{5, 5, 0, 6, 6, 6}));
    put(dib, kImage, 2);
    EXPECT_EQ(T_ConvertFromDIB(&cut.record, kSize, dib.data(), data.data()), SUCCESS);
    EXPECT_EQ(indexesOf(cut.record), (Bytes{5, 5, 0, 0, 0, 0}));
}

uint32_t scaledField(uint32_t pixel, uint32_t mask, uint32_t top) {
    double value = 0, weight = 1;
    for (uint32_t bit = 0; bit < 32; ++bit) {
        if ((mask >> bit & 1) == 0) continue;
        value += (pixel >> bit & 1) * weight;
        weight *= 2;
    }
    return weight == 1 ? 0 : static_cast<uint32_t>(std::floor(value * top / (weight - 1) + 0.5));
}

TEST(Dib, ChannelsComeFromAnyBits) {
    struct Masks {
        uint32_t red, green, blue, alpha;
    };
    std::vector<Masks> cases = {{0x7C00, 0x3E0, 0x1F, 0},
                                {0x7C00, 0x3E0, 0x1F, 0x8000},
                                {0xF800, 0x7E0, 0x1F, 0},
                                {0xF00, 0xF0, 0xF, 0xF000},
                                {0xFF0000, 0xFF00, 0xFF, 0},
                                {0xFF0000, 0xFF00, 0xFF, 0xFF000000},
                                {0xFF, 0xFF00, 0xFF0000, 0xFF000000},
                                {0x3FF00000, 0xFFC00, 0x3FF, 0xC0000000},
                                {0xFFFFFFFF, 0, 0, 0x80000000},
                                {0x1FFFF, 0xFFFF8000, 1, 0}};
    RandomNumbers random(3);
    const auto any = [&] { return static_cast<uint32_t>(random()); };
    for (int i = 0; i < 40; ++i) cases.push_back({any() & any(), any() | any(), any(), any() & any() & any()});
    for (const Masks& masks : cases)
        for (const uint32_t bits : {16u, 32u})
            for (const uint32_t header : {40u, 52u, 56u, 108u, 124u}) {
                SCOPED_TRACE(::testing::Message() << std::hex << masks.red << ' ' << masks.green << ' ' << masks.blue
                                                  << ' ' << masks.alpha << ", header " << std::dec << header);
                constexpr int32_t kPixels = 71;
                const uint32_t used = bits == 16 ? 0xFFFF : 0xFFFFFFFF;
                const bool hasAlpha = header >= 56;
                Bytes dib = infoHeader(header, kPixels, -1, bits, 3);
                if (header == 40) dib.resize(52);
                std::memcpy(&dib[40], &masks, hasAlpha ? 16 : 12);
                if (((masks.red | masks.green | masks.blue) & used) == 0) continue;
                const Bytes row = random.bytes((kPixels * bits + 31) / 32 * 4);
                Made made;
                ASSERT_EQ(made.from(dib + row), SUCCESS);
                EXPECT_EQ(made.record.ViewPerspective, uint32_t{TOP_LEFT});
                const uint32_t step = bits == 16 ? 5 : 8, top = bits == 16 ? 31 : 255;
                for (size_t x = 0; x < kPixels; ++x) {
                    uint32_t pixel = 0, got = 0;
                    std::memcpy(&pixel, &row[x * bits / 8], bits / 8);
                    std::memcpy(&got, made.record.pData + x * bits / 8, bits / 8);
                    uint32_t expected = scaledField(pixel, masks.blue & used, top) |
                                        scaledField(pixel, masks.green & used, top) << step |
                                        scaledField(pixel, masks.red & used, top) << 2 * step;
                    if (hasAlpha) expected |= scaledField(pixel, masks.alpha & used, bits == 16 ? 1 : 255) << 3 * step;
                    ASSERT_EQ(got, expected) << x;
                }
                for (size_t x = kPixels * bits / 8; x < row.size(); ++x)
                    EXPECT_EQ(made.record.pData[x], 0) << "behind the pixels";
            }
}

constexpr uint32_t coding(const char (&name)[5]) {
    return static_cast<uint32_t>(name[0] | name[1] << 8 | name[2] << 16 | name[3] << 24);
}

// Rows of levels without colour: planes begin with the row that is the last one elsewhere.
TEST(Dib, LumaAndChromaComeInTheRightWayUp) {
    for (const bool planar : {false, true})
        for (const bool topDown : {false, true}) {
            SCOPED_TRACE(::testing::Message() << "planar " << planar << ", top-down " << topDown);
            const uint32_t name = planar ? coding("I420") : coding("YUY2"), bits = planar ? 12 : 16;
            Bytes rows;
            for (uint8_t y = 0; y < 4; ++y)
                for (int x = 0; x < 4; ++x)
                    rows = rows +
                           (planar ? Bytes{static_cast<uint8_t>(60 * y)} : Bytes{static_cast<uint8_t>(60 * y), 128});
            if (planar) rows.resize(24, 128);
            const Bytes dib = infoHeader(40, 4, topDown ? -4 : 4, bits, name) + rows;
            const Block block(dib);
            Made made, mirrored, shorter, odd;
            ASSERT_EQ(T_ChangeFromDIB(&made.record, kSize, block.handle), SUCCESS);
            ASSERT_EQ(T_MirrorFromDIB(&mirrored.record, kSize, block.handle), SUCCESS);
            EXPECT_EQ(made.record.BitsPerPixel, 24);
            EXPECT_EQ(made.record.ViewPerspective, topDown != planar ? uint32_t{TOP_LEFT} : uint32_t{BOTTOM_LEFT});
            EXPECT_EQ(mirrored.record.ViewPerspective, topDown != planar ? uint32_t{BOTTOM_LEFT} : uint32_t{TOP_LEFT});
            for (uint32_t y = 0; y < 4; ++y) {
                EXPECT_EQ(made.record.pData[12 * y], 60 * y);
                EXPECT_EQ(mirrored.record.pData[12 * y + 11], 60 * (3 - y));
            }
            EXPECT_EQ(shorter.from(Bytes(dib.begin(), dib.end() - 1)), ERROR_INVALID_DIB);
            EXPECT_EQ(odd.from(infoHeader(40, 3, 4, bits, name) + rows), ERROR_INVALID_DIB);
        }
}

#ifdef TNK_TEST_CODEC
TEST(Dib, CodedImagesComeInTheRightWayUp) {
    std::ifstream file(TNK_TEST_DATA "/small.jpg", std::ios::binary);
    const Bytes image{std::istreambuf_iterator<char>(file), {}};
    const Bytes marker = {0xFF, 0xC0};
    const auto frame = std::search(image.begin(), image.end(), marker.begin(), marker.end());
    ASSERT_NE(frame, image.end());
    const int32_t height = frame[5] << 8 | frame[6], width = frame[7] << 8 | frame[8];
    Made byAddress, upright, mirrored, unsized;
    Bytes dib = infoHeader(40, width, height, 0, coding("JPEG"));
    EXPECT_EQ(T_ConvertFromDIB(&unsized.record, kSize, dib.data(), image.data()), ERROR_INVALID_DIB);
    put(dib, kImage, static_cast<uint32_t>(image.size()));
    ASSERT_EQ(T_ConvertFromDIB(&byAddress.record, kSize, dib.data(), image.data()), SUCCESS);
    const Block block(dib + image);
    ASSERT_EQ(T_MirrorFromDIB(&mirrored.record, kSize, block.handle), SUCCESS);
    ASSERT_EQ(upright.from(infoHeader(40, width, -height, 24, coding("MJPG")) + image), SUCCESS);
    EXPECT_EQ(byAddress.record.ViewPerspective, uint32_t{BOTTOM_LEFT});
    EXPECT_EQ(upright.record.ViewPerspective, uint32_t{TOP_LEFT});
    const Bytes seen = seenRows(upright.record, 24);
    EXPECT_TRUE(seenRows(byAddress.record, 24) == seen && seenRows(mirrored.record, 24) == seen);
}
#endif

// ---- headers ----

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
        {"longer block", kLength, 0, 1176, SUCCESS},
        {"shorter block", kLength, 0, 1075, kBad},
        {"cut table", kLength, 0, 100, kBad},
        {"cut header", kLength, 0, 39, kBad},
        {"three bytes", kLength, 0, 3, kBad},
        {"header of 39 bytes", 0, 4, 39, kBad},
        {"header of 13 bytes", 0, 4, 13, kBad},
        {"no header", 0, 4, 0, kBad},
        {"header past the end", 0, 4, 5000, kBad},
        {"header past everything", 0, 4, 0xFFFFFFFF, kBad},
        {"no planes", kPlanes, 2, 0, kBad},
        {"two bits", kBits, 2, 2, kBad},
        {"no bits", kBits, 2, 0, kBad},
        {"65535 bits", kBits, 2, 65535, kBad},
        {"coding of 4 bits", kCoding, 4, 2, kBad},
        {"masks at 8 bits", kCoding, 4, 3, kBad},
        {"masks with alpha behind the header", kCoding, 4, 6, kBad},
        {"unknown coding", kCoding, 4, 0x30363248, kBad},
        {"planes of 3 rows", kCoding, 4, coding("YV12"), kBad},

        {"no width", kWidth, 4, 0, ERROR_INVALID_SIZE},
        {"no height", kHeight, 4, 0, ERROR_INVALID_SIZE},
        {"width below 0", kWidth, 4, 0xFFFFFFFC, kNone},
        {"least width", kWidth, 4, 0x80000000, kNone},
        {"least height", kHeight, 4, 0x80000000, kNone},
        {"greatest height", kHeight, 4, 0x7FFFFFFF, ERROR_SIZE_TOO_LARGE},
        {"height that does not follow", kHeight, 4, 4, kBad},
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
    ASSERT_EQ(made.from(few + Bytes{1, 2, 3, 9, 4, 5, 6, 0} + Bytes{1, 0, 1, 7}), SUCCESS);
    EXPECT_EQ(made.record.ColorCount, 2u);
    EXPECT_EQ(std::memcmp(made.record.Palette, "\1\2\3\11\4\5\6", 8), 0);
    EXPECT_EQ(std::memcmp(made.record.pData, "\1\0\1\7", 4), 0);

    Bytes small(12);
    put(small, 0, 12u);
    put(small, 4, uint16_t{9});
    put(small, 6, uint16_t{1});
    put(small, 8, uint16_t{1});
    put(small, 10, uint16_t{1});
    ASSERT_EQ(core.from(small + Bytes{1, 2, 3, 4, 5, 6} + Bytes{0x55, 0xFF, 0xFF, 0xFF}), SUCCESS);
    EXPECT_EQ(std::memcmp(core.record.Palette, "\1\2\3\0\4\5\6", 8), 0);
    EXPECT_EQ(std::memcmp(core.record.pData, "\x55\x80\0", 4), 0) << "what lies behind the pixels is cleared";

    Bytes deep = infoHeader(40, 1, 1, 24, 0);
    put(deep, kColors, 2u);
    ASSERT_EQ(hinted.from(deep + Bytes(8) + Bytes{7, 8, 9, 0}), SUCCESS);
    ASSERT_EQ(bare.from(deep + Bytes{7, 8, 9, 0}), SUCCESS);
    EXPECT_EQ(std::memcmp(hinted.record.pData, "\7\10\11", 4), 0);
    EXPECT_EQ(std::memcmp(bare.record.pData, "\7\10\11", 4), 0);
}

TEST(Dib, ResolutionsAreTheHeadersOrTheScreens) {
    static const Platform* const native = platform;
    static Platform table;
    table = *native;
    table.screenResolution = [](int32_t* x, int32_t* y) { return *x = 3780, *y = 3937, true; };
    Bytes dib = infoHeader(40, 7, -3, 24, 0);
    put(dib, kPels, 11811);
    Made first, second;
    platform = &table;
    EXPECT_EQ(T_ConvertFromDIB(&first.record, kSize, dib.data(), nullptr), SUCCESS);
    table.screenResolution = [](int32_t*, int32_t*) { return false; };
    EXPECT_EQ(T_ConvertFromDIB(&second.record, kSize, dib.data(), nullptr), SUCCESS);
    platform = native;
    EXPECT_EQ(first.record.XResolution, 300);
    EXPECT_EQ(first.record.YResolution, 100);
    EXPECT_EQ(second.record.XResolution, 300);
    EXPECT_EQ(second.record.YResolution, 150);
    EXPECT_EQ(first.record.Width, 7);
    EXPECT_EQ(first.record.Height, 3);
    EXPECT_EQ(first.record.ViewPerspective, uint32_t{TOP_LEFT});
    EXPECT_EQ(first.record.Flags & BMF_ALLOCATED, 0u);
}

TEST(Dib, ArgumentsThatAreNoneAreRefused) {
    StoredBitmap source(Kind::section, 3, 3, Format{12, 2});
    Made none;
    const BitmapHandle& good = source.record;
    const auto with = [&](uint32_t size, uint32_t view, uint32_t flags) {
        BitmapHandle changed = good;
        changed.StructSize = size;
        changed.ViewPerspective = view;
        changed.Flags |= flags;
        return changed;
    };
    BitmapHandle refused[] = {none.record, with(1, 1, 0), with(kSize, 9, 0), with(kSize, 1, BMF_SIGNED),
                              with(kSize, 1, BMF_WINDOW)};
    const Palette table(7);  // no window has as many values
    refused[4].pLUT = const_cast<PaletteEntry*>(table.data());
    refused[4].LUTLength = 7;
    for (BitmapHandle& bitmap : refused) EXPECT_TRUE(T_ConvertToDIB(&bitmap, 0) == 0 && T_ChangeToDIB(&bitmap, 0) == 0);
    EXPECT_TRUE(T_ConvertToDIB(nullptr, 0) == 0 && T_ChangeToDIB(nullptr, 0) == 0);
    BitmapHandle accessed = with(kSize, 1, BMF_LOCKED);
    EXPECT_EQ(T_ChangeToDIB(&accessed, 0), 0);

    const Bytes dib = infoHeader(40, 4, 3, 24, 0);
    const Block block(dib + Bytes(36));
    EXPECT_EQ(T_ConvertFromDIB(nullptr, kSize, dib.data(), dib.data()), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ConvertFromDIB(&none.record, kSize, nullptr, dib.data()), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(T_ConvertFromDIB(&none.record, kSize - 1, dib.data(), dib.data()), ERROR_STRUCT_SIZE);
    EXPECT_EQ(T_ConvertFromDIB(&none.record, kSize, Bytes{13, 0, 0, 0}.data(), nullptr), ERROR_INVALID_DIB);
    for (const auto call : {T_ChangeFromDIB, T_MirrorFromDIB}) {
        EXPECT_EQ(call(nullptr, kSize, block.handle), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(call(&none.record, kSize, 0), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(call(&none.record, 0, block.handle), ERROR_STRUCT_SIZE);
    }
}

}  // namespace
}  // namespace tnk::test
