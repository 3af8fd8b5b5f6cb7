// The cores of rows without error diffusion, for the files of each instruction set to include with their `Lanes`: a vector
// takes neighbouring pixels of a row.
#pragma once

#include <cstdint>

#include "kernels/dither/dither_kernels.h"
#include "kernels/dither/dither_quantise.h"

namespace tnk {
namespace {

// Matching moves the levels by the offsets first.
template <typename Lanes, typename Quantiser, int32_t Channels>
struct MovedLevels {
    using V = typename Lanes::V;
    explicit MovedLevels(const DitherMatch& match) : quantise(match) {}
    V operator()(V (&level)[Channels], V offset, V mask) const {
        for (V& channel : level) channel = Lanes::clamp(channel + offset, Lanes::all(255));
        return quantise(level, mask);
    }
    Quantiser quantise;
};

template <typename Lanes, int32_t Channels>
struct GrayThreshold {
    using V = typename Lanes::V;
    explicit GrayThreshold(const DitherMatch&) {}
    V operator()(V (&level)[Channels], V threshold, V) const { return (grayOf(level) > threshold) & 1; }
};

// As the display's 16 colours count them: red is bit 0, and all but black are bright.
template <typename Lanes, int32_t Channels>
struct ChannelThreshold {
    using V = typename Lanes::V;
    explicit ChannelThreshold(const DitherMatch&) {}
    V operator()(V (&level)[Channels], V threshold, V) const {
        const V bits = ((level[0] > threshold) & 1) + ((level[1] > threshold) & 2) + ((level[2] > threshold) & 4);
        return bits + ((bits > 0) & 8);
    }
};

template <typename Lanes, typename Matching, int32_t Channels>
void ditherRowBy(const DitherMatch& match, const int16_t (&offsets)[kOffsets], const uint8_t* const (&channels)[3],
                 int32_t count, uint8_t* indexes) {
    using V = typename Lanes::V;
    static_assert(Lanes::kLanes % 8 == 0 && Lanes::kLanes <= kOffsets);
    const Matching matching(match);
    const V offset = Lanes::load(offsets);
    for (int32_t x = 0; x < count; x += Lanes::kLanes) {
        V level[Channels];
        for (int32_t c = 0; c < Channels; ++c) level[c] = Lanes::widen(channels[c] + x);
        const V inside = Lanes::lanesBelow(count - x);
        Lanes::narrow(indexes + x, matching(level, offset, inside));
    }
}

// How an index takes a channel's upper bits: those that the mask keeps, moved down.
struct UpperBits {
    uint8_t mask;
    int32_t down;

    UpperBits(const DitherLevels& levels, int32_t channel) {
        int32_t dropped = 16;  // a scale of 1 << bits keeps as many
        while ((levels.scale[channel] >> (16 - dropped)) != 1) --dropped;
        mask = static_cast<uint8_t>(0xFF << dropped);
        down = dropped;
        while ((levels.weight[channel] >> (dropped - down)) != 1) --down;
    }
};

// Levels moved and cut down as bytes, twice as many a vector. An offset adds or takes away, never both.
template <typename Levels>
void ditherUpperBits(const DitherMatch& match, const int16_t (&offsets)[kOffsets], const uint8_t* const (&channels)[3],
                     int32_t count, uint8_t* indexes) {
    using V = typename Levels::V;
    uint8_t more[Levels::kLanes];
    uint8_t less[Levels::kLanes];
    for (int32_t i = 0; i < Levels::kLanes; ++i) {
        const int32_t offset = offsets[i % kOffsets];
        more[i] = static_cast<uint8_t>(offset > 0 ? offset : 0);
        less[i] = static_cast<uint8_t>(offset < 0 ? -offset : 0);
    }
    const V added = Levels::load(more);
    const V taken = Levels::load(less);
    const UpperBits upper[3] = {{match.levels, 0}, {match.levels, 1}, {match.levels, 2}};
    const V bright = V{} + static_cast<uint8_t>(match.levels.bright);
    const auto partOf = [&](int32_t c, int32_t x) {
        const V level = Levels::minus(Levels::plus(Levels::load(channels[c] + x), added), taken);
        return Levels::right(level & upper[c].mask, upper[c].down);
    };
    for (int32_t x = 0; x < count; x += Levels::kLanes) {
        const V index = partOf(0, x) | partOf(1, x) | partOf(2, x);
        Levels::store(indexes + x, index | (reinterpret_cast<V>(index != 0) & bright));
    }
}

template <typename Lanes, int32_t Channels>
DitherRowCore rowCoreOf(Quantising quantising) {
    switch (quantising) {
        case Quantising::table:
            return ditherRowBy<Lanes, MovedLevels<Lanes, TableQuantiser<Lanes, Channels>, Channels>, Channels>;
        case Quantising::gray:
            return ditherRowBy<Lanes, MovedLevels<Lanes, GrayQuantiser<Lanes, Channels>, Channels>, Channels>;
        case Quantising::grayThreshold:
            return ditherRowBy<Lanes, GrayThreshold<Lanes, Channels>, Channels>;
        case Quantising::levels:
            return ditherRowBy<Lanes, MovedLevels<Lanes, LevelQuantiser<Lanes, 3, false>, 3>, 3>;
        case Quantising::upperBits:
            return ditherUpperBits<typename Lanes::Levels>;
        case Quantising::channelThreshold:
            break;
    }
    return ditherRowBy<Lanes, ChannelThreshold<Lanes, 3>, 3>;
}

template <typename Lanes>
DitherRowCore chooseRowCore(Quantising quantising, bool gray) {
    return gray ? rowCoreOf<Lanes, 1>(quantising) : rowCoreOf<Lanes, 3>(quantising);
}

}  // namespace
}  // namespace tnk
