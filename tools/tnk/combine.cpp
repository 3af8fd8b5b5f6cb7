// Two pictures in one, a picture through four corners, and a part of one made unrecognisable.
#include <algorithm>
#include <array>
#include <cstring>

#include "commands.h"
#include "formats/metadata.h"
#include "formats/writer.h"
#include "geometry.h"
#include "memory.h"
#include "picture.h"
#include "progress.h"

namespace tool {

namespace {

// Upright, alpha kept.
Picture readUpright(const std::string& file, uint32_t request) {
    Picture picture = readPicture(file, GrayAlpha::kAsColor, request);
    const Progress progress("preparing", file);
    bringUpright(picture.bitmap, file);
    return picture;
}

bool hasPaletteAlone(const Picture& picture) {
    return picture.bitmap->BitsPerPixel <= 8 && picture.headers.alpha.empty();
}

bool isGray(const Picture& picture) { return picture.bitmap->BitsPerPixel <= 8 || picture.bitmap->Order == ORDER_GRAY; }

// One palette without alpha: then their indexes combine.
bool haveSamePalette(const Picture& a, const Picture& b) {
    const std::vector<PaletteEntry>&first = a.palette, &second = b.palette;
    return hasPaletteAlone(a) && hasPaletteAlone(b) && a.bitmap->BitsPerPixel == b.bitmap->BitsPerPixel &&
           first.size() == second.size() &&
           std::memcmp(first.data(), second.data(), first.size() * sizeof(PaletteEntry)) == 0;
}

// Grays that colours are to be put into.
void makeColors(Bitmap& bitmap, const std::string& file) {
    const int bits = bitmap->BitsPerPixel > 8 ? 48 : 24;
    require(
        T_ColorResBitmap(bitmap.get(), bitmap.get(), sizeof(BitmapHandle), bits, 0, nullptr, 0, 0, nullptr, nullptr),
        file);
}

void write(const Picture& like, const std::string& in, Bitmap& bitmap, const std::string& out,
           const OutputOptions& options) {
    const FileFormat format = formatOf(out, options);
    const std::string why = whyNot(format, bitmap->BitsPerPixel, isGray(bitmap));
    if (!why.empty()) throw fileFailure(out, why);
    OutputFile output(out);
    writePicture(format, bitmap, output, writingOf(like.headers, in, bitmap, format, out, options));
    output.commit();
}

// Alpha of a result is that of the first picture, but for modes that put the second one in its place.
uint32_t channelFlags(const CombineOptions& options, uint32_t mode) {
    constexpr uint32_t kColors = COMBINE_RED | COMBINE_GREEN | COMBINE_BLUE;
    if (options.channels.empty()) return mode == COMBINE_COPY || mode == COMBINE_ALPHA ? 0u : kColors;
    uint32_t flags = 0;
    for (const char letter : options.channels) {
        const size_t channel = std::string("RGBA").find(static_cast<char>(letter & ~0x20));
        if (channel == std::string::npos || letter < 'A') {
            throw usageFailure("--channels " + options.channels + " is none of R, G, B and A, or several of them");
        }
        flags |= COMBINE_RED << channel;
    }
    return flags;
}

using Corners = std::array<BitmapPoint, 4>;

Corners cornersOf(const std::vector<int>& numbers) {
    Corners corners;
    for (size_t i = 0; i < 4; i++) corners[i] = {numbers[2 * i], numbers[2 * i + 1]};
    return corners;
}

Corners wholePicture(int width, int height) { return {{{0, 0}, {width, 0}, {width, height}, {0, height}}}; }

// A result of the warp: as large as was asked for, else as far as the corners reach.
void settleSize(const WarpOptions& options, int& width, int& height) {
    width = options.size.empty() ? 0 : options.size[0];
    height = options.size.empty() ? 0 : options.size[1];
    for (size_t i = 0; options.size.empty() && i < options.to.size(); i += 2) {
        width = std::max(width, options.to[i]);
        height = std::max(height, options.to[i + 1]);
    }
    if (width < 1 || height < 1) throw usageFailure("--to lies outside the result: give its --size too");
}

}  // namespace

void combine(const CombineOptions& options) {
    const auto name = std::find(kCombineNames.begin(), kCombineNames.end(), options.mode);
    const auto mode = static_cast<uint32_t>(name - kCombineNames.begin());
    const uint32_t flags = mode | channelFlags(options, mode);
    formatOf(options.out, options.output);
    const uint32_t request = memoryRequest(options.memory);
    Picture first = readUpright(options.in, request), second = readUpright(options.with, request);
    if (!haveSamePalette(first, second)) {
        widen(first.bitmap, first.headers, options.in, request);
        widen(second.bitmap, second.headers, options.with, request);
        if (isGray(first) && !isGray(second)) makeColors(first.bitmap, options.in);
    }
    Bitmap& target = first.bitmap;
    Bitmap& source = second.bitmap;
    const int left = options.at.empty() ? 0 : options.at[0], top = options.at.empty() ? 0 : options.at[1];
    if (left >= target->Width || top >= target->Height || int64_t{left} + source->Width <= 0 ||
        int64_t{top} + source->Height <= 0) {
        throw fileFailure(options.with, "lies outside " + options.in + " there");
    }
    {
        const Progress progress("combining", options.out);
        require(T_CombineBitmapKrn(target.get(), left, top, source->Width, source->Height, source.get(), 0, 0, flags),
                options.in);
    }
    write(first, options.in, target, options.out, options.output);
}

void warp(const WarpOptions& options) {
    int width = 0, height = 0;
    settleSize(options, width, height);
    const uint32_t background = colorOf(options.background);
    formatOf(options.out, options.output);
    const uint32_t request = memoryRequest(options.memory);
    Picture picture = readUpright(options.in, request);
    const bool nearest = options.filter == "nearest";
    if (!nearest || !hasPaletteAlone(picture)) widen(picture.bitmap, picture.headers, options.in, request);
    Bitmap& source = picture.bitmap;
    const Corners from = options.from.empty() ? wholePicture(source->Width, source->Height) : cornersOf(options.from);
    const Corners to = options.to.empty() ? wholePicture(width, height) : cornersOf(options.to);
    Bitmap result;
    {
        const Progress progress("warping", options.in);
        require(T_DupBitmapNewDim(result.get(), source.get(), sizeof(BitmapHandle), width, height, source->BitsPerPixel,
                                  DUP_ALLOCATE | DUP_PALETTE),
                options.in);
        require(T_FillBitmap(result.get(), background), options.in);
        const int32_t warped =
            T_CombineBitmapWarp(result.get(), to.data(), source.get(), from.data(), nearest ? 0u : COMBINE_LINEAR);
        if (warped == T_ERROR_INVALID_PARAMETER) {
            throw usageFailure(
                "--from and --to take four corners in order around a convex shape, from -32768 to 32767");
        }
        require(warped, options.in);
    }
    write(picture, options.in, result, options.out, options.output);
}

void scramble(const ScrambleOptions& options) {
    formatOf(options.out, options.output);
    const uint32_t request = memoryRequest(options.memory);
    Picture picture = readUpright(options.in, request);
    widen(picture.bitmap, picture.headers, options.in, request);
    const std::vector<int>& box = options.rect;
    {
        const Progress progress("scrambling", options.in);
        require(T_ScrambleBitmap(picture.bitmap.get(), box[0], box[1], box[2], box[3], options.key), options.in);
    }
    write(picture, options.in, picture.bitmap, options.out, options.output);
}

}  // namespace tool
