// Kernels of resizing. Null entries: the loops of the library itself, which are the rule, have no faster form.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/kernels.h"

namespace tnk {

// As many whole pixels as 16 bytes hold, picked from the 32 bytes of a row from `from` on.
struct PickRun {
    uint64_t from;
    uint8_t low[16];   // places in the first 16 bytes; kNowhere: not there
    uint8_t high[16];  // and in the others

    static constexpr uint8_t kNowhere = 0x80;
    static constexpr uint32_t kReach = 32;
};

// Between bytes a and b lies (a * first + b * second + offset) >> kBlendBits. Step s of n is exact, rounded down, when
// second is s * 2^kBlendBits / n to the nearest, first the rest, and offset half a step: the products are wrong by less
// than 255 / 2^(kBlendBits + 1), which up to kMostBlendSteps is less than the offset.
constexpr uint32_t kBlendBits = 14;
constexpr int32_t kMostBlendSteps = 60;
struct BlendWeights {
    int16_t first;
    int16_t second;
};
constexpr int32_t blendOffset(int32_t steps) { return (1 << kBlendBits) / (2 * steps); }
constexpr BlendWeights blendWeights(int32_t step, int32_t steps) {
    const int32_t second = ((step << kBlendBits) + steps / 2) / steps;
    return {static_cast<int16_t>((1 << kBlendBits) - second), static_cast<int16_t>(second)};
}

// Eight bytes, each between two of the 16 bytes of a row from `from` on.
struct BlendRun {
    uint32_t from;
    uint8_t pairs[16];  // places of both
    BlendWeights weights[8];

    static constexpr uint32_t kReach = 16;
};

struct SizeKernels {
    // Whole runs of `bytes` result bytes; 16 bytes are written for the last one.
    void (*pick)(const uint8_t* row, const PickRun* runs, size_t count, uint32_t bytes, uint8_t* target);
    // Runs one behind the other.
    void (*blendColumns)(const uint8_t* row, const BlendRun* runs, size_t count, int32_t offset, uint8_t* target);
    // Bytes of two rows; does as many from the first on as fit its vectors, and returns how many.
    size_t (*blendRows)(const uint8_t* a, const uint8_t* b, const BlendWeights& weights, int32_t offset, size_t count,
                        uint8_t* target);
    // Rounded means of 2 x 2 pixels of 1, 3 or 4 channels; does as many result bytes as fit its vectors.
    size_t (*halve)(const uint8_t* a, const uint8_t* b, uint32_t channels, size_t count, uint8_t* target);
};

// The table for an instruction set, which the processor must have.
const SizeKernels& sizeKernelsFor(InstructionSet set);

#if defined(__x86_64__) || defined(__i386__)
void pickRunsSsse3(const uint8_t* row, const PickRun* runs, size_t count, uint32_t bytes, uint8_t* target);
void blendColumnsSsse3(const uint8_t* row, const BlendRun* runs, size_t count, int32_t offset, uint8_t* target);
size_t blendRowsSsse3(const uint8_t* a, const uint8_t* b, const BlendWeights& weights, int32_t offset, size_t count,
                      uint8_t* target);
size_t halveSsse3(const uint8_t* a, const uint8_t* b, uint32_t channels, size_t count, uint8_t* target);

void blendColumnsAvx2(const uint8_t* row, const BlendRun* runs, size_t count, int32_t offset, uint8_t* target);
size_t blendRowsAvx2(const uint8_t* a, const uint8_t* b, const BlendWeights& weights, int32_t offset, size_t count,
                     uint8_t* target);
#endif

}  // namespace tnk
