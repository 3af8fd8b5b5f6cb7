// Flips, turns, sizes, shears and fills beside libraries that do the same to the same photograph.
#include <cmath>
#include <cstring>

#include "contest.h"

#ifdef PEER_LIBYUV
#include <libyuv.h>
#endif
#ifdef PEER_OPENCV
#include <opencv2/imgproc.hpp>
#endif
#ifdef PEER_LEPTONICA
#include <leptonica/allheaders.h>
#endif
#ifdef PEER_FREEIMAGE
#include <FreeImage.h>
#endif
#ifdef PEER_QT
#include <QImage>
#include <QTransform>
#endif

namespace tnk::bench {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kSevenDegrees = 700;  // in hundredths
constexpr int kHalfWidth = kWidth / 2, kHalfHeight = kHeight / 2;
constexpr int kMoreWidth = kWidth * 8 / 5, kMoreHeight = kHeight * 8 / 5;

const std::vector<uint8_t>& pixelsOf(int32_t bits) {
    const Pictures& p = pictures();
    return bits == 1 ? p.mono1 : bits == 8 ? p.gray8 : bits == 24 ? p.bgr24 : p.bgra32;
}

std::string named(const char* what, int32_t bits) { return std::string(what) + ", " + std::to_string(bits) + " bits"; }

size_t bytesOf(int32_t width, int32_t height, int32_t bits) {
    return static_cast<size_t>((width * bits + 31) / 32 * 4) * static_cast<size_t>(height);
}

// A bitmap of the photograph in memory of its own, for as long as the program runs.
BitmapHandle* photograph(int32_t bits) {
    auto* bitmap = new BitmapHandle;
    T_CopyBitmap(bitmap, bitmapOf(pixelsOf(bits), bits), sizeof *bitmap);
    return bitmap;
}

// What moves pixels about in place can do so again and again.
template <typename Call>
void inPlace(const std::string& job, int32_t bits, Call call) {
    copyOf(job, pixelsOf(bits).size(), pixelsOf(bits).size());
    BitmapHandle* bitmap = photograph(bits);
    contender(job, kThere, [=] { call(bitmap); });
}

// What puts a new bitmap in the place of the old one gets a record of the photograph that owns nothing but a palette.
template <typename Call>
void replaced(const std::string& job, int32_t bits, double share, Call call) {
    copyOf(job, pixelsOf(bits).size(), static_cast<size_t>(static_cast<double>(pixelsOf(bits).size()) * share));
    BitmapHandle* photo = bitmapOf(pixelsOf(bits), bits);
    contender(job, kNew, [=] {
        BitmapHandle work = *photo;
        work.pByteMap = nullptr;
        if (work.Palette != nullptr) work.Palette = T_CreateNewPalette(photo->Palette, photo->ColorCount);
        call(&work);
        T_FreeBitmap(&work);
    });
}

void sizes(const std::string& job, int32_t bits, int32_t width, int32_t height, uint32_t flags) {
    const double share = double(width) * height / double(kPixels);
    replaced(job, bits, share, [=](BitmapHandle* bitmap) { T_SizeBitmap(bitmap, width, height, flags); });
    BitmapHandle* source = bitmapOf(pixelsOf(bits), bits);
    auto* target = new BitmapHandle;
    T_DupBitmapNewDim(target, source, sizeof *target, width, height, bits, 15);
    contender(job, kThere, [=] { T_ResizeBitmap(source, target, flags); });
}

#ifdef PEER_OPENCV
int typeOf(int32_t bits) { return bits == 8 ? CV_8UC1 : bits == 24 ? CV_8UC3 : CV_8UC4; }

template <typename Call>
void openCv(const std::string& job, int32_t bits, int32_t width, int32_t height, Call call) {
    if (bits == 1) return;
    contender(job, "OpenCV", [=] {
        const cv::Mat in(kHeight, kWidth, typeOf(bits), const_cast<uint8_t*>(pixelsOf(bits).data()));
        cv::Mat out(height, width, typeOf(bits), output(bytesOf(width, height, bits)));
        call(in, out);
    });
}
#endif

#ifdef PEER_LEPTONICA
// Leptonica holds 24 bits as 32.
Pix* leptonicaOf(int32_t bits) {
    if (bits == 24) return nullptr;
    Pix* pix = pixCreate(kWidth, kHeight, bits);
    std::memcpy(pixGetData(pix), pixelsOf(bits).data(), pixelsOf(bits).size());
    pixEndianByteSwap(pix);
    return pix;
}

template <typename Call>
void leptonica(const std::string& job, int32_t bits, const char* how, Call call) {
    Pix* pix = leptonicaOf(bits);
    if (pix == nullptr) return;
    contender(job, std::string("leptonica") + how, [=] {
        Pix* made = call(pix);
        pixDestroy(&made);
    });
}
#endif

#ifdef PEER_FREEIMAGE
template <typename Call>
void freeImage(const std::string& job, int32_t bits, Call call) {
    FIBITMAP* dib = FreeImage_ConvertFromRawBits(const_cast<uint8_t*>(pixelsOf(bits).data()), kWidth, kHeight,
                                                 kWidth * bits / 8, static_cast<unsigned>(bits), 0, 0, 0);
    if (bits == 8) {
        for (int i = 0; i < 256; ++i) {
            const auto level = static_cast<BYTE>(i);
            FreeImage_GetPalette(dib)[i] = {level, level, level, 0};
        }
    }
    contender(job, "FreeImage", [=] {
        if (FIBITMAP* made = call(dib); made != nullptr) FreeImage_Unload(made);
    });
}
#endif

#ifdef PEER_QT
template <typename Call>
void qImage(const std::string& job, int32_t bits, Call call) {
    const QImage::Format format = bits == 1    ? QImage::Format_Mono
                                  : bits == 8  ? QImage::Format_Grayscale8
                                  : bits == 24 ? QImage::Format_BGR888
                                               : QImage::Format_RGB32;
    const auto* image = new QImage(pixelsOf(bits).data(), kWidth, kHeight, kWidth * bits / 8, format);
    contender(job, "QImage", [=] { keep(call(*image).constBits()); });
}
#endif

void flips(int32_t bits) {
    const std::string flip = named("Flip", bits), mirror = named("Mirror", bits), half = named("Turn by 180", bits);
    inPlace(flip, bits, [](BitmapHandle* b) { T_FlipBitmap(b); });
    inPlace(mirror, bits, [](BitmapHandle* b) { T_ReverseBitmap(b); });
    inPlace(half, bits, [](BitmapHandle* b) { T_RotateBitmap(b, 18000, 0, 0); });
#ifdef PEER_FREEIMAGE
    const auto done = [](auto) -> FIBITMAP* { return nullptr; };
    freeImage(flip, bits, [=](FIBITMAP* dib) { return done(FreeImage_FlipVertical(dib)); });
    freeImage(mirror, bits, [=](FIBITMAP* dib) { return done(FreeImage_FlipHorizontal(dib)); });
#endif
#ifdef PEER_OPENCV
    openCv(flip, bits, kWidth, kHeight, [](const cv::Mat& in, cv::Mat& out) { cv::flip(in, out, 0); });
    openCv(mirror, bits, kWidth, kHeight, [](const cv::Mat& in, cv::Mat& out) { cv::flip(in, out, 1); });
    openCv(half, bits, kWidth, kHeight, [](const cv::Mat& in, cv::Mat& out) { cv::flip(in, out, -1); });
#endif
#ifdef PEER_LEPTONICA
    leptonica(flip, bits, "", [](Pix* pix) { return pixFlipTB(nullptr, pix); });
    leptonica(mirror, bits, "", [](Pix* pix) { return pixFlipLR(nullptr, pix); });
    leptonica(half, bits, "", [](Pix* pix) { return pixRotate180(nullptr, pix); });
#endif
#ifdef PEER_LIBYUV
    const uint8_t* from = pixelsOf(bits).data();
    uint8_t* to = output(pixelsOf(bits).size());
    const int line = kWidth * bits / 8;
    if (bits == 8) {
        contender(mirror, "libyuv", [=] { libyuv::MirrorPlane(from, line, to, line, kWidth, kHeight); });
        contender(half, "libyuv", [=] { libyuv::RotatePlane180(from, line, to, line, kWidth, kHeight); });
    } else if (bits == 24) {
        contender(mirror, "libyuv", [=] { libyuv::RGB24Mirror(from, line, to, line, kWidth, kHeight); });
    } else if (bits == 32) {
        contender(mirror, "libyuv", [=] { libyuv::ARGBMirror(from, line, to, line, kWidth, kHeight); });
        contender(half, "libyuv",
                  [=] { libyuv::ARGBRotate(from, line, to, line, kWidth, kHeight, libyuv::kRotate180); });
    }
#endif
}

void quarterTurns(int32_t bits) {
    const std::string job = named("Turn by 90", bits);
    replaced(job, bits, 1, [](BitmapHandle* b) { T_RotateBitmap(b, 9000, ROTATE_RESIZE, 0); });
    const uint8_t* from = pixelsOf(bits).data();
    uint8_t* to = output(pixelsOf(bits).size());
    contender(job, kThere, [=] { T_RotateBuffer90(from, to, 1, kWidth, kHeight, bits); });
#ifdef PEER_OPENCV
    openCv(job, bits, kHeight, kWidth,
           [](const cv::Mat& in, cv::Mat& out) { cv::rotate(in, out, cv::ROTATE_90_CLOCKWISE); });
#endif
#ifdef PEER_LEPTONICA
    leptonica(job, bits, "", [](Pix* pix) { return pixRotate90(pix, 1); });
#endif
#ifdef PEER_FREEIMAGE
    freeImage(job, bits, [](FIBITMAP* dib) { return FreeImage_Rotate(dib, -90, nullptr); });
#endif
#ifdef PEER_QT
    if (bits != 1) {  // which takes 23 seconds
        qImage(job, bits, [](const QImage& image) { return image.transformed(QTransform().rotate(90)); });
    }
#endif
#ifdef PEER_LIBYUV
    const int line = kWidth * bits / 8;
    if (bits == 8) contender(job, "libyuv", [=] { libyuv::RotatePlane90(from, line, to, kHeight, kWidth, kHeight); });
    if (bits == 32) {
        contender(job, "libyuv",
                  [=] { libyuv::ARGBRotate(from, line, to, kHeight * 4, kWidth, kHeight, libyuv::kRotate90); });
    }
#endif
}

void smallTurns(int32_t bits) {
    const std::string nearest = named("Turn by 7, nearest", bits), linear = named("Turn by 7, linear", bits);
    const auto turned = [](uint32_t flags) {
        return [flags](BitmapHandle* b) { T_RotateBitmap(b, kSevenDegrees, flags, 0xFFFFFF); };
    };
    replaced(nearest, bits, 1, turned(0));
    if (bits != 1) replaced(linear, bits, 1, turned(ROTATE_RESAMPLE));
#ifdef PEER_OPENCV
    const auto warp = [](int how) {
        return [how](const cv::Mat& in, cv::Mat& out) {
            const cv::Mat matrix = cv::getRotationMatrix2D({kWidth / 2.0F, kHeight / 2.0F}, -7, 1);
            cv::warpAffine(in, out, matrix, out.size(), how, cv::BORDER_CONSTANT, cv::Scalar::all(255));
        };
    };
    openCv(nearest, bits, kWidth, kHeight, warp(cv::INTER_NEAREST));
    openCv(linear, bits, kWidth, kHeight, warp(cv::INTER_LINEAR));
#endif
#ifdef PEER_LEPTONICA
    const auto angle = static_cast<float>(7 * kPi / 180);
    leptonica(nearest, bits, " (by shears)",
              [=](Pix* pix) { return pixRotateShear(pix, 0, 0, angle, L_BRING_IN_WHITE); });
    leptonica(nearest, bits, "",
              [=](Pix* pix) { return pixRotateBySampling(pix, kWidth / 2, kHeight / 2, angle, L_BRING_IN_WHITE); });
    if (bits != 1) leptonica(linear, bits, "", [=](Pix* pix) { return pixRotateAM(pix, angle, L_BRING_IN_WHITE); });
#endif
#ifdef PEER_QT
    // One bit is painted, for which Qt wants a whole application.
    if (bits != 1) {
        qImage(nearest, bits, [](const QImage& image) { return image.transformed(QTransform().rotate(7)); });
    }
#endif
}

struct Scale {
    const char* name;
    int width;
    int height;
};

void scaled(int32_t bits, const Scale& scale) {
    struct Filter {
        const char* name;
        uint32_t flags;
    };
    for (const Filter filter : {Filter{"nearest", 0}, {"linear", RESIZE_RESAMPLE}, {"bicubic", RESIZE_BICUBIC}}) {
        if (bits == 1 && filter.flags != 0) continue;
        if (filter.flags == RESIZE_BICUBIC && scale.width < kWidth) continue;  // that is linear
        const std::string job = named((std::string("Size ") + scale.name + ", " + filter.name).c_str(), bits);
        sizes(job, bits, scale.width, scale.height, filter.flags);
#ifdef PEER_OPENCV
        const int how = filter.flags == 0                ? cv::INTER_NEAREST
                        : filter.flags == RESIZE_BICUBIC ? cv::INTER_CUBIC
                        : scale.width < kWidth           ? cv::INTER_AREA
                                                         : cv::INTER_LINEAR;
        openCv(job, bits, scale.width, scale.height,
               [=](const cv::Mat& in, cv::Mat& out) { cv::resize(in, out, out.size(), 0, 0, how); });
#endif
#ifdef PEER_LEPTONICA
        const float factor = static_cast<float>(scale.width) / kWidth;
        if (filter.flags == 0) {
            leptonica(job, bits, "", [=](Pix* pix) { return pixScaleBySampling(pix, factor, factor); });
        } else if (filter.flags == RESIZE_RESAMPLE && scale.width > kWidth) {
            leptonica(job, bits, "", [=](Pix* pix) {
                return bits == 8 ? pixScaleGrayLI(pix, factor, factor) : pixScaleColorLI(pix, factor, factor);
            });
        }
#endif
#ifdef PEER_QT
        if (filter.flags == 0) {  // smooth scaling takes several threads
            qImage(job, bits, [=](const QImage& image) { return image.scaled(scale.width, scale.height); });
        }
#endif
#ifdef PEER_LIBYUV
        const uint8_t* from = pixelsOf(bits).data();
        uint8_t* to = output(bytesOf(scale.width, scale.height, bits));
        const libyuv::FilterMode mode = filter.flags == 0      ? libyuv::kFilterNone
                                        : scale.width < kWidth ? libyuv::kFilterBox
                                                               : libyuv::kFilterBilinear;
        if (bits == 8 && filter.flags != RESIZE_BICUBIC) {
            contender(job, "libyuv", [=] {
                libyuv::ScalePlane(from, kWidth, kWidth, kHeight, to, scale.width, scale.width, scale.height, mode);
            });
        }
#endif
    }
}

void fills(int32_t bits) {
    const std::string clear = named("Clear", bits), fill = named("Fill", bits);
    BitmapHandle* bitmap = photograph(bits);
    const size_t bytes = pixelsOf(bits).size();
    contender(clear, kThere, [=] { T_ClearBitmap(bitmap); });
    contender(clear, "memset", [=] { std::memset(bitmap->pData, 0, bytes); });
    contender(fill, kThere, [=] { T_FillBitmap(bitmap, 0x123456); });
    contender(fill, "memset", [=] { std::memset(bitmap->pData, 77, bytes); });
}

void shears(int32_t bits) {
    const std::string job = named("Shear by 10", bits);
    replaced(job, bits, 1.13, [](BitmapHandle* b) { T_ShearBitmap(b, 1000, 1, 0xFFFFFF); });
#ifdef PEER_LEPTONICA
    const auto angle = static_cast<float>(10 * kPi / 180);
    leptonica(job, bits, " (of 32 bits or 1, same size)",
              [=](Pix* pix) { return pixHShearCorner(nullptr, pix, angle, L_BRING_IN_WHITE); });
#endif
}

}  // namespace

void registerGeometry() {
    for (const int32_t bits : {1, 8, 24, 32}) flips(bits);
    for (const int32_t bits : {1, 8, 24, 32}) quarterTurns(bits);
    for (const int32_t bits : {1, 8, 24}) smallTurns(bits);
    for (const Scale& scale : {Scale{"to a half", kHalfWidth, kHalfHeight}, {"1.6 times", kMoreWidth, kMoreHeight}}) {
        for (const int32_t bits : {1, 8, 24}) scaled(bits, scale);
    }
    for (const int32_t bits : {8, 24}) fills(bits);
    for (const int32_t bits : {1, 24}) shears(bits);
}

}  // namespace tnk::bench
