// The cores of rows without error diffusion, for the files of each instruction set to include with their `Lanes`: a vector
// takes neighbouring pixels of a row.
#pragma once

#include <cstdint>

#include "kernels/dither_kernels.h"
#include "kernels/dither_quantise.h"

namespace tnk {
namespace {

// Matching moves the levels by the offsets first.
template <typename Lanes, typename Quantiser, int32_t Channels>
struct MovedLevels {
    using V = typename Lanes::V;
    explicit MovedLevels(const DitherMatch& match) : quantise(match) {}
    V operator()(V (&level)[Channels], V offset, V mask) const {
        for (V& channel : level) channel = Lanes::clampToByte(channel + offset);
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

// Codes that are the upper bits of their channels: bytes all the way. Offsets fit a signed byte.
template <typename Lanes>
void ditherRowByTopBits(const DitherMatch& match, const int16_t (&offsets)[kOffsets],
                        const uint8_t* const (&channels)[3], int32_t count, uint8_t* indexes) {
    using V = typename Lanes::V;
    constexpr int32_t kBytes = sizeof(V);
    alignas(32) uint8_t more[32];
    alignas(32) uint8_t less[32];
    for (int32_t i = 0; i < 32; ++i) {
        const int32_t offset = offsets[i % kOffsets];
        more[i] = static_cast<uint8_t>(offset > 0 ? offset : 0);
        less[i] = static_cast<uint8_t>(offset < 0 ? -offset : 0);
    }
    const V added = Lanes::loadBytes(more);
    const V taken = Lanes::loadBytes(less);
    int32_t right[3];
    int32_t left[3];
    V mask[3];
    for (int32_t c = 0; c < 3; ++c) {
        const int32_t dropped = 16 - __builtin_ctz(match.levels.scale[c]);
        const int32_t place = __builtin_ctz(match.levels.weight[c]);
        right[c] = dropped > place ? dropped - place : 0;
        left[c] = place > dropped ? place - dropped : 0;
        const int32_t bits = 0xFF >> dropped << place;
        mask[c] = Lanes::all(bits << 8 | bits);  // also drops what a shift brings over from the byte beside
    }
    for (int32_t x = 0; x < count; x += kBytes) {
        V index = Lanes::all(0);
        for (int32_t c = 0; c < 3; ++c) {
            const V level = Lanes::subtractBytes(Lanes::addBytes(Lanes::loadBytes(channels[c] + x), added), taken);
            index |= Lanes::shiftLeft(Lanes::shiftRight(level, right[c]), left[c]) & mask[c];
        }
        Lanes::store(indexes + x, index);
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
        case Quantising::topBits:
            return ditherRowByTopBits<Lanes>;
        case Quantising::levels:
            return ditherRowBy<Lanes, MovedLevels<Lanes, LevelQuantiser<Lanes, 3>, 3>, 3>;
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
