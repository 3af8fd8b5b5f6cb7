// What becomes of two pixels, for runs of their samples.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tnkrn.h"

namespace tnk {

constexpr uint32_t kModeMask = 0xFF;
constexpr uint32_t kChannelMask = COMBINE_RED | COMBINE_GREEN | COMBINE_BLUE | COMBINE_CHANNEL_ALPHA;
constexpr uint32_t kFullAlpha = 0xFFFF;

// Modes that look at bits; the others look at values.
constexpr bool isBitwise(uint32_t mode) { return mode <= COMBINE_XOR; }

// Samples of 1, 2 or 4 bytes, 0 .. most, `channels` of them a pixel.
struct SampleShape {
    uint32_t bytes = 1;
    uint32_t channels = 1;
    uint32_t most = 255;
    bool alpha = false;  // the last channel is alpha

    size_t pixelBytes() const { return size_t{bytes} * channels; }
};

// The runs do not overlap. `target` becomes the result.
using BitRoutine = void (*)(uint8_t* target, const uint8_t* source, size_t bytes);
using SampleRoutine = void (*)(uint8_t* target, const uint8_t* source, size_t samples, uint32_t most);
BitRoutine bitRoutine(uint32_t mode);
SampleRoutine sampleRoutine(uint32_t mode, const SampleShape& shape);

// The source over the target, straight alpha: of the source 0 .. kFullAlpha a pixel, which its last channel need not
// tell; of the target its own, or all of it where it has none.
void overSamples(const SampleShape& shape, uint8_t* target, const uint8_t* source, const uint16_t* alpha,
                 size_t pixels);
// The same for bytes, with alpha as a byte a sample over an opaque target, and of 4-byte pixels that both have their own.
void overBytes(uint8_t* target, const uint8_t* source, const uint8_t* alpha, size_t samples);
void overPixels32(uint8_t* target, const uint8_t* source, size_t pixels);

// Takes from `old` what a mask does not write; it repeats after kMaskBytes bytes, which hold whole pixels of every depth.
constexpr size_t kMaskBytes = 24;
void keepMasked(uint8_t* target, const uint8_t* old, const uint8_t (&mask)[kMaskBytes], size_t bytes);

}  // namespace tnk
