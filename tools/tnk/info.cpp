#include <cstdio>

#include "commands.h"
#include "count.h"
#include "json.h"
#include "memory.h"
#include "picture.h"

namespace tool {

namespace {

std::string joined(const std::vector<std::string>& words) {
    std::string out;
    for (const std::string& word : words) out += (out.empty() ? "" : ", ") + word;
    return out;
}

// By view perspective; 0 where the file does not say.
constexpr const char* kOrientations[9] = {"not in the file",
                                          "upright",
                                          "mirrored: left and right are exchanged",
                                          "upside down: a half turn brings it upright",
                                          "flipped: top and bottom are exchanged",
                                          "on its side and mirrored: rows are seen as columns",
                                          "on its side: a quarter turn clockwise brings it upright",
                                          "on its side and mirrored: rows are seen as columns, the first at the right",
                                          "on its side: a quarter turn counter-clockwise brings it upright"};

std::string inBits(int count) { return std::to_string(count) + (count == 1 ? " bit" : " bits"); }

const char* orderName(const Bitmap& bitmap) {
    if (bitmap->BitsPerPixel <= 8) return "palette indexes";
    return bitmap->Order == ORDER_GRAY ? "gray" : bitmap->Order == ORDER_RGB ? "red first" : "blue first";
}

bool startsWith(const std::vector<PaletteEntry>& palette, const PaletteEntry* other) {
    for (size_t i = 0; i < palette.size(); i++) {
        const PaletteEntry &a = palette[i], &b = other[i];
        if (a.Red != b.Red || a.Green != b.Green || a.Blue != b.Blue) return false;
    }
    return true;
}

std::string describePalette(const std::vector<PaletteEntry>& palette) {
    switch (T_IsGrayScalePalette(palette.data(), static_cast<uint32_t>(palette.size()))) {
        case GRAYSCALE_NORMAL:
            return "a ramp of grays from black to white";
        case GRAYSCALE_INVERTED:
            return "a ramp of grays from white to black";
        case GRAYSCALE_OTHER:
            return "grays";
        default:
            break;
    }
    for (int bits = 1; bits <= 8; bits++) {
        if (palette.size() == size_t{1} << bits && startsWith(palette, T_IntGetFixedPalette(bits))) {
            return "the fixed palette of " + std::to_string(bits) + " bits";
        }
    }
    if (palette.size() >= 216 && startsWith(palette, T_IntGetNetscapePalette())) return "the web palette";
    return "colours of its own";
}

// A picture as it was read, and what there is to count.
struct Facts {
    Picture picture;
    uint32_t colors;
};

Facts factsOf(const std::string& file, const std::string& memory, int page) {
    Facts facts = {readPicture(file, GrayAlpha::kAsColor, memoryRequest(memory), page - 1), 0};
    Bitmap& bitmap = facts.picture.bitmap;
    if (memory == "compressed" && bitmap->BitsPerPixel != 1) {
        throw fileFailure(file, "only pictures of 1 bit a pixel are held compressed");
    }
    facts.colors = colorCount(bitmap, file);
    return facts;
}

std::string describeMetadata(const Metadata& metadata) {
    std::vector<std::string> parts;
    const auto addBytes = [&parts](const char* what, size_t bytes) {
        if (bytes) parts.push_back(what + (" of " + std::to_string(bytes)) + " bytes");
    };
    addBytes("EXIF", metadata.exif.size());
    addBytes("a colour profile", metadata.profile.size());
    addBytes("XMP", metadata.xmp.size());
    for (const auto& [key, text] : metadata.texts) parts.push_back(key);
    if (metadata.gamma) parts.push_back("gamma " + std::to_string(metadata.gamma / 1e5).substr(0, 7));
    return parts.empty() ? "none" : joined(parts);
}

Json jsonOf(const Metadata& metadata) {
    Json out = {{"exifBytes", metadata.exif.size()},
                {"profileBytes", metadata.profile.size()},
                {"xmpBytes", metadata.xmp.size()},
                {"texts", Json::array()},
                {"gamma", nullptr}};
    for (const auto& [key, text] : metadata.texts) out["texts"].push_back({{"key", key}, {"text", text}});
    if (metadata.gamma) out["gamma"] = metadata.gamma / 1e5;
    return out;
}

Json jsonOf(Bitmap& bitmap) {
    const MemoryUse use = memoryUse(bitmap);
    const char* order = bitmap->BitsPerPixel <= 8     ? "indexes"
                        : bitmap->Order == ORDER_GRAY ? "gray"
                        : bitmap->Order == ORDER_RGB  ? "rgb"
                                                      : "bgr";
    Json out = {{"bitsPerPixel", bitmap->BitsPerPixel},
                {"order", order},
                {"bytesPerRow", bitmap->BytesPerLine},
                {"memory", use.kind},
                {"bytes", use.bytes},
                {"tiles", nullptr}};
    if (use.tiles) {
        out["tiles"] = {{"count", use.tiles},
                        {"bytes", use.tileBytes},
                        {"inMemory", use.tilesInMemory},
                        {"mostBytesInMemory", use.mostBytesInMemory},
                        {"leastInMemory", use.leastTilesInMemory}};
    }
    return out;
}

Json jsonOf(const std::string& file, const std::string& memory, int page) {
    Facts facts = factsOf(file, memory, page);
    const Headers& headers = facts.picture.headers;
    const bool onItsSide = headers.orientation >= LEFT_TOP;
    Json out = {{"file", file},
                {"format", headers.format},
                {"pages", facts.picture.pages},
                {"page", page},
                {"width", headers.width},
                {"height", headers.height},
                {"orientation", nullptr},
                {"seenWidth", onItsSide ? headers.height : headers.width},
                {"seenHeight", onItsSide ? headers.width : headers.height},
                {"bitsPerPixel", headers.bitsPerPixel},
                {"channels", channelNames(headers.channels)},
                {"bitsPerChannel", headers.bitsPerChannel},
                {"resolution", nullptr},
                {"palette", nullptr},
                {"colorsInUse", facts.colors},
                {"metadata", jsonOf(headers.metadata)},
                {"bitmap", jsonOf(facts.picture.bitmap)}};
    if (headers.orientation) out["orientation"] = headers.orientation;
    if (headers.xResolution > 0) out["resolution"] = {{"x", headers.xResolution}, {"y", headers.yResolution}};
    if (!headers.palette.empty()) {
        out["palette"] = {{"colors", headers.palette.size()}, {"kind", describePalette(headers.palette)}};
    }
    return out;
}

Json errorOf(const std::string& file, const std::string& why) {
    const std::string prefix = file + ": ";
    return {{"file", file}, {"error", why.starts_with(prefix) ? why.substr(prefix.size()) : why}};
}

}  // namespace

void info(const std::string& file, const std::string& memory, int page) {
    Facts facts = factsOf(file, memory, page);
    Bitmap& bitmap = facts.picture.bitmap;
    const Headers& headers = facts.picture.headers;

    std::printf("%s\n", file.c_str());
    std::printf("  format      %s\n", headers.format);
    if (facts.picture.pages > 1) std::printf("  pages       %d; this is page %d\n", facts.picture.pages, page);
    const std::string onItsSide = ", seen as " + std::to_string(bitmap->Height) + " x " + std::to_string(bitmap->Width);
    std::printf("  size        %d x %d pixels%s\n", bitmap->Width, bitmap->Height,
                headers.orientation >= LEFT_TOP ? onItsSide.c_str() : "");
    std::printf("  orientation %s\n", kOrientations[headers.orientation]);
    std::printf("  depth       %s a pixel\n", inBits(headers.bitsPerPixel).c_str());
    std::printf("  channels    %d of %d bits: %s\n", headers.channels, headers.bitsPerChannel,
                joined(channelNames(headers.channels)).c_str());
    if (headers.xResolution > 0) {
        std::printf("  resolution  %d x %d dots per inch\n", headers.xResolution, headers.yResolution);
    } else {
        std::printf("  resolution  not in the file\n");
    }
    if (headers.palette.empty()) {
        std::printf("  palette     none\n");
    } else {
        std::printf("  palette     %zu colours: %s\n", headers.palette.size(),
                    describePalette(headers.palette).c_str());
    }
    std::printf("  in use      %s\n", describeCount(bitmap, facts.colors).c_str());
    std::printf("  metadata    %s\n", describeMetadata(headers.metadata).c_str());
    std::printf("  bitmap      %s (%s), %u bytes a row\n", inBits(bitmap->BitsPerPixel).c_str(), orderName(bitmap),
                bitmap->BytesPerLine);
    std::printf("  held        %s\n", describeMemory(bitmap).c_str());
}

void infoAsJson(const std::vector<std::string>& files, const std::string& memory, int page) {
    Json all = Json::array();
    bool failed = false;
    for (const std::string& file : files) {
        std::string why;
        try {
            all.push_back(jsonOf(file, memory, page));
        } catch (const std::bad_alloc&) {
            why = "not enough memory";
        } catch (const Failure& failure) {
            if (failure.code() == kExitInterrupted) throw;
            why = failure.what();
        }
        if (why.empty()) continue;
        all.push_back(errorOf(file, why));
        failed = true;
    }
    printJson(all);
    if (failed) throw toldFailure();
}

}  // namespace tool
