// How vectors of levels become palette indexes, for the files of each instruction set to include with their `Lanes`.
#pragma once

#include <cstdint>

#include "kernels/dither/dither_kernels.h"

namespace tnk {

// Nothing here may have external linkage: the linker would keep one instruction set's copy for all.
namespace {

// The codes of a channel's levels. Every pixel's error waits for the level that its code stands for, (code * step + 8) >> 4,
// so shuffles look it up where there are any: by the code, which is below 8, or, where codes are upper bits, by the upper
// half of the level itself, which also finds the weighed code. The zero above each byte finds the level and the code 0.
template <typename Lanes, bool UpperBits>
class Codes {
    using V = typename Lanes::V;
    static constexpr bool kByLevel = UpperBits && Lanes::kShuffles;

  public:
    Codes(const DitherLevels& levels, int32_t channel) {
        const uint32_t scale = levels.scale[channel], step = levels.step[channel], weight = levels.weight[channel];
        scale_ = Lanes::all(static_cast<int32_t>(scale));
        step_ = Lanes::all(static_cast<int32_t>(step));
        weight_ = Lanes::all(static_cast<int32_t>(weight));
        if constexpr (Lanes::kShuffles) {
            uint8_t level[16] = {};
            uint8_t weighed[16] = {};
            for (uint32_t i = 0; i < 16; ++i) {
                const uint32_t code = kByLevel ? (16 * i * scale) >> 16 : i % 8;
                level[i] = static_cast<uint8_t>((code * step + 8) >> 4);
                weighed[i] = static_cast<uint8_t>(code * weight);
            }
            step_ = Lanes::repeat(level);
            if constexpr (kByLevel) weight_ = Lanes::repeat(weighed);
        }
    }
    // Puts the code's level in the place of the level; the code weighed.
    V operator()(V& level) const {
        if constexpr (kByLevel) {
            const V upper = level >> 4;
            level = Lanes::lookUp(step_, upper);
            return Lanes::lookUp(weight_, upper);
        } else {
            const V code = Lanes::multiplyHigh(level, scale_);
            if constexpr (Lanes::kShuffles) {
                level = Lanes::lookUp(step_, code);
            } else {
                level = (code * step_ + 8) >> 4;
            }
            return code * weight_;
        }
    }

  private:
    V scale_;
    V step_;    // or the levels
    V weight_;  // or the weighed codes
};

// Quantisers take the levels of `Channels` channels, put the chosen entry's levels in their place and return indexes.
// kKeepsBlack: black pixels have no error.

template <typename Lanes, int32_t Channels, bool UpperBits>
class LevelQuantiser {
    using V = typename Lanes::V;

  public:
    static constexpr bool kKeepsBlack = true;
    explicit LevelQuantiser(const DitherMatch& match)
        : codes_{{match.levels, 0}, {match.levels, 1}, {match.levels, 2}}, bright_(Lanes::all(match.levels.bright)) {}
    V operator()(V (&level)[Channels], V) const {
        V index = codes_[0](level[0]);
        for (int32_t c = 1; c < Channels; ++c) index += codes_[c](level[c]);
        return index + ((index > 0) & bright_);
    }

  private:
    Codes<Lanes, UpperBits> codes_[3];
    V bright_;
};

template <typename V, int32_t Channels>
V grayOf(const V (&level)[Channels]) {
    if constexpr (Channels == 1) return level[0];
    if constexpr (Channels == 3) return (2 * level[0] + 5 * level[1] + level[2] + 4) >> 3;
}

// As above by the gray level of the channels.
template <typename Lanes, int32_t Channels>
class GrayQuantiser {
    using V = typename Lanes::V;

  public:
    static constexpr bool kKeepsBlack = true;
    explicit GrayQuantiser(const DitherMatch& match) : codes_(match.levels, 0) {}
    V operator()(V (&level)[Channels], V) const {
        level[0] = grayOf(level);
        const V code = codes_(level[0]);
        for (int32_t c = 1; c < Channels; ++c) level[c] = level[0];
        return code;
    }

  private:
    Codes<Lanes, true> codes_;
};

template <typename Lanes, int32_t Channels>
class TableQuantiser {
    using V = typename Lanes::V;

  public:
    static constexpr bool kKeepsBlack = false;
    explicit TableQuantiser(const DitherMatch& match) : match_(match) {}
    // Only lanes whose mask is set may complete the table.
    V operator()(V (&level)[Channels], V mask) const {
        const V red = level[0];
        const V green = level[Channels == 3 ? 1 : 0];
        const V blue = level[Channels == 3 ? 2 : 0];
        const V key = (red & 0xF8) << 7 | (green & 0xF8) << 2 | blue >> 3;
        typename Lanes::Entries entries = Lanes::gather(match_.table, key);
        if (const uint32_t unknown = Lanes::unknownLanes(entries, match_.unknown, mask); unknown != 0) {
            complete(key, unknown);
            entries = Lanes::gather(match_.table, key);
        }
        V index;
        if (match_.choices != nullptr) entries = Lanes::chosen(match_.choices, entries);
        Lanes::split(entries, level, index);
        return index;
    }

  private:
    void complete(V key, uint32_t unknown) const {
        alignas(32) uint16_t keys[Lanes::kLanes];
        Lanes::store(keys, key);
        for (int32_t lane = 0; lane < Lanes::kLanes; ++lane) {
            if ((unknown >> lane & 1) != 0) completeMatch(match_, keys[lane]);
        }
    }

    const DitherMatch& match_;
};

}  // namespace
}  // namespace tnk
