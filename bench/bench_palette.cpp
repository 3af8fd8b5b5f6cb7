// Palettes: counting colours, choosing the best ones.
#include <cstring>

#include "contest.h"

#ifdef PEER_LEPTONICA
#include <leptonica/allheaders.h>
#endif
#ifdef PEER_FREEIMAGE
#include <FreeImage.h>
#endif
#ifdef PEER_GD
#include <gd.h>
#endif

namespace tnk::bench {

namespace {

constexpr char kCount[] = "Count the colours of 24 bits";
constexpr char kPlain[] = "Optimized 256 colours, nearest";
constexpr char kDithered[] = "Optimized 256 colours, Floyd-Steinberg";

void optimized(const std::string& job, BitmapHandle* source, uint32_t method) {
    copyOf(job, kPixels * 3, kPixels);
    reductionToNew(job, source, 8, CRF_OPTIMIZEDPALETTE | CRF_DITHER_METHOD(method));
}

void counts(BitmapHandle* source) {
    copyOf(kCount, kPixels * 3, 0);
    contender(kCount, kThere, [=] {
        uint32_t count = 0;
        T_GetBitmapColorCountExt(source, &count, nullptr);
        keep(count);
    });
}

// Peers that make the palette and the picture in one call.
void peers([[maybe_unused]] const std::string& job, [[maybe_unused]] bool dithers) {
#ifdef PEER_GD
    static const gdImagePtr gd = [] {
        const gdImagePtr image = gdImageCreateTrueColor(kWidth, kHeight);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                const uint8_t* rgb = &pictures().rgb24[(static_cast<size_t>(y) * kWidth + static_cast<size_t>(x)) * 3];
                image->tpixels[y][x] = gdTrueColor(rgb[0], rgb[1], rgb[2]);
            }
        }
        return image;
    }();
    contender(job, "libgd", [=] {
        const gdImagePtr reduced = gdImageCreatePaletteFromTrueColor(gd, dithers ? 1 : 0, 256);
        gdImageDestroy(reduced);
    });
#endif
#ifdef PEER_LEPTONICA
    static PIX* const deep = [] {
        PIX* pix = pixCreate(kWidth, kHeight, 32);
        l_uint32* word = pixGetData(pix);
        const uint8_t* rgb = pictures().rgb24.data();
        for (size_t i = 0; i < kPixels; ++i, rgb += 3) composeRGBPixel(rgb[0], rgb[1], rgb[2], word + i);
        return pix;
    }();
    contender(job, "leptonica (octree)", [=] {
        PIX* reduced = pixOctreeColorQuant(deep, 240, dithers);  // it takes no more
        pixDestroy(&reduced);
    });
    contender(job, "leptonica (median cut)", [=] {
        PIX* reduced = pixMedianCutQuant(deep, dithers);
        pixDestroy(&reduced);
    });
#endif
#ifdef PEER_FREEIMAGE
    if (dithers) return;  // it has no dithering to a palette of its making
    FIBITMAP* const image = FreeImage_Allocate(kWidth, kHeight, 24);
    std::memcpy(FreeImage_GetBits(image), pictures().bgr24.data(), pictures().bgr24.size());
    contender(job, "FreeImage (Wu)", [=] { FreeImage_Unload(FreeImage_ColorQuantize(image, FIQ_WUQUANT)); });
#endif
}

}  // namespace

void registerPalettes() {
    const Pictures& p = pictures();
    BitmapHandle* const photo = bitmapOf(p.bgr24, 24);
    counts(photo);
    optimized(kPlain, photo, DITHER_NONE);
    optimized(kDithered, photo, DITHER_FLOYD_STEINBERG);
    peers(kPlain, false);
    peers(kDithered, true);
}

}  // namespace tnk::bench
