// Buffer conversion against its plainest form: every pair of formats, with palettes, windows and alpha, at many widths,
// in place and apart.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "base/pixel_format.h"
#include "convert/row_converter.h"
#include "reference/convert.h"
#include "tnkrn.h"

namespace tnk {
namespace {

using test::ReferenceColor;
using Bytes = std::vector<uint8_t>;

constexpr size_t kGuard = 40;
constexpr uint8_t kGuardByte = 0x5C;
constexpr int32_t kDepths[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64};
constexpr int32_t kOrders[] = {0, 1, 2, 5};

struct Format {
    int32_t bits;
    int32_t order;
    bool isGray() const { return bits > 8 && order == 2; }
    bool hasPalette() const { return bits >= 1 && bits <= 8; }
    uint32_t pixelBits() const { return bits == 0 ? 8 : static_cast<uint32_t>(bits); }
};

struct Case {
    Format source;
    Format target;
    const ReferenceColor* paletteSrc = nullptr;
    const ReferenceColor* paletteDst = nullptr;
    uint32_t flags = 0;
    int32_t low = -1;
    int32_t high = -1;
};

const PaletteEntry* entries(const ReferenceColor* palette) { return reinterpret_cast<const PaletteEntry*>(palette); }

std::vector<Format> formats() {
    std::vector<Format> all;
    for (int32_t bits : kDepths) {
        const PixelFormat* format = findPixelFormat(bits);
        if (format == nullptr) all.push_back({bits, 0});
        for (int32_t order : kOrders)
            if (format != nullptr && (format->orders >> order & 1) != 0) all.push_back({bits, order});
    }
    return all;
}

class ConvertReference : public testing::Test {
  protected:
    ConvertReference() : arbitrary_(65536), twin_(256) {
        for (ReferenceColor& color : arbitrary_) color = {byte(), byte(), byte(), byte()};
        // Many equal distances: few levels.
        for (ReferenceColor& color : twin_) color = {few(), few(), few(), 0};
        marked_ = twin_;
        marked_[0].reserved = 1;
    }

    uint8_t byte() { return static_cast<uint8_t>(random_()); }
    uint8_t few() { return static_cast<uint8_t>(random_() % 4 * 85); }

    Bytes pixels(const Format& format, int32_t width) {
        Bytes row(static_cast<size_t>(pixelBytes(static_cast<uint64_t>(width), format.pixelBits())));
        const bool plain = random_() % 4 == 0;  // few values: black, white, ties
        for (uint8_t& value : row) value = plain ? few() : byte();
        return row;
    }

    int32_t width() { return 1 + static_cast<int32_t>(random_() % 70); }
    void check(const Case& c, int32_t width);
    void checkApart(const Case& c, const Bytes& source, Bytes expected, int32_t width);

    std::mt19937 random_{20};
    std::vector<ReferenceColor> arbitrary_;
    std::vector<ReferenceColor> twin_;
    std::vector<ReferenceColor> marked_;  // the same colours, but not the same bytes: searched
};

// The bits of the last byte that belong to no pixel.
uint8_t unusedMask(const Format& format, int32_t width) {
    const uint64_t used = static_cast<uint64_t>(width) * format.pixelBits() % 8;
    return static_cast<uint8_t>(used == 0 ? 0 : format.bits == 12 ? 0xF0 : 0xFF >> used);
}

void ConvertReference::check(const Case& c, int32_t width) {
    SCOPED_TRACE(testing::Message() << c.source.bits << '/' << c.source.order << " to " << c.target.bits << '/'
                                    << c.target.order << ", width " << width << ", flags " << c.flags << ", " << c.low
                                    << '-' << c.high << ", palettes " << (c.paletteSrc != nullptr)
                                    << (c.paletteDst != nullptr));
    const Bytes source = pixels(c.source, width);
    const size_t offset = random_() % 17;
    const size_t targetBytes = static_cast<size_t>(pixelBytes(static_cast<uint64_t>(width), c.target.pixelBits()));
    Bytes buffer(offset, kGuardByte);
    buffer.insert(buffer.end(), source.begin(), source.end());
    while (buffer.size() < offset + targetBytes) buffer.push_back(byte());
    buffer.insert(buffer.end(), kGuard, kGuardByte);

    Bytes expected = buffer;
    const int32_t code =
        test::referenceConvert(expected.data() + offset, width, c.source.bits, c.target.bits, c.source.order,
                               c.target.order, c.paletteSrc, c.paletteDst, c.flags, c.low, c.high);
    // Bytes of the source past the converted row may hold anything.
    const size_t used = offset + targetBytes;
    ASSERT_EQ(T_ConvertBufferExt(buffer.data() + offset, width, c.source.bits, c.target.bits,
                                 static_cast<uint32_t>(c.source.order), static_cast<uint32_t>(c.target.order),
                                 entries(c.paletteSrc), entries(c.paletteDst), c.flags, c.low, c.high),
              code);
    ASSERT_EQ(buffer.size(), expected.size());
    ASSERT_TRUE(std::equal(buffer.begin(), buffer.begin() + static_cast<ptrdiff_t>(used), expected.begin()));
    ASSERT_TRUE(std::equal(buffer.end() - kGuard, buffer.end(), expected.end() - kGuard));
    if (code != SUCCESS) {
        ASSERT_EQ(buffer, expected);
        return;
    }
    Bytes target(expected.begin() + static_cast<ptrdiff_t>(offset), expected.begin() + static_cast<ptrdiff_t>(used));
    target.back() &= static_cast<uint8_t>(~unusedMask(c.target, width));
    checkApart(c, source, std::move(target), width);
}

void ConvertReference::checkApart(const Case& c, const Bytes& source, Bytes expected, int32_t width) {
    RowConverter converter;
    ASSERT_TRUE(converter
                    .prepare({c.source.bits, c.target.bits, static_cast<uint32_t>(c.source.order),
                              static_cast<uint32_t>(c.target.order), entries(c.paletteSrc), entries(c.paletteDst),
                              c.flags, c.low, c.high})
                    .ok());
    const size_t bytes = expected.size();
    Bytes target(bytes + kGuard, kGuardByte);
    expected.insert(expected.end(), kGuard, kGuardByte);
    for (int row = 0; row < 2; ++row) {
        std::fill_n(target.begin(), bytes, uint8_t{0xFF});
        ASSERT_TRUE(converter.run(source.data(), target.data(), width).ok());
        ASSERT_EQ(target, expected);
    }
}

// Equal palettes, and palettes that begin alike, keep the indexes.
TEST_F(ConvertReference, PalettesAlphaAndWidths) {
    for (const Format& source : formats()) {
        for (const Format& target : formats()) {
            std::vector<const ReferenceColor*> sources = {nullptr}, targets = {nullptr};
            if (source.hasPalette()) sources = {nullptr, arbitrary_.data(), twin_.data()};
            if (source.bits == 12 || (source.bits == 16 && source.isGray())) sources.push_back(arbitrary_.data());
            if (target.hasPalette()) targets = {nullptr, arbitrary_.data(), twin_.data(), marked_.data()};
            for (const ReferenceColor* paletteSrc : sources) {
                for (const ReferenceColor* paletteDst : targets) {
                    for (uint32_t i = 0; i < 4; ++i) {
                        check({source, target, paletteSrc, paletteDst, i % 2 * CONVERT_ALPHA_OPAQUE}, width());
                    }
                }
            }
            for (int32_t few = 1; few <= 9; ++few) check({source, target}, few);
            for (int32_t many : {70, 255, 256, 257, 511, 771}) check({source, target, nullptr, nullptr, 0x10}, many);
            if (HasFatalFailure()) return;
        }
    }
}

TEST_F(ConvertReference, Windows) {
    constexpr int32_t kWindows[][2] = {{0, 7},  {4, 11}, {2, 2},   {3, -1},  {-1, 9},  {0, 15}, {0, 11},  {-1, -1},
                                       {10, 3}, {5, 8},  {20, 27}, {12, 40}, {40, 47}, {1, 31}, {0, 1000}};
    for (const Format& source : formats()) {
        for (const Format& target : formats()) {
            for (const auto& window : kWindows) {
                for (uint32_t flags : {0x04u, 0x08u, 0x0Cu, 0x24u}) {
                    const Case c = {source, target, nullptr, nullptr, flags, window[0], window[1]};
                    if (source.isGray() || target.isGray() || window[0] == 0) check(c, width());
                    // A table of samples, as far as it reaches.
                    Case table = c;
                    table.paletteSrc = arbitrary_.data();
                    const bool windowed = flags == 0x04 && window[0] >= 2 && window[1] < 16 && window[1] > 0;
                    if (source.bits == 12 || source.bits == 16 || windowed || !source.isGray())
                        if (source.isGray() || target.isGray()) check(table, width());
                    if (HasFatalFailure()) return;
                }
            }
        }
    }
}

// Every order, also those that a depth does not have, and depths that are none.
TEST_F(ConvertReference, Refusals) {
    constexpr int32_t kAllDepths[] = {-1, 0, 1, 4, 8, 9, 12, 15, 16, 24, 32, 40, 48, 64, 65, 128};
    for (int32_t sourceBits : kAllDepths) {
        for (int32_t targetBits : kAllDepths) {
            for (int32_t orderSrc : {0, 1, 2, 3, 5, 6, 31, -1}) {
                for (int32_t orderDst : {0, 1, 2, 4, 5, 7, 33}) {
                    Bytes buffer(80, 0x33);
                    Bytes expected = buffer;
                    const int32_t code = test::referenceConvert(expected.data(), 9, sourceBits, targetBits, orderSrc,
                                                                orderDst, nullptr, nullptr, 0, -1, -1);
                    ASSERT_EQ(T_ConvertBuffer(buffer.data(), 9, sourceBits, targetBits, static_cast<uint32_t>(orderSrc),
                                              static_cast<uint32_t>(orderDst), nullptr, nullptr),
                              code);
                    if (code != SUCCESS) {
                        ASSERT_EQ(buffer, expected);
                    }
                }
            }
        }
    }
}

// Instrumented builds see every seventh of the red and green pairs.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr uint32_t kColorStep = 7;
#else
constexpr uint32_t kColorStep = 1;
#endif

// The two-entry match decides by a linear form; it must agree with the search for every colour.
TEST_F(ConvertReference, TwoEntriesForEveryColour) {
    const ReferenceColor pairs[][2] = {
        {{0, 0, 0, 0}, {255, 255, 255, 0}}, {{255, 255, 255, 0}, {0, 0, 0, 0}},   {{10, 20, 30, 0}, {30, 20, 10, 0}},
        {{7, 7, 7, 0}, {7, 7, 7, 3}},       {{200, 13, 77, 0}, {12, 90, 201, 0}},
    };
    RowConverter converter;
    Bytes row(256 * 3);
    Bytes bits(32);
    for (const auto& pair : pairs) {
        ASSERT_TRUE(converter.prepare({24, 1, 1, 0, nullptr, entries(pair), 0, -1, -1}).ok());
        for (uint32_t rest = 0; rest < 65536; rest += kColorStep) {
            for (uint32_t blue = 0; blue < 256; ++blue) {
                row[3 * blue] = static_cast<uint8_t>(blue);
                row[3 * blue + 1] = static_cast<uint8_t>(rest);
                row[3 * blue + 2] = static_cast<uint8_t>(rest >> 8);
            }
            ASSERT_TRUE(converter.run(row.data(), bits.data(), 256).ok());
            for (uint32_t blue = 0; blue < 256; ++blue) {
                const uint32_t expected =
                    test::referenceFindPaletteIndex(pair, 2, static_cast<int32_t>(rest >> 8 & 255),
                                                    static_cast<int32_t>(rest & 255), static_cast<int32_t>(blue));
                ASSERT_EQ(test::referenceGetPacked(bits.data(), static_cast<int32_t>(blue), 1), expected)
                    << blue << ", " << (rest & 255) << ", " << (rest >> 8);
            }
        }
    }
}

}  // namespace
}  // namespace tnk
