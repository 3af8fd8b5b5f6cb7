// Bitmaps with random pictures of several kinds, beside the descriptions that the plain forms take.
#pragma once

#include <cstring>
#include <memory>
#include <vector>

#include "color/dither_fixture.h"
#include "reference/color_count.h"

namespace tnk::test {

struct PixelFormat {
    int32_t bits;
    uint32_t order;
};
inline constexpr PixelFormat kPixelFormats[] = {
    {1, ORDER_RGB},         {2, ORDER_RGB},   {3, ORDER_RGB},   {4, ORDER_RGB},         {5, ORDER_RGB},
    {6, ORDER_RGB},         {7, ORDER_RGB},   {8, ORDER_RGB},   {12, ORDER_GRAY},       {16, ORDER_BGR},
    {16, ORDER_RGB},        {16, ORDER_GRAY}, {24, ORDER_BGR},  {24, ORDER_RGB},        {32, ORDER_BGR},
    {24, ORDER_MATRIX_RGB}, {32, ORDER_RGB},  {32, ORDER_GRAY}, {48, ORDER_MATRIX_RGB}, {48, ORDER_BGR},
    {48, ORDER_RGB},        {64, ORDER_BGR},  {64, ORDER_RGB}};

// What pixels a picture has.
enum class Kind { kNoise, kSlopes, kFew, kDominant };
inline constexpr Kind kKinds[] = {Kind::kNoise, Kind::kSlopes, Kind::kFew, Kind::kDominant};

class Picture {
  public:
    // `values`: how many different pixels a picture of few, or of dominant ones, has at most.
    Picture(Random& random, PixelFormat format, Kind kind, int32_t width, int32_t height, uint32_t values = 5,
            uint32_t memory = MEM_CONVENTIONAL) {
        const Palette palette = randomPalette(random, 256);
        EXPECT_EQ(T_CreateBitmap(&record, sizeof record, memory, width, height, format.bits, format.order,
                                 palette.data(), 1, nullptr, 0),
                  SUCCESS);
        std::vector<uint64_t> pool(values);
        for (uint64_t& value : pool) value = uint64_t{random()} << 32 | random();
        Bytes row(record.BytesPerLine);
        for (int32_t y = 0; y < height; ++y) {
            for (int32_t x = 0; x < width; ++x) {
                uint64_t value = uint64_t{random()} << 32 | random();
                const uint32_t pick = below(random, values);
                if (kind == Kind::kFew) value = pool[pick];
                if (kind == Kind::kDominant) value = pool[pick % (1 + below(random, 1 + below(random, values)))];
                if (kind == Kind::kSlopes) value = slope(x, y);
                store(row.data(), x, format.bits, value);
            }
            T_PutBitmapRow(&record, row.data(), y, record.BytesPerLine);
        }
    }
    ~Picture() {
        record.pLUT = nullptr;
        record.Region = 0;
        T_FreeBitmap(&record);
    }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;

    // The bits of gray samples that count, with a table of their colours where `lut`.
    void setWindow(Random& random, int32_t low, int32_t high, bool lut) {
        record.LowBit = low;
        record.HighBit = high;
        if (!lut) return;
        lut_ = randomPalette(random, 1u << (high - low + 1), false, true);
        record.Flags |= BMF_WINDOW;
        record.pLUT = lut_.data();
        record.LUTLength = static_cast<uint32_t>(lut_.size());
    }

    ReferencePicture reference() {
        ReferencePicture picture;
        picture.format = {.bits = record.BitsPerPixel,
                          .order = static_cast<int32_t>(record.Order),
                          .width = record.Width,
                          .palette = asReference(record.Palette),
                          .paletteCount = record.ColorCount,
                          .lowBit = record.LowBit,
                          .highBit = record.HighBit,
                          .window = (record.Flags & BMF_WINDOW) != 0,
                          .lut = asReference(record.pLUT),
                          .lutLength = record.LUTLength};
        picture.rows = rows(record);
        return picture;
    }

    static Rows rows(BitmapHandle& bitmap) {
        Rows all(static_cast<size_t>(bitmap.Height), Bytes(bitmap.BytesPerLine));
        for (size_t y = 0; y < all.size(); ++y)
            T_GetBitmapRow(&bitmap, all[y].data(), static_cast<int32_t>(y), bitmap.BytesPerLine);
        return all;
    }

    BitmapHandle record{};

  private:
    static uint64_t slope(int32_t x, int32_t y) {
        uint64_t value = 0;
        for (int32_t i = 0; i < 8; ++i) value |= uint64_t{static_cast<uint8_t>(x * (i % 3 + 1) + y * (5 - i))} << 8 * i;
        return value;
    }

    static void store(uint8_t* row, int32_t x, int32_t bits, uint64_t value) {
        if (bits <= 8) {
            referenceSetPacked(row, x, bits, static_cast<uint32_t>(value));
        } else if (bits == 12) {
            referenceSet12(row, x, static_cast<uint32_t>(value & 0xFFF));
        } else {
            const auto bytes = static_cast<size_t>(bits / 8);
            std::memcpy(row + static_cast<size_t>(x) * bytes, &value, bytes);
        }
    }

    Palette lut_;
};

}  // namespace tnk::test
