// Buffer conversion, beside libraries that convert pixel formats.
#include <cstring>
#include <memory>

#include "contest.h"
#include "convert/row_converter.h"

#ifdef PEER_LIBYUV
#include <libyuv.h>
#endif
#ifdef PEER_OPENCV
#include <opencv2/imgproc.hpp>
#endif
#ifdef PEER_SWSCALE
extern "C" {
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}
#endif
#ifdef PEER_LEPTONICA
#include <leptonica/allheaders.h>
#endif
#ifdef PEER_FREEIMAGE
#include <FreeImage.h>
#endif
#ifdef PEER_PIXMAN
#include <pixman.h>
#endif
#ifdef PEER_QT
#include <QImage>
#endif

namespace tnk::bench {
namespace {

constexpr char kExactMatch[] = "Nearest match 24 to 8, any 256 colours, exact";

constexpr size_t rowBytesOf(int32_t bits) { return size_t{kWidth} * static_cast<size_t>(bits == 0 ? 8 : bits) / 8; }

void convertLines(const ConvertSpec& spec, const uint8_t* from, uint8_t* to) {
    T_HANDLE conversion = 0;
    T_StartConvert(&conversion, spec.bitsSrc, spec.bitsDst, spec.orderSrc, spec.orderDst, spec.paletteSrc,
                   spec.paletteDst, spec.flags, -1, -1);
    T_ConvertLines(conversion, from, static_cast<int32_t>(rowBytesOf(spec.bitsSrc)), to,
                   static_cast<int32_t>(rowBytesOf(spec.bitsDst)), kWidth, kHeight);
    T_StopConvert(conversion);
}

// Reductions to 8 bits and fewer are another job: they match by 15-bit keys. Conversions of rows then fill the new bitmap.
void toNewBitmap(const std::string& job, const std::vector<uint8_t>& from, const ConvertSpec& spec) {
    if (spec.bitsDst <= 8) {
        contender(job, kNew, [spec, &from] {
            BitmapHandle made;
            T_CreateBitmap(&made, sizeof made, MEM_CONVENTIONAL, kWidth, kHeight, spec.bitsDst == 0 ? 8 : spec.bitsDst,
                           ORDER_BGR, nullptr, 1, nullptr, 0);
            convertLines(spec, from.data(), made.pData);
            T_FreeBitmap(&made);
        });
        return;
    }
    const uint32_t opaque = (spec.flags & CONVERT_ALPHA_OPAQUE) != 0 ? CRF_OPAQUEALPHA : 0;
    const uint32_t order = spec.orderDst == ORDER_BGR ? CRF_BGR : 0;
    reductionToNew(job, bitmapOf(from, spec.bitsSrc == 0 ? 8 : spec.bitsSrc, spec.orderSrc, spec.paletteSrc),
                   spec.bitsDst, order | opaque);
}

void kernelContest(const std::string& job, const std::vector<uint8_t>& from, const ConvertSpec& spec) {
    const size_t in = rowBytesOf(spec.bitsSrc);
    const size_t out = rowBytesOf(spec.bitsDst);
    copyOf(job, in * kHeight, out * kHeight);
    toNewBitmap(job, from, spec);
    contender(job, kThere, [spec, &from, out] { convertLines(spec, from.data(), output(out * kHeight)); });
    // The row is copied into its place first and converted there.
    contender(job, kRows, [spec, &from, in, out] {
        static std::vector<uint8_t> row(size_t{kWidth} * 8);
        for (size_t y = 0; y < kHeight; ++y) {
            uint8_t* place = in <= out ? output(out * kHeight) + y * out : row.data();
            std::memcpy(place, from.data() + y * in, in);
            T_ConvertBufferExt(place, kWidth, spec.bitsSrc, spec.bitsDst, spec.orderSrc, spec.orderDst, spec.paletteSrc,
                               spec.paletteDst, spec.flags, -1, -1);
            if (in > out) std::memcpy(output(out * kHeight) + y * out, place, out);
        }
    });
    const auto converter = std::make_shared<RowConverter>();
    if (!converter->prepare(spec).ok()) return;
    contender(job, kEngine, [converter, &from, in, out] {
        for (size_t y = 0; y < kHeight; ++y) {
            (void)converter->run(from.data() + y * in, output(out * kHeight) + y * out, kWidth);
        }
    });
}

#ifdef PEER_OPENCV
void openCv(const std::string& job, const std::vector<uint8_t>& from, int typeFrom, int typeTo, int code) {
    contender(job, "OpenCV", [&from, typeFrom, typeTo, code] {
        const cv::Mat in(kHeight, kWidth, typeFrom, const_cast<uint8_t*>(from.data()));
        cv::Mat out(kHeight, kWidth, typeTo, output(kPixels * CV_ELEM_SIZE(typeTo)));
        cv::cvtColor(in, out, code);
    });
}
void openCvDepth(const std::string& job, const std::vector<uint8_t>& from, int typeFrom, int typeTo, double scale) {
    contender(job, "OpenCV", [=, &from] {
        const cv::Mat in(kHeight, kWidth, typeFrom, const_cast<uint8_t*>(from.data()));
        cv::Mat out(kHeight, kWidth, typeTo, output(kPixels * CV_ELEM_SIZE(typeTo)));
        in.convertTo(out, typeTo, scale);
    });
}
#endif

#ifdef PEER_SWSCALE
void swscale(const std::string& job, const std::vector<uint8_t>& from, AVPixelFormat formatFrom, AVPixelFormat formatTo,
             const std::vector<PaletteEntry>* palette = nullptr) {
    SwsContext* context =
        sws_getContext(kWidth, kHeight, formatFrom, kWidth, kHeight, formatTo, SWS_POINT, nullptr, nullptr, nullptr);
    if (context == nullptr) return;
    contender(job, "swscale", [=, &from] {
        const uint8_t* in[4] = {from.data(), palette != nullptr ? &palette->data()->Blue : nullptr, nullptr, nullptr};
        uint8_t* out[4] = {output(kPixels * 8), nullptr, nullptr, nullptr};
        int inStride[4];
        int outStride[4];
        av_image_fill_linesizes(inStride, formatFrom, kWidth);
        av_image_fill_linesizes(outStride, formatTo, kWidth);
        sws_scale(context, in, inStride, 0, kHeight, out, outStride);
    });
}
#endif

#ifdef PEER_FREEIMAGE
FIBITMAP* freeImageOf(const std::vector<uint8_t>& data, int bits) {
    FIBITMAP* image = FreeImage_Allocate(kWidth, kHeight, bits);
    std::memcpy(FreeImage_GetBits(image), data.data(), rowBytesOf(bits) * kHeight);
    return image;
}
void freeImage(const std::string& job, FIBITMAP* from, FIBITMAP*(DLL_CALLCONV* convert)(FIBITMAP*)) {
    contender(job, "FreeImage", [=] { FreeImage_Unload(convert(from)); });
}
#endif

#ifdef PEER_PIXMAN
void pixman(const std::string& job, const std::vector<uint8_t>& from, pixman_format_code_t formatFrom,
            pixman_format_code_t formatTo) {
    const auto make = [](const uint8_t* data, pixman_format_code_t format) {
        return pixman_image_create_bits(format, kWidth, kHeight,
                                        reinterpret_cast<uint32_t*>(const_cast<uint8_t*>(data)),
                                        static_cast<int>(rowBytesOf(PIXMAN_FORMAT_BPP(format))));
    };
    pixman_image_t* in = make(from.data(), formatFrom);
    pixman_image_t* out = make(output(kPixels * 4), formatTo);
    contender(job, "pixman",
              [=] { pixman_image_composite32(PIXMAN_OP_SRC, in, nullptr, out, 0, 0, 0, 0, 0, 0, kWidth, kHeight); });
}
#endif

#ifdef PEER_QT
void qt(const std::string& job, const std::vector<uint8_t>& from, QImage::Format formatFrom, QImage::Format formatTo,
        Qt::ImageConversionFlags flags = Qt::AutoColor, const std::vector<PaletteEntry>* palette = nullptr) {
    QImage image(from.data(), kWidth, kHeight, static_cast<int>(from.size() / kHeight), formatFrom);
    if (palette != nullptr) {
        QVector<QRgb> colors;
        for (const PaletteEntry& entry : *palette) colors.push_back(qRgb(entry.Red, entry.Green, entry.Blue));
        image.setColorTable(colors);
    }
    contender(job, "QImage", [=] { keep(image.convertToFormat(formatTo, flags).constBits()); });
}
void qtToPalette(const std::string& job, const std::vector<uint8_t>& bgra, const std::vector<PaletteEntry>& palette) {
    const QImage image(bgra.data(), kWidth, kHeight, kWidth * 4, QImage::Format_RGB32);
    QVector<QRgb> colors;
    for (const PaletteEntry& entry : palette) colors.push_back(qRgb(entry.Red, entry.Green, entry.Blue));
    contender(job, "QImage", [=] {
        constexpr auto kFlags = Qt::ColorOnly | Qt::ThresholdDither | Qt::AvoidDither;
        keep(image.convertToFormat(QImage::Format_Indexed8, colors, kFlags).constBits());
    });
}
#endif

void wholeBytes() {
    const Pictures& p = pictures();
    kernelContest("24 to 32", p.bgr24, {24, 32, ORDER_BGR, ORDER_BGR, nullptr, nullptr, CONVERT_ALPHA_OPAQUE});
    kernelContest("32 to 24", p.bgra32, {32, 24, ORDER_BGR, ORDER_BGR});
    kernelContest("24 swap red and blue", p.bgr24, {24, 24, ORDER_BGR, ORDER_RGB});
    kernelContest("32 swap red and blue", p.bgra32, {32, 32, ORDER_BGR, ORDER_RGB});
    kernelContest("24 to 16 (5-5-5)", p.bgr24, {24, 16, ORDER_BGR, ORDER_BGR});
    kernelContest("32 to 16 (5-5-5)", p.bgra32, {32, 16, ORDER_BGR, ORDER_BGR});
    kernelContest("16 (5-5-5) to 24", p.bgr555, {16, 24, ORDER_BGR, ORDER_BGR});
    kernelContest("16 (5-5-5) to 32", p.bgr555, {16, 32, ORDER_BGR, ORDER_BGR, nullptr, nullptr, CONVERT_ALPHA_OPAQUE});
    kernelContest("24 to 48", p.bgr24, {24, 48, ORDER_BGR, ORDER_BGR});
    kernelContest("48 to 24", p.bgr48, {48, 24, ORDER_BGR, ORDER_BGR});
    kernelContest("32 to 64", p.bgra32, {32, 64, ORDER_BGR, ORDER_BGR});
    kernelContest("64 to 32", p.bgra64, {64, 32, ORDER_BGR, ORDER_BGR});
    kernelContest("24 to gray 8", p.bgr24, {24, 0, ORDER_BGR, ORDER_RGB});
    kernelContest("32 to gray 8", p.bgra32, {32, 0, ORDER_BGR, ORDER_RGB});
    kernelContest("gray 8 to 24", p.gray8, {0, 24, ORDER_RGB, ORDER_BGR});
#ifdef PEER_LIBYUV
    const int w = kWidth;
    const auto yuv = [&](const std::string& job, const std::vector<uint8_t>& from, size_t outBits, auto convert) {
        const int in = static_cast<int>(from.size() / kHeight);
        const int out = static_cast<int>(rowBytesOf(static_cast<int32_t>(outBits)));
        contender(job, "libyuv", [=, &from] {
            convert(from.data(), in, output(static_cast<size_t>(out) * kHeight), out, w, kHeight);
        });
    };
    yuv("24 to 32", p.bgr24, 32, libyuv::RGB24ToARGB);
    yuv("32 to 24", p.bgra32, 24, libyuv::ARGBToRGB24);
    yuv("24 swap red and blue", p.bgr24, 24, libyuv::RAWToRGB24);
    yuv("32 swap red and blue", p.bgra32, 32, libyuv::ARGBToABGR);
    yuv("32 to 16 (5-5-5)", p.bgra32, 16, libyuv::ARGBToARGB1555);
    yuv("16 (5-5-5) to 32", p.bgr555, 32, libyuv::ARGB1555ToARGB);
    yuv("32 to 64", p.bgra32, 64, [](const uint8_t* s, int ss, uint8_t* d, int ds, int width, int height) {
        return libyuv::ARGBToAR64(s, ss, reinterpret_cast<uint16_t*>(d), ds / 2, width, height);
    });
    yuv("64 to 32", p.bgra64, 32, [](const uint8_t* s, int ss, uint8_t* d, int ds, int width, int height) {
        return libyuv::AR64ToARGB(reinterpret_cast<const uint16_t*>(s), ss / 2, d, ds, width, height);
    });
    yuv("24 to gray 8", p.bgr24, 8, libyuv::RGB24ToJ400);
    yuv("32 to gray 8", p.bgra32, 8, libyuv::ARGBToJ400);
#endif
#ifdef PEER_OPENCV
    cv::setNumThreads(1);
    openCv("24 to 32", p.bgr24, CV_8UC3, CV_8UC4, cv::COLOR_BGR2BGRA);
    openCv("32 to 24", p.bgra32, CV_8UC4, CV_8UC3, cv::COLOR_BGRA2BGR);
    openCv("24 swap red and blue", p.bgr24, CV_8UC3, CV_8UC3, cv::COLOR_BGR2RGB);
    openCv("32 swap red and blue", p.bgra32, CV_8UC4, CV_8UC4, cv::COLOR_BGRA2RGBA);
    openCv("24 to 16 (5-5-5)", p.bgr24, CV_8UC3, CV_8UC2, cv::COLOR_BGR2BGR555);
    openCv("32 to 16 (5-5-5)", p.bgra32, CV_8UC4, CV_8UC2, cv::COLOR_BGRA2BGR555);
    openCv("16 (5-5-5) to 24", p.bgr555, CV_8UC2, CV_8UC3, cv::COLOR_BGR5552BGR);
    openCv("16 (5-5-5) to 32", p.bgr555, CV_8UC2, CV_8UC4, cv::COLOR_BGR5552BGRA);
    openCv("24 to gray 8", p.bgr24, CV_8UC3, CV_8UC1, cv::COLOR_BGR2GRAY);
    openCv("32 to gray 8", p.bgra32, CV_8UC4, CV_8UC1, cv::COLOR_BGRA2GRAY);
    openCv("gray 8 to 24", p.gray8, CV_8UC1, CV_8UC3, cv::COLOR_GRAY2BGR);
    openCvDepth("24 to 48", p.bgr24, CV_8UC3, CV_16UC3, 257);
    openCvDepth("48 to 24", p.bgr48, CV_16UC3, CV_8UC3, 1.0 / 257);
    openCvDepth("32 to 64", p.bgra32, CV_8UC4, CV_16UC4, 257);
    openCvDepth("64 to 32", p.bgra64, CV_16UC4, CV_8UC4, 1.0 / 257);
#endif
#ifdef PEER_SWSCALE
    swscale("24 to 32", p.bgr24, AV_PIX_FMT_BGR24, AV_PIX_FMT_BGRA);
    swscale("32 to 24", p.bgra32, AV_PIX_FMT_BGRA, AV_PIX_FMT_BGR24);
    swscale("24 swap red and blue", p.bgr24, AV_PIX_FMT_BGR24, AV_PIX_FMT_RGB24);
    swscale("24 to 16 (5-5-5)", p.bgr24, AV_PIX_FMT_BGR24, AV_PIX_FMT_RGB555LE);
    swscale("24 to 48", p.bgr24, AV_PIX_FMT_BGR24, AV_PIX_FMT_BGR48LE);
    swscale("24 to gray 8", p.bgr24, AV_PIX_FMT_BGR24, AV_PIX_FMT_GRAY8);
#endif
#ifdef PEER_FREEIMAGE
    FIBITMAP* const free24 = freeImageOf(p.bgr24, 24);
    FIBITMAP* const free32 = freeImageOf(p.bgra32, 32);
    freeImage("24 to 32", free24, FreeImage_ConvertTo32Bits);
    freeImage("32 to 24", free32, FreeImage_ConvertTo24Bits);
    freeImage("24 to 16 (5-5-5)", free24, FreeImage_ConvertTo16Bits555);
    freeImage("24 to gray 8", free24, FreeImage_ConvertToGreyscale);
#endif
#ifdef PEER_PIXMAN
    pixman("24 to 32", p.bgr24, PIXMAN_r8g8b8, PIXMAN_a8r8g8b8);
    pixman("32 swap red and blue", p.bgra32, PIXMAN_a8r8g8b8, PIXMAN_a8b8g8r8);
    pixman("32 to 16 (5-5-5)", p.bgra32, PIXMAN_a8r8g8b8, PIXMAN_a1r5g5b5);
#endif
#ifdef PEER_QT
    qt("24 to 32", p.rgb24, QImage::Format_RGB888, QImage::Format_RGB32);
    qt("32 swap red and blue", p.bgra32, QImage::Format_ARGB32, QImage::Format_RGBA8888);
#endif
}

void indexed() {
    const Pictures& p = pictures();
    const PaletteEntry* palette = p.fixedPalette.data();
    kernelContest("8 palette to 24", p.fixed8, {8, 24, ORDER_RGB, ORDER_BGR, palette});
    kernelContest("8 palette to 32", p.fixed8, {8, 32, ORDER_RGB, ORDER_BGR, palette});
    kernelContest("1 to 8", p.mono1, {1, 8, ORDER_RGB, ORDER_RGB, T_IntGetFixedPalette(1), T_IntGetFixedPalette(8)});
    kernelContest("1 to 24", p.mono1, {1, 24, ORDER_RGB, ORDER_BGR, T_IntGetFixedPalette(1)});
    kernelContest("24 to 1", p.bgr24, {24, 1, ORDER_BGR, ORDER_RGB});
    kernelContest(kExactMatch, p.bgr24, {24, 8, ORDER_BGR, ORDER_RGB, nullptr, p.photoPalette.data()});
#ifdef PEER_SWSCALE
    swscale("8 palette to 24", p.fixed8, AV_PIX_FMT_PAL8, AV_PIX_FMT_BGR24, &p.fixedPalette);
    swscale("8 palette to 32", p.fixed8, AV_PIX_FMT_PAL8, AV_PIX_FMT_BGRA, &p.fixedPalette);
    swscale("1 to 8", p.mono1, AV_PIX_FMT_MONOBLACK, AV_PIX_FMT_GRAY8);
    swscale("24 to 1", p.bgr24, AV_PIX_FMT_BGR24, AV_PIX_FMT_MONOBLACK);
#endif
#ifdef PEER_QT
    qtToPalette(kExactMatch, p.bgra32, p.photoPalette);
    qt("8 palette to 24", p.fixed8, QImage::Format_Indexed8, QImage::Format_RGB888, Qt::AutoColor, &p.fixedPalette);
    qt("8 palette to 32", p.fixed8, QImage::Format_Indexed8, QImage::Format_RGB32, Qt::AutoColor, &p.fixedPalette);
    qt("24 to 1", p.rgb24, QImage::Format_RGB888, QImage::Format_Mono, Qt::MonoOnly | Qt::ThresholdDither);
#endif
#ifdef PEER_LEPTONICA
    PIX* one = pixCreate(kWidth, kHeight, 1);
    std::memcpy(pixGetData(one), p.mono1.data(), p.mono1.size());
    contender("1 to 8", "leptonica", [=] {
        PIX* r = pixConvert1To8(nullptr, one, 0, 255);
        pixDestroy(&r);
    });
    contender("1 to 24", "leptonica (to 32)", [=] {
        PIX* r = pixConvert1To32(nullptr, one, 0, 0xFFFFFF00);
        pixDestroy(&r);
    });
    PIX* deep = pixCreate(kWidth, kHeight, 32);
    std::memcpy(pixGetData(deep), p.bgra32.data(), p.bgra32.size());
    contender("24 to 1", "leptonica (from 32)", [=] {
        PIX* gray = pixConvertRGBToGray(deep, 0.25f, 0.625f, 0.125f);
        PIX* r = pixThresholdToBinary(gray, 128);
        pixDestroy(&gray);
        pixDestroy(&r);
    });
#endif
#ifdef PEER_FREEIMAGE
    FIBITMAP* const free1 = freeImageOf(p.mono1, 1);
    FIBITMAP* const free24 = freeImageOf(p.bgr24, 24);
    freeImage("1 to 8", free1, FreeImage_ConvertTo8Bits);
    freeImage("1 to 24", free1, FreeImage_ConvertTo24Bits);
    contender("24 to 1", "FreeImage", [=] { FreeImage_Unload(FreeImage_Threshold(free24, 128)); });
#endif
}

}  // namespace

void registerConversions() {
    wholeBytes();
    indexed();
}

}  // namespace tnk::bench
