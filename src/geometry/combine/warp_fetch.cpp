#include "geometry/combine/warp_fetch.h"

#include <algorithm>
#include <cstring>

#include "base/sample_rules.h"
#include "geometry/pixel_channels.h"

namespace tnk {
namespace {

// Calls pixel(x, y, i) with positions in 1 / kScale of a pixel from the source's first corner.
template <uint32_t kScale, typename Pixel>
void forPositions(const WarpRun& run, size_t count, Pixel pixel) {
    int64_t across = run.across, down = run.down, depth = run.depth;
    for (size_t i = 0; i < count; ++i) {
        const double inverse = 1.0 / static_cast<double>(depth);
        pixel(floorRatio(across, kScale, depth, inverse), floorRatio(down, kScale, depth, inverse), i);
        across += run.acrossStep;
        down += run.downStep;
        depth += run.depthStep;
    }
}

// A pixel of the source; one beyond its ends is the last before them.
struct Place {
    const uint8_t* row;
    int64_t column;
    Place(const WarpRun& run, int64_t fromX, int64_t fromY)
        : Place(std::clamp<int64_t>(run.x + fromX, run.left, run.right - 1),
                std::clamp<int64_t>(run.y + fromY, run.top, run.bottom - 1), run) {}

  private:
    Place(int64_t x, int64_t y, const WarpRun& run)
        : row(run.pixels + static_cast<ptrdiff_t>(run.stored.yAt(x, y)) * run.stride), column(run.stored.xAt(x, y)) {}
};

template <typename Fetch>
void fetchNearest(const WarpRun& run, size_t count, Fetch fetch) {
    forPositions<1>(run, count, [&](int64_t x, int64_t y, size_t i) { fetch(Place(run, x, y), i); });
}

template <size_t kBytes>
void nearestUnits(const WarpRun& run, uint8_t* target, size_t count) {
    fetchNearest(run, count, [&](const Place& place, size_t i) {
        std::memcpy(target + i * kBytes, place.row + static_cast<size_t>(place.column) * kBytes, kBytes);
    });
}

template <uint32_t kBits>
void nearestPacked(const WarpRun& run, uint8_t* target, size_t count) {
    fetchNearest(run, count, [&](const Place& place, size_t i) {
        target[i] = static_cast<uint8_t>(packedPixel<kBits>(place.row, static_cast<size_t>(place.column)));
    });
}

void nearest12(const WarpRun& run, uint8_t* target, size_t count) {
    fetchNearest(run, count, [&](const Place& place, size_t i) {
        storeAs(target + 4 * i, loadSample<12>(place.row, static_cast<size_t>(place.column)));
    });
}

// Pixels lie half a pixel from their corners, and fractions are rounded to 1/256: of positions in 1/512 an odd rest.
template <typename Format, typename Channel = int32_t>
void blend(const WarpRun& run, uint8_t* target, size_t count) {
    const Format format{};
    forPositions<512>(run, count, [&](int64_t across, int64_t down, size_t i) {
        const int64_t x = (across - 255) >> 1, y = (down - 255) >> 1;
        const Channel weightsAcross[] = {256 - static_cast<Channel>(x & 255), static_cast<Channel>(x & 255)};
        const Channel weightsDown[] = {256 - static_cast<Channel>(y & 255), static_cast<Channel>(y & 255)};
        Channel sums[Format::kChannels];
        std::fill_n(sums, Format::kChannels, Channel{1 << 15});
        for (int n = 0; n < 4; ++n) {
            const Place place(run, (x >> 8) + (n & 1), (y >> 8) + (n >> 1));
            Channel channels[Format::kChannels];
            format.load(place.row, place.column, channels);
            const Channel weight = weightsAcross[n & 1] * weightsDown[n >> 1];
            for (int c = 0; c < Format::kChannels; ++c) sums[c] += weight * channels[c];
        }
        for (Channel& sum : sums) sum >>= 16;
        format.store(target + i * Format::kSpread, sums);
    });
}

}  // namespace

WarpRoutine nearestWarp(uint32_t bits) {
    constexpr WarpRoutine kPacked[] = {nearestPacked<1>, nearestPacked<2>, nearestPacked<3>, nearestPacked<4>,
                                       nearestPacked<5>, nearestPacked<6>, nearestPacked<7>, nearestUnits<1>};
    if (bits <= 8) return kPacked[bits - 1];
    return bits == 12   ? nearest12
           : bits == 16 ? nearestUnits<2>
           : bits == 24 ? nearestUnits<3>
           : bits == 32 ? nearestUnits<4>
           : bits == 48 ? nearestUnits<6>
                        : nearestUnits<8>;
}

WarpRoutine linearWarp(const BitmapHandle& format) {
    const bool gray = hasGraySamples(format);
    switch (format.BitsPerPixel) {
        case 8:
            return blend<Gray8>;
        case 12:
            return blend<Samples<12, false>, int64_t>;
        case 16:
            return gray ? blend<Samples<16, false>, int64_t> : blend<Color555>;
        case 24:
            return blend<Colors<uint8_t, 3>>;
        case 32:
            return gray ? blend<Samples<32, false>, int64_t> : blend<Colors<uint8_t, 4>>;
        case 48:
            return blend<Colors<uint16_t, 3>, uint32_t>;
        case 64:
            return blend<Colors<uint16_t, 4>, uint32_t>;
        default:
            return nullptr;
    }
}

}  // namespace tnk
