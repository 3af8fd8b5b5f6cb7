#include "color/dither_cores.h"

#include <algorithm>

#include "color/dither_quantisers.h"

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

template <typename Method>
void spreadError(DitherChannel& channel, int32_t err) {
    Method::spread(channel, err);
    ++channel.e0;
    ++channel.e1;
    ++channel.e2;
}

template <typename Method, typename Quantiser>
void ditherDiffused(DitherRow& row, const PixelPlanes& pixels, int32_t count, uint8_t* indexes) {
    const Quantiser quantise{row.state};
    DitherChannel red = row.channels[0];
    DitherChannel green = row.channels[1];
    DitherChannel blue = row.channels[2];
    for (int32_t x = 0; x < count; ++x) {
        const int32_t r = clampLevel(pixels.red[x] + red.carry);
        const int32_t g = clampLevel(pixels.green[x] + green.carry);
        const int32_t b = clampLevel(pixels.blue[x] + blue.carry);
        const uint32_t index = quantise(r, g, b);
        indexes[x] = static_cast<uint8_t>(index);
        const PaletteEntry& chosen = row.state.palette[index];
        spreadError<Method>(red, r - chosen.Red);
        spreadError<Method>(green, g - chosen.Green);
        spreadError<Method>(blue, b - chosen.Blue);
    }
    row.channels[0] = red;
    row.channels[1] = green;
    row.channels[2] = blue;
}

// As ditherDiffused where the three channels are one.
template <typename Method, typename Quantiser>
void ditherDiffusedGray(DitherRow& row, const PixelPlanes& pixels, int32_t count, uint8_t* indexes) {
    const Quantiser quantise{row.state};
    DitherChannel gray = row.channels[0];
    for (int32_t x = 0; x < count; ++x) {
        const int32_t level = clampLevel(pixels.red[x] + gray.carry);
        const uint32_t index = quantise(level, level, level);
        indexes[x] = static_cast<uint8_t>(index);
        spreadError<Method>(gray, level - row.state.palette[index].Red);
    }
    row.channels[0] = gray;
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

// KEEP: modes of two levels a channel compare with the matrix instead of adding an offset: no clamping, and white can
// stay below the highest threshold's reach only where a level equals it.
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
    ditherDiffused<FloydSteinberg, Quantiser>, ditherDiffused<Stucki, Quantiser>,
    ditherDiffused<Burkes, Quantiser>,         ditherDiffused<Sierra, Quantiser>,
    ditherDiffused<StevensonArce, Quantiser>,  ditherDiffused<Jarvis, Quantiser>,
};

template <typename Quantiser>
constexpr DitherCore kDiffusingGray[] = {
    ditherDiffusedGray<FloydSteinberg, Quantiser>, ditherDiffusedGray<Stucki, Quantiser>,
    ditherDiffusedGray<Burkes, Quantiser>,         ditherDiffusedGray<Sierra, Quantiser>,
    ditherDiffusedGray<StevensonArce, Quantiser>,  ditherDiffusedGray<Jarvis, Quantiser>,
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

using BeginChannel = void (*)(DitherChannel& channel);
constexpr BeginChannel kBeginChannel[] = {FloydSteinberg::begin, Stucki::begin,        Burkes::begin,
                                          Sierra::begin,         StevensonArce::begin, Jarvis::begin};

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

void beginDitherRow(DitherState& state, DitherRow& row) {
    if (state.isOrdered()) {
        row.ordered = state.ordered[state.line & 7];
        ++state.line;
        return;
    }
    if (!state.diffuses()) return;
    const int32_t pad = state.shape.pad;
    const uint32_t channels = state.grayErrors ? 1 : kChannels;
    for (uint32_t i = 0; i < channels; ++i) {
        int32_t* rows[3];
        for (int32_t r = 0; r < 3; ++r) {
            rows[r] = state.errorRow(static_cast<uint32_t>(std::min(r, state.shape.rows - 1)), i);
            std::fill_n(rows[r], pad, 0);  // nothing reads them, but over many rows their sums would overflow
        }
        row.channels[i] = {rows[0] + pad, rows[1] + pad, rows[2] + pad, 0, 0, 0};
        kBeginChannel[state.method - 1](row.channels[i]);
    }
}

}  // namespace tnk
