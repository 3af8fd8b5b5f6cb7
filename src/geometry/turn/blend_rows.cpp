// Turned rows of pixels that are blended from their neighbours.
#include <algorithm>
#include <array>

#include "base/pixel_values.h"
#include "base/sample_rules.h"
#include "geometry/pixel_channels.h"
#include "geometry/turn/turn_rows.h"
#include "kernels/kernels.h"
#include "kernels/turn/blend_kernels.h"
#include "palette/palette.h"

namespace tnk {
namespace {

// ---- filters: weights of the pixels around a position, by its fraction; they add up to 1 << bits ----

template <int32_t kTaps>
using WeightTable = std::array<std::array<int16_t, kTaps>, size_t{1} << kFractionBits>;

struct Linear {
    static constexpr int32_t kTaps = 2, kBefore = 0;

    template <int32_t kBits>
    static constexpr WeightTable<kTaps> table() {
        WeightTable<kTaps> weights{};
        for (int32_t i = 0; i < 1 << kFractionBits; ++i) {
            const auto next = static_cast<int16_t>(i << (kBits - kFractionBits));
            weights[static_cast<size_t>(i)] = {static_cast<int16_t>((1 << kBits) - next), next};
        }
        return weights;
    }
};

// The cubic through the two pixels around the position whose slope at each is half the difference of its neighbours.
struct Bicubic {
    static constexpr int32_t kTaps = 4, kBefore = 1;

    // With t the fraction in 256ths, the weights times 2 are polynomials of t with whole coefficients.
    template <int32_t kBits>
    static constexpr WeightTable<kTaps> table() {
        constexpr int64_t kOne = 1 << kFractionBits;
        const auto scaled = [](int64_t twice) {  // by 2^25, rounded
            constexpr int64_t kUnit = int64_t{1} << (3 * kFractionBits + 1 - kBits);
            return static_cast<int16_t>((twice + kUnit / 2) >> (3 * kFractionBits + 1 - kBits));
        };
        WeightTable<kTaps> weights{};
        for (int64_t t = 0; t < kOne; ++t) {
            const int64_t square = t * t * kOne, cube = t * t * t;
            auto& row = weights[static_cast<size_t>(t)];
            row[0] = scaled(-cube + 2 * square - t * kOne * kOne);
            row[2] = scaled(-3 * cube + 4 * square + t * kOne * kOne);
            row[3] = scaled(cube - square);
            row[1] = static_cast<int16_t>((1 << kBits) - row[0] - row[2] - row[3]);
        }
        return weights;
    }
};

// ---- rows ----

template <typename Format, typename Filter, typename Channel>
class Blend {
  public:
    Blend(const TurnStretch& stretch, uint8_t* target) : stretch_(stretch), target_(target) {
        format_.loadSpread(stretch.fill, fill_);
    }

    template <bool kInner>
    void run(int32_t first, int32_t end) const {
        for (int32_t i = first; i < end; ++i) blend<kInner>(i);
    }

  private:
    // The sums of 8-bit pixels fit 32 bits with weights of 11: the positive ones of a bicubic add up to 1.27.
    using Sum = std::conditional_t<Format::kWide, int64_t, int32_t>;
    static constexpr int32_t kBits = Format::kWide ? 14 : 11;
    static constexpr WeightTable<Filter::kTaps> kWeights = Filter::template table<kBits>();

    template <bool kInner>
    void blend(int32_t index) const {
        const int64_t x = (stretch_.start.x + index * stretch_.step.x - kHalfPixel) >> kBlendShift;
        const int64_t y = (stretch_.start.y + index * stretch_.step.y - kHalfPixel) >> kBlendShift;
        constexpr int64_t kFraction = (1 << kFractionBits) - 1;
        const auto& across = kWeights[static_cast<size_t>(x & kFraction)];
        const auto& down = kWeights[static_cast<size_t>(y & kFraction)];
        Sum sums[Format::kChannels]{};
        for (int32_t j = 0; j < Filter::kTaps; ++j) {
            const int64_t row = (y >> kFractionBits) + j - Filter::kBefore;
            Sum line[Format::kChannels]{};
            for (int32_t i = 0; i < Filter::kTaps; ++i) {
                Channel channels[Format::kChannels];
                load<kInner>((x >> kFractionBits) + i - Filter::kBefore, row, channels);
                for (int32_t c = 0; c < Format::kChannels; ++c) line[c] += across[size_t(i)] * channels[c];
            }
            for (int32_t c = 0; c < Format::kChannels; ++c) sums[c] += down[size_t(j)] * line[c];
        }
        Channel blended[Format::kChannels];
        for (int32_t c = 0; c < Format::kChannels; ++c) {
            const Sum rounded = (sums[c] + (Sum{1} << (2 * kBits - 1))) >> 2 * kBits;
            blended[c] = static_cast<Channel>(std::clamp<Sum>(rounded, 0, static_cast<Sum>(Format::kMost[c])));
        }
        format_.store(target_ + static_cast<size_t>(index) * Format::kSpread, blended);
    }

    template <bool kInner>
    void load(int64_t column, int64_t row, Channel (&channels)[Format::kChannels]) const {
        const bool inside = kInner || (column >= stretch_.left && column < stretch_.right && row >= stretch_.top &&
                                       row < stretch_.bottom);
        if (inside) {
            format_.load(stretch_.pixels + static_cast<ptrdiff_t>(row) * stretch_.stride, column, channels);
        } else {
            std::copy_n(fill_, Format::kChannels, channels);
        }
    }

    const TurnStretch& stretch_;
    uint8_t* target_;
    Format format_;
    Channel fill_[Format::kChannels];
};

template <typename Format, typename Filter, typename Channel = int32_t>
void blendRow(const TurnStretch& stretch, uint8_t* target) {
    const Blend<Format, Filter, Channel> blend(stretch, target);
    blend.template run<false>(stretch.covered.first, stretch.inner.first);
    blend.template run<true>(stretch.inner.first, stretch.inner.end);
    blend.template run<false>(stretch.inner.end, stretch.covered.end);
}

// Levels have no use for channels in a loop: the same sums, with weights that add up to 256.
void blendLevels(const TurnStretch& stretch, uint8_t* target) {
    const Blend<Gray8, Linear, int32_t> blend(stretch, target);
    const auto [first, end] = stretch.inner;
    blend.run<false>(stretch.covered.first, first);
    int64_t x = stretch.start.x + first * stretch.step.x - kHalfPixel;
    int64_t y = stretch.start.y + first * stretch.step.y - kHalfPixel;
    for (int32_t i = first; i < end; ++i) {
        const auto across = static_cast<uint32_t>(x >> kBlendShift) & 255;
        const auto down = static_cast<uint32_t>(y >> kBlendShift) & 255;
        const uint8_t* const upper = stretch.pixels + static_cast<ptrdiff_t>(y >> kStepBits) * stretch.stride +
                                     static_cast<ptrdiff_t>(x >> kStepBits);
        const uint8_t* const lower = upper + stretch.stride;
        const uint32_t above = upper[0] * (256 - across) + upper[1] * across;
        const uint32_t below = lower[0] * (256 - across) + lower[1] * across;
        target[i] = static_cast<uint8_t>((above * (256 - down) + below * down + (1u << 15)) >> 16);
        x += stretch.step.x;
        y += stretch.step.y;
    }
    blend.run<false>(end, stretch.covered.end);
}

#if defined(__x86_64__) || defined(__i386__)
// The inner pixels by vectors. These read 8 bytes a pixel: of 3 bytes the next but one must be there too.
template <int32_t kBytes>
void blendColors(const TurnStretch& stretch, uint8_t* target) {
    const Blend<Colors<uint8_t, kBytes>, Linear, int32_t> blend(stretch, target);
    const PixelSpan inner = spanWithin(stretch.inner, stretch.start.x - kHalfPixel, stretch.step.x,
                                       stretch.left * kStep, (stretch.right - 2) * kStep);
    blend.template run<false>(stretch.covered.first, inner.first);
    const LinearStretch positions = {.pixels = stretch.pixels,
                                     .stride = stretch.stride,
                                     .x = stretch.start.x + inner.first * stretch.step.x - kHalfPixel,
                                     .y = stretch.start.y + inner.first * stretch.step.y - kHalfPixel,
                                     .stepX = stretch.step.x,
                                     .stepY = stretch.step.y};
    const auto run = kBytes == 3 ? blendThreeSsse3 : blendFourSsse3;
    run(positions, target + static_cast<size_t>(inner.first) * kBytes, inner.end - inner.first);
    blend.template run<false>(inner.end, stretch.covered.end);
}
#endif

template <typename Filter, int32_t kBytes>
TurnRoutine colorRoutine() {
#if defined(__x86_64__) || defined(__i386__)
    if (Filter::kTaps == 2 && instructionSet() >= InstructionSet::ssse3) return blendColors<kBytes>;
#endif
    return blendRow<Colors<uint8_t, kBytes>, Filter>;
}

template <typename Filter, int32_t kBits>
TurnRoutine sampleRoutine(const BitmapHandle& bitmap) {
    return (bitmap.Flags & BMF_SIGNED) != 0 ? blendRow<Samples<kBits, true>, Filter, int64_t>
                                            : blendRow<Samples<kBits, false>, Filter, int64_t>;
}

bool isGrayRamp(const BitmapHandle& bitmap) {
    if (paletteLength(bitmap) != kMaxPaletteEntries) return false;
    const int32_t scale = classifyPalette(bitmap.Palette, kMaxPaletteEntries);
    return scale == GRAYSCALE_NORMAL || scale == GRAYSCALE_INVERTED;
}

template <typename Filter>
TurnRoutine routineFor(const BitmapHandle& bitmap) {
    switch (bitmap.BitsPerPixel) {
        case 8:
            if (!isGrayRamp(bitmap)) return nullptr;
            return Filter::kTaps == 2 ? blendLevels : blendRow<Gray8, Filter>;
        case 12:
            return sampleRoutine<Filter, 12>(bitmap);
        case 16:
            return hasGraySamples(bitmap) ? sampleRoutine<Filter, 16>(bitmap) : blendRow<Color555, Filter>;
        case 24:
            return colorRoutine<Filter, 3>();
        case 32:
            return hasGraySamples(bitmap) ? sampleRoutine<Filter, 32>(bitmap) : colorRoutine<Filter, 4>();
        case 48:
            return blendRow<Colors<uint16_t, 3>, Filter>;
        case 64:
            return blendRow<Colors<uint16_t, 4>, Filter>;
        default:
            return nullptr;
    }
}

}  // namespace

TurnRoutine blendRoutine(const BitmapHandle& bitmap, TurnFilter filter) {
    return filter == TurnFilter::linear ? routineFor<Linear>(bitmap) : routineFor<Bicubic>(bitmap);
}

}  // namespace tnk
