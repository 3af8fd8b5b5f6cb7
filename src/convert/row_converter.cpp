// Running conversions over rows, and the exports.
#include "convert/row_converter.h"

#include <algorithm>
#include <cstring>

#include "base/pixel_format.h"

namespace tnk {
namespace {

// Pixels on their way between stages. Callers may have little stack; blocks of half a thousand pixels and more make up for
// the calls of stages.
constexpr size_t kBufferBytes = 8192;

// The largest pixel of any stage.
size_t formBytes(const StagePlan& plan) { return std::max(plan.sourceBits, plan.targetBits) > 32 ? 8 : 4; }

// Bits of the last byte of a row that no pixel has.
uint8_t unusedBits(uint32_t bits, size_t width) {
    const auto used = static_cast<uint32_t>(width % 8 * bits % 8);
    if (used == 0) return 0;
    // The first 12-bit pixel of a pair has the low half of the shared byte.
    return static_cast<uint8_t>(bits == 12 ? 0xF0 : 0xFF >> used);
}

bool widthFits(const StagePlan& plan, int32_t width) {
    const uint32_t bits = std::max(plan.sourceBits, plan.targetBits);
    return width > 0 && rowBytes(static_cast<uint64_t>(width), bits) <= UINT32_MAX;
}

}  // namespace

Result RowConverter::prepare(const ConvertSpec& spec) { return makePlan(spec, plan_); }

// One block through all stages; what the odd ones write begins `second` bytes behind what the even ones write.
static void runStages(StagePlan& plan, const uint8_t* source, uint8_t* target, size_t count, uint8_t* buffer,
                      size_t second) {
    const uint8_t* from = source;
    for (uint32_t i = 0; i < plan.stageCount; ++i) {
        const Stage& stage = plan.stages[i];
        uint8_t* to = i + 1 == plan.stageCount ? target : buffer + i % 2 * second;
        stage.run(stage, plan, from, to, count);
        from = to;
    }
}

// In place, growing rows take the last block first and shrinking ones the first, so that no source pixel is overwritten
// before it is read. Each block is read whole before its first target byte is written, but by a single stage.
void RowConverter::runBlocks(const uint8_t* source, uint8_t* target, size_t width) {
    alignas(32) uint8_t buffer[kBufferBytes];
    const bool backward = plan_.targetBits > plan_.sourceBits && source == target;
    const size_t part = plan_.stageCount > 2 ? kBufferBytes / 2 : kBufferBytes;  // two stages need no second buffer
    const size_t blockPixels = part / formBytes(plan_);                          // whole bytes at every depth
    const size_t blocks = (width + blockPixels - 1) / blockPixels;
    for (size_t i = 0; i < blocks; ++i) {
        const size_t first = (backward ? blocks - 1 - i : i) * blockPixels;
        const size_t count = std::min(width - first, blockPixels);
        const uint8_t* from = source + first / 8 * plan_.sourceBits;
        if (plan_.stageCount == 1) {
            std::memcpy(buffer, from, static_cast<size_t>(pixelBytes(count, plan_.sourceBits)));
            from = buffer;
        }
        runStages(plan_, from, target + first / 8 * plan_.targetBits, count, buffer, part);
    }
}

Result RowConverter::run(const uint8_t* source, uint8_t* target, int32_t width) {
    if (source == nullptr || target == nullptr || !widthFits(plan_, width)) return ERROR_INVALID_PARAMETER;
    const auto count = static_cast<size_t>(width);
    const auto bytes = static_cast<size_t>(pixelBytes(count, plan_.targetBits));
    const bool inPlace = source == target;
    const uint8_t unused = unusedBits(plan_.targetBits, count);
    const uint8_t kept = inPlace ? target[bytes - 1] & unused : 0;
    if (plan_.stageCount == 0) {
        if (!inPlace) std::memcpy(target, source, bytes);
    } else if (plan_.stageCount == 1 && (!inPlace || plan_.targetBits <= plan_.sourceBits)) {
        plan_.stages[0].run(plan_.stages[0], plan_, source, target, count);
    } else {
        runBlocks(source, target, count);
    }
    if (unused != 0) target[bytes - 1] = static_cast<uint8_t>((target[bytes - 1] & ~unused) | kept);
    return SUCCESS;
}

Result convertBuffer(uint8_t* buffer, int32_t width, const ConvertSpec& spec) {
    if (buffer == nullptr || width <= 0) return ERROR_INVALID_PARAMETER;
    RowConverter converter;
    TRY(converter.prepare(spec));
    return converter.run(buffer, buffer, width);
}

static uint64_t rowBytesAt(int32_t width, int32_t bits) {
    if (width < 0 || bits < 0) return 0;
    return rowBytes(static_cast<uint64_t>(width), bits != 0 ? static_cast<uint32_t>(bits) : 8);
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_ConvertBuffer(uint8_t* Buffer, int32_t Width, int32_t BitsSrc, int32_t BitsDst,
                                            uint32_t OrderSrc, uint32_t OrderDst, const PaletteEntry* PaletteSrc,
                                            const PaletteEntry* PaletteDst) {
    return convertBuffer(Buffer, Width, {BitsSrc, BitsDst, OrderSrc, OrderDst, PaletteSrc, PaletteDst}).code;
}

extern "C" int32_t TNK_CALL T_ConvertBufferExt(uint8_t* Buffer, int32_t Width, int32_t BitsSrc, int32_t BitsDst,
                                               uint32_t OrderSrc, uint32_t OrderDst, const PaletteEntry* PaletteSrc,
                                               const PaletteEntry* PaletteDst, uint32_t Flags, int32_t LowBit,
                                               int32_t HighBit) {
    return convertBuffer(Buffer, Width,
                         {BitsSrc, BitsDst, OrderSrc, OrderDst, PaletteSrc, PaletteDst, Flags, LowBit, HighBit})
        .code;
}

extern "C" uint32_t TNK_CALL T_CalcConvertSize(int32_t Width, int32_t Bits, int32_t NewWidth, int32_t NewBits) {
    if (Width < 0 || Bits < 0 || NewWidth < 0 || NewBits < 0) return 0;
    const uint64_t bytes =
        std::max({rowBytesAt(Width, Bits), rowBytesAt(NewWidth, Bits), rowBytesAt(NewWidth, NewBits)});
    return bytes <= UINT32_MAX ? static_cast<uint32_t>(bytes) : 0;
}
