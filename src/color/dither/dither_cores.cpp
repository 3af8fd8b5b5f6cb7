#include "color/dither/dither_cores.h"

#include <algorithm>

#include "color/dither/dither_quantisers.h"
#include "kernels/dither/dither_methods.h"

namespace tnk {
namespace {

int32_t clampLevel(int32_t value) { return std::clamp(value, 0, 255); }

template <typename Quantiser>
void ditherNone(DitherRow& row, const PixelPlanes& pixels, int32_t count, uint8_t* indexes) {
    const Quantiser quantise{row.state};
    for (int32_t x = 0; x < count; ++x) {
        indexes[x] = static_cast<uint8_t>(quantise(pixels.red[x], pixels.green[x], pixels.blue[x]));
    }
}

// The sums of one channel, by columns of the block. Each row consumes the first line and leaves it for the next one. The
// cells left of the first column take what falls outside.
struct ErrorSums {
    int32_t* first;
    int32_t* second;
    int32_t* third;

    ErrorSums(const DitherRow& row, uint32_t channel) {
        const DitherState& state = row.state;
        int32_t** const lines[] = {&first, &second, &third};
        for (int32_t i = 0; i < 3; ++i) {
            const int32_t line = std::min(i, state.shape.rows - 1);
            *lines[i] = state.errorRow(static_cast<uint32_t>(line), channel) + state.shape.pad + row.done;
        }
    }

    // What the error at `x`, the newest of its line, completes.
    template <typename Method>
    void spread(int32_t x, const int32_t* error) const {
        const int32_t column = x - Method::kReach;
        int32_t below = Method::below(error);
        if constexpr (Method::kRows >= 2) {
            below += second[column];
            second[column] = Method::below2(error);
        }
        if constexpr (Method::kRows >= 3) {
            second[column] += third[column];
            third[column] = Method::below3(error);
        }
        first[column] = below;
    }
};

// One channel while a block is dithered.
template <typename Method>
class ErrorChannel {
  public:
    ErrorChannel(DitherRow& row, uint32_t channel)
        : sums_(row, channel), errors_(row.errors[channel] + kPastErrors), e1_(errors_[-1]), e2_(errors_[-2]) {}

    // The pixel's level with its carry.
    int32_t level(int32_t x, uint8_t pixel) const {
        return clampLevel(pixel + (sums_.first[x] + Method::ahead(e1_, e2_)) / Method::kDivisor);
    }
    void spread(int32_t x, int32_t error) {
        e2_ = e1_;
        e1_ = errors_[x] = error;
        sums_.template spread<Method>(x, errors_ + x);
    }
    // After the last pixel of the block, and of the row.
    void end(int32_t count, bool row) const {
        if (row) {
            // Set before the loop: where they are set in it, GCC 12 reads one of them too early at -O3.
            std::fill_n(errors_ + count, Method::kReach, 0);
            for (int32_t x = count; x < count + Method::kReach; ++x) sums_.template spread<Method>(x, errors_ + x);
        }
        std::copy_n(errors_ + count - kPastErrors, kPastErrors, errors_ - kPastErrors);
    }

  private:
    ErrorSums sums_;
    int32_t* errors_;
    int32_t e1_;  // the errors of the two pixels before
    int32_t e2_;
};

template <typename Method, typename Quantiser>
void ditherDiffused(DitherRow& row, const PixelPlanes& pixels, int32_t count, uint8_t* indexes) {
    const Quantiser quantise{row.state};
    ErrorChannel<Method> red(row, 0);
    ErrorChannel<Method> green(row, 1);
    ErrorChannel<Method> blue(row, 2);
    for (int32_t x = 0; x < count; ++x) {
        const int32_t r = red.level(x, pixels.red[x]);
        const int32_t g = green.level(x, pixels.green[x]);
        const int32_t b = blue.level(x, pixels.blue[x]);
        const uint32_t index = quantise(r, g, b);
        indexes[x] = static_cast<uint8_t>(index);
        const PaletteEntry chosen = row.state.palette[index];
        red.spread(x, r - chosen.Red);
        green.spread(x, g - chosen.Green);
        blue.spread(x, b - chosen.Blue);
    }
    row.done += count;
    for (auto* channel : {&red, &green, &blue}) channel->end(count, row.done == row.width);
}

// As ditherDiffused where the three channels are one.
template <typename Method, typename Quantiser>
void ditherDiffusedGray(DitherRow& row, const PixelPlanes& pixels, int32_t count, uint8_t* indexes) {
    const Quantiser quantise{row.state};
    ErrorChannel<Method> gray(row, 0);
    for (int32_t x = 0; x < count; ++x) {
        const int32_t level = gray.level(x, pixels.red[x]);
        const uint32_t index = quantise(level, level, level);
        indexes[x] = static_cast<uint8_t>(index);
        gray.spread(x, level - row.state.palette[index].Red);
    }
    row.done += count;
    gray.end(count, row.done == row.width);
}

// Adds the matrix's offset to each channel, then quantises.
template <typename Quantiser>
void ditherOffset(DitherRow& row, const PixelPlanes& pixels, int32_t count, uint8_t* indexes) {
    const Quantiser quantise{row.state};
    for (int32_t x = 0; x < count; ++x) {
        const int32_t offset = row.ordered[x & 7];
        indexes[x] =
            static_cast<uint8_t>(quantise(clampLevel(pixels.red[x] + offset), clampLevel(pixels.green[x] + offset),
                                          clampLevel(pixels.blue[x] + offset)));
    }
}

// KEEP: black and white and the 16 display colours compare with the matrix where the other modes, the 8-colour one too,
// add an offset before they quantise.
void ditherThresholdGray(DitherRow& row, const PixelPlanes& pixels, int32_t count, uint8_t* indexes) {
    for (int32_t x = 0; x < count; ++x) {
        indexes[x] = grayLevel(pixels.red[x], pixels.green[x], pixels.blue[x]) > row.ordered[x & 7];
    }
}

void ditherThresholdDisplay16(DitherRow& row, const PixelPlanes& pixels, int32_t count, uint8_t* indexes) {
    for (int32_t x = 0; x < count; ++x) {
        const int32_t t = row.ordered[x & 7];
        indexes[x] =
            static_cast<uint8_t>(Display16Rule::fromBits(pixels.red[x] > t, pixels.green[x] > t, pixels.blue[x] > t));
    }
}

template <typename Quantiser>
constexpr DitherCore kDiffusing[] = {
    ditherDiffused<FloydSteinberg<int32_t>, Quantiser>, ditherDiffused<Stucki<int32_t>, Quantiser>,
    ditherDiffused<Burkes<int32_t>, Quantiser>,         ditherDiffused<Sierra<int32_t>, Quantiser>,
    ditherDiffused<StevensonArce<int32_t>, Quantiser>,  ditherDiffused<Jarvis<int32_t>, Quantiser>,
};

template <typename Quantiser>
constexpr DitherCore kDiffusingGray[] = {
    ditherDiffusedGray<FloydSteinberg<int32_t>, Quantiser>, ditherDiffusedGray<Stucki<int32_t>, Quantiser>,
    ditherDiffusedGray<Burkes<int32_t>, Quantiser>,         ditherDiffusedGray<Sierra<int32_t>, Quantiser>,
    ditherDiffusedGray<StevensonArce<int32_t>, Quantiser>,  ditherDiffusedGray<Jarvis<int32_t>, Quantiser>,
};

template <typename Quantiser>
DitherCore coreFor(const DitherState& state) {
    if (state.isOrdered()) return ditherOffset<Quantiser>;
    return state.diffuses() ? kDiffusing<Quantiser>[state.method - 1] : ditherNone<Quantiser>;
}

template <typename Quantiser>
DitherCore grayCoreFor(const DitherState& state) {
    return kDiffusingGray<Quantiser>[state.method - 1];
}

}  // namespace

DitherCore chooseDitherCore(const DitherState& state, bool gray) {
    using Mode = MatchMode;
    if (gray && state.diffuses()) {
        switch (state.mode) {
            case Mode::ownTable:
            case Mode::userTable:
                return grayCoreFor<TableQuantiser>(state);
            case Mode::black1White1:
                return grayCoreFor<CalculatingQuantiser<Black1White1Rule>>(state);
            case Mode::gray2:
                return grayCoreFor<CalculatingQuantiser<Gray2Rule>>(state);
            default:
                break;  // coloured palettes
        }
    }
    switch (state.mode) {
        case Mode::ownTable:
        case Mode::userTable:
            return coreFor<TableQuantiser>(state);
        case Mode::black1White1:
            return state.isOrdered() ? ditherThresholdGray : coreFor<CalculatingQuantiser<Black1White1Rule>>(state);
        case Mode::gray2:
            return coreFor<CalculatingQuantiser<Gray2Rule>>(state);
        case Mode::rgb111:
            return coreFor<CalculatingQuantiser<Rgb111Rule>>(state);
        case Mode::display16:
            return state.isOrdered() ? ditherThresholdDisplay16 : coreFor<CalculatingQuantiser<Display16Rule>>(state);
        case Mode::rgb221:
            return coreFor<CalculatingQuantiser<Rgb221Rule>>(state);
        case Mode::rgb222:
            return coreFor<CalculatingQuantiser<Rgb222Rule>>(state);
        case Mode::rgb232:
            return coreFor<CalculatingQuantiser<Rgb232Rule>>(state);
        case Mode::rgb332:
            return coreFor<CalculatingQuantiser<Rgb332Rule>>(state);
        case Mode::web:
            break;
    }
    return coreFor<CalculatingQuantiser<WebRule>>(state);
}

DitherRow::DitherRow(DitherState& run, int32_t pixels) : state(run), width(pixels) {
    if (run.isOrdered()) ordered = run.ordered[run.line++ & 7];
}

}  // namespace tnk
