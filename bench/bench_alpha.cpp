// Alpha channels: one value, out to a mask, in from one, beside libraries that do the same.
#include "contest.h"

#ifdef PEER_LIBYUV
#include <libyuv.h>
#endif
#ifdef PEER_OPENCV
#include <opencv2/core.hpp>
#endif
#ifdef PEER_PIXMAN
#include <pixman.h>
#endif

namespace tnk::bench {
namespace {

// Pictures are shared by all contenders, and alpha is what these write.
BitmapHandle* ownPicture(int32_t bits) {
    const Pictures& p = pictures();
    auto* bitmap = new BitmapHandle;
    T_CopyBitmap(bitmap, bitmapOf(bits == 32 ? p.bgra32 : bits == 64 ? p.bgra64 : p.gray8, bits), sizeof *bitmap);
    return bitmap;
}

void values(int32_t bits) {
    const std::string job = "Alpha values, " + std::to_string(bits) + " bits";
    const size_t bytes = kPixels * static_cast<size_t>(bits) / 8;
    copyOf(job, bytes, bytes);
    BitmapHandle* bitmap = ownPicture(bits);
    contender(job, kThere, [=] { T_SetBitmapAlphaValues(bitmap, 200); });
}

void out() {
    const std::string job = "Alpha out, 32 bits";
    copyOf(job, kPixels * 4, kPixels);
    BitmapHandle* bitmap = ownPicture(32);
    contender(job, kNew, [=] {
        BitmapHandle mask;
        T_GetBitmapAlpha(bitmap, &mask, sizeof mask);
        T_FreeBitmap(&mask);
    });
    const uint8_t* from = bitmap->pData;
    uint8_t* to = output(kPixels);
#ifdef PEER_LIBYUV
    contender(job, "libyuv", [=] { libyuv::ARGBExtractAlpha(from, kWidth * 4, to, kWidth, kWidth, kHeight); });
#endif
#ifdef PEER_OPENCV
    contender(job, "OpenCV", [=] {
        const cv::Mat in(kHeight, kWidth, CV_8UC4, const_cast<uint8_t*>(from));
        cv::Mat mask(kHeight, kWidth, CV_8UC1, to);
        cv::extractChannel(in, mask, 3);
    });
#endif
#ifdef PEER_PIXMAN
    pixman_image_t* in = pixman_image_create_bits(PIXMAN_a8r8g8b8, kWidth, kHeight,
                                                  reinterpret_cast<uint32_t*>(bitmap->pData), kWidth * 4);
    pixman_image_t* mask =
        pixman_image_create_bits(PIXMAN_a8, kWidth, kHeight, reinterpret_cast<uint32_t*>(to), kWidth);
    contender(job, "pixman",
              [=] { pixman_image_composite32(PIXMAN_OP_SRC, in, nullptr, mask, 0, 0, 0, 0, 0, 0, kWidth, kHeight); });
#endif
}

void in() {
    const std::string job = "Alpha in, 32 bits";
    copyOf(job, kPixels * 5, kPixels * 4);
    BitmapHandle *bitmap = ownPicture(32), *mask = ownPicture(8);
    contender(job, kThere, [=] { T_SetBitmapAlpha(bitmap, mask); });
    [[maybe_unused]] const uint8_t* levels = mask->pData;
    [[maybe_unused]] uint8_t* pixels = bitmap->pData;
#ifdef PEER_LIBYUV
    contender(job, "libyuv", [=] { libyuv::ARGBCopyYToAlpha(levels, kWidth, pixels, kWidth * 4, kWidth, kHeight); });
#endif
#ifdef PEER_OPENCV
    contender(job, "OpenCV", [=] {
        const cv::Mat from(kHeight, kWidth, CV_8UC1, const_cast<uint8_t*>(levels));
        cv::Mat to(kHeight, kWidth, CV_8UC4, pixels);
        cv::insertChannel(from, to, 3);
    });
#endif
}

}  // namespace

void registerAlpha() {
    for (const int32_t bits : {32, 64}) values(bits);
    out();
    in();
}

}  // namespace tnk::bench
