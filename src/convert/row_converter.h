// Conversion of rows between pixel formats.
#pragma once

#include <cstdint>

#include "base/pixel_format.h"
#include "base/result.h"
#include "convert/stages.h"
#include "tnkrn.h"

namespace tnk {

struct Conversion;

// One conversion, in the terms of T_ConvertBufferExt.
struct ConvertSpec {
    int32_t bitsSrc;
    int32_t bitsDst;
    uint32_t orderSrc;
    uint32_t orderDst;
    const PaletteEntry* paletteSrc = nullptr;
    const PaletteEntry* paletteDst = nullptr;
    uint32_t flags = 0;
    int32_t lowBit = -1;
    int32_t highBit = -1;
};

// Converts `width` pixels in place, by a conversion that the thread keeps prepared.
Result convertBuffer(uint8_t* buffer, int32_t width, const ConvertSpec& spec);

// A conversion prepared once (checks, maps, kernels) and run on many rows. The palettes that `prepare` is given must
// live as long as it.
class RowConverter {
  public:
    RowConverter() = default;
    RowConverter(const RowConverter&) = delete;
    RowConverter& operator=(const RowConverter&) = delete;

    // -13 for what T_ConvertBufferExt refuses; nothing must be run then.
    Result prepare(const ConvertSpec& spec);
    // Of arguments that were found good.
    void prepare(const Conversion& conversion);

    // Converts `width` pixels (1 or more, else -13). `source` and `target` are the same address or do not overlap. In
    // place, bits after the last pixel of a packed row stay; apart, they are written as zero up to the byte's end.
    Result run(const uint8_t* source, uint8_t* target, int32_t width);

    // Bytes that `width` pixels take.
    uint64_t sourceBytes(int32_t width) const { return bytesOf(width, plan_.sourceBits); }
    uint64_t targetBytes(int32_t width) const { return bytesOf(width, plan_.targetBits); }
    // What the conversion holds outside itself.
    size_t heapBytes() const { return plan_.matcher.bytes(); }

  private:
    static uint64_t bytesOf(int32_t width, uint32_t bits) { return pixelBytes(static_cast<uint64_t>(width), bits); }
    void runBlocks(const uint8_t* source, uint8_t* target, size_t width);
    void growRow(uint8_t* row, size_t width);

    StagePlan plan_;
};

}  // namespace tnk
