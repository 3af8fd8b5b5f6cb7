#include "geometry/combine/warp_fetch.h"

#include <algorithm>
#include <cstring>

#include "base/sample_rules.h"
#include "geometry/pixel_channels.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tnk {
namespace {

// floor((start + i * step) * scale / depth), pixel by pixel without a division: quotients and remainders add up.
class EvenRatio {
  public:
    EvenRatio(int64_t start, int64_t step, uint32_t scale, int64_t depth) : depth_(depth) {
        const double inverse = 1.0 / static_cast<double>(depth);
        ratio_ = floorRatio(start, scale, depth, inverse);
        rest_ = restOf(start, scale, ratio_);
        ratioStep_ = floorRatio(step, scale, depth, inverse);
        restStep_ = restOf(step, scale, ratioStep_);
    }
    int64_t next() {
        const int64_t now = ratio_;
        rest_ += restStep_;
        const bool carries = rest_ >= depth_;
        ratio_ += ratioStep_ + carries;
        rest_ -= carries ? depth_ : 0;
        return now;
    }

  private:
    int64_t restOf(int64_t number, uint32_t scale, int64_t ratio) const {
        return static_cast<int64_t>(static_cast<uint64_t>(number) * scale -
                                    static_cast<uint64_t>(ratio) * static_cast<uint64_t>(depth_));
    }

    int64_t depth_;
    int64_t ratio_, rest_;
    int64_t ratioStep_, restStep_;
};

// Calls pixel(x, y, i) with positions in 1 / kScale of a pixel from the source's first corner.
template <uint32_t kScale, typename Pixel>
void forPositions(const WarpRun& run, size_t count, Pixel pixel) {
    if (run.depthStep == 0) {
        EvenRatio x(run.across, run.acrossStep, kScale, run.depth), y(run.down, run.downStep, kScale, run.depth);
        for (size_t i = 0; i < count; ++i) pixel(x.next(), y.next(), i);
        return;
    }
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

// The pixels around a position, one along each axis of the seen picture: the same one twice beyond its ends.
struct Neighbours {
    int64_t at;
    int64_t step;  // to the other one
    Neighbours(int64_t position, int32_t low, int32_t end)
        : at(std::clamp<int64_t>(position, low, end - 1)), step(position >= low && position + 1 < end ? 1 : 0) {}
};

// The position between the four pixels, in 1/256.
struct Fractions {
    int32_t right;
    int32_t below;
};

template <typename Format, typename Channel>
struct Corner {
    Channel channels[Format::kChannels];
};

// Calls blend(columns, rows, fractions, i). Pixels lie half a pixel from their corners, and fractions are rounded to 1/256: of
// positions in 1/512 an odd rest.
template <typename Blend>
void forNeighbours(const WarpRun& run, size_t count, Blend blend) {
    forPositions<512>(run, count, [&](int64_t across, int64_t down, size_t i) {
        const int64_t x = (across - 255) >> 1, y = (down - 255) >> 1;
        blend(Neighbours(run.x + (x >> 8), run.left, run.right), Neighbours(run.y + (y >> 8), run.top, run.bottom),
              Fractions{static_cast<int32_t>(x & 255), static_cast<int32_t>(y & 255)}, i);
    });
}

template <typename Format, typename Channel>
void blendCorners(const Corner<Format, Channel> (&corners)[4], const Fractions& fractions, uint8_t* pixel) {
    const auto right = static_cast<Channel>(fractions.right), below = static_cast<Channel>(fractions.below);
    Channel blended[Format::kChannels];
    for (int c = 0; c < Format::kChannels; ++c) {
        const Channel upper = corners[0].channels[c] * (256 - right) + corners[1].channels[c] * right;
        const Channel lower = corners[2].channels[c] * (256 - right) + corners[3].channels[c] * right;
        blended[c] = (upper * (256 - below) + lower * below + (1 << 15)) >> 16;
    }
    Format{}.store(pixel, blended);
}

// Pixels of whole bytes: their addresses go by even steps, from one that may be nowhere in the part at hand.
struct EvenSteps {
    EvenSteps(const WarpRun& run, int64_t bytes)
        : pixels(run.pixels),
          origin(run.stored.y * int64_t{run.stride} + run.stored.x * bytes),
          across(run.stored.xAcross * bytes + run.stored.yAcross * run.stride),
          down(run.stored.xDown * bytes + run.stored.yDown * run.stride) {}
    const uint8_t* at(const Neighbours& x, const Neighbours& y) const {
        return pixels + static_cast<ptrdiff_t>(origin + x.at * across + y.at * down);
    }
    const uint8_t* pixels;
    int64_t origin;
    int64_t across;
    int64_t down;
};

template <typename Format, typename Channel = int32_t>
void blend(const WarpRun& run, uint8_t* target, size_t count) {
    const EvenSteps steps(run, Format::kSpread);
    forNeighbours(run, count, [&](const Neighbours& x, const Neighbours& y, const Fractions& fractions, size_t i) {
        const uint8_t* const pixel = steps.at(x, y);
        const ptrdiff_t right = static_cast<ptrdiff_t>(x.step * steps.across);
        const ptrdiff_t below = static_cast<ptrdiff_t>(y.step * steps.down);
        Corner<Format, Channel> corners[4];
        Format{}.loadSpread(pixel, corners[0].channels);
        Format{}.loadSpread(pixel + right, corners[1].channels);
        Format{}.loadSpread(pixel + below, corners[2].channels);
        Format{}.loadSpread(pixel + right + below, corners[3].channels);
        blendCorners(corners, fractions, target + i * Format::kSpread);
    });
}

#if defined(__SSE2__)

template <int32_t kBytes>
__m128i loadWords(const uint8_t* pixel) {
    const uint32_t bytes = kBytes == 4 ? load32(pixel) : load16(pixel) | uint32_t{pixel[2]} << 16;
    return _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(bytes)), _mm_setzero_si128());
}

// The same for bytes, all channels of a pixel at once. Words between two pixels reach 255 * 256 and are multiplied as
// signed ones: half of the range is taken off before and added again.
template <int32_t kBytes>
void blendBytes(const WarpRun& run, uint8_t* target, size_t count) {
    const EvenSteps steps(run, kBytes);
    const __m128i half = _mm_set1_epi16(INT16_MIN), more = _mm_set1_epi32((1 << 23) + (1 << 15));
    forNeighbours(run, count, [&](const Neighbours& x, const Neighbours& y, const Fractions& fractions, size_t i) {
        const uint8_t* const pixel = steps.at(x, y);
        const ptrdiff_t right = static_cast<ptrdiff_t>(x.step * steps.across);
        const ptrdiff_t below = static_cast<ptrdiff_t>(y.step * steps.down);
        const __m128i second = _mm_set1_epi16(static_cast<int16_t>(fractions.right));
        const __m128i first = _mm_sub_epi16(_mm_set1_epi16(256), second);
        const auto between = [&](const uint8_t* from) {
            const __m128i sum = _mm_add_epi16(_mm_mullo_epi16(loadWords<kBytes>(from), first),
                                              _mm_mullo_epi16(loadWords<kBytes>(from + right), second));
            return _mm_add_epi16(sum, half);
        };
        const __m128i pairs = _mm_unpacklo_epi16(between(pixel), between(pixel + below));
        const __m128i weights = _mm_set1_epi32(fractions.below << 16 | (256 - fractions.below));
        const __m128i sums = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(pairs, weights), more), 16);
        const __m128i words = _mm_packs_epi32(sums, sums);
        const auto bytes = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
        std::memcpy(target + i * kBytes, &bytes, kBytes);
    });
}

#else

template <int32_t kBytes>
void blendBytes(const WarpRun& run, uint8_t* target, size_t count) {
    blend<Colors<uint8_t, kBytes> >(run, target, count);
}

#endif

void blend12(const WarpRun& run, uint8_t* target, size_t count) {
    using Format = Samples<12, false>;
    forNeighbours(run, count, [&](const Neighbours& x, const Neighbours& y, const Fractions& fractions, size_t i) {
        Corner<Format, int64_t> corners[4];
        for (int n = 0; n < 4; ++n) {
            const Place place(run, x.at + (n & 1) * x.step - run.x, y.at + (n >> 1) * y.step - run.y);
            Format{}.load(place.row, place.column, corners[n].channels);
        }
        blendCorners(corners, fractions, target + i * Format::kSpread);
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
            return blend12;
        case 16:
            return gray ? blend<Samples<16, false>, int64_t> : blend<Color555>;
        case 24:
            return blendBytes<3>;
        case 32:
            return gray ? blend<Samples<32, false>, int64_t> : blendBytes<4>;
        case 48:
            return blend<Colors<uint16_t, 3>, uint32_t>;
        case 64:
            return blend<Colors<uint16_t, 4>, uint32_t>;
        default:
            return nullptr;
    }
}

}  // namespace tnk
