// The kernel table: row kernels chosen once by what the processor has. Scalar code fills it first and is the rule; a
// variant for an instruction set must equal it to the bit. TNK_KERNELS=scalar in the environment keeps the scalar code
// (sse2, ssse3 and avx2 cap the choice likewise).
//
// Every kernel reads exactly its `count` source pixels and writes exactly its target pixels. When a target pixel is
// not larger than a source pixel the target may be the source itself.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tnk {

enum class InstructionSet { scalar, sse2, ssse3, avx2 };

// The best set that the processor has and the environment allows; read once.
InstructionSet instructionSet();
// The lesser of `best` and the set called `wanted`; a null or unknown name asks for nothing.
InstructionSet capInstructionSet(InstructionSet best, const char* wanted);

// Rearranges the bytes of pixels. The tables serve 16-byte vectors that hold as many whole pixels as fit on both
// sides; their first targetBytes entries describe one pixel.
struct PixelShuffle {
    uint8_t from[16];     // source byte of each target byte; kFill: none
    uint8_t fill[16];     // value of the bytes that come from nowhere, else 0
    uint8_t sourceBytes;  // of one pixel
    uint8_t targetBytes;
    uint8_t pixels;  // in a vector

    static constexpr uint8_t kFill = 0x80;
};

// Pixel values of 1, 2, 3, 4, 6 or 8 bytes by 8-bit index, as they lie in memory. Up to 4 bytes the entries are `four`,
// above `eight`; 1-byte pixels use `one`.
struct PixelTable {
    union alignas(8) {  // no more than what heap blocks have on every system
        uint8_t one[256];
        uint32_t four[256];
        uint64_t eight[256];
    };
    uint32_t pixelBytes;
};

// 5-5-5 pixels against pixels of 3 or 4 bytes. The low field is byte 0 unless `swap`, then byte 2.
struct Fields555 {
    uint32_t pixelBytes;
    bool swap;
    bool alphaBit;  // to 5-5-5: bit 15 is the top bit of byte 3
    uint8_t alpha;  // from 5-5-5: byte 3
};

// Bytes by 5-5-5 pixel, and how pixels of 3 or 4 bytes become those; their alpha is left out.
struct Table555 {
    const uint8_t* bytes;
    Fields555 fields;
};

// Colours of 3 or 4 bytes a pixel to gray levels.
struct GrayWeights {
    uint32_t pixelBytes;
    bool rgb;  // byte 0 is red
};

// Which of two palette entries is nearer: with L = sum of weight[i] * byte[i] - limit, entry 1 where L > 0, entry 0 where
// L < 0. Where L = 0 entry 1 wins for pixels of its own hue class.
struct PairMatch {
    int32_t weight[3];
    int32_t limit;
    uint32_t pixelBytes;  // 3 or 4
    uint8_t hueClass;     // of entry 1
    bool rgb;             // byte 0 is red
};

// A linear map of the first three channels of 4-byte pixels: (sum of row[i][j] * channel j + row[i][3]) / 8192, truncated
// toward zero and clamped to 0..255. Byte 3 becomes 0.
struct ChannelMatrix {
    int16_t row[3][4];
};

// Chroma of a row of pixels, of which each two share one sample.
struct ChromaRow {
    const uint8_t* u;
    const uint8_t* v;
};

// How luma and chroma alternate in rows whose pixels share chroma by twos.
struct YuvOrder {
    bool lumaFirst;
    bool uFirst;
};

struct Kernels {
    void (*shuffle)(const uint8_t* source, uint8_t* target, size_t count, const PixelShuffle& shuffle);
    void (*expand)(const uint8_t* indexes, uint8_t* target, size_t count, const PixelTable& table);
    // Pixels of 1 bit, most significant first, to entries 0 and 1 of the table.
    void (*spread)(const uint8_t* bits, uint8_t* target, size_t count, const PixelTable& table);
    void (*to555)(const uint8_t* source, uint8_t* target, size_t count, const Fields555& fields);
    void (*from555)(const uint8_t* source, uint8_t* target, size_t count, const Fields555& fields);
    void (*gray)(const uint8_t* source, uint8_t* levels, size_t count, const GrayWeights& weights);
    // Writes 1-bit pixels; the bits after the last one are zero.
    void (*matchPair)(const uint8_t* source, uint8_t* bits, size_t count, const PairMatch& match);
    void (*multiply)(const uint8_t* source, uint8_t* target, size_t count, const ChannelMatrix& matrix);
    size_t (*countBits)(const uint32_t* words, size_t count);
    void (*lookUp555)(const uint8_t* source, uint8_t* target, size_t count, const Table555& table);
    // Luma and chroma to 3-byte pixels, blue first; from planes, and alternating in `count` words, an even number.
    void (*yuvToBgr)(const uint8_t* luma, uint8_t* target, size_t count, const ChromaRow& chroma);
    void (*yuvPairsToBgr)(const uint8_t* source, uint8_t* target, size_t count, const YuvOrder& order);
};

extern const Kernels kScalarKernels;

// The table for an instruction set, which the processor must have; and the one in use.
const Kernels& kernelsFor(InstructionSet set);
const Kernels& kernels();

}  // namespace tnk
