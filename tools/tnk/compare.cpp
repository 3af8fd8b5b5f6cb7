// Whether two pictures look the same, and how far apart they are.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include "alpha.h"
#include "bitmap_rows.h"
#include "commands.h"
#include "file.h"
#include "geometry.h"
#include "json.h"
#include "memory.h"
#include "picture.h"
#include "progress.h"

namespace tool {

namespace {

struct Side {
    const std::string& file;
    Picture picture;

    int width() const { return picture.bitmap->Width; }
    int height() const { return picture.bitmap->Height; }
    int bitsPerPixel() const { return picture.headers.bitsPerPixel; }
    bool isGray() const { return picture.headers.channels <= 2; }
};

Side read(const std::string& file, uint32_t request, int page) {
    Side side = {file, readPicture(file, GrayAlpha::kAsColor, request, page)};
    const Progress progress("preparing", file);
    Picture& picture = side.picture;
    if (!picture.headers.alpha.empty()) widen(picture.bitmap, picture.headers, file, request);
    bringUpright(picture.bitmap, file);
    return side;
}

// Standard input cannot be read once more for its other pages.
int pagesToCompare(const Side& side) {
    const int pages = side.picture.pages;
    if (pages == 1 || side.file != kStandard) return pages;
    complain("note: " + side.file + ": the first of " + std::to_string(pages) + " pages");
    return 1;
}

struct Channel {
    const char* name;
    int sample;  // which one of a pixel
    int largest = 0;
    uint64_t sum = 0;
};

struct Difference {
    int samples;  // of a pixel in the common form
    int bits;     // of each
    std::vector<Channel> channels;
    int64_t pixels = 0;  // that differ by more than the tolerance
    int firstX = -1;
    int firstY = -1;
};

// Colours are compared where a picture has them, alpha where one has it.
Difference commonForm(const Side& a, const Side& b) {
    const bool alpha = hasAlpha(a.picture.bitmap) || hasAlpha(b.picture.bitmap), gray = a.isGray() && b.isGray();
    const int bits = std::max(a.picture.headers.bitsPerChannel, b.picture.headers.bitsPerChannel) > 8 ? 16 : 8;
    Difference out = {alpha ? 4 : gray ? 1 : 3, bits, {}};
    if (gray) {
        out.channels = {{"gray", 0}};
    } else {
        out.channels = {{"red", 0}, {"green", 1}, {"blue", 2}};
    }
    if (alpha) out.channels.push_back({"alpha", 3});
    return out;
}

template <class Sample>
void compareRow(const uint8_t* rowA, const uint8_t* rowB, int y, int width, int tolerance, Difference& out) {
    const Sample *a = reinterpret_cast<const Sample*>(rowA), *b = reinterpret_cast<const Sample*>(rowB);
    for (int x = 0; x < width; x++, a += out.samples, b += out.samples) {
        bool differs = false;
        for (Channel& channel : out.channels) {
            const int distance = std::abs(a[channel.sample] - b[channel.sample]);
            channel.largest = std::max(channel.largest, distance);
            channel.sum += static_cast<uint64_t>(distance);
            differs |= distance > tolerance;
        }
        if (differs && out.pixels++ == 0) {
            out.firstX = x;
            out.firstY = y;
        }
    }
}

Difference comparePixels(Side& a, Side& b, int tolerance) {
    const Progress progress("comparing", a.file);
    Difference out = commonForm(a, b);
    const RowForm form = samplesOf(out.samples, out.bits);
    BitmapRows rowsA(a.picture.bitmap, a.file, form), rowsB(b.picture.bitmap, b.file, form);
    const int width = a.width(), height = a.height();
    for (int y = 0; y < height; y++) {
        Progress::rowDone(y, height);
        (out.bits == 8 ? compareRow<uint8_t> : compareRow<uint16_t>)(rowsA.get(y), rowsB.get(y), y, width, tolerance,
                                                                     out);
    }
    return out;
}

double meanOf(const Channel& channel, int64_t pixels) {
    return static_cast<double>(channel.sum) / static_cast<double>(pixels);
}

void tell(const Side& side) {
    std::printf("%s: %d x %d pixels, %d bits a pixel (%d of %d bits)\n", side.file.c_str(), side.width(), side.height(),
                side.bitsPerPixel(), side.picture.headers.channels, side.picture.headers.bitsPerChannel);
}

void tell(const Difference& difference, int64_t pixels, int tolerance) {
    if (difference.pixels == 0) {
        std::printf("%s", "equal");
        if (tolerance) std::printf(" within %d of %d", tolerance, (1 << difference.bits) - 1);
        std::printf("\n");
    } else {
        std::printf("different: %lld of %lld pixels (%.3g %%), the first at %d,%d\n",
                    static_cast<long long>(difference.pixels), static_cast<long long>(pixels),
                    100.0 * static_cast<double>(difference.pixels) / static_cast<double>(pixels), difference.firstX,
                    difference.firstY);
    }
    for (const Channel& channel : difference.channels) {
        if (channel.sum == 0) continue;
        std::printf("  %-7s largest %d, mean %.4g of %d\n", channel.name, channel.largest, meanOf(channel, pixels),
                    (1 << difference.bits) - 1);
    }
}

Json jsonOf(const Side& side) {
    return {{"file", side.file},
            {"width", side.width()},
            {"height", side.height()},
            {"bitsPerPixel", side.bitsPerPixel()},
            {"channels", channelNames(side.picture.headers.channels)},
            {"bitsPerChannel", side.picture.headers.bitsPerChannel}};
}

void addJson(Json& out, const Difference& difference, int64_t pixels) {
    out["bits"] = difference.bits;
    out["pixels"] = pixels;
    out["pixelsDifferent"] = difference.pixels;
    out["first"] = nullptr;
    if (difference.pixels) out["first"] = {{"x", difference.firstX}, {"y", difference.firstY}};
    Json differences = Json::array();
    for (const Channel& channel : difference.channels) {
        differences.push_back(
            {{"name", channel.name}, {"largest", channel.largest}, {"mean", meanOf(channel, pixels)}});
    }
    out["differences"] = differences;
}

// Adds an object to `all`, or tells the user.
bool comparePage(Side& a, Side& b, int page, const CompareOptions& options, Json& all) {
    const bool sameSize = a.width() == b.width() && a.height() == b.height();
    Difference difference = {};
    if (sameSize) difference = comparePixels(a, b, options.tolerance);
    const bool equal = sameSize && difference.pixels == 0;
    const int64_t pixels = int64_t{a.width()} * a.height();
    if (options.json) {
        Json out = {
            {"page", page + 1}, {"a", jsonOf(a)}, {"b", jsonOf(b)}, {"tolerance", options.tolerance}, {"equal", equal}};
        if (sameSize) addJson(out, difference, pixels);
        all.push_back(out);
        return equal;
    }
    tell(a);
    tell(b);
    if (sameSize) {
        tell(difference, pixels, options.tolerance);
    } else {
        std::printf("different: the sizes\n");
    }
    return equal;
}

// Of a page that one of the files lacks.
Json jsonOfMissing(const CompareOptions& options, int page, bool inA) {
    const auto sideOf = [](const std::string& file, bool there) {
        return there ? Json{{"file", file}} : Json(nullptr);
    };
    return {{"page", page + 1}, {"a", sideOf(options.a, inA)}, {"b", sideOf(options.b, !inA)}, {"equal", false}};
}

}  // namespace

bool compare(const CompareOptions& options) {
    const uint32_t request = memoryRequest(options.memory);
    Json all = Json::array();
    bool equal = true;
    int pagesOfA = 1, pagesOfB = 1, page = 0;
    for (; page < std::min(pagesOfA, pagesOfB); page++) {
        Side a = read(options.a, request, page), b = read(options.b, request, page);
        if (page == 0) {
            pagesOfA = pagesToCompare(a);
            pagesOfB = pagesToCompare(b);
        }
        if (!options.json && std::max(pagesOfA, pagesOfB) > 1) std::printf("page %d\n", page + 1);
        equal &= comparePage(a, b, page, options, all);
    }
    for (; page < std::max(pagesOfA, pagesOfB); page++) {
        all.push_back(jsonOfMissing(options, page, page < pagesOfA));
    }
    if (options.json) {
        printJson(all);
    } else if (pagesOfA != pagesOfB) {
        std::printf("different: %s has %d pages, %s has %d\n", options.a.c_str(), pagesOfA, options.b.c_str(),
                    pagesOfB);
    }
    return equal && pagesOfA == pagesOfB;
}

}  // namespace tool
