// The core of a band of error diffusion, for the files of each instruction set to include. `Lanes` gives the vector: the
// last row of the band lies in its first lane, so that sums go down a row by moving one lane down, and whole vectors can
// be stored where only the first lane counts: the next store overwrites the others.
#pragma once

#include <cstdint>

#include "kernels/dither/dither_kernels.h"
#include "kernels/dither/dither_methods.h"
#include "kernels/dither/dither_quantise.h"

namespace tnk {

// Nothing here may have external linkage: the linker would keep one instruction set's copy for all.
namespace {

// s / divisor toward zero is (s * multiplier) >> (16 + shift), plus 1 below zero. Both sides only rise with s, so it holds
// up to a limit when it holds at both ends of each quotient.
struct Reciprocal {
    int32_t divisor;
    int32_t multiplier;
    int32_t shift;

    constexpr int32_t apply(int32_t s) const { return (s * multiplier >> (16 + shift)) + (s < 0 ? 1 : 0); }
    constexpr bool holdsTo(int32_t limit) const {
        for (int32_t s = 0; s <= limit + divisor; s += divisor) {
            const int32_t last = s + divisor - 1;
            if (apply(s) != s / divisor || apply(last) != s / divisor) return false;
            if (apply(-s) != -s / divisor || apply(-last) != -last / divisor) return false;
        }
        return true;
    }
};

template <int32_t Divisor>
constexpr Reciprocal kReciprocal{};
template <>
constexpr Reciprocal kReciprocal<42>{42, 24'967, 4};
template <>
constexpr Reciprocal kReciprocal<48>{48, 21'846, 4};
template <>
constexpr Reciprocal kReciprocal<100>{100, 20'972, 5};

// Sums reach 255 times the divisor to either side.
template <typename Lanes, int32_t Divisor>
typename Lanes::V divide(typename Lanes::V sum) {
    if constexpr (Divisor == 16) {
        return Lanes::template divideByPower<4>(sum);
    } else if constexpr (Divisor == 32) {
        return Lanes::template divideByPower<5>(sum);
    } else {
        static_assert(kReciprocal<Divisor>.divisor == Divisor && kReciprocal<Divisor>.holdsTo(255 * Divisor));
        return Lanes::divide(sum, kReciprocal<Divisor>);
    }
}

// (sum + rest) / Divisor where the two together do not fit 16 bits: half of it, and the odd unit where it brings a negative
// sum nearer to zero, divided by half the divisor.
template <typename Lanes, int32_t Divisor>
typename Lanes::V divideParts(typename Lanes::V sum, typename Lanes::V rest) {
    const auto half = (sum & rest) + ((sum ^ rest) >> 1);
    const auto odd = (sum ^ rest) & 1;
    return divide<Lanes, Divisor / 2>(half + (odd & (half >> 15)));
}

// Interleaves the first half of the vectors with the second, `times` times. Seen as one run of bytes, row and column
// trade places when that is done as often as rows (or, on the way back, columns) are powers of two.
template <int32_t Rows, int32_t Times, typename Bytes>
void interleave(Bytes (&vectors)[Rows]) {
    for (int32_t time = 0; time < Times; ++time) {
        Bytes next[Rows];
        for (int32_t i = 0; i < Rows / 2; ++i) {
            next[2 * i] = Bytes::low(vectors[i], vectors[i + Rows / 2]);
            next[2 * i + 1] = Bytes::high(vectors[i], vectors[i + Rows / 2]);
        }
        for (int32_t i = 0; i < Rows; ++i) vectors[i] = next[i];
    }
}

template <typename Lanes>
struct Transposer {
    static constexpr int32_t kRows = Lanes::kLanes;
    static constexpr int32_t kRowPowers = kRows == 16 ? 4 : 3;
    using Bytes = typename Lanes::Bytes;
    // A vector of bytes has as many columns of a row, in lots of 16 that are transposed side by side.
    static constexpr int32_t kColumns = Bytes::kBytes;
    static constexpr int32_t kApart = 16 * kRows;  // what 16 steps take
    static_assert(kBandTile % kColumns == 0);

    // From lines, of which each begins `lag` bytes before the one above, to a vector of rows for each step.
    static void toSteps(const DitherBand::Lines& lines, int32_t column, int32_t lag,
                        uint8_t (&steps)[kBandTile * kRows]) {
        for (int32_t first = 0; first < kBandTile; first += kColumns) {
            Bytes vectors[kRows];
            for (int32_t i = 0; i < kRows; ++i) {
                const int32_t row = kRows - 1 - i;
                vectors[i] = Bytes::load(lines[row] + column + first - lag * row);
            }
            interleave<kRows, kRowPowers>(vectors);
            for (int32_t i = 0; i < kRows; ++i) vectors[i].store(steps + first * kRows + 16 * i, kApart);
        }
    }

    static void toLines(const uint8_t (&steps)[kBandTile * kRows], DitherBand::Lines& lines, int32_t column,
                        int32_t lag) {
        for (int32_t first = 0; first < kBandTile; first += kColumns) {
            Bytes vectors[kRows];
            for (int32_t i = 0; i < kRows; ++i) vectors[i] = Bytes::load(steps + first * kRows + 16 * i, kApart);
            interleave<kRows, 4>(vectors);
            for (int32_t i = 0; i < kRows; ++i) {
                const int32_t row = kRows - 1 - i;
                vectors[i].store(lines[row] + column + first - lag * row);
            }
        }
    }
};

// Which rows have a pixel at each step of a tile. `all`: whether the masks say all, before and after.
template <typename Lanes>
void maskTile(int32_t firstStep, int32_t lag, int32_t width, typename Lanes::V (&masks)[kBandTile], bool& all) {
    const bool inside = firstStep >= lag * (Lanes::kLanes - 1) && firstStep + kBandTile <= width;
    if (inside && all) return;
    all = inside;
    if (inside) {
        for (auto& mask : masks) mask = Lanes::all(-1);
        return;
    }
    for (int32_t i = 0; i < kBandTile; ++i) {
        alignas(32) int16_t lanes[Lanes::kLanes];
        for (int32_t row = 0; row < Lanes::kLanes; ++row) {
            const int32_t x = firstStep + i - lag * row;
            lanes[Lanes::kLanes - 1 - row] = static_cast<int16_t>(x >= 0 && x < width ? -1 : 0);
        }
        masks[i] = Lanes::load(lanes);
    }
}

constexpr int32_t kPast = kPastErrors;

// The last `Count` vectors of a line become those before its first.
template <int32_t Count, typename V>
void rollBack(V* line) {
    static_assert(Count <= kPast);
    for (int32_t i = kPast - Count; i < kPast; ++i) line[i] = line[kBandTile + i];
}

template <typename Lanes, template <typename> typename MethodOf, typename Quantiser, int32_t Channels>
class BandCore {
    using V = typename Lanes::V;
    using Method = MethodOf<V>;
    // Sums are complete `reach` columns behind the errors. The row below takes them in two steps later: one would do, but
    // then the move from lane to lane would be part of the feedback that every step waits for.
    static constexpr int32_t kSince = 2;
    static constexpr int32_t kLag = Method::kReach + kSince;
    // Sums of 200 * 255 do not fit 16 bits. So they stay in two parts: what the row above gave with what the row itself
    // adds, 116 * 255 at most, and what the two rows before gave, 84 * 255.
    static constexpr bool kTwoParts = Method::kDivisor == 200;
    static_assert(kLag * (kBandRows - 1) <= kBandBehind && 2 * Method::kReach < kPast && kLag < kPast);

    static constexpr int32_t kErrorsKept = Method::kReach > 1 ? 2 * Method::kReach : 2;

    // Lines of vectors, one for each step, of a channel. At the end of a tile the last few become the first.
    struct Lines {
        V errors[kPast + kBandTile];
        V first[kPast + kBandTile];   // sums for the row below
        V rest[kPast + kBandTile];    // kTwoParts: what comes to them from further above
        V second[kPast + kBandTile];  // sums for the row after
        V third[kPast + kBandTile];
    };
    static_assert(sizeof(Lines) <= kBandPastBytes);

    // The carry of each row's pixel: sums come to the first row from outside and to the others from the row above.
    // e1 and e2 are the errors of the two pixels before.
    static V carry(const Lines& lines, const BandSums& in, int32_t at, int32_t i, V e1, V e2) {
        const V sum = Lanes::shiftDown(lines.first[i - kSince], in.first + at) + Method::ahead(e1, e2);
        if constexpr (kTwoParts) {
            return divideParts<Lanes, Method::kDivisor>(sum,
                                                        Lanes::shiftDown(lines.rest[i - kSince], in.firstRest + at));
        } else {
            return divide<Lanes, Method::kDivisor>(sum);
        }
    }

    // The sums that this step completes. What goes two or three rows down waits for the row between.
    static void spread(Lines& lines, const BandSums& in, BandSums& out, int32_t at, int32_t i) {
        const V* const errors = lines.errors + i;
        V first = Method::below(errors);
        if constexpr (Method::kRows >= 2) {
            const V older = Lanes::shiftDown(lines.second[i - kLag], in.second + at);
            V second = Method::below2(errors);
            if constexpr (Method::kRows == 3) {
                second += Lanes::shiftDown(lines.third[i - kLag], in.third + at);
                lines.third[i] = Method::below3(errors);
                Lanes::store(out.third + at, lines.third[i]);
            }
            lines.second[i] = second;
            Lanes::store(out.second + at, second);
            if constexpr (kTwoParts) {
                lines.rest[i] = older;
                Lanes::store(out.firstRest + at, older);
            } else {
                first += older;
            }
        }
        lines.first[i] = first;
        Lanes::store(out.first + at, first);
    }

  public:
    static BandCoreChoice choice() { return {run, kLag, Method::kReach, Method::kRows}; }

    static void run(DitherBand& band, int32_t firstStep, int32_t tiles) {
        const Quantiser quantise(band.match);
        const V limit = Lanes::all(static_cast<int16_t>(band.limit));
        const bool limited = band.limit < 256;
        Lines* lines[Channels];
        V e1[Channels];
        V e2[Channels];
        for (int32_t c = 0; c < Channels; ++c) {
            lines[c] = reinterpret_cast<Lines*>(band.past[c]);
            e1[c] = lines[c]->errors[kPast - 1];
            e2[c] = lines[c]->errors[kPast - 2];
        }
        alignas(32) uint8_t pixels[Channels][kBandTile * Lanes::kLanes];
        alignas(32) uint8_t indexes[kBandTile * Lanes::kLanes];
        V masks[kBandTile];
        bool masksAll = false;
        for (int32_t tile = 0; tile < tiles; ++tile) {
            const int32_t column = tile * kBandTile;
            maskTile<Lanes>(firstStep + column, kLag, band.width, masks, masksAll);
            for (int32_t c = 0; c < Channels; ++c) {
                Transposer<Lanes>::toSteps(*band.channel[c], kBandBehind + column, kLag, pixels[c]);
            }
            for (int32_t step = 0; step < kBandTile; ++step) {
                const int32_t i = kPast + step;
                // Pixels outside count as black where that means no error, which comes earlier than the mask of errors.
                const V most = Quantiser::kKeepsBlack ? masks[step] & 255 : Lanes::all(255);
                V before[Channels];
                V level[Channels];
                for (int32_t c = 0; c < Channels; ++c) {
                    const V pixel = Lanes::widen(pixels[c] + step * Lanes::kLanes);
                    const V moved = pixel + carry(*lines[c], band.incoming[c], column + step, i, e1[c], e2[c]);
                    before[c] = level[c] = Lanes::clamp(moved, most);
                }
                const V index = quantise(level, masks[step]);
                if (limited) {
                    for (V& channel : level) channel &= index < limit;
                }
                Lanes::narrow(indexes + step * Lanes::kLanes, index);
                for (int32_t c = 0; c < Channels; ++c) {
                    e2[c] = e1[c];
                    e1[c] = before[c] - level[c];
                    if constexpr (!Quantiser::kKeepsBlack) e1[c] &= masks[step];
                    lines[c]->errors[i] = e1[c];
                    spread(*lines[c], band.incoming[c], band.outgoing[c], column + step, i);
                }
            }
            Transposer<Lanes>::toLines(indexes, band.indexes, kBandBehind + column, kLag);
            for (int32_t c = 0; c < Channels; ++c) {
                rollBack<kErrorsKept>(lines[c]->errors);
                rollBack<kSince>(lines[c]->first);
                if constexpr (kTwoParts) rollBack<kSince>(lines[c]->rest);
                if constexpr (Method::kRows >= 2) rollBack<kLag>(lines[c]->second);
                if constexpr (Method::kRows == 3) rollBack<kLag>(lines[c]->third);
            }
        }
    }
};

template <typename Lanes, typename Quantiser, int32_t Channels>
BandCoreChoice bandCoreOf(uint32_t method) {
    switch (method) {
        case DITHER_FLOYD_STEINBERG:
            return BandCore<Lanes, FloydSteinberg, Quantiser, Channels>::choice();
        case DITHER_STUCKI:
            return BandCore<Lanes, Stucki, Quantiser, Channels>::choice();
        case DITHER_BURKES:
            return BandCore<Lanes, Burkes, Quantiser, Channels>::choice();
        case DITHER_SIERRA:
            return BandCore<Lanes, Sierra, Quantiser, Channels>::choice();
        case DITHER_STEVENSON_ARCE:
            return BandCore<Lanes, StevensonArce, Quantiser, Channels>::choice();
        case DITHER_JARVIS:
            return BandCore<Lanes, Jarvis, Quantiser, Channels>::choice();
        default:
            return {};
    }
}

template <typename Lanes, int32_t Channels>
BandCoreChoice bandCoreOf(uint32_t method, Quantising quantising) {
    switch (quantising) {
        case Quantising::table:
            return bandCoreOf<Lanes, TableQuantiser<Lanes, Channels>, Channels>(method);
        case Quantising::gray:
            return bandCoreOf<Lanes, GrayQuantiser<Lanes, Channels>, Channels>(method);
        case Quantising::upperBits:
            if constexpr (Lanes::kShuffles && Channels == 3) {
                return bandCoreOf<Lanes, LevelQuantiser<Lanes, 3, true>, 3>(method);
            }
            break;
        default:
            break;
    }
    if constexpr (Channels == 1) return {};  // coloured palettes
    return bandCoreOf<Lanes, LevelQuantiser<Lanes, 3, false>, 3>(method);
}

template <typename Lanes>
BandCoreChoice chooseBandCore(uint32_t method, Quantising quantising, bool gray) {
    return gray ? bandCoreOf<Lanes, 1>(method, quantising) : bandCoreOf<Lanes, 3>(method, quantising);
}

}  // namespace
}  // namespace tnk
