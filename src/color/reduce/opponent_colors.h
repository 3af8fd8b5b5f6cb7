// Colours by lightness and two opponent hues: sums of the channels with small whole factors, along the axes of CIELAB. Equal
// steps look about as far apart as in CIELAB, and the place of a mean is the mean of the places.
#pragma once

#include <cstdint>

#include "palette/palette.h"
#include "tnkrn.h"

namespace tnk {

// Sixteenths of CIELAB's unit, from 0 up: a squared distance fits 26 bits.
struct OpponentColor {
    int32_t axes[3];  // lightness, green to red, blue to yellow
};

// Channels of 16 bits.
constexpr OpponentColor opponentOf(uint32_t red, uint32_t green, uint32_t blue) {
    return {{static_cast<int32_t>((25 * red + 83 * green + 8 * blue) >> 12),
             static_cast<int32_t>((111 * red + 170 * (0xFFFF - green) + 59 * blue) >> 12),
             static_cast<int32_t>((39 * red + 121 * green + 160 * (0xFFFF - blue)) >> 12)}};
}
constexpr OpponentColor opponentOf(const PaletteEntry& color) {
    return opponentOf(color.Red * 257u, color.Green * 257u, color.Blue * 257u);
}

// What pixels are matched by: differences of hue at half their size. Dots of other hues are what dithering mixes colours
// from; judged in full they would be avoided for dots of another lightness, which show more.
constexpr OpponentColor halfHue(const OpponentColor& color) {
    return {{color.axes[0], color.axes[1] / 2, color.axes[2] / 2}};
}

// Finds the nearest of up to 256 colours, the first of those that are equally near.
class OpponentSearch {
  public:
    void add(const OpponentColor& color) { put(all_, count_++, color); }

    // Until the next call only colours between the two corners are asked for.
    void narrow(const OpponentColor& low, const OpponentColor& high);
    uint32_t find(const OpponentColor& color) const;

  private:
    // Axes apart and of 16 bits, for vectors.
    using Axes = int16_t[3][kMaxPaletteEntries];
    static void put(Axes& axes, uint32_t place, const OpponentColor& color) {
        for (uint32_t c = 0; c < 3; ++c) axes[c][place] = static_cast<int16_t>(color.axes[c]);
    }

    Axes all_;
    uint32_t count_ = 0;
    // Those that may be nearest between the corners, in order.
    Axes kept_;
    uint8_t places_[kMaxPaletteEntries];
    uint32_t keptCount_ = 0;
};

}  // namespace tnk
