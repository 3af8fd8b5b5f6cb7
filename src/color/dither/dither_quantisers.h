// Quantisers: the index of a colour in each match mode. Channels are 0-255.
#pragma once

#include <cstdint>

#include "base/pixel_values.h"
#include "color/dither/dither_state.h"

namespace tnk {

struct TableQuantiser {
    const DitherState& state;
    uint32_t operator()(int32_t red, int32_t green, int32_t blue) const {
        const auto key = word555(static_cast<uint32_t>(red), static_cast<uint32_t>(green), static_cast<uint32_t>(blue));
        return lookUpChoice(state, key).Reserved;
    }
};

// Quantisers that calculate share this form: Index(red, green, blue).
template <typename Rule>
struct CalculatingQuantiser {
    explicit CalculatingQuantiser(const DitherState&) {}
    uint32_t operator()(int32_t red, int32_t green, int32_t blue) const {
        return Rule::index(static_cast<uint32_t>(red), static_cast<uint32_t>(green), static_cast<uint32_t>(blue));
    }
};

struct Black1White1Rule {
    static uint32_t index(uint32_t r, uint32_t g, uint32_t b) { return grayLevel(r, g, b) >> 7; }
};
struct Gray2Rule {
    static uint32_t index(uint32_t r, uint32_t g, uint32_t b) { return grayLevel(r, g, b) >> 6; }
};
struct Rgb111Rule {
    static uint32_t index(uint32_t r, uint32_t g, uint32_t b) { return (r >> 7) << 2 | (g >> 7) << 1 | b >> 7; }
};
struct Display16Rule {
    static uint32_t index(uint32_t r, uint32_t g, uint32_t b) { return fromBits(r >> 7, g >> 7, b >> 7); }
    // Black, or one of the bright colours 9-15.
    static uint32_t fromBits(uint32_t r, uint32_t g, uint32_t b) {
        const uint32_t bits = r | g << 1 | b << 2;
        return bits != 0 ? bits + 8 : 0;
    }
};
struct Rgb221Rule {
    static uint32_t index(uint32_t r, uint32_t g, uint32_t b) { return (r >> 6) << 3 | (g >> 6) << 1 | b >> 7; }
};
struct Rgb222Rule {
    static uint32_t index(uint32_t r, uint32_t g, uint32_t b) { return (r >> 6) << 4 | (g >> 6) << 2 | b >> 6; }
};
struct Rgb232Rule {
    static uint32_t index(uint32_t r, uint32_t g, uint32_t b) { return (r >> 6) << 5 | (g >> 5) << 2 | b >> 6; }
};
struct Rgb332Rule {
    static uint32_t index(uint32_t r, uint32_t g, uint32_t b) { return (r >> 5) << 5 | (g >> 5) << 2 | b >> 6; }
};
struct WebRule {
    static uint32_t index(uint32_t r, uint32_t g, uint32_t b) { return r / 51 * 36 + g / 51 * 6 + b / 51; }
};

}  // namespace tnk
