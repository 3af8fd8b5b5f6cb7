// Single pixels, as raw bytes and as colour values.
#include <algorithm>
#include <cstring>
#include <span>

#include "base/pixel_format.h"
#include "base/pixel_values.h"
#include "base/sample_rules.h"
#include "base/shape.h"
#include "bitmap/lifecycle.h"
#include "bitmap/storage/storage.h"
#include "convert/row_converter.h"
#include "palette/palette.h"
#include "system/dispatch.h"

namespace tnk {
namespace {

constexpr EntryRule kPixelEntry = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};

constexpr uint32_t kMaxPixelBytes = 8;

// A pixel in its row: the bytes that it touches, and where in them its bits lie.
struct PixelPlace {
    uint32_t bytes;
    uint32_t shift;  // below the pixel's bits, in the bytes read as a big-endian number (packed pixels)
};

PixelPlace placeOf(uint32_t bits, uint32_t column) {
    const uint64_t first = uint64_t{column} * bits;
    const uint64_t end = first + bits;
    const auto bytes = static_cast<uint32_t>((end + 7) / 8 - first / 8);
    return {bytes, static_cast<uint32_t>(-end & 7)};
}

std::span<const PaletteEntry> paletteOf(const BitmapHandle& bitmap) {
    if (bitmap.Palette == nullptr) return {};
    return {bitmap.Palette, std::min(bitmap.ColorCount, 1u << bitmap.BitsPerPixel)};
}

// Entries that are not there are black.
uint32_t colorAt(std::span<const PaletteEntry> entries, uint32_t index) {
    return index < entries.size() ? colorOf(entries[index]) : 0;
}

uint32_t nearestIndex(std::span<const PaletteEntry> entries, uint32_t color) {
    return entries.empty() ? 0 : findNearest(entries, colorRed(color), colorGreen(color), colorBlue(color));
}

// ---- from stored pixels to colour values ----

uint32_t getPacked(const uint8_t* pixel, PixelPlace place, uint32_t bits) {
    const uint32_t window = place.bytes == 1 ? pixel[0] : uint32_t{pixel[0]} << 8 | pixel[1];
    return window >> place.shift & ((1u << bits) - 1);
}

// A window that lies outside the sample, or has no bits, shows level 0.
uint32_t grayColor(const BitmapHandle& bitmap, uint32_t sample) {
    const GrayParams window = sampleWindow(bitmap);
    const uint32_t value = windowValue(window, sample);
    if (const auto table = sampleTable(bitmap); !table.empty()) return colorAt(table, value);
    return COLOR_TAG_GRAY | (window.mask != 0 ? value * 65535 / window.mask : 0);
}

uint32_t color555(uint32_t word, uint32_t order) {
    const uint32_t low = widen5(word);
    const uint32_t green = widen5(word >> 5);
    const uint32_t high = widen5(word >> 10);
    return order == ORDER_BGR ? high | green << 8 | low << 16 : low | green << 8 | high << 16;
}

// One pixel of 24 or 48 bits from or to blue, green, red.
Result changeOrder(uint8_t* pixel, int32_t bits, uint32_t from, uint32_t to) {
    return convertBuffer(pixel, 1, {.bitsSrc = bits, .bitsDst = bits, .orderSrc = from, .orderDst = to});
}

// Of 8- or 16-bit channels, of which the high byte counts. Only 24 and 48 bits have a third order.
Result channelColor(const BitmapHandle& bitmap, uint8_t* pixel, uint32_t& color) {
    const int32_t bits = bitmap.BitsPerPixel;
    uint32_t order = bitmap.Order;
    if ((bits == 24 || bits == 48) && order != ORDER_RGB && order != ORDER_BGR) {
        TRY(changeOrder(pixel, bits, order, ORDER_BGR));
        order = ORDER_BGR;
    }
    const uint32_t channel = bits >= 48 ? 2 : 1;
    const uint32_t first = pixel[channel - 1];
    const uint32_t third = pixel[3 * channel - 1];
    const uint32_t outer = order == ORDER_BGR ? third | first << 16 : first | third << 16;
    color = outer | uint32_t{pixel[2 * channel - 1]} << 8;
    return SUCCESS;
}

Result decodePixel(const BitmapHandle& bitmap, uint8_t* pixel, int32_t column, uint32_t& color) {
    const uint32_t bits = Shape(bitmap).bits;
    switch (bits) {
        case 12:
            color = grayColor(bitmap, sample12(load16(pixel), static_cast<uint32_t>(column)));
            return SUCCESS;
        case 16:
            color = hasGraySamples(bitmap) ? grayColor(bitmap, load16(pixel)) : color555(load16(pixel), bitmap.Order);
            return SUCCESS;
        case 24:
        case 32:
        case 48:
        case 64:
            if (bits == 32 && hasGraySamples(bitmap))
                return ERROR_INVALID_PARAMETER;  // 32-bit levels fit no colour value
            return channelColor(bitmap, pixel, color);
        default:
            color = colorAt(paletteOf(bitmap), getPacked(pixel, placeOf(bits, static_cast<uint32_t>(column)), bits));
            return SUCCESS;
    }
}

// ---- from colour values to stored pixels ----

void putPacked(uint8_t* pixel, PixelPlace place, uint32_t bits, uint32_t index) {
    const uint32_t mask = ((1u << bits) - 1) << place.shift;
    const uint32_t window = place.bytes == 1 ? pixel[0] : uint32_t{pixel[0]} << 8 | pixel[1];
    const uint32_t merged = (window & ~mask) | (index << place.shift & mask);
    if (place.bytes == 2) *pixel++ = static_cast<uint8_t>(merged >> 8);
    *pixel = static_cast<uint8_t>(merged);
}

uint32_t indexOf(const BitmapHandle& bitmap, uint32_t color) {
    return colorTag(color) == COLOR_TAG_INDEX ? color : nearestIndex(paletteOf(bitmap), color);
}

// The sample of a 12- or 16-bit gray pixel. A window without bits, or beyond the sample, takes 0.
uint32_t sampleOf(const BitmapHandle& bitmap, uint32_t color) {
    const uint32_t full = (1u << bitmap.BitsPerPixel) - 1;
    if (colorTag(color) == COLOR_TAG_RAW) return color & full;
    const int32_t low = std::max(bitmap.LowBit, 0);
    const int64_t high = bitmap.HighBit >= 0 ? bitmap.HighBit : bitmap.BitsPerPixel - 1;
    const int64_t width = high - low + 1;
    if (width < 1 || low >= bitmap.BitsPerPixel) return 0;
    if (const auto table = sampleTable(bitmap); !table.empty()) {
        return nearestIndex(table.first(std::min<size_t>(table.size(), 65535)), color) << low & full;
    }
    uint32_t level = color & 0xFFFF;
    if (colorTag(color) != COLOR_TAG_GRAY)
        level = grayLevel(colorRed(color), colorGreen(color), colorBlue(color)) * 257u;
    if (width < 16) level = (level * ((1u << width) - 1) + 65534) / 65535;
    return level << low & full;
}

uint32_t stored555(const BitmapHandle& bitmap, uint32_t color) {
    const uint32_t red = colorRed(color), green = colorGreen(color), blue = colorBlue(color);
    return bitmap.Order == ORDER_BGR ? word555(red, green, blue) : word555(blue, green, red);
}

Result putChannels(const BitmapHandle& bitmap, uint8_t* pixel, uint32_t color) {
    const int32_t bits = bitmap.BitsPerPixel;
    const bool anyOther = bits == 32 || bits == 64;  // orders that are neither count as red first
    const bool matrix = bitmap.Order == ORDER_MATRIX_RGB && !anyOther;
    if (!anyOther && !matrix && bitmap.Order > ORDER_BGR) return ERROR_INVALID_PARAMETER;
    uint8_t channels[3] = {colorRed(color), colorGreen(color), colorBlue(color)};
    if (bitmap.Order == ORDER_BGR || matrix) std::swap(channels[0], channels[2]);
    for (const uint8_t channel : channels) {
        *pixel++ = channel;
        if (bits >= 48) *pixel++ = channel;
    }
    return matrix ? changeOrder(pixel - bits / 8, bits, ORDER_BGR, bitmap.Order) : SUCCESS;
}

// The colour that a gray level stands for where levels are not stored as such.
uint32_t settleColor(const BitmapHandle& bitmap, uint32_t color) {
    return hasGraySamples(bitmap) && !hasSampleTable(bitmap) ? color : grayToPlain(color);
}

// Puts the colour among `pixel`'s bytes, which packed pixels share.
Result encodePixel(const BitmapHandle& bitmap, uint8_t* pixel, int32_t column, uint32_t value) {
    const uint32_t bits = Shape(bitmap).bits;
    const uint32_t color = settleColor(bitmap, value);
    switch (bits) {
        case 12:
            store16(pixel, put12(load16(pixel), static_cast<uint32_t>(column), sampleOf(bitmap, color)));
            return SUCCESS;
        case 16:
            store16(pixel, hasGraySamples(bitmap) ? sampleOf(bitmap, color) : stored555(bitmap, color));
            return SUCCESS;
        case 32:
            if (!hasGraySamples(bitmap)) return putChannels(bitmap, pixel, color);
            store16(pixel, color);
            store16(pixel + 2, color >> 16);
            return SUCCESS;
        case 24:
        case 48:
        case 64:
            return putChannels(bitmap, pixel, color);
        default:
            putPacked(pixel, placeOf(bits, static_cast<uint32_t>(column)), bits, indexOf(bitmap, color));
            return SUCCESS;
    }
}

// ---- pixels of a bitmap ----

bool sharesBytes(int32_t bits) { return bits < 8 || bits == 12; }

// Bytes of a pixel that a colour is stored in: the alpha channel keeps what it has.
uint32_t colorBytes(const BitmapHandle& bitmap, int32_t column) {
    const bool alpha = (bitmap.BitsPerPixel == 32 && !hasGraySamples(bitmap)) || bitmap.BitsPerPixel == 64;
    const uint32_t bits = Shape(bitmap).bits;
    return alpha ? bits / 32 * 3 : placeOf(bits, static_cast<uint32_t>(column)).bytes;
}

Result readPixel(BitmapHandle& bitmap, int32_t row, int32_t column, uint8_t* pixel, uint32_t bytes) {
    return wholeTransfer(storageOf(bitmap).read(bitmap, row, static_cast<uint32_t>(column), pixel, bytes), bytes);
}

Result getColor(BitmapHandle& bitmap, int32_t row, int32_t column, uint32_t& color) {
    if (!isPixelDepth(Shape(bitmap).bits)) return ERROR_BPP_NOT_SUPPORTED;
    uint8_t pixel[kMaxPixelBytes];
    const Locked lock(bitmap);
    const uint32_t bits = Shape(bitmap).bits;
    TRY(readPixel(bitmap, row, column, pixel, placeOf(bits, static_cast<uint32_t>(column)).bytes));
    return decodePixel(bitmap, pixel, column, color);
}

Result putColor(BitmapHandle& bitmap, int32_t row, int32_t column, uint32_t color) {
    if (!isPixelDepth(Shape(bitmap).bits)) return ERROR_BPP_NOT_SUPPORTED;
    uint8_t pixel[kMaxPixelBytes] = {};
    const uint32_t bytes = colorBytes(bitmap, column);
    const Locked lock(bitmap);
    if (sharesBytes(bitmap.BitsPerPixel)) TRY(readPixel(bitmap, row, column, pixel, bytes));
    TRY(encodePixel(bitmap, pixel, column, color));
    return wholeTransfer(storageOf(bitmap).write(bitmap, row, static_cast<uint32_t>(column), pixel, bytes), bytes);
}

// Bytes that a raw pixel needs; 0 when they do not all lie in a stored row.
uint32_t rawBytes(const BitmapHandle& bitmap, int32_t row, uint32_t column) {
    const uint32_t bits = Shape(bitmap).bits;
    const uint32_t bytes = placeOf(bits, column).bytes;
    const bool inside = row >= 0 && row < bitmap.Height && columnOffset(column, bits) + bytes <= bitmap.BytesPerLine;
    return inside ? bytes : 0;
}

template <typename Byte, typename Move>
Result moveRaw(BitmapHandle* bitmap, Byte* buffer, int32_t row, uint32_t column, uint32_t size, Move move) {
    if (bitmap == nullptr || buffer == nullptr) return ERROR_NOT_ALLOCATED;
    TRY(checkEntry(kPixelEntry, bitmap));
    if (!isPixelDepth(Shape(*bitmap).bits)) return ERROR_BPP_NOT_SUPPORTED;
    if (size < placeOf(Shape(*bitmap).bits, column).bytes) return ERROR_INVALID_PARAMETER;
    const uint32_t bytes = rawBytes(*bitmap, row, column);
    return bytes != 0 && move(*bitmap, row, column, buffer, bytes) == bytes ? SUCCESS : FAILURE;
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_GetPixelData(BitmapHandle* Bitmap, uint8_t* Buffer, int32_t Row, uint32_t Col,
                                           uint32_t BufferSize) {
    const auto read = [](BitmapHandle& bitmap, auto... place) { return storageOf(bitmap).read(bitmap, place...); };
    return moveRaw(Bitmap, Buffer, Row, Col, BufferSize, read).code;
}

extern "C" int32_t TNK_CALL T_PutPixelData(BitmapHandle* Bitmap, const uint8_t* Buffer, int32_t Row, uint32_t Col,
                                           uint32_t BufferSize) {
    const auto write = [](BitmapHandle& bitmap, auto... place) { return storageOf(bitmap).write(bitmap, place...); };
    return moveRaw(Bitmap, Buffer, Row, Col, BufferSize, write).code;
}

extern "C" uint32_t TNK_CALL T_GetPixelColor(BitmapHandle* Bitmap, int32_t Row, int32_t Col) {
    if (!checkEntry(kPixelEntry, Bitmap).ok() || !isInside(*Bitmap, Row, Col)) return COLOR_ERROR;
    uint32_t color = 0;
    return getColor(*Bitmap, Row, Col, color).ok() ? color : COLOR_ERROR;
}

extern "C" int32_t TNK_CALL T_PutPixelColor(BitmapHandle* Bitmap, int32_t Row, int32_t Col, uint32_t Color) {
    if (const Result entry = checkEntry(kPixelEntry, Bitmap); !entry.ok()) return entry.code;
    if ((Bitmap->Flags & BMF_SIGNED) != 0) return ERROR_SIGNED_DATA;
    if (!positionWritable(*Bitmap, Row, Col)) return ERROR_INVALID_SIZE;
    return putColor(*Bitmap, Row, Col, Color).code;
}
