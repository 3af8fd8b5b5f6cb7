#include <charconv>
#include <numeric>

#include "alpha.h"
#include "commands.h"
#include "converter.h"
#include "formats/metadata.h"
#include "geometry.h"
#include "memory.h"
#include "picture.h"
#include "progress.h"

namespace tool {

namespace {

constexpr const char* kPlane = "{plane}";
constexpr int kOverlay = 0;  // that planes go through

struct Put {
    int plane;
    std::string file;
};

Put parsePut(const std::string& text) {
    Put put = {-1, {}};
    const char* const end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, put.plane);
    if (error != std::errc() || put.plane < 0 || at == end || *at != '=' || at + 1 == end) {
        throw usageFailure("--put " + text + " is no PLANE=FILE");
    }
    put.file.assign(at + 1, end);
    return put;
}

Picture readGrays(const PlanesOptions& options) {
    Picture picture = readWide(options.in, GrayAlpha::kDrop, memoryRequest(options.memory));
    Bitmap& bitmap = picture.bitmap;
    const Progress progress("preparing", options.in);
    bringUpright(bitmap, options.in);
    if (options.gray) {
        require(T_GrayScaleBitmap(bitmap.get(), options.gray), options.in);
    } else if (bitmap->BitsPerPixel != 8 && bitmap->Order != ORDER_GRAY) {
        throw fileFailure(options.in, "has colours, and planes are those of grays; use --gray 8, 12 or 16");
    }
    return picture;
}

void bindPlane(Bitmap& bitmap, int plane, const std::string& file) {
    if (plane >= bitmap->BitsPerPixel) {
        throw fileFailure(
            file, "has the planes 0 to " + std::to_string(bitmap->BitsPerPixel - 1) + ", not " + std::to_string(plane));
    }
    OverlayAttributes attributes = {};
    attributes.StructSize = sizeof attributes;
    attributes.BitPlane = static_cast<uint16_t>(plane);
    require(T_SetOverlayAttributes(bitmap.get(), kOverlay, &attributes, OVERLAY_PLANE), file);
}

void takeOut(Picture& picture, const PlanesOptions& options, FileFormat format) {
    std::vector<int> planes = options.planes;
    if (planes.empty()) {
        planes.resize(static_cast<size_t>(picture.bitmap->BitsPerPixel));
        std::iota(planes.begin(), planes.end(), 0);
    }
    for (const int plane : planes) {
        if (interrupted()) throw interruptedFailure();
        std::string name = options.out;
        replaceAll(name, kPlane, std::to_string(plane));
        Bitmap bits;
        {
            const Progress progress("taking out", name);
            bindPlane(picture.bitmap, plane, options.in);
            require(T_UpdateBitmapOverlayBits(picture.bitmap.get(), kOverlay, 0), options.in);
            require(T_GetOverlayBitmap(picture.bitmap.get(), kOverlay, bits.get(), sizeof(BitmapHandle), OVERLAY_MOVE),
                    options.in);
        }
        OutputFile output(name);
        writePicture(format, bits, output, writingOf(picture.headers, options.output));
        output.commit();
    }
}

// What is lighter than middle gray is set.
void putIn(Bitmap& bitmap, const Put& put, const PlanesOptions& options) {
    Picture mask = readMask(put.file, bitmap, options.in, memoryRequest(options.memory));
    const Progress progress("putting in", put.file);
    BitmapHandle* const bits = mask.bitmap.get();
    require(T_ColorResBitmap(bits, bits, sizeof *bits, 1, CRF_FIXEDPALETTE, nullptr, 0, 0, nullptr, nullptr), put.file);
    bindPlane(bitmap, put.plane, options.in);
    require(T_SetOverlayBitmap(bitmap.get(), kOverlay, bits, OVERLAY_MOVE), put.file);
    require(T_UpdateBitmapOverlayBits(bitmap.get(), kOverlay, OVERLAY_TO_PLANE), options.in);
}

}  // namespace

void planes(const PlanesOptions& options) {
    const FileFormat format = formatOf(options.out, options.output);
    const bool several = options.planes.size() != 1;
    if (options.put.empty() && several && options.out.find(kPlane) == options.out.npos) {
        throw usageFailure("several planes need {plane} in " + options.out);
    }
    if (!options.put.empty() && !options.planes.empty()) throw usageFailure("--planes takes out and --put puts in");
    std::vector<Put> puts;
    for (const std::string& text : options.put) puts.push_back(parsePut(text));

    Picture picture = readGrays(options);
    if (puts.empty()) return takeOut(picture, options, format);
    const std::string why = whyNot(format, picture.bitmap->BitsPerPixel, true);
    if (!why.empty()) throw fileFailure(options.out, why);
    for (const Put& put : puts) putIn(picture.bitmap, put, options);
    OutputFile output(options.out);
    writePicture(format, picture.bitmap, output, writingOf(picture.headers, options.output));
    output.commit();
}

}  // namespace tool
