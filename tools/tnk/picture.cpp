#include "picture.h"

#include <algorithm>
#include <utility>

#include "file_rows.h"
#include "formats/decoder.h"
#include "progress.h"

namespace tool {

namespace {

bool isBlack(const PaletteEntry& entry) { return (entry.Red | entry.Green | entry.Blue) == 0; }

// The depth that keeps every pixel, and the palette: behind the entries of the file black, if pixels need it.
void setDepth(Picture& picture, const std::string& file) {
    const Headers& headers = picture.headers;
    const bool gray = headers.channels <= 2;
    if (headers.indexed) {
        picture.palette = headers.palette;
        const bool whole = filePalette(picture.bitmap, file).size() <= picture.palette.size();
        if (!whole && std::none_of(picture.palette.begin(), picture.palette.end(), isBlack)) {
            picture.palette.push_back({0, 0, 0, 0});
        }
    } else if (gray && headers.bitsPerChannel <= 8) {
        const int bits = headers.bits <= 8 ? headers.bits : 8;
        picture.palette = grayRamp(bits);
    }
    const bool alpha = !headers.alpha.empty() || headers.bits == 32 || headers.bits == 64;
    if (headers.bits <= 16 && headers.order != ORDER_GRAY && !alpha) picture.depth = headers.bits;
    if (headers.bits <= 8 && !alpha) picture.depth = headers.bits;
}

// Colours, with alpha if entries have it.
Bitmap colorsOf(Picture& picture, const std::string& file, uint32_t request) {
    const std::vector<uint8_t>& alpha = picture.headers.alpha;
    Bitmap& bitmap = picture.bitmap;
    const int bits = alpha.empty() ? 24 : 32, width = bitmap->Width;
    Bitmap out;
    out.create(file, request, width, bitmap->Height, bits, ORDER_RGB);
    FileRows colors(bitmap, file, bits, ORDER_RGB), indexes(bitmap, file, 8, ORDER_RGB);
    std::vector<uint8_t> row(colors.bytes());
    for (int y = 0; y < bitmap->Height; y++) {
        Progress::rowDone(y, bitmap->Height);
        std::copy_n(colors.get(y), row.size(), row.begin());
        const uint8_t* const index = alpha.empty() ? nullptr : indexes.get(y);
        for (int x = 0; index && x < width; x++) {
            row[static_cast<size_t>(x) * 4 + 3] = index[x] < alpha.size() ? alpha[index[x]] : 255;
        }
        out.putRow(file, row.data(), y, row.size());
    }
    return out;
}

void widen(Picture& picture, const std::string& file, uint32_t request) {
    const Headers& headers = picture.headers;
    if (headers.bits > 8 && !(headers.bits == 16 && headers.order != ORDER_GRAY)) return;
    if (!headers.indexed && headers.bits <= 8) {
        require(T_GrayScaleBitmap(picture.bitmap.get(), 8), file);
    } else {
        picture.bitmap = colorsOf(picture, file, request);
    }
}

Bitmap emptyBitmap(const Headers& headers, const std::string& file, uint32_t request) {
    Bitmap bitmap;
    bitmap.create(file, request, headers.width, headers.height, headers.bits, headers.order);
    if (headers.bits > 8) return bitmap;
    PaletteEntry* const end = std::copy(headers.palette.begin(), headers.palette.end(), bitmap->Palette);
    std::fill(end, bitmap->Palette + (size_t{1} << headers.bits), PaletteEntry{0, 0, 0, 0});
    bitmap->ColorCount = static_cast<uint32_t>(headers.palette.size());
    return bitmap;
}

}  // namespace

Picture readPicture(const std::string& file, GrayAlpha grayAlpha, uint32_t request) {
    const Progress progress("reading", file);
    const std::unique_ptr<PictureDecoder> decoder = openPicture(InputFile(file), {.grayAlpha = grayAlpha});
    Picture picture;
    picture.bitmap = emptyBitmap(decoder->headers(), file, request);
    decoder->decode(picture.bitmap);
    picture.headers = decoder->headers();
    setDepth(picture, file);
    widen(picture, file, request);
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

}  // namespace tool
