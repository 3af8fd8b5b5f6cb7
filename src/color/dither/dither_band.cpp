#include "color/dither/dither_band.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <memory>

#include "color/dither/dither_modes.h"
#include "color/dither/dither_pack.h"
#include "kernels/dither/dither_kernels.h"

namespace tnk {
namespace {

// The run's band, made on first use.
DitherBand* bandOf(DitherState& state) {
    if (!state.band && !state.band.allocate(sizeof(DitherBand) + alignof(DitherBand), true)) return nullptr;
    void* place = state.band.data();
    size_t space = state.band.size();
    return static_cast<DitherBand*>(std::align(alignof(DitherBand), sizeof(DitherBand), place, space));
}

// One band on its way through its columns.
class BandRun {
  public:
    BandRun(DitherState& state, DitherBand& band, const ColorFetch& source, const DitherKernels& kernels, int32_t width)
        : state_(state),
          band_(band),
          source_(source),
          kernels_(kernels),
          rows_(kernels.bandRows),
          channels_(source.gray && state.grayErrors ? 1 : kChannels),
          width_(width),
          core_(kernels.bandCore(state.method, quantisingOf(state), channels_ == 1)) {
        if (state.usesTable()) prepareColors(state);
        band_.match = ditherMatchOf(state);
        band_.limit = static_cast<int32_t>(state.count < colorsOf(state) ? state.count : kMaxPaletteEntries);
        band_.width = width;
        for (uint32_t c = 0; c < kChannels; ++c) band_.channel[c] = &band_.pixels[source.gray ? 0 : c];
        std::memset(band_.past, 0, sizeof(band_.past));
    }

    void run(uint8_t* const* input, uint8_t* const* output) {
        const int32_t steps = width_ + behind();
        for (int32_t first = 0; first < steps; first += kBandBlock) {
            const int32_t count = std::min(kBandBlock, steps - first);
            const bool last = first + count == steps;
            fetch(input, first);
            takeSums(first);
            core_.run(band_, first, (count + kBandTile - 1) / kBandTile);
            giveSums(first);
            pack(output, first - kBandBehind, last ? width_ : first + kBandBlock - kBandBehind);
        }
    }

  private:
    // Columns that the sums the last row leaves are behind the first row.
    int32_t behind() const { return core_.lag * (rows_ - 1) + core_.reach; }

    // Brings columns first .. first + kBandBlock - 1 in; the end of the block before moves to the front.
    void fetch(uint8_t* const* input, int32_t first) {
        const int32_t count = std::clamp(width_ - first, 0, kBandBlock);
        for (int32_t row = 0; row < rows_; ++row) {
            for (uint32_t c = 0; c < (source_.gray ? 1 : kChannels); ++c) {
                uint8_t* const line = band_.pixels[c][row];
                std::memcpy(line, line + kBandBlock, kBandBehind);
            }
            std::memcpy(band_.indexes[row], band_.indexes[row] + kBandBlock, kBandBehind);
            if (count == 0) continue;
            const ColorPlanes planes{band_.pixels[0][row] + kBandBehind, band_.pixels[1][row] + kBandBehind,
                                     band_.pixels[2][row] + kBandBehind};
            source_.fetch(source_, input[row] + source_.offsetOf(first), count, planes);
        }
    }

    int32_t* sums(int32_t row, uint32_t channel) const {
        return state_.errorRow(static_cast<uint32_t>(row), channel) + state_.shape.pad;
    }

    // Calls `move` for each place of a block that stands for a column; place 0 stands for `column`.
    template <typename Move>
    void forColumns(int32_t column, Move move) const {
        const int32_t end = std::min(kBandBlock, width_ - column);
        for (int32_t at = std::max(0, -column); at < end; ++at) move(at, column + at);
    }

    void takeSums(int32_t first) {
        const int32_t later =
            first - core_.reach;  // the sums for the rows after meet those that the first row completes
        for (uint32_t c = 0; c < channels_; ++c) {
            BandSums& in = band_.incoming[c];
            const int32_t* const next = sums(0, c);
            if (core_.rows == 3) {
                forColumns(first, [&](int32_t at, int32_t x) {
                    in.first[at] = static_cast<int16_t>(next[x] >> 1);
                    in.firstRest[at] = static_cast<int16_t>(next[x] - (next[x] >> 1));
                });
            } else {
                forColumns(first, [&](int32_t at, int32_t x) { in.first[at] = static_cast<int16_t>(next[x]); });
            }
            int16_t* const others[] = {in.second, in.third};
            for (int32_t row = 1; row < core_.rows; ++row) {
                const int32_t* const from = sums(row, c);
                int16_t* const to = others[row - 1];
                forColumns(later, [&](int32_t at, int32_t x) { to[at] = static_cast<int16_t>(from[x]); });
            }
        }
    }

    void giveSums(int32_t first) {
        const int32_t column = first - behind();
        for (uint32_t c = 0; c < channels_; ++c) {
            const BandSums& out = band_.outgoing[c];
            int32_t* const next = sums(0, c);
            const bool twoParts = core_.rows == 3;
            forColumns(column,
                       [&](int32_t at, int32_t x) { next[x] = out.first[at] + (twoParts ? out.firstRest[at] : 0); });
            const int16_t* const others[] = {out.second, out.third};
            for (int32_t row = 1; row < core_.rows; ++row) {
                int32_t* const to = sums(row, c);
                const int16_t* const from = others[row - 1];
                forColumns(column, [&](int32_t at, int32_t x) { to[x] = from[at]; });
            }
        }
    }

    // The indexes of the block begin at column `begin`; those up to `end` are complete in every row.
    void pack(uint8_t* const* output, int32_t begin, int32_t end) {
        const int32_t first = std::max(begin, 0);
        end = std::min(end, width_);
        if (first >= end) return;
        const size_t offset = static_cast<size_t>(first) / 8 * state_.outputBits;
        for (int32_t row = 0; row < rows_; ++row) {
            packIndexes(&kernels_, band_.indexes[row] + (first - begin), state_.outputBits, end - first,
                        output[row] + offset);
        }
    }

    DitherState& state_;
    DitherBand& band_;
    const ColorFetch& source_;
    const DitherKernels& kernels_;
    const int32_t rows_;
    const uint32_t channels_;
    const int32_t width_;
    const BandCoreChoice core_;
};

}  // namespace

bool ditherBand(const DitherKernels& kernels, DitherState& state, const ColorFetch& source, int32_t width,
                uint8_t* const* input, uint8_t* const* output) {
    assert(width >= 0 && width <= kMaxBandWidth);
    DitherBand* const band = bandOf(state);
    if (band == nullptr) return false;
    BandRun(state, *band, source, kernels, width).run(input, output);
    return true;
}

}  // namespace tnk
