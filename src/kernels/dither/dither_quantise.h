// How vectors of levels become palette indexes, for the files of each instruction set to include with their `Lanes`.
#pragma once

#include <cstdint>

#include "kernels/dither/dither_kernels.h"

namespace tnk {

// Nothing here may have external linkage: the linker would keep one instruction set's copy for all.
namespace {

// The levels that codes stand for, (code * step + 8) >> 4. Every pixel's error waits for them, so a shuffle that looks
// them up is used where there is one: codes are below 8, and the zeros above them look up the level 0.
template <typename Lanes>
class CodeLevels {
    using V = typename Lanes::V;

  public:
    CodeLevels() = default;
    explicit CodeLevels(uint16_t step) {
        if constexpr (Lanes::kShuffles) {
            uint8_t levels[16] = {};
            for (int32_t code = 0; code < 8; ++code) levels[code] = static_cast<uint8_t>((code * step + 8) >> 4);
            step_ = Lanes::repeat(levels);
        } else {
            step_ = Lanes::all(step);
        }
    }
    V operator()(V code) const {
        if constexpr (Lanes::kShuffles) return Lanes::lookUp(step_, code);
        return (code * step_ + 8) >> 4;
    }

  private:
    V step_;
};

// Quantisers take the levels of `Channels` channels, put the chosen entry's levels in their place and return indexes.

template <typename Lanes, int32_t Channels>
class LevelQuantiser {
    using V = typename Lanes::V;

  public:
    explicit LevelQuantiser(const DitherMatch& match) : bright_(Lanes::all(match.levels.bright)) {
        for (int32_t c = 0; c < 3; ++c) {
            scale_[c] = Lanes::all(match.levels.scale[c]);
            levels_[c] = CodeLevels<Lanes>(match.levels.step[c]);
            weight_[c] = Lanes::all(match.levels.weight[c]);
        }
    }
    V operator()(V (&level)[Channels], V) const {
        V index = Lanes::all(0);
        for (int32_t c = 0; c < Channels; ++c) {
            const V code = Lanes::multiplyHigh(level[c], scale_[c]);
            index += code * weight_[c];
            level[c] = levels_[c](code);
        }
        return index + ((index > 0) & bright_);
    }

  private:
    V scale_[3];
    CodeLevels<Lanes> levels_[3];
    V weight_[3];
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
    explicit GrayQuantiser(const DitherMatch& match)
        : scale_(Lanes::all(match.levels.scale[0])), levels_(match.levels.step[0]) {}
    V operator()(V (&level)[Channels], V) const {
        const V code = Lanes::multiplyHigh(grayOf(level), scale_);
        level[0] = levels_(code);
        for (int32_t c = 1; c < Channels; ++c) level[c] = level[0];
        return code;
    }

  private:
    V scale_;
    CodeLevels<Lanes> levels_;
};

template <typename Lanes, int32_t Channels>
class TableQuantiser {
    using V = typename Lanes::V;

  public:
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
