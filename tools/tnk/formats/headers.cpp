#include "formats/headers.h"

#include <algorithm>
#include <cmath>

namespace tool {

void setDotsPerInch(Headers& headers, double x, double y) {
    constexpr double kMost = 1000000;
    if (!(x >= 1 && y >= 1 && x <= kMost && y <= kMost)) return;
    headers.xResolution = static_cast<int>(std::lround(x));
    headers.yResolution = static_cast<int>(std::lround(y));
}

void setResolution(Headers& headers, uint32_t xPerMetre, uint32_t yPerMetre) {
    setDotsPerInch(headers, xPerMetre * 0.0254, yPerMetre * 0.0254);
}

std::vector<PaletteEntry> grayRamp(int bits) {
    std::vector<PaletteEntry> ramp;
    for (int i = 0; i < 1 << bits; i++) {
        const uint8_t level = static_cast<uint8_t>(i * 255 / ((1 << bits) - 1));
        ramp.push_back({level, level, level, 0});
    }
    return ramp;
}

bool isGrayRamp(const std::vector<PaletteEntry>& palette, int bits) {
    const std::vector<PaletteEntry> ramp = grayRamp(bits);
    return palette.size() <= ramp.size() &&
           std::equal(palette.begin(), palette.end(), ramp.begin(), [](const auto& a, const auto& b) {
               return a.Red == b.Red && a.Green == b.Green && a.Blue == b.Blue;
           });
}

}  // namespace tool
