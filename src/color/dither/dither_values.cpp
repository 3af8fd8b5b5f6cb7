#include "color/dither/dither_values.h"

#include <algorithm>
#include <cstring>

#include "color/dither/dither_cores.h"
#include "color/dither/dither_match_rows.h"
#include "color/dither/dither_pack.h"
#include "convert/packed_pixels.h"
#include "kernels/kernels.h"

namespace tnk {
namespace {

// The index of each value.
void settleByValue(DitherState& state) {
    static_assert(kColorBlock == kMaxPaletteEntries);
    uint8_t channels[kChannels][kMaxPaletteEntries];
    for (uint32_t i = 0; i < kMaxPaletteEntries; ++i) {
        channels[0][i] = state.source.palette[i].Red;
        channels[1][i] = state.source.palette[i].Green;
        channels[2][i] = state.source.palette[i].Blue;
    }
    DitherRow row(state, kMaxPaletteEntries);
    PixelTable& table = state.byValue;
    table.pixelBytes = 1;
    chooseDitherCore(state, false)(row, {channels[0], channels[1], channels[2]}, 1 << state.sourceBits, table.one);
}

// What the pixels of a source byte come to, where that is whole bytes, as many as a table's pixel may have.
void settleByByte(DitherState& state) {
    const auto sourceBits = static_cast<uint32_t>(state.sourceBits);
    const uint32_t bytes = state.outputBits / sourceBits;
    if (8 % sourceBits != 0 || state.outputBits % sourceBits != 0 || bytes == 5 || bytes == 7) return;
    PixelTable& table = state.byByte;
    table.pixelBytes = bytes;
    const uint32_t pixels = 8 / sourceBits;
    for (uint32_t i = 0; i < kMaxPaletteEntries; ++i) {
        const auto byte = static_cast<uint8_t>(i);
        uint8_t values[8] = {byte}, packed[8] = {};
        if (sourceBits < 8) unpackPixels(sourceBits, &byte, values, pixels);
        for (uint8_t& value : values) value = state.byValue.one[value];
        packIndexes(nullptr, values, state.outputBits, static_cast<int32_t>(pixels), packed);
        if (bytes == 1) table.one[i] = packed[0];
        if (bytes > 1 && bytes <= 4) std::memcpy(&table.four[i], packed, 4);
        if (bytes > 4) std::memcpy(&table.eight[i], packed, 8);
    }
}

}  // namespace

bool mapsValues(const DitherState& state) {
    const bool plain = !state.diffuses() && !state.isOrdered() && state.sourceBits <= 8 && state.outputBits != 0;
    return plain && (!state.usesTable() || state.ownsTable);
}

void mapValues(DitherState& state, const DitherKernels& by, int32_t width, const uint8_t* input, uint8_t* output) {
    if (state.byValue.pixelBytes == 0) {
        settleByValue(state);
        settleByByte(state);
    }
    const auto bits = static_cast<uint32_t>(state.sourceBits);
    if (state.byByte.pixelBytes != 0) {
        const auto pixels = 8 / static_cast<int32_t>(bits);
        const auto bytes = static_cast<size_t>(width / pixels);
        kernels().expand(input, output, bytes, state.byByte);
        input += bytes;
        output += bytes * state.byByte.pixelBytes;
        width %= pixels;
    }
    uint8_t unpacked[kVectorBlock];
    uint8_t indexes[kVectorBlock];
    for (int32_t count; width > 0; width -= count) {
        count = std::min(kVectorBlock, width);
        const auto pixels = static_cast<size_t>(count);
        if (bits < 8) unpackPixels(bits, input, unpacked, pixels);
        kernels().expand(bits < 8 ? unpacked : input, indexes, pixels, state.byValue);
        packIndexes(&by, indexes, state.outputBits, count, output);
        input += pixels / 8 * bits;
        output += pixels / 8 * state.outputBits;
    }
}

}  // namespace tnk
