#include "color/reduce/opponent_colors.h"

#include <algorithm>

namespace tnk {

// A colour whose least distance is larger than another's greatest one is never the nearest. Equal ones stay: the first wins.
void OpponentSearch::narrow(const OpponentColor& low, const OpponentColor& high) {
    int32_t nearest[kMaxPaletteEntries] = {}, farthest[kMaxPaletteEntries] = {};
    for (uint32_t c = 0; c < 3; ++c) {
        const auto first = static_cast<int16_t>(low.axes[c]), last = static_cast<int16_t>(high.axes[c]);
        for (uint32_t i = 0; i < count_; ++i) {
            const auto below = static_cast<int16_t>(first - all_[c][i]),
                       above = static_cast<int16_t>(all_[c][i] - last);
            const int16_t outside = std::max(below, above);
            const auto near = std::max<int16_t>(outside, 0);
            const auto far = std::max(static_cast<int16_t>(-below), static_cast<int16_t>(-above));
            nearest[i] += int32_t{near} * near;
            farthest[i] += int32_t{far} * far;
        }
    }
    const int32_t limit = *std::min_element(farthest, farthest + count_);
    keptCount_ = 0;
    for (uint32_t i = 0; i < count_; ++i) {
        if (nearest[i] > limit) continue;
        for (uint32_t c = 0; c < 3; ++c) kept_[c][keptCount_] = all_[c][i];
        places_[keptCount_++] = static_cast<uint8_t>(i);
    }
}

uint32_t OpponentSearch::find(const OpponentColor& color) const {
    int32_t distances[kMaxPaletteEntries];
    int32_t least = INT32_MAX;
    const auto light = static_cast<int16_t>(color.axes[0]), redGreen = static_cast<int16_t>(color.axes[1]),
               blueYellow = static_cast<int16_t>(color.axes[2]);
    for (uint32_t i = 0; i < keptCount_; ++i) {
        const auto x = static_cast<int16_t>(kept_[0][i] - light), y = static_cast<int16_t>(kept_[1][i] - redGreen),
                   z = static_cast<int16_t>(kept_[2][i] - blueYellow);
        const int32_t distance = int32_t{x} * x + int32_t{y} * y + int32_t{z} * z;
        distances[i] = distance;
        least = std::min(least, distance);
    }
    return places_[std::find(distances, distances + keptCount_, least) - distances];
}

}  // namespace tnk
