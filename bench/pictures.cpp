// The photograph in every form that the contests ask for.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>  // needs <cstdio>

#include "contest.h"

namespace tnk::bench {
namespace {

constexpr char kPhotograph[] = "/usr/share/backgrounds/mate/abstract/Elephants_5640x3172.jpg";

void convertRows(const std::vector<uint8_t>& from, int32_t bitsFrom, std::vector<uint8_t>& to, int32_t bitsTo,
                 const PaletteEntry* palette = nullptr) {
    const size_t rowFrom = size_t{kWidth} * static_cast<size_t>(bitsFrom) / 8;
    const size_t rowTo = size_t{kWidth} * static_cast<size_t>(bitsTo) / 8;
    std::vector<uint8_t> row(std::max(rowFrom, rowTo));
    to.resize(rowTo * kHeight);
    for (size_t y = 0; y < kHeight; ++y) {
        std::memcpy(row.data(), from.data() + y * rowFrom, rowFrom);
        const int32_t order = bitsTo == 0 ? ORDER_RGB : ORDER_BGR;
        T_ConvertBuffer(row.data(), kWidth, bitsFrom, bitsTo, ORDER_BGR, order, nullptr, palette);
        std::memcpy(to.data() + y * rowTo, row.data(), rowTo);
    }
}

// Rows of red, green and blue; an empty vector without a file. The library ends the program for one that is damaged.
std::vector<uint8_t> readPhotograph(int& width, int& height) {
    std::FILE* const file = std::fopen(kPhotograph, "rb");
    if (file == nullptr) return {};
    jpeg_decompress_struct jpeg;
    jpeg_error_mgr errors;
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&jpeg);
    jpeg_stdio_src(&jpeg, file);
    jpeg_read_header(&jpeg, TRUE);
    jpeg_start_decompress(&jpeg);
    width = static_cast<int>(jpeg.output_width);
    height = static_cast<int>(jpeg.output_height);
    const size_t rowBytes = size_t{jpeg.output_width} * 3;
    std::vector<uint8_t> pixels(rowBytes * jpeg.output_height);
    while (jpeg.output_scanline < jpeg.output_height) {
        uint8_t* row = pixels.data() + jpeg.output_scanline * rowBytes;
        jpeg_read_scanlines(&jpeg, &row, 1);
    }
    jpeg_destroy_decompress(&jpeg);
    std::fclose(file);
    return pixels;
}

Pictures loadPictures() {
    Pictures p;
    int width = 0, height = 0;
    const std::vector<uint8_t> photo = readPhotograph(width, height);
    if (width < kWidth || height < kHeight) {
        std::fprintf(stderr, "bench: %s cannot be read; scripts/setup installs it\n", kPhotograph);
        std::exit(1);
    }
    p.rgb24.resize(kPixels * 3);
    p.bgr24.resize(kPixels * 3);
    p.bgra32.resize(kPixels * 4);
    p.gray8.resize(kPixels);
    for (size_t y = 0; y < kHeight; ++y) {
        for (size_t x = 0; x < kWidth; ++x) {
            const uint8_t* rgb = photo.data() + (y * static_cast<size_t>(width) + x) * 3;
            const size_t i = y * kWidth + x;
            for (size_t c = 0; c < 3; ++c) {
                p.rgb24[3 * i + c] = rgb[c];
                p.bgr24[3 * i + 2 - c] = rgb[c];
                p.bgra32[4 * i + 2 - c] = rgb[c];
            }
            p.bgra32[4 * i + 3] = 255;
            p.gray8[i] = static_cast<uint8_t>((2 * rgb[0] + 5 * rgb[1] + rgb[2] + 4) >> 3);
        }
    }
    convertRows(p.bgr24, 24, p.bgr48, 48);
    convertRows(p.bgr24, 24, p.bgra64, 64);
    convertRows(p.bgr24, 24, p.bgr555, 16);
    p.fixedPalette.assign(T_IntGetFixedPalette(8), T_IntGetFixedPalette(8) + 256);
    convertRows(p.bgr24, 24, p.fixed8, 8, p.fixedPalette.data());
    convertRows(p.bgr24, 24, p.mono1, 1);
    uint32_t at = 12345;
    for (int i = 0; i < 256; ++i) {
        at = at * 1664525 + 1013904223;  // any pixels of the photograph do
        const uint8_t* bgr = &p.bgr24[(at % kPixels) * 3];
        p.photoPalette.push_back({bgr[0], bgr[1], bgr[2], 0});
    }
    return p;
}

}  // namespace

const Pictures& pictures() {
    static const Pictures instance = loadPictures();
    return instance;
}

BitmapHandle* bitmapOf(const std::vector<uint8_t>& pixels, int32_t bits, uint32_t order, const PaletteEntry* palette) {
    auto* bitmap = new BitmapHandle;
    T_CreateBitmap(bitmap, sizeof *bitmap, MEM_USER, kWidth, kHeight, bits, order, palette, 1,
                   const_cast<uint8_t*>(pixels.data()), static_cast<uint32_t>(pixels.size()));
    if (bits <= 8 && palette == nullptr) T_CreateBitmapGrayPalette(bitmap);
    return bitmap;
}

void reductionToNew(const std::string& job, BitmapHandle* source, int32_t bits, uint32_t flags,
                    const std::vector<PaletteEntry>* palette) {
    contender(job, kNew, [=] {
        BitmapHandle made;
        T_ColorResBitmap(source, &made, sizeof made, bits, flags, palette != nullptr ? palette->data() : nullptr, 0,
                         palette != nullptr ? static_cast<uint32_t>(palette->size()) : 0, nullptr, nullptr);
        T_FreeBitmap(&made);
    });
}

uint8_t* output(size_t bytes) {
    static std::vector<uint8_t> memory(kPixels * 8 + 64, 1);
    return bytes <= memory.size() ? memory.data() : nullptr;
}

void copyOf(const std::string& job, size_t bytesRead, size_t bytesWritten) {
    const size_t bytes = (bytesRead + bytesWritten) / 2;
    contender(job, "memory copy", [bytes] {
        static std::vector<uint8_t> from(kPixels * 8, 2);
        std::memcpy(output(bytes), from.data(), bytes);
    });
}

void registerContests() {
    registerConversions();
    registerDithering();
    registerPalettes();
    registerStorage();
    registerRuns();
    registerCopies();
    registerGeometry();
    registerAlpha();
    registerDibs();
    registerCombinations();
}

}  // namespace tnk::bench
