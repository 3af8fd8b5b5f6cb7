// A conversion whose arguments were found good, and the windows of its gray samples.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "convert/stages.h"
#include "tnkrn.h"

namespace tnk {

struct ConvertSpec;

constexpr bool hasPalette(int32_t bits) { return bits >= 1 && bits <= 8; }

// The arguments as they count: defaults put in, what is to be ignored taken out.
struct Conversion {
    int32_t bitsSrc;
    int32_t bitsDst;
    uint32_t orderSrc;
    uint32_t orderDst;
    bool graySource;  // gray samples of 12, 16 or 32 bits
    bool grayTarget;
    bool srcRange;  // only bits lowBit to highBit of the samples count
    bool dstRange;
    int32_t lowBit;
    int32_t highBit;
    bool opaque;                     // a new alpha channel is full, not empty
    const PaletteEntry* paletteSrc;  // of 1-8 bits always there; else a table of samples, or null
    const PaletteEntry* paletteDst;  // null but for 1-8 bits

    bool operator==(const Conversion&) const = default;  // palettes by their addresses
};

// -13 for depths, orders, flags and windows that do not go together.
Result checkConversion(const ConvertSpec& spec, Conversion& conversion);

// Where in a gray target the 8-bit levels of colours go.
struct LevelWindow {
    int32_t bits;
    int32_t shift;
};
LevelWindow levelWindow(const Conversion& conversion);
uint32_t spreadLevel(const LevelWindow& window, uint32_t level);

// How the samples of a gray source are read with at most `maxBits`; as they are, neither scaled nor moved.
SampleScale windowScale(const Conversion& conversion, int32_t maxBits);
// How they become samples of a gray target, or 16-bit channels.
SampleScale sampleScale(const Conversion& conversion);

}  // namespace tnk
