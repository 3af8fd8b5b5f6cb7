// GraphicsMagick stands alone: its header takes common names.
#include "contest.h"

#ifdef PEER_GRAPHICSMAGICK
#include <magick/api.h>
#endif

namespace tnk::bench {

void registerMagick() {
#ifdef PEER_GRAPHICSMAGICK
    const Pictures& p = pictures();
    InitializeMagick(nullptr);
    ExceptionInfo exception;
    GetExceptionInfo(&exception);
    Image* photo = ConstituteImage(kWidth, kHeight, "BGR", CharPixel, p.bgr24.data(), &exception);
    std::vector<uint8_t> colors;
    for (const PaletteEntry& entry : p.photoPalette) colors.insert(colors.end(), {entry.Blue, entry.Green, entry.Red});
    Image* map = ConstituteImage(256, 1, "BGR", CharPixel, colors.data(), &exception);
    if (photo == nullptr || map == nullptr) return;
    contender("Floyd-Steinberg 24 to 8, any 256 colours", "GraphicsMagick", [=] {
        ExceptionInfo failure;
        GetExceptionInfo(&failure);
        Image* copy = CloneImage(photo, 0, 0, 1, &failure);
        MapImage(copy, map, 1);
        DestroyImage(copy);
        DestroyExceptionInfo(&failure);
    });
    // Without dithering it takes ten times as long.
    contender("Optimized 256 colours, Floyd-Steinberg", "GraphicsMagick", [=] {
        ExceptionInfo failure;
        GetExceptionInfo(&failure);
        Image* copy = CloneImage(photo, 0, 0, 1, &failure);
        QuantizeInfo quantise;
        GetQuantizeInfo(&quantise);
        quantise.number_colors = 256;
        quantise.dither = 1;
        QuantizeImage(&quantise, copy);
        DestroyImage(copy);
        DestroyExceptionInfo(&failure);
    });
#endif
}

}  // namespace tnk::bench
