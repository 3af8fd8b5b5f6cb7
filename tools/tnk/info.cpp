#include <cstdio>

#include "commands.h"
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

const char* orderName(const Bitmap& bitmap) {
    if (bitmap->BitsPerPixel <= 8) return "palette indexes";
    return bitmap->Order == ORDER_GRAY ? "gray" : bitmap->Order == ORDER_RGB ? "red first" : "blue first";
}

const char* memoryName(Bitmap& bitmap) {
    uint32_t kind = 0;
    if (T_GetBitmapMemoryInfo(bitmap.get(), &kind, nullptr, nullptr, nullptr, nullptr, nullptr) != T_SUCCESS)
        return "?";
    switch (kind) {
        case MEMKIND_MEMORY:
            return "in memory";
        case MEMKIND_TILED:
            return "in tiles";
        case MEMKIND_DISK:
            return "in a temporary file";
        default:
            return "compressed";
    }
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

void info(const std::string& file) {
    Picture picture = readPicture(file, GrayAlpha::kAsColor);
    Bitmap& bitmap = picture.bitmap;
    const Headers& headers = picture.headers;
    const int pixelBits = headers.bitsPerPixel ? headers.bitsPerPixel : picture.channels * picture.bitsPerChannel;

    std::printf("%s\n", file.c_str());
    std::printf("  format      %s\n", headers.format);
    std::printf("  size        %d x %d pixels\n", bitmap->Width, bitmap->Height);
    std::printf("  depth       %d bits a pixel\n", pixelBits);
    std::printf("  channels    %d of %d bits: %s\n", picture.channels, picture.bitsPerChannel,
                channelNames(picture.channels));
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
    std::printf("  bitmap      %d bits (%s), %u bytes a row, %u bytes %s\n", bitmap->BitsPerPixel, orderName(bitmap),
                bitmap->BytesPerLine, bitmap->Size, memoryName(bitmap));
}

}  // namespace tool
