#include "picture.h"

#include <algorithm>
#include <utility>

#include "bitmap_rows.h"
#include "file.h"
#include "formats/decoder.h"
#include "progress.h"

namespace tool {

namespace {

bool isBlack(const PaletteEntry& entry) { return (entry.Red | entry.Green | entry.Blue) == 0; }

// Behind the entries of the file black, if pixels need it.
std::vector<PaletteEntry> wholePalette(Picture& picture, const std::string& file) {
    const Headers& headers = picture.headers;
    const bool grays = headers.channels <= 2 && headers.bitsPerChannel == 8;
    if (!headers.indexed) return grays ? grayRamp(std::min(headers.bitsPerPixel, 8)) : std::vector<PaletteEntry>();
    std::vector<PaletteEntry> palette = headers.palette;
    const bool whole = filePalette(picture.bitmap, file).size() <= palette.size();
    if (!whole && std::none_of(palette.begin(), palette.end(), isBlack)) palette.push_back({0, 0, 0, 0});
    return palette;
}

Bitmap colorsOf(Bitmap& bitmap, const std::vector<uint8_t>& alpha, const std::string& file, uint32_t request) {
    const int bits = alpha.empty() ? 24 : 32, width = bitmap->Width;
    Bitmap out;
    out.create(file, request, width, bitmap->Height, bits, ORDER_RGB);
    out->XResolution = bitmap->XResolution;
    out->YResolution = bitmap->YResolution;
    out->ViewPerspective = bitmap->ViewPerspective;
    BitmapRows colors(bitmap, file, {bits, ORDER_RGB}), indexes(bitmap, file, {8, ORDER_RGB});
    for (int y = 0; y < bitmap->Height; y++) {
        Progress::rowDone(y, bitmap->Height);
        uint8_t* const row = colors.get(y);
        const uint8_t* const index = alpha.empty() ? nullptr : indexes.get(y);
        for (int x = 0; index && x < width; x++) {
            row[static_cast<size_t>(x) * 4 + 3] = index[x] < alpha.size() ? alpha[index[x]] : 255;
        }
        out.putRow(file, row, y, colors.bytes());
    }
    return out;
}

Bitmap emptyBitmap(const Headers& headers, const std::string& file, uint32_t request) {
    Bitmap bitmap;
    bitmap.create(file, request, headers.width, headers.height, headers.bits, headers.order);
    if (headers.bits > 8) return bitmap;
    const std::vector<PaletteEntry> palette = headers.indexed ? headers.palette : grayRamp(headers.bits);
    PaletteEntry* const end = std::copy(palette.begin(), palette.end(), bitmap->Palette);
    std::fill(end, bitmap->Palette + (size_t{1} << headers.bits), PaletteEntry{0, 0, 0, 0});
    bitmap->ColorCount = static_cast<uint32_t>(palette.size());
    return bitmap;
}

}  // namespace

Picture readPicture(const std::string& file, GrayAlpha grayAlpha, uint32_t request, int page) {
    const Progress progress("reading", file);
    const std::unique_ptr<PictureDecoder> decoder =
        openPicture(InputFile(file), {.grayAlpha = grayAlpha, .page = page});
    Picture picture;
    picture.pages = decoder->pages();
    if (page >= picture.pages) throw noSuchPage(file, picture.pages, page);
    picture.bitmap = emptyBitmap(decoder->headers(), file, request);
    decoder->decode(picture.bitmap);
    picture.headers = decoder->headers();
    picture.palette = wholePalette(picture, file);
    if (interrupted()) throw interruptedFailure();
    if (picture.headers.xResolution > 0) {
        picture.bitmap->XResolution = picture.headers.xResolution;
        picture.bitmap->YResolution = picture.headers.yResolution;
    }
    if (picture.headers.orientation) {
        picture.bitmap->ViewPerspective = static_cast<uint32_t>(picture.headers.orientation);
    }
    return picture;
}

void widen(Bitmap& bitmap, const Headers& headers, const std::string& file, uint32_t request) {
    const int bits = bitmap->BitsPerPixel;
    if (bits <= 8 && !headers.indexed) {
        require(T_GrayScaleBitmap(bitmap.get(), 8), file);
    } else if (bits <= 8 || (bits == 16 && bitmap->Order != ORDER_GRAY)) {
        bitmap = colorsOf(bitmap, headers.alpha, file, request);
    }
}

Picture readWide(const std::string& file, GrayAlpha grayAlpha, uint32_t request) {
    Picture picture = readPicture(file, grayAlpha, request);
    widen(picture.bitmap, picture.headers, file, request);
    return picture;
}

std::vector<std::string> channelNames(int channels) {
    if (channels <= 2)
        return channels == 1 ? std::vector<std::string>{"gray"} : std::vector<std::string>{"gray", "alpha"};
    std::vector<std::string> names = {"red", "green", "blue"};
    if (channels == 4) names.push_back("alpha");
    return names;
}

int pagesIn(const std::string& file) { return file == kStandard ? 1 : openPicture(InputFile(file), {})->pages(); }

}  // namespace tool
