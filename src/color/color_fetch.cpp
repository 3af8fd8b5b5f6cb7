#include "color/color_fetch.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "bitmap/lifecycle.h"
#include "format/packed_pixels.h"

namespace tnk {
namespace {

uint32_t load16(const uint8_t* bytes) { return bytes[0] | static_cast<uint32_t>(bytes[1]) << 8; }
uint32_t load32(const uint8_t* bytes) { return load16(bytes) | load16(bytes + 2) << 16; }

void putColor(const ColorPlanes& planes, int32_t x, const PaletteEntry& color) {
    planes.red[x] = color.Red;
    planes.green[x] = color.Green;
    planes.blue[x] = color.Blue;
}

// Pixels of `Stride` bytes, one a channel; the byte of each channel.
template <int32_t Stride, int32_t Red, int32_t Green, int32_t Blue>
void splitPixels(const DitherKernels* kernels, const uint8_t* pixels, int32_t count, const ColorPlanes& planes) {
    static_assert(Green == 1 && (Red == 0 || Blue == 0));
    int32_t x = 0;
    const auto vectors = kernels == nullptr ? nullptr : Stride == 3 ? kernels->splitThree : kernels->splitFour;
    if (vectors != nullptr) {
        x = vectors(pixels, count, Red == 0 ? planes.red : planes.blue, planes.green,
                    Red == 0 ? planes.blue : planes.red);
    }
    for (pixels += x * Stride; x < count; ++x, pixels += Stride) {
        planes.red[x] = pixels[Red];
        planes.green[x] = pixels[Green];
        planes.blue[x] = pixels[Blue];
    }
}

void fetchIndexed(const ColorFetch& source, const uint8_t* pixels, int32_t count, const ColorPlanes& planes) {
    uint8_t unpacked[kColorBlock];
    const uint8_t* indexes = pixels;
    if (source.bits < 8) {
        unpackPixels(static_cast<uint32_t>(source.bits), pixels, unpacked, static_cast<size_t>(count));
        indexes = unpacked;
    }
    const PaletteEntry* const palette = source.colors.palette;
    if (source.gray) {
        for (int32_t x = 0; x < count; ++x) planes.red[x] = palette[indexes[x]].Red;
        return;
    }
    PaletteEntry colors[kColorBlock];
    for (int32_t x = 0; x < count; ++x) colors[x] = palette[indexes[x]];
    splitPixels<4, 2, 1, 0>(source.kernels, reinterpret_cast<const uint8_t*>(colors), count, planes);
}

// 8-bit indexes that are their own gray levels.
void fetchLevels(const ColorFetch&, const uint8_t* pixels, int32_t count, const ColorPlanes& planes) {
    std::memcpy(planes.red, pixels, static_cast<size_t>(count));
}

template <int32_t Bits>
uint32_t loadSample(const uint8_t* pixels, int32_t x) {
    if constexpr (Bits == 12) {
        const uint8_t* const pair = pixels + x / 2 * 3;
        return x % 2 == 0 ? load16(pair) & 0xFFF : load16(pair + 1) >> 4;
    } else if constexpr (Bits == 16) {
        return load16(pixels + x * 2);
    } else {
        return load32(pixels + x * 4);
    }
}

// The value inside the window. A window beyond the sample's bits is empty.
uint32_t windowValue(const GrayParams& window, uint32_t sample) {
    return window.shift >= 0 && window.shift < 32 ? (sample >> window.shift) & window.mask : 0;
}

template <int32_t Bits>
void fetchGray(const ColorFetch& source, const uint8_t* pixels, int32_t count, const ColorPlanes& planes) {
    for (int32_t x = 0; x < count; ++x) {
        const uint32_t value = windowValue(source.colors.gray, loadSample<Bits>(pixels, x));
        planes.red[x] = source.colors.grayScale[value & 0xFF];
    }
}

template <int32_t Bits>
void fetchGrayTable(const ColorFetch& source, const uint8_t* pixels, int32_t count, const ColorPlanes& planes) {
    for (int32_t x = 0; x < count; ++x) {
        const uint32_t value = windowValue(source.colors.gray, loadSample<Bits>(pixels, x));
        putColor(planes, x, value < source.tableLength ? source.table[value] : PaletteEntry{});
    }
}

template <bool RedHigh>
void fetch555(const ColorFetch&, const uint8_t* pixels, int32_t count, const ColorPlanes& planes) {
    const auto widen = [](uint32_t value) { return static_cast<uint8_t>((value & 31) << 3 | (value & 31) >> 2); };
    for (int32_t x = 0; x < count; ++x) {
        const uint32_t pixel = load16(pixels + x * 2);
        planes.red[x] = widen(RedHigh ? pixel >> 10 : pixel);
        planes.green[x] = widen(pixel >> 5);
        planes.blue[x] = widen(RedHigh ? pixel : pixel >> 10);
    }
}

template <int32_t Stride, int32_t Red, int32_t Green, int32_t Blue>
void fetchBytes(const ColorFetch& source, const uint8_t* pixels, int32_t count, const ColorPlanes& planes) {
    splitPixels<Stride, Red, Green, Blue>(source.kernels, pixels, count, planes);
}

// 16-bit channels by their high bytes; the places are those of the channels in a pixel.
template <int32_t Channels, int32_t Red, int32_t Green, int32_t Blue>
void fetchWords(const ColorFetch& source, const uint8_t* pixels, int32_t count, const ColorPlanes& planes) {
    uint8_t high[kColorBlock * Channels];
    for (int32_t i = 0; i < count * Channels; ++i) high[i] = pixels[2 * i + 1];
    splitPixels<Channels, Red, Green, Blue>(source.kernels, high, count, planes);
}

void chooseGray(ColorFetch& source, const BitmapHandle& bitmap) {
    source.gray = !hasGrayTable(bitmap);
    source.table = bitmap.pLUT;
    source.tableLength = bitmap.LUTLength;
    switch (source.bits) {
        case 12:
            source.fetch = source.gray ? fetchGray<12> : fetchGrayTable<12>;
            break;
        case 16:
            source.fetch = source.gray ? fetchGray<16> : fetchGrayTable<16>;
            break;
        default:
            source.fetch = source.gray ? fetchGray<32> : fetchGrayTable<32>;
            break;
    }
}

// The window of gray samples, also for bitmaps that are not gray now: the order is read with each row.
void readGray(const BitmapHandle& bitmap, SourceColors& colors) {
    const int32_t maxBits = hasGrayTable(bitmap) ? bitmap.BitsPerPixel : 8;
    colors.gray = grayParams(bitmap.BitsPerPixel, maxBits, bitmap.LowBit, bitmap.HighBit);
    for (uint32_t value = 0; value < 256; ++value) {
        const bool scaled = colors.gray.mask > 0 && colors.gray.mask < 255;
        colors.grayScale[value] = static_cast<uint8_t>(scaled ? value * 255 / colors.gray.mask : value);
    }
}

}  // namespace

bool isGrayPalette(const PaletteEntry (&palette)[kMaxPaletteEntries]) {
    return std::all_of(std::begin(palette), std::end(palette),
                       [](const PaletteEntry& entry) { return entry.Red == entry.Green && entry.Red == entry.Blue; });
}

void readSourceColors(const BitmapHandle& bitmap, SourceColors& colors) {
    if (bitmap.BitsPerPixel > 8) {
        readGray(bitmap, colors);
        return;
    }
    readBitmapPalette(bitmap, colors.palette);
    colors.paletteGray = isGrayPalette(colors.palette);
    colors.paletteLevels = colors.paletteGray;
    for (uint32_t i = 0; i < kMaxPaletteEntries; ++i) {
        if (colors.palette[i].Red != i) colors.paletteLevels = false;
    }
}

ColorFetch chooseColorFetch(const DitherKernels* kernels, const SourceColors& colors, const BitmapHandle& bitmap,
                            int32_t bits, uint32_t order) {
    ColorFetch source{.colors = colors, .kernels = kernels, .bits = bits};
    const bool bgr = order == ORDER_BGR;
    if (bits <= 8) {
        source.gray = colors.paletteGray;
        source.levels = bits == 8 && colors.paletteLevels;
        source.fetch = source.levels ? fetchLevels : fetchIndexed;
    } else if (bits == 12 || ((bits == 16 || bits == 32) && order == ORDER_GRAY)) {
        chooseGray(source, bitmap);
    } else if (bits == 16) {
        source.fetch = bgr ? fetch555<true> : fetch555<false>;
    } else if (bits == 24) {
        source.fetch = bgr ? fetchBytes<3, 2, 1, 0> : fetchBytes<3, 0, 1, 2>;
    } else if (bits == 32) {
        source.fetch = bgr ? fetchBytes<4, 2, 1, 0> : fetchBytes<4, 0, 1, 2>;
    } else if (bits == 48) {
        source.fetch = bgr ? fetchWords<3, 2, 1, 0> : fetchWords<3, 0, 1, 2>;
    } else {
        source.fetch = bgr ? fetchWords<4, 2, 1, 0> : fetchWords<4, 0, 1, 2>;
    }
    source.bytes = bits == 24 || (bits == 32 && order != ORDER_GRAY);
    source.fields = {.pixelBytes = static_cast<uint32_t>(bits) / 8, .swap = !bgr, .alphaBit = false, .alpha = 0};
    return source;
}

void fetchKeys(const ColorFetch& source, const uint8_t* pixels, int32_t count, uint16_t* keys) {
    if (source.bytes) {
        kernels().to555(pixels, reinterpret_cast<uint8_t*>(keys), static_cast<size_t>(count), source.fields);
        return;
    }
    alignas(32) uint8_t channels[3][kColorBlock];
    const ColorPlanes planes{channels[0], channels[1], channels[2]};
    for (int32_t first = 0; first < count; first += kColorBlock) {
        const int32_t block = std::min(kColorBlock, count - first);
        source.fetch(source, pixels + source.offsetOf(first), block, planes);
        const PixelPlanes from = source.planesOf(planes);
        for (int32_t x = 0; x < block; ++x) {
            const uint32_t red = from.red[x], green = from.green[x], blue = from.blue[x];
            keys[first + x] = static_cast<uint16_t>((red >> 3) << 10 | (green >> 3) << 5 | blue >> 3);
        }
    }
}

}  // namespace tnk
