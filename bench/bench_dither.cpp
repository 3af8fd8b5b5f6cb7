// Dithering and colour reduction, beside libraries that reduce colours.
#include <cstring>

#include "contest.h"

#ifdef PEER_SWSCALE
extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}
#endif
#ifdef PEER_ZIMG
#include <zimg.h>
#endif
#ifdef PEER_LEPTONICA
#include <leptonica/allheaders.h>
#endif
#ifdef PEER_FREEIMAGE
#include <FreeImage.h>
#endif
#ifdef PEER_QT
#include <QImage>
#endif

namespace tnk::bench {
namespace {

// The same reduction by T_ColorResBitmap, by T_DitherLines and by T_DitherLine.
void tarnkit(const std::string& job, const std::vector<uint8_t>& from, int32_t bitsFrom, int32_t bits, uint32_t flags,
             const std::vector<PaletteEntry>* palette = nullptr) {
    BitmapHandle* const source = bitmapOf(from, bitsFrom);
    reductionToNew(job, source, bits, flags, palette);
    const auto lines = [=](bool oneByOne) {
        return [=] {
            const size_t out = size_t{kWidth} * static_cast<size_t>(bits) / 8;
            const int32_t stride = static_cast<int32_t>(out);
            source->DitherMethod = flags >> 16;
            T_StartDitheringExt(source, palette != nullptr ? palette->data() : nullptr, 1u << bits,
                                static_cast<uint32_t>(bits), nullptr);
            const int32_t step = oneByOne ? 1 : kHeight;
            for (int32_t y = 0; y < kHeight; y += step) {
                uint8_t* const input = source->pData + size_t{source->BytesPerLine} * static_cast<size_t>(y);
                uint8_t* const target = output(kPixels) + out * static_cast<size_t>(y);
                if (oneByOne) {
                    T_DitherLine(source, input, target);
                } else {
                    T_DitherLines(source, input, static_cast<int32_t>(source->BytesPerLine), target, stride, kHeight);
                }
            }
            T_StopDithering(source);
        };
    };
    contender(job, kThere, lines(false));
    contender(job, kRows, lines(true));
}

#ifdef PEER_SWSCALE
void swscale(const std::string& job, const std::vector<uint8_t>& from, AVPixelFormat formatFrom, AVPixelFormat formatTo,
             const char* dither) {
    SwsContext* context = sws_alloc_context();
    av_opt_set_int(context, "srcw", kWidth, 0);
    av_opt_set_int(context, "srch", kHeight, 0);
    av_opt_set_int(context, "dstw", kWidth, 0);
    av_opt_set_int(context, "dsth", kHeight, 0);
    av_opt_set_int(context, "src_format", formatFrom, 0);
    av_opt_set_int(context, "dst_format", formatTo, 0);
    av_opt_set_int(context, "sws_flags", SWS_POINT, 0);
    av_opt_set(context, "sws_dither", dither, 0);
    if (sws_init_context(context, nullptr, nullptr) < 0) return;
    contender(job, "swscale", [=, &from] {
        const uint8_t* in[4] = {from.data(), nullptr, nullptr, nullptr};
        uint8_t* out[4] = {output(kPixels), nullptr, nullptr, nullptr};
        int inStride[4];
        int outStride[4];
        av_image_fill_linesizes(inStride, formatFrom, kWidth);
        av_image_fill_linesizes(outStride, formatTo, kWidth);
        sws_scale(context, in, inStride, 0, kHeight, out, outStride);
    });
}
#endif

#ifdef PEER_ZIMG
void zimg(const std::string& job, const std::vector<uint8_t>& gray, zimg_dither_type_e dither) {
    zimg_image_format from;
    zimg_image_format_default(&from, ZIMG_API_VERSION);
    from.width = kWidth;
    from.height = kHeight;
    from.pixel_type = ZIMG_PIXEL_BYTE;
    from.depth = 8;
    from.color_family = ZIMG_COLOR_GREY;
    from.pixel_range = ZIMG_RANGE_FULL;
    zimg_image_format to = from;
    to.depth = 1;
    zimg_graph_builder_params params;
    zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
    params.dither_type = dither;
    zimg_filter_graph* graph = zimg_filter_graph_build(&from, &to, &params);
    if (graph == nullptr) return;
    size_t scratchBytes = 0;
    zimg_filter_graph_get_tmp_size(graph, &scratchBytes);
    void* scratch = std::aligned_alloc(64, (scratchBytes + 63) / 64 * 64 + 64);
    // zimg asks for aligned planes.
    uint8_t* in = static_cast<uint8_t*>(std::aligned_alloc(64, kPixels));
    uint8_t* out = static_cast<uint8_t*>(std::aligned_alloc(64, kPixels));
    std::memcpy(in, gray.data(), kPixels);
    std::memset(out, 1, kPixels);
    contender(job, "zimg (to bytes)", [=] {
        zimg_image_buffer_const source{ZIMG_API_VERSION, {}};
        source.plane[0] = {in, kWidth, ZIMG_BUFFER_MAX};
        zimg_image_buffer target{ZIMG_API_VERSION, {}};
        target.plane[0] = {out, kWidth, ZIMG_BUFFER_MAX};
        zimg_filter_graph_process(graph, &source, &target, scratch, nullptr, nullptr, nullptr, nullptr);
    });
}
#endif

#ifdef PEER_QT
QVector<QRgb> colorsOf(const std::vector<PaletteEntry>& palette) {
    QVector<QRgb> colors;
    for (const PaletteEntry& entry : palette) colors.push_back(qRgb(entry.Red, entry.Green, entry.Blue));
    return colors;
}
void qt(const std::string& job, const std::vector<uint8_t>& bgra, const std::vector<PaletteEntry>* palette,
        Qt::ImageConversionFlags flags, QImage::Format to = QImage::Format_Indexed8) {
    const QImage image(bgra.data(), kWidth, kHeight, kWidth * 4, QImage::Format_RGB32);
    const QVector<QRgb> colors = palette != nullptr ? colorsOf(*palette) : QVector<QRgb>();
    contender(job, "QImage", [=] {
        const QImage result =
            palette != nullptr ? image.convertToFormat(to, colors, flags) : image.convertToFormat(to, flags);
        keep(result.constBits());
    });
}
#endif

constexpr struct {
    uint32_t method;
    const char* name;
} kDiffusions[] = {{DITHER_FLOYD_STEINBERG, "Floyd-Steinberg"},
                   {DITHER_STUCKI, "Stucki"},
                   {DITHER_BURKES, "Burkes"},
                   {DITHER_SIERRA, "Sierra"},
                   {DITHER_STEVENSON_ARCE, "Stevenson-Arce"},
                   {DITHER_JARVIS, "Jarvis"}};

}  // namespace

void registerDithering() {
    const Pictures& p = pictures();
    for (const auto& [method, name] : kDiffusions) {
        const std::string job = std::string(name) + " 24 to 8, fixed palette";
        copyOf(job, kPixels * 3, kPixels);
        tarnkit(job, p.bgr24, 24, 8, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(method));
    }
    const std::string fixed = "Floyd-Steinberg 24 to 8, fixed palette";
    const std::string any = "Floyd-Steinberg 24 to 8, any 256 colours";
    const std::string four = "Floyd-Steinberg 24 to 4, fixed palette";
    const std::string threshold = "Gray 8 to 1, threshold";
    const std::string table = "Nearest match 24 to 8, any 256 colours, by 15-bit keys";
    const std::string mono = "Floyd-Steinberg gray 8 to 1";
    const std::string colour1 = "Floyd-Steinberg 24 to 1";
    const std::string ordered = "Ordered 24 to 8, fixed palette";
    const std::string ordered1 = "Ordered gray 8 to 1";
    const std::string nearest = "Nearest match 24 to 8, fixed palette";
    copyOf(any, kPixels * 3, kPixels);
    copyOf(four, kPixels * 3, kPixels / 2);
    copyOf(threshold, kPixels, kPixels / 8);
    copyOf(table, kPixels * 3, kPixels);
    copyOf(mono, kPixels, kPixels / 8);
    copyOf(colour1, kPixels * 3, kPixels / 8);
    copyOf(ordered, kPixels * 3, kPixels);
    copyOf(ordered1, kPixels, kPixels / 8);
    copyOf(nearest, kPixels * 3, kPixels);
    tarnkit(any, p.bgr24, 24, 8, CRF_USERPALETTE | CRF_DITHER_METHOD(DITHER_FLOYD_STEINBERG), &p.photoPalette);
    tarnkit(four, p.bgr24, 24, 4, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(DITHER_FLOYD_STEINBERG));
    tarnkit(threshold, p.gray8, 8, 1, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(DITHER_NONE));
    tarnkit(table, p.bgr24, 24, 8, CRF_USERPALETTE | CRF_DITHER_METHOD(DITHER_NONE), &p.photoPalette);
    tarnkit(mono, p.gray8, 8, 1, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(DITHER_FLOYD_STEINBERG));
    tarnkit(colour1, p.bgr24, 24, 1, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(DITHER_FLOYD_STEINBERG));
    tarnkit(ordered, p.bgr24, 24, 8, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(DITHER_ORDERED));
    tarnkit(ordered1, p.gray8, 8, 1, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(DITHER_ORDERED));
    tarnkit(nearest, p.bgr24, 24, 8, CRF_FIXEDPALETTE | CRF_DITHER_METHOD(DITHER_NONE));
#ifdef PEER_SWSCALE
    swscale(fixed, p.bgr24, AV_PIX_FMT_BGR24, AV_PIX_FMT_RGB8, "ed");
    swscale(ordered, p.bgr24, AV_PIX_FMT_BGR24, AV_PIX_FMT_RGB8, "bayer");
    swscale(mono, p.gray8, AV_PIX_FMT_GRAY8, AV_PIX_FMT_MONOBLACK, "ed");
    swscale(colour1, p.bgr24, AV_PIX_FMT_BGR24, AV_PIX_FMT_MONOBLACK, "ed");
#endif
#ifdef PEER_ZIMG
    zimg(mono, p.gray8, ZIMG_DITHER_ERROR_DIFFUSION);
    zimg(ordered1, p.gray8, ZIMG_DITHER_ORDERED);
#endif
#ifdef PEER_LEPTONICA
    PIX* gray = pixCreate(kWidth, kHeight, 8);
    std::memcpy(pixGetData(gray), p.gray8.data(), p.gray8.size());
    contender(mono, "leptonica", [=] {
        PIX* result = pixDitherToBinary(gray);
        pixDestroy(&result);
    });
#endif
#ifdef PEER_FREEIMAGE
    FIBITMAP* image = FreeImage_Allocate(kWidth, kHeight, 8);
    std::memcpy(FreeImage_GetBits(image), p.gray8.data(), p.gray8.size());
    contender(mono, "FreeImage", [=] { FreeImage_Unload(FreeImage_Dither(image, FID_FS)); });
    contender(ordered1, "FreeImage", [=] { FreeImage_Unload(FreeImage_Dither(image, FID_BAYER8x8)); });
#endif
#ifdef PEER_QT
    qt(fixed, p.bgra32, nullptr, Qt::ColorOnly | Qt::DiffuseDither | Qt::PreferDither);
    qt(ordered, p.bgra32, nullptr, Qt::ColorOnly | Qt::OrderedDither | Qt::PreferDither);
    qt(colour1, p.bgra32, nullptr, Qt::MonoOnly | Qt::DiffuseDither, QImage::Format_Mono);
    qt(nearest, p.bgra32, nullptr, Qt::ColorOnly | Qt::ThresholdDither | Qt::AvoidDither);
#endif
}

}  // namespace tnk::bench
