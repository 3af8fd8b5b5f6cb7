// Dithering and colour reduction of whole bitmaps, beside libraries that reduce colours. The contender is
// T_ColorResBitmap: the new bitmap's allocation is part of its time.
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

// A caller-memory bitmap over a picture of the benchmark.
BitmapHandle bitmapOf(const std::vector<uint8_t>& pixels, int32_t bits) {
    BitmapHandle bitmap;
    T_CreateBitmap(&bitmap, sizeof bitmap, MEM_USER, kWidth, kHeight, bits, ORDER_BGR, nullptr, 1,
                   const_cast<uint8_t*>(pixels.data()), static_cast<uint32_t>(pixels.size()));
    if (bits == 8) T_CreateBitmapGrayPalette(&bitmap);
    return bitmap;
}

void tarnkit(const std::string& job, const std::vector<uint8_t>& from, int32_t bitsFrom, int32_t bits, uint32_t flags,
             const std::vector<PaletteEntry>* palette = nullptr) {
    contender(job, "Tarnkit", [=, source = bitmapOf(from, bitsFrom)]() mutable {
        BitmapHandle reduced;
        T_ColorResBitmap(&source, &reduced, sizeof reduced, bits, flags, palette != nullptr ? palette->data() : nullptr,
                         0, palette != nullptr ? static_cast<uint32_t>(palette->size()) : 0, nullptr, nullptr);
        T_FreeBitmap(&reduced);
    });
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
    const std::string mono = "Floyd-Steinberg gray 8 to 1";
    const std::string colour1 = "Floyd-Steinberg 24 to 1";
    const std::string ordered = "Ordered 24 to 8, fixed palette";
    const std::string ordered1 = "Ordered gray 8 to 1";
    const std::string nearest = "Nearest match 24 to 8, fixed palette";
    copyOf(any, kPixels * 3, kPixels);
    copyOf(mono, kPixels, kPixels / 8);
    copyOf(colour1, kPixels * 3, kPixels / 8);
    copyOf(ordered, kPixels * 3, kPixels);
    copyOf(ordered1, kPixels, kPixels / 8);
    copyOf(nearest, kPixels * 3, kPixels);
    tarnkit(any, p.bgr24, 24, 8, CRF_USERPALETTE | CRF_DITHER_METHOD(DITHER_FLOYD_STEINBERG), &p.photoPalette);
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
