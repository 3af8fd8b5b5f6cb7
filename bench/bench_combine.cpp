// Two pictures in one, and a picture through four corners, beside libraries that do the same.
#include "contest.h"

#ifdef PEER_LIBYUV
#include <libyuv.h>
#endif
#ifdef PEER_OPENCV
#include <opencv2/imgproc.hpp>
#endif
#ifdef PEER_PIXMAN
#include <pixman.h>
#endif

namespace tnk::bench {
namespace {

struct Mode {
    const char* name;
    uint32_t flags;
};
constexpr Mode kModes[] = {
    {"copy", COMBINE_COPY}, {"add", COMBINE_ADD}, {"multiply", COMBINE_MULTIPLY}, {"alpha", COMBINE_ALPHA}};

// One is written; the other one lies the other way round, and its alpha is its gray levels.
struct Pair {
    BitmapHandle target;
    BitmapHandle source;

    explicit Pair(int32_t bits) {
        const Pictures& p = pictures();
        const auto& pixels = bits == 8 ? p.gray8 : bits == 24 ? p.bgr24 : p.bgra32;
        T_CopyBitmap(&target, bitmapOf(pixels, bits), sizeof target);
        T_CopyBitmap(&source, bitmapOf(pixels, bits), sizeof source);
        if (bits == 32) T_SetBitmapAlphaValues(&target, 255);
        if (bits == 32) T_SetBitmapAlpha(&source, bitmapOf(p.gray8, 8));
        T_ReverseBitmap(&source);
    }
};

#ifdef PEER_OPENCV
cv::Mat matOf(const BitmapHandle& bitmap) {
    const int type = bitmap.BitsPerPixel == 8 ? CV_8UC1 : bitmap.BitsPerPixel == 24 ? CV_8UC3 : CV_8UC4;
    return cv::Mat(kHeight, kWidth, type, bitmap.pData, bitmap.BytesPerLine);
}

void openCv(const std::string& job, uint32_t mode, const Pair& pair) {
    if (mode == COMBINE_ALPHA) return;
    contender(job, "OpenCV", [mode, source = matOf(pair.source), target = matOf(pair.target)]() mutable {
        mode == COMBINE_COPY  ? source.copyTo(target)
        : mode == COMBINE_ADD ? cv::add(target, source, target)
                              : cv::multiply(target, source, target, 1.0 / 255);
    });
}
#endif

#ifdef PEER_PIXMAN
pixman_image_t* imageOf(const BitmapHandle& bitmap) {
    const pixman_format_code_t format = bitmap.BitsPerPixel == 8    ? PIXMAN_a8
                                        : bitmap.BitsPerPixel == 24 ? PIXMAN_r8g8b8
                                                                    : PIXMAN_a8r8g8b8;
    return pixman_image_create_bits(format, kWidth, kHeight, reinterpret_cast<uint32_t*>(bitmap.pData),
                                    static_cast<int>(bitmap.BytesPerLine));
}

// Its colours are multiplied by their alpha before, which leaves less to do.
void pixman(const std::string& job, uint32_t mode, const Pair& pair) {
    if (mode == COMBINE_MULTIPLY && pair.target.BitsPerPixel == 8) return;
    const pixman_op_t op = mode == COMBINE_COPY       ? PIXMAN_OP_SRC
                           : mode == COMBINE_ADD      ? PIXMAN_OP_ADD
                           : mode == COMBINE_MULTIPLY ? PIXMAN_OP_MULTIPLY
                                                      : PIXMAN_OP_OVER;
    pixman_image_t *target = imageOf(pair.target), *source = imageOf(pair.source);
    contender(job, "pixman",
              [=] { pixman_image_composite32(op, source, nullptr, target, 0, 0, 0, 0, 0, 0, kWidth, kHeight); });
}
#endif

#ifdef PEER_LIBYUV
void libYuv(const std::string& job, uint32_t mode, const Pair& pair) {
    if (pair.target.BitsPerPixel != 32 || mode == COMBINE_COPY) return;
    const auto run = mode == COMBINE_ADD        ? libyuv::ARGBAdd
                     : mode == COMBINE_MULTIPLY ? libyuv::ARGBMultiply
                                                : libyuv::ARGBBlend;
    uint8_t *target = pair.target.pData, *source = pair.source.pData;
    contender(job, "libyuv", [=] { run(source, kWidth * 4, target, kWidth * 4, target, kWidth * 4, kWidth, kHeight); });
}
#endif

void combine(int32_t bits, const Mode& mode) {
    const std::string job = std::string("Combine, ") + mode.name + ", " + std::to_string(bits) + " bits";
    const size_t bytes = kPixels * static_cast<size_t>(bits) / 8;
    copyOf(job, mode.flags == COMBINE_COPY ? bytes : 2 * bytes, bytes);
    auto* pair = new Pair(bits);
    contender(job, kThere,
              [=] { T_CombineBitmapKrn(&pair->target, 0, 0, kWidth, kHeight, &pair->source, 0, 0, mode.flags); });
#ifdef PEER_OPENCV
    openCv(job, mode.flags, *pair);
#endif
#ifdef PEER_PIXMAN
    pixman(job, mode.flags, *pair);
#endif
#ifdef PEER_LIBYUV
    libYuv(job, mode.flags, *pair);
#endif
}

// Of a trapezium, and of a parallelogram of about the same area.
constexpr BitmapPoint kPerspective[] = {
    {200, 100}, {kWidth - 50, 300}, {kWidth - 400, kHeight - 20}, {30, kHeight - 500}};
constexpr BitmapPoint kAffine[] = {{200, 100}, {kWidth - 250, 300}, {kWidth - 450, kHeight - 70}, {0, kHeight - 270}};

void warp(int32_t bits, bool linear, bool perspective) {
    const BitmapPoint* const corners = perspective ? kPerspective : kAffine;
    const std::string job = std::string(perspective ? "Warp in perspective, " : "Warp to a parallelogram, ") +
                            (linear ? "linear, " : "nearest, ") + std::to_string(bits) + " bits";
    const size_t bytes = kPixels * static_cast<size_t>(bits) / 8;
    copyOf(job, bytes, bytes);
    auto* pair = new Pair(bits);
    contender(job, kThere, [=] {
        T_CombineBitmapWarp(&pair->target, corners, &pair->source, nullptr, linear ? COMBINE_LINEAR : 0);
    });
#ifdef PEER_OPENCV
    contender(job, "OpenCV", [=, source = matOf(pair->source), target = matOf(pair->target)]() mutable {
        const cv::Point2f from[] = {{0, 0}, {kWidth, 0}, {kWidth, kHeight}, {0, kHeight}};
        cv::Point2f to[4];
        for (int i = 0; i < 4; ++i) to[i] = {static_cast<float>(corners[i].x), static_cast<float>(corners[i].y)};
        cv::warpPerspective(source, target, cv::getPerspectiveTransform(from, to), target.size(),
                            linear ? cv::INTER_LINEAR : cv::INTER_NEAREST, cv::BORDER_TRANSPARENT);
    });
#endif
}

}  // namespace

void registerCombinations() {
    for (const int32_t bits : {8, 24, 32}) {
        for (const Mode& mode : kModes) {
            if (mode.flags != COMBINE_ALPHA || bits == 32) combine(bits, mode);
        }
    }
    for (const bool linear : {false, true}) {
        for (const int32_t bits : {8, 24}) {
            warp(bits, linear, true);
            warp(bits, linear, false);
        }
    }
}

}  // namespace tnk::bench
