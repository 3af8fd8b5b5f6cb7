// What a conversion does to a block of pixels: a short chain of stages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "kernels/kernels.h"
#include "palette/nearest.h"
#include "tnkrn.h"

namespace tnk {

struct Conversion;
struct StagePlan;

// Gray samples of 32 bits to other samples: (s >> shift) & mask, times `multiply` / `divide`, << shiftUp. `divide` is the
// largest sample of the window; the mask is the same, or 0 where the window lies outside the sample.
struct SampleScale {
    uint32_t shift;
    uint32_t mask;
    uint32_t multiply;
    uint32_t divide;
    uint32_t shiftUp;
    // v * factor >> factorShift is the same as v * multiply / divide; factor 0: there is no such number.
    uint32_t factorShift;
    uint64_t factor;
};

// Gray samples as indexes into a lookup table.
struct SampleLookup {
    const PaletteEntry* entries;
    uint32_t shift;
    uint32_t mask;
};

// Where the 8-bit channels of a pixel lie.
struct ChannelBytes {
    uint32_t pixelBytes;
    uint32_t red;
    uint32_t green;
    uint32_t blue;
};

struct Stage {
    void (*run)(const Stage& stage, StagePlan& plan, const uint8_t* source, uint8_t* target, size_t count);
    union {
        uint32_t bits;
        PixelShuffle shuffle;
        Fields555 fields;
        GrayWeights weights;
        PairMatch pair;
        ChannelBytes channels;
        SampleScale scale;
        SampleLookup lookup;
    };
};

// Between stages pixels lie in one of four forms: 8-bit indexes or levels, 32-bit gray samples, and colours of four
// channels of 8 or 16 bits. A plan without stages copies. With one stage the source becomes the target at once.
struct StagePlan {
    static constexpr uint32_t kMaxStages = 8;

    uint32_t sourceBits = 0;  // a pixel; 8 for depth 0
    uint32_t targetBits = 0;
    uint32_t stageCount = 0;
    Stage stages[kMaxStages];
    PixelTable table;  // of the one stage that has one

    std::span<const PaletteEntry> palette;  // of the nearest match
    NearestMatcher matcher;                 // when memory allows; else the palette is searched
    bool matcherReady = false;
    uint32_t searched = 0;  // pixels that were matched without it
};

// Lays out the stages of a conversion whose arguments were found good.
void makePlan(const Conversion& conversion, StagePlan& plan);

}  // namespace tnk
