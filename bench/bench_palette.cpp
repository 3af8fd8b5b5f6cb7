// Matching to arbitrary palettes.
#include <benchmark/benchmark.h>

#include <memory>

#include "color/nearest.h"
#include "contest.h"
#include "format/convert.h"

#ifdef PEER_QT
#include <QImage>
#endif

namespace tnk::bench {

namespace {

// A bitmap in caller memory that lives as long as the program.
BitmapHandle* bitmapOf(const std::vector<uint8_t>& pixels, int32_t bits) {
    auto* bitmap = new BitmapHandle;
    T_CreateBitmap(bitmap, sizeof *bitmap, MEM_USER, kWidth, kHeight, bits, ORDER_BGR, nullptr, 1, nullptr, 0);
    T_SetBitmapDataPointer(bitmap, const_cast<uint8_t*>(pixels.data()), bitmap->Size);
    return bitmap;
}

void optimized(const std::string& job, BitmapHandle* source, uint32_t method) {
    copyOf(job, kPixels * 3, kPixels);
    contender(job, "Tarnkit", [=] {
        BitmapHandle result;
        T_ColorResBitmap(source, &result, sizeof result, 8, CRF_OPTIMIZEDPALETTE | CRF_DITHER_METHOD(method), nullptr,
                         0, 0, nullptr, nullptr);
        T_FreeBitmap(&result);
    });
}

void counts(BitmapHandle* source) {
    const std::string job = "Count the colours of 24 bits";
    copyOf(job, kPixels * 3, 0);
    contender(job, "Tarnkit", [=] {
        uint32_t count = 0;
        T_GetBitmapColorCountExt(source, &count, nullptr);
        benchmark::DoNotOptimize(count);
    });
}

}  // namespace

void registerPalettes() {
    const Pictures& p = pictures();
    BitmapHandle* const photo = bitmapOf(p.bgr24, 24);
    counts(photo);
    optimized("Optimized 256 colours, nearest", photo, DITHER_NONE);
    optimized("Optimized 256 colours, Floyd-Steinberg", photo, DITHER_FLOYD_STEINBERG);
    const std::string job = "Nearest match 24 to 8, any 256 colours, exact";
    copyOf(job, kPixels * 3, kPixels);
    contender(job, "Tarnkit", [&p] {
        RowConverter converter;
        if (!converter.prepare({24, 8, ORDER_BGR, ORDER_RGB, nullptr, p.photoPalette.data()}).ok()) return;
        for (size_t y = 0; y < kHeight; ++y) {
            (void)converter.run(&p.bgr24[y * kWidth * 3], output(kPixels) + y * kWidth, kWidth);
        }
    });
#ifdef PEER_QT
    const QImage image(p.bgra32.data(), kWidth, kHeight, kWidth * 4, QImage::Format_RGB32);
    QVector<QRgb> colors;
    for (const PaletteEntry& entry : p.photoPalette) colors.push_back(qRgb(entry.Red, entry.Green, entry.Blue));
    contender(job, "QImage", [=] {
        constexpr auto kFlags = Qt::ColorOnly | Qt::ThresholdDither | Qt::AvoidDither;
        benchmark::DoNotOptimize(image.convertToFormat(QImage::Format_Indexed8, colors, kFlags).constBits());
    });
#endif
}

}  // namespace tnk::bench
