// Runs of pixels of one colour in any pixel format.
#include <algorithm>
#include <cstring>

#include "base/pixel_values.h"
#include "base/sample_rules.h"
#include "base/shape.h"
#include "convert/fill_run.h"
#include "convert/row_converter.h"
#include "palette/palette.h"

namespace tnk {
namespace {

Result pixelIndex(const BitmapHandle& bitmap, uint32_t color, uint32_t& index) {
    index = color & 0xFF;
    return colorTag(color) == COLOR_TAG_INDEX ? SUCCESS : findPlatformNearest(bitmap, grayToPlain(color), index);
}

// 1, 2, 4 and 8 bits: one byte repeated.
void fillBytes(uint8_t* row, int32_t count, uint32_t bits, uint32_t index) {
    const uint32_t mask = (1u << bits) - 1;
    uint32_t value = 0;
    for (uint32_t at = 0; at < 8; at += bits) value = value << bits | (index & mask);
    std::memset(row, static_cast<int>(value), static_cast<size_t>((uint64_t(count) * bits + 7) >> 3));
}

// 3, 5, 6 and 7 bits: pixels straddle bytes, the most significant bit first.
void fillPacked(uint8_t* row, int32_t count, uint32_t bits, uint32_t index) {
    const uint32_t mask = (1u << bits) - 1;
    uint64_t position = 0;
    for (int32_t i = 0; i < count; ++i, position += bits) {
        uint8_t* at = row + (position >> 3);
        const uint32_t shift = 16 - static_cast<uint32_t>(position & 7) - bits;  // in the pair of bytes at `at`
        const uint32_t keep = ~(mask << shift);
        const uint32_t put = (index & mask) << shift;
        at[0] = static_cast<uint8_t>((at[0] & keep >> 8) | put >> 8);
        if (shift < 8) at[1] = static_cast<uint8_t>((at[1] & keep) | put);
    }
}

// The stored sample of a gray bitmap of 12 or 16 bits.
uint32_t graySample(const BitmapHandle& bitmap, uint32_t color) {
    const uint32_t depth = Shape(bitmap).bits;
    const uint32_t full = (1u << depth) - 1;
    const uint32_t tag = colorTag(color);
    if (tag == COLOR_TAG_GRAY || tag == COLOR_TAG_INDEX) return color & full;

    const GrayParams params = sampleWindow(bitmap);
    // A window outside the sample, which only a damaged record has, leaves no bits to write.
    if (params.bits < 1 || params.shift < 0 || params.shift >= bitmap.BitsPerPixel) return 0;
    const auto shift = static_cast<uint32_t>(params.shift);
    if (const auto table = sampleTable(bitmap); tag != COLOR_TAG_RAW && !table.empty()) {
        return findNearest(table, colorRed(color), colorGreen(color), colorBlue(color)) << shift & full;
    }
    const uint32_t level =
        tag == COLOR_TAG_RAW ? color & 0xFFFF : grayLevel(colorRed(color), colorGreen(color), colorBlue(color)) * 257u;
    return level >> (16 - params.bits) << shift & full;
}

void fill12(uint8_t* row, int32_t count, uint32_t sample) {
    const auto low = static_cast<uint8_t>(sample);
    const auto high = static_cast<uint8_t>(sample >> 4);
    const auto both = static_cast<uint8_t>(sample >> 8 | sample << 4);
    for (int32_t i = 0; i + 1 < count; i += 2, row += 3) {
        row[0] = low;
        row[1] = both;
        row[2] = high;
    }
    if (count % 2 != 0) {
        row[0] = low;
        row[1] = static_cast<uint8_t>((row[1] & 0xF0) | (both & 0x0F));  // the upper half belongs to the next pixel
    }
}

uint32_t stored555(const BitmapHandle& bitmap, uint32_t color) {
    const uint32_t red = colorRed(color), green = colorGreen(color), blue = colorBlue(color);
    return bitmap.Order == ORDER_BGR ? word555(red, green, blue) : word555(blue, green, red);
}

// Repeats a pixel of whole bytes.
void repeatPixel(uint8_t* row, int32_t count, const uint8_t* pixel, size_t bytes) {
    const size_t total = static_cast<size_t>(count) * bytes;
    std::memcpy(row, pixel, bytes);
    for (size_t done = bytes; done < total; done *= 2) std::memcpy(row + done, row, std::min(done, total - done));
}

void fill16(uint8_t* row, int32_t count, uint32_t word) {
    const uint8_t pixel[2] = {static_cast<uint8_t>(word), static_cast<uint8_t>(word >> 8)};
    repeatPixel(row, count, pixel, sizeof(pixel));
}

// 24 to 64 bits: one pixel goes through the buffer conversion.
Result fillConverted(const BitmapHandle& bitmap, uint8_t* row, int32_t count, uint32_t color) {
    uint8_t pixel[8] = {colorBlue(color), colorGreen(color), colorRed(color)};
    TRY(convertBuffer(pixel, 1,
                      {.bitsSrc = 24,
                       .bitsDst = bitmap.BitsPerPixel,
                       .orderSrc = ORDER_BGR,
                       .orderDst = bitmap.Order,
                       .flags = hasGraySamples(bitmap) ? CONVERT_DST_BIT_RANGE : 0u,
                       .lowBit = bitmap.LowBit,
                       .highBit = bitmap.HighBit}));
    repeatPixel(row, count, pixel, Shape(bitmap).bits / 8);
    return SUCCESS;
}

}  // namespace

Result fillPixelRun(const BitmapHandle& bitmap, uint8_t* row, int32_t count, uint32_t color) {
    if (count <= 0) return SUCCESS;
    uint32_t index = 0;
    if (bitmap.BitsPerPixel <= 8) TRY(pixelIndex(bitmap, color, index));
    switch (bitmap.BitsPerPixel) {
        case 1:
            // KEEP: any index but 0 is a set pixel; the low bit counts only for a colour value that names its index.
            fillBytes(row, count, 1, colorTag(color) == COLOR_TAG_INDEX ? color : index > 0);
            break;
        case 2:
        case 4:
        case 8:
            fillBytes(row, count, Shape(bitmap).bits, index);
            break;
        case 3:
        case 5:
        case 6:
        case 7:
            fillPacked(row, count, Shape(bitmap).bits, index);
            break;
        case 12:
            fill12(row, count, graySample(bitmap, color));
            break;
        case 16:
            fill16(row, count,
                   hasGraySamples(bitmap) ? graySample(bitmap, color) : stored555(bitmap, grayToPlain(color)));
            break;
        case 24:
        case 32:
        case 48:
        case 64:
            return fillConverted(bitmap, row, count, grayToPlain(color));
        default:
            break;
    }
    return SUCCESS;
}

}  // namespace tnk
