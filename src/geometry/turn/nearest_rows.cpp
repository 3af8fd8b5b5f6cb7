// Turned rows of nearest pixels.
#include <cstring>
#include <tuple>

#include "base/pixel_values.h"
#include "geometry/pixel_channels.h"
#include "geometry/turn/turn_rows.h"

namespace tnk {
namespace {

// Every covered pixel by fetch(row, column, pixel of the target); no position needs a look at the bounds.
template <size_t kTargetBytes, typename Fetch>
void fetchAll(const TurnStretch& stretch, uint8_t* target, Fetch fetch) {
    // By value: the bytes that are written might be the stretch, for all that the compiler knows.
    const auto [pixels, stride, step] = std::tuple(stretch.pixels, stretch.stride, stretch.step);
    const PixelSpan covered = stretch.covered;
    int64_t x = stretch.start.x + covered.first * step.x;
    int64_t y = stretch.start.y + covered.first * step.y;
    uint8_t* to = target + static_cast<size_t>(covered.first) * kTargetBytes;
    for (int32_t i = covered.first; i < covered.end; ++i, to += kTargetBytes) {
        fetch(pixels + static_cast<ptrdiff_t>(y >> kStepBits) * stride, static_cast<size_t>(x >> kStepBits), to);
        x += step.x;
        y += step.y;
    }
}

template <size_t kBytes>
void turnUnits(const TurnStretch& stretch, uint8_t* target) {
    fetchAll<kBytes>(stretch, target, [](const uint8_t* row, size_t column, uint8_t* to) {
        std::memcpy(to, row + column * kBytes, kBytes);
    });
}

template <uint32_t kBits>
void turnPacked(const TurnStretch& stretch, uint8_t* target) {
    fetchAll<1>(stretch, target, [](const uint8_t* row, size_t column, uint8_t* to) {
        *to = static_cast<uint8_t>(packedPixel<kBits>(row, column));
    });
}

void turn12(const TurnStretch& stretch, uint8_t* target) {
    fetchAll<4>(stretch, target,
                [](const uint8_t* row, size_t column, uint8_t* to) { storeAs(to, loadSample<12>(row, column)); });
}

}  // namespace

TurnRoutine nearestRoutine(uint32_t bits) {
    switch (bits) {
        case 1:
            return turnPacked<1>;
        case 2:
            return turnPacked<2>;
        case 3:
            return turnPacked<3>;
        case 4:
            return turnPacked<4>;
        case 5:
            return turnPacked<5>;
        case 6:
            return turnPacked<6>;
        case 7:
            return turnPacked<7>;
        case 8:
            return turnUnits<1>;
        case 12:
            return turn12;
        case 16:
            return turnUnits<2>;
        case 24:
            return turnUnits<3>;
        case 32:
            return turnUnits<4>;
        case 48:
            return turnUnits<6>;
        default:
            return turnUnits<8>;
    }
}

}  // namespace tnk
