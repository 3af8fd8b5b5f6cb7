#pragma once

#include <cstdint>

namespace tnk {

// Eight kinds of hue, by how the channels stand to each other. Decides between palette entries at equal distance.
constexpr uint32_t hueClass(uint32_t red, uint32_t green, uint32_t blue) {
    const uint32_t low = red < blue ? red : blue;
    const uint32_t high = red < blue ? blue : red;
    return (red < blue ? 4u : 0u) | (green < low ? 2u : 0u) | (green > high ? 1u : 0u);
}

}  // namespace tnk
