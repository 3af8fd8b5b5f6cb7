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

void registerPalettes() {
    const Pictures& p = pictures();
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
