// Running conversions over rows.
#include "convert/row_converter.h"

#include <algorithm>
#include <cstring>

#include "convert/conversion_arguments.h"

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

void RowConverter::prepare(const Conversion& conversion) { makePlan(conversion, plan_); }

Result RowConverter::prepare(const ConvertSpec& spec) {
    Conversion conversion;
    TRY(checkConversion(spec, conversion));
    prepare(conversion);
    return SUCCESS;
}

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
// before it is read. Each block is read whole before its first target byte is written, since there are two stages or more.
void RowConverter::runBlocks(const uint8_t* source, uint8_t* target, size_t width) {
    alignas(32) uint8_t buffer[kBufferBytes];
    const bool backward = plan_.targetBits > plan_.sourceBits && source == target;
    const size_t part = plan_.stageCount > 2 ? kBufferBytes / 2 : kBufferBytes;  // two stages need no second buffer
    const size_t blockPixels = part / formBytes(plan_);                          // whole bytes at every depth
    const size_t blocks = (width + blockPixels - 1) / blockPixels;
    for (size_t i = 0; i < blocks; ++i) {
        const size_t first = (backward ? blocks - 1 - i : i) * blockPixels;
        const size_t count = std::min(width - first, blockPixels);
        runStages(plan_, source + first / 8 * plan_.sourceBits, target + first / 8 * plan_.targetBits, count, buffer,
                  part);
    }
}

// In place by a single stage. The end of the row, whose target begins behind the last source pixel, goes at once and leaves
// a shorter row, until a buffer holds what is left: long rows are read and written in long runs.
void RowConverter::growRow(uint8_t* row, size_t width) {
    alignas(32) uint8_t buffer[kBufferBytes / 2];
    const Stage& stage = plan_.stages[0];
    uint64_t bytes;
    while ((bytes = pixelBytes(width, plan_.sourceBits)) > sizeof(buffer)) {
        const auto first =
            static_cast<size_t>(bytes * 8 / plan_.targetBits + 8) & ~size_t{7};  // whole bytes at every depth
        stage.run(stage, plan_, row + first / 8 * plan_.sourceBits, row + first / 8 * plan_.targetBits, width - first);
        width = first;
    }
    std::memcpy(buffer, row, static_cast<size_t>(bytes));
    stage.run(stage, plan_, buffer, row, width);
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
    } else if (plan_.stageCount == 1) {
        growRow(target, count);
    } else {
        runBlocks(source, target, count);
    }
    if (unused != 0) target[bytes - 1] = static_cast<uint8_t>((target[bytes - 1] & ~unused) | kept);
    return SUCCESS;
}

}  // namespace tnk
