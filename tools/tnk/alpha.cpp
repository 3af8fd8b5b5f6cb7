#include "alpha.h"

#include <cstdio>

#include "commands.h"
#include "formats/metadata.h"
#include "geometry.h"
#include "memory.h"
#include "picture.h"
#include "progress.h"

namespace tool {

namespace {

std::string sizeOf(const Bitmap& bitmap) {
    const bool onItsSide = bitmap->ViewPerspective >= LEFT_TOP;
    const int width = onItsSide ? bitmap->Height : bitmap->Width, height = onItsSide ? bitmap->Width : bitmap->Height;
    return std::to_string(width) + " x " + std::to_string(height);
}

}  // namespace

Picture readMask(const std::string& maskFile, const Bitmap& bitmap, const std::string& file, uint32_t request) {
    Picture mask = readWide(maskFile, GrayAlpha::kDrop, request);
    bringUpright(mask.bitmap, maskFile);
    if (sizeOf(mask.bitmap) != sizeOf(bitmap)) {
        throw fileFailure(maskFile, sizeOf(mask.bitmap) + " pixels, but " + file + " has " + sizeOf(bitmap));
    }
    return mask;
}

void putAlpha(Bitmap& bitmap, const std::string& file, const std::string& maskFile, uint32_t request) {
    Picture mask = readMask(maskFile, bitmap, file, request);
    const Progress progress("masking", file);
    // Grays of 16 bits have no room for a channel beside them.
    if (bitmap->BitsPerPixel == 16 && bitmap->Order == ORDER_GRAY) {
        Bitmap colors;
        require(
            T_ColorResBitmap(bitmap.get(), colors.get(), sizeof(BitmapHandle), 64, 0, nullptr, 0, 0, nullptr, nullptr),
            file);
        bitmap = std::move(colors);
    }
    require(T_SetBitmapAlpha(bitmap.get(), mask.bitmap.get()), file);
}

bool hasAlpha(const Bitmap& bitmap) { return bitmap->BitsPerPixel == 32 || bitmap->BitsPerPixel == 64; }

void layOver(Bitmap& bitmap, const std::string& file, uint32_t color, uint32_t request) {
    const bool onItsSide = bitmap->ViewPerspective >= LEFT_TOP;
    Bitmap ground;
    ground.create(file, request, bitmap->Width, bitmap->Height, bitmap->BitsPerPixel / 4 * 3, ORDER_RGB);
    ground->XResolution = bitmap->XResolution;
    ground->YResolution = bitmap->YResolution;
    ground->ViewPerspective = bitmap->ViewPerspective;
    require(T_FillBitmap(ground.get(), color), file);
    require(T_CombineBitmapKrn(ground.get(), 0, 0, onItsSide ? bitmap->Height : bitmap->Width,
                               onItsSide ? bitmap->Width : bitmap->Height, bitmap.get(), 0, 0, COMBINE_ALPHA),
            file);
    bitmap = std::move(ground);
}

void alpha(const AlphaOptions& options) {
    const FileFormat format = formatOf(options.out, options.output);
    Picture picture = readWide(options.in, GrayAlpha::kAsColor, memoryRequest(options.memory));
    const int bits = picture.bitmap->BitsPerPixel;
    if (!hasAlpha(picture.bitmap)) throw fileFailure(options.in, "has no alpha channel");
    const std::string why = whyNot(format, bits == 64 ? 16 : 8, true);
    if (!why.empty()) throw usageFailure(options.out + ": " + why);
    Bitmap mask;
    {
        const Progress progress("masking", options.in);
        bringUpright(picture.bitmap, options.in);
        require(T_GetBitmapAlpha(picture.bitmap.get(), mask.get(), sizeof(BitmapHandle)), options.in);
    }
    OutputFile output(options.out);
    writePicture(format, mask, output, writingOf(picture.headers, options.output));
    output.commit();
}

}  // namespace tool
