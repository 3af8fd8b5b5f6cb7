// Stretches of target rows of a general turn.
#pragma once

#include <cstddef>
#include <cstdint>

#include "geometry/turn/turn_map.h"
#include "tnkrn.h"

namespace tnk {

enum class TurnFilter { nearest, linear, bicubic };

// Packed pixels are turned spread: 1 to 7 bits one byte a pixel, 12 bits four.
constexpr uint32_t spreadBytes(uint32_t bits) { return bits < 8 ? 1 : bits == 12 ? 4 : bits / 8; }
constexpr bool isPacked(uint32_t bits) { return bits < 8 || bits == 12; }

struct TurnStretch {
    // Rows of the source, of which a part is at hand; everything below counts from its first pixel, at which a byte begins.
    const uint8_t* pixels;
    ptrdiff_t stride;
    // Columns and rows that the source has.
    int64_t left, top, right, bottom;

    TurnPoint start;  // the centre of pixel 0 of the stretch
    TurnPoint step;
    // The pixels that the source touches at all, and those in them that need no other pixel than the source's.
    PixelSpan covered;
    PixelSpan inner;
    const uint8_t* fill;  // a spread pixel of what lies around the source
};

// Writes the covered pixels, spread; `target` is pixel 0 of the stretch.
using TurnRoutine = void (*)(const TurnStretch& stretch, uint8_t* target);

struct TurnRows {
    TurnRoutine routine;
    uint32_t bits;
    // Source pixels before and behind the one that a position lies in or after; 0 and 0: the nearest one alone.
    int32_t before = 0;
    int32_t after = 0;

    bool blends() const { return after != 0; }
    // Settles what the source covers of the pixels 0 .. count - 1.
    void settleSpans(TurnStretch& stretch, int32_t count) const;
};

// How the rows of a bitmap are turned. What cannot be blended takes the nearest pixel: indexes into other palettes than
// gray ramps of 256 levels.
TurnRows turnRowsFor(const BitmapHandle& bitmap, TurnFilter filter);

TurnRoutine nearestRoutine(uint32_t bits);
// Null for what cannot be blended.
TurnRoutine blendRoutine(const BitmapHandle& bitmap, TurnFilter filter);

// Blends are made at positions of 1/256 pixel between pixel centres: position p stands for (p - kHalfPixel) >> kBlendShift.
constexpr int32_t kFractionBits = 8;
constexpr int32_t kBlendShift = kStepBits - kFractionBits;
constexpr int64_t kHalfPixel = kStep / 2 - (int64_t{1} << (kBlendShift - 1));  // the fraction is rounded

}  // namespace tnk
