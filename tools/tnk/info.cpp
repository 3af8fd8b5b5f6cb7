#include <cstdio>

#include "commands.h"
#include "count.h"
#include "memory.h"
#include "picture.h"

namespace tool {

namespace {

const char* channelNames(int channels) {
    switch (channels) {
        case 1:
            return "gray";
        case 2:
            return "gray and alpha";
        case 3:
            return "red, green, blue";
        default:
            return "red, green, blue, alpha";
    }
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

}  // namespace

void info(const std::string& file, const std::string& memory) {
    const uint32_t request = memoryRequest(memory);
    Picture picture = readPicture(file, GrayAlpha::kAsColor, request);
    Bitmap& bitmap = picture.bitmap;
    const Headers& headers = picture.headers;
    const int pixelBits = headers.bitsPerPixel;

    std::printf("%s\n", file.c_str());
    std::printf("  format      %s\n", headers.format);
    const std::string onItsSide = ", seen as " + std::to_string(bitmap->Height) + " x " + std::to_string(bitmap->Width);
    std::printf("  size        %d x %d pixels%s\n", bitmap->Width, bitmap->Height,
                headers.orientation >= LEFT_TOP ? onItsSide.c_str() : "");
    std::printf("  orientation %s\n", kOrientations[headers.orientation]);
    std::printf("  depth       %s a pixel\n", inBits(pixelBits).c_str());
    std::printf("  channels    %d of %d bits: %s\n", headers.channels, headers.bitsPerChannel,
                channelNames(headers.channels));
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
    std::printf("  in use      %s\n", countColors(bitmap, file).c_str());
    if (memory == "compressed" && bitmap->BitsPerPixel != 1) {
        throw fileFailure(file, "only pictures of 1 bit a pixel are held compressed");
    }
    std::printf("  bitmap      %s (%s), %u bytes a row\n", inBits(bitmap->BitsPerPixel).c_str(), orderName(bitmap),
                bitmap->BytesPerLine);
    std::printf("  held        %s\n", describeMemory(bitmap).c_str());
}

}  // namespace tool
