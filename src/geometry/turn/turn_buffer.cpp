// Turns of packed pictures that callers have in memory.
#include <cstring>

#include "base/pixel_format.h"
#include "base/result.h"
#include "geometry/mirror_line.h"
#include "geometry/turn/transpose.h"
#include "tnkrn.h"

namespace tnk {
namespace {

struct Picture {
    uint32_t width;
    uint32_t height;
    uint32_t bits;
    size_t line() const { return static_cast<size_t>((uint64_t{width} * bits + 31) / 32 * 4); }
};

bool isPicture(int32_t width, int32_t height, int32_t bits) {
    return width > 0 && height > 0 && isPixelDepth(static_cast<uint32_t>(bits));
}

Picture pictureOf(int32_t width, int32_t height, int32_t bits) {
    return {static_cast<uint32_t>(width), static_cast<uint32_t>(height), static_cast<uint32_t>(bits)};
}

void turnQuarter(const uint8_t* source, uint8_t* target, bool clockwise, const Picture& picture) {
    const Picture turned = {picture.height, picture.width, picture.bits};
    const auto sourceLine = static_cast<ptrdiff_t>(picture.line());
    const auto targetLine = static_cast<ptrdiff_t>(turned.line());
    const auto used = static_cast<size_t>(pixelBytes(turned.width, turned.bits));
    for (uint32_t row = 0; row < turned.height; ++row) {
        std::memset(target + row * turned.line() + used, 0, turned.line() - used);
    }
    TransposeArea area = {source, sourceLine, target, targetLine, picture.width, picture.height};
    if (clockwise) {
        area.source += (picture.height - 1) * sourceLine;
        area.sourceStride = -sourceLine;
    } else {
        area.target += (picture.width - 1) * targetLine;
        area.targetStride = -targetLine;
    }
    transpose(picture.bits, area);
}

void turnHalf(const uint8_t* source, uint8_t* target, const Picture& picture) {
    const size_t line = picture.line();
    for (uint32_t row = 0; row < picture.height; ++row) {
        uint8_t* const to = target + (picture.height - 1 - row) * line;
        std::memcpy(to, source + row * line, line);
        mirrorPixels(to, picture.width, static_cast<int32_t>(picture.bits));
    }
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_RotateBuffer90(const uint8_t* Source, uint8_t* Destination, int32_t Direction,
                                             int32_t Width, int32_t Height, int32_t BitsPerPixel) {
    if (Source == nullptr || Destination == nullptr) return ERROR_INVALID_PARAMETER;
    if (!isPicture(Width, Height, BitsPerPixel)) return SUCCESS;
    turnQuarter(Source, Destination, Direction != 0, pictureOf(Width, Height, BitsPerPixel));
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_RotateBuffer180(const uint8_t* Source, uint8_t* Destination, int32_t Width,
                                              int32_t Height, int32_t BitsPerPixel) {
    if (Source == nullptr || Destination == nullptr) return ERROR_INVALID_PARAMETER;
    if (!isPicture(Width, Height, BitsPerPixel)) return SUCCESS;
    turnHalf(Source, Destination, pictureOf(Width, Height, BitsPerPixel));
    return SUCCESS;
}
