#include "color/dither/color_fetch.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "base/pixel_values.h"
#include "base/sample_rules.h"
#include "bitmap/lifecycle.h"
#include "convert/packed_pixels.h"

namespace tnk {
namespace {

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
void fetchGray(const ColorFetch& source, const uint8_t* pixels, int32_t count, const ColorPlanes& planes) {
    for (int32_t x = 0; x < count; ++x) {
        const uint32_t value = windowValue(source.colors.gray, loadSample<Bits>(pixels, static_cast<size_t>(x)));
        planes.red[x] = source.colors.grayScale[value & 0xFF];
    }
}

template <int32_t Bits>
void fetchGrayTable(const ColorFetch& source, const uint8_t* pixels, int32_t count, const ColorPlanes& planes) {
    for (int32_t x = 0; x < count; ++x) {
        const uint32_t value = windowValue(source.colors.gray, loadSample<Bits>(pixels, static_cast<size_t>(x)));
        putColor(planes, x, tableEntry(source.table, value));
    }
}

template <bool RedHigh>
void fetch555(const ColorFetch&, const uint8_t* pixels, int32_t count, const ColorPlanes& planes) {
    for (int32_t x = 0; x < count; ++x) {
        const uint32_t pixel = load16(pixels + x * 2);
        planes.red[x] = widen5(RedHigh ? pixel >> 10 : pixel);
        planes.green[x] = widen5(pixel >> 5);
        planes.blue[x] = widen5(RedHigh ? pixel : pixel >> 10);
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
    source.table = sampleTable(bitmap);
    source.gray = source.table.empty();
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

// Also for bitmaps that are not gray now: the order is read with each row.
void readGray(const BitmapHandle& bitmap, SourceColors& colors) {
    colors.gray = sampleWindow(bitmap, hasSampleTable(bitmap) ? bitmap.BitsPerPixel : 8);
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
    } else if (hasGraySamples(bits, order)) {
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
    source.bytes = bits == 24 || (bits == 32 && !hasGraySamples(bits, order));
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
            keys[first + x] = static_cast<uint16_t>(word555(from.red[x], from.green[x], from.blue[x]));
        }
    }
}

}  // namespace tnk
