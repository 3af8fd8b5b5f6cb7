// The dithering engine: rows.
#include <algorithm>
#include <cassert>

#include "base/line_area.h"
#include "base/pixel_format.h"
#include "color/dither/color_fetch.h"
#include "color/dither/dither.h"
#include "color/dither/dither_band.h"
#include "color/dither/dither_cores.h"
#include "color/dither/dither_match_rows.h"
#include "color/dither/dither_modes.h"
#include "color/dither/dither_pack.h"
#include "color/dither/dither_state.h"
#include "color/dither/dither_values.h"
#include "convert/row_converter.h"

namespace tnk {
namespace {

// From here on the channels' errors may differ.
void separateErrors(DitherState& state) {
    if (!state.grayErrors) return;
    state.grayErrors = false;
    for (int32_t row = 0; row < state.shape.rows; ++row) {
        const auto r = static_cast<uint32_t>(row);
        std::copy_n(state.errorRow(r, 0), state.cells(), state.errorRow(r, 1));
        std::copy_n(state.errorRow(r, 0), state.cells(), state.errorRow(r, 2));
    }
}

// Fetches, dithers and packs a row, `Block` pixels at a time. `core` makes the indexes of a block.
template <int32_t Block, typename Core>
void ditherBlocks(const DitherState& state, const ColorFetch& source, int32_t width, const uint8_t* input,
                  uint8_t* output, Core core) {
    static_assert(Block % kColorBlock == 0);
    alignas(32) uint8_t channels[kChannels][Block];
    alignas(32) uint8_t indexes[Block];
    int32_t count;
    for (int32_t x = 0; x < width; x += count) {
        count = std::min(Block, width - x);
        for (int32_t at = 0; at < count; at += kColorBlock) {
            source.fetch(source, input + source.offsetOf(x + at), std::min(kColorBlock, count - at),
                         {channels[0] + at, channels[1] + at, channels[2] + at});
        }
        core(source.planesOf({channels[0], channels[1], channels[2]}), count, indexes);
        packIndexes(source.kernels, indexes, state.outputBits, count,
                    output + static_cast<size_t>(x) / 8 * state.outputBits);
    }
}

void ditherRow(DitherState& state, const ColorFetch& source, int32_t width, const uint8_t* input, uint8_t* output) {
    const DitherCore core = chooseDitherCore(state, source.gray && state.grayErrors);
    DitherRow row(state, width);
    const auto block = [&](const PixelPlanes& pixels, int32_t count, uint8_t* indexes) {
        core(row, pixels, count, indexes);
    };
    ditherBlocks<kColorBlock>(state, source, width, input, output, block);
}

// Whether gray levels go straight to bits.
bool packsThresholds(const DitherKernels& kernels, const DitherState& state, const ColorFetch& source) {
    return source.levels && state.outputBits == 1 && kernels.packAbove != nullptr &&
           state.mode == MatchMode::black1White1;
}

// Pixels done of a row, all but the last few. Without offsets a level's upper half is white.
int32_t packThresholds(const DitherKernels& kernels, const DitherState& state, int32_t width,
                       const int16_t (&offsets)[kOffsets], const uint8_t* input, uint8_t* output) {
    uint8_t thresholds[kOffsets];
    std::fill_n(thresholds, kOffsets, uint8_t{127});
    if (state.isOrdered()) std::copy_n(offsets, kOffsets, thresholds);
    return kernels.packAbove(input, thresholds, width, output);
}

// A row of a method without errors, by vectors.
void ditherRowBy(const DitherKernels& kernels, DitherState& state, const ColorFetch& source, int32_t width,
                 const uint8_t* input, uint8_t* output) {
    const bool thresholds = packsThresholds(kernels, state, source);
    if (!thresholds && mapsValues(state)) {
        mapValues(state, kernels, width, input, output);
        return;
    }
    if (!state.isOrdered() && state.usesTable()) {
        matchRow(state, source, width, input, output);
        return;
    }
    if (state.usesTable()) prepareColors(state);
    const DitherRowCore core = kernels.rowCore(quantisingOf(state), source.gray);
    const DitherMatch match = ditherMatchOf(state);
    int16_t offsets[kOffsets] = {};
    if (state.isOrdered()) {
        const int16_t* const line = state.ordered[state.line++ & 7];
        for (int32_t i = 0; i < kOffsets; ++i) offsets[i] = line[i % 8];
    }
    const int32_t done = thresholds ? packThresholds(kernels, state, width, offsets, input, output) : 0;
    input += done;  // a byte a pixel, where there are any
    output += done / 8;
    width -= done;
    const auto block = [&](const PixelPlanes& pixels, int32_t count, uint8_t* indexes) {
        core(match, offsets, {pixels.red, pixels.green, pixels.blue}, count, indexes);
    };
    ditherBlocks<kVectorBlock>(state, source, width, input, output, block);
}

// What the run was started for is still what the record says: error rows have the width of the start, callers' rows the
// depth. Indexes have no order, and 12 bits are gray whatever it says.
Result checkRow(const DitherState& state, const BitmapHandle& bitmap) {
    const PixelFormat* const format = findPixelFormat(bitmap.BitsPerPixel);
    const bool same = format != nullptr && format->bits == state.sourceBits && bitmap.Width <= state.columns;
    const bool ordered = same && (format->bits <= 12 || acceptsOrder(*format, bitmap.Order));
    return ordered ? SUCCESS : ERROR_INVALID_PARAMETER;
}

Result checkRun(const BitmapHandle& bitmap) {
    if (bitmap.pDitherState == nullptr) return ERROR_INVALID_PARAMETER;
    if (bitmap.StructSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    if ((bitmap.Flags & BMF_SIGNED) != 0) return ERROR_SIGNED_DATA;
    return checkRow(*static_cast<const DitherState*>(bitmap.pDitherState), bitmap);
}

// Rows at strides. Those in place are safe in bands too: a band has fetched a column before it packs the one that may lie
// there.
Result ditherLines(BitmapHandle& bitmap, uint8_t* input, int32_t inputStride, uint8_t* output, int32_t outputStride,
                   int32_t rows) {
    TRY(checkRun(bitmap));
    if (rows <= 0) return ERROR_INVALID_PARAMETER;
    const auto& state = *static_cast<const DitherState*>(bitmap.pDitherState);
    const auto sourceBits = static_cast<uint32_t>(state.sourceBits);
    if (input == output && state.outputBits > sourceBits) return ERROR_INVALID_PARAMETER;
    const auto width = static_cast<uint64_t>(std::max(bitmap.Width, 0));
    TRY(checkAreas({input, inputStride, pixelBytes(width, sourceBits)},
                   {output, outputStride, pixelBytes(width, state.outputBits)}, rows));
    for (int32_t done = 0, count; done < rows; done += count) {
        count = std::min(rows - done, kDitherBandRows);
        uint8_t* in[kDitherBandRows];
        uint8_t* out[kDitherBandRows];
        for (int32_t i = 0; i < count; ++i) {
            in[i] = input + static_cast<ptrdiff_t>(int64_t{inputStride} * (done + i));
            out[i] = output + static_cast<ptrdiff_t>(int64_t{outputStride} * (done + i));
        }
        TRY(ditherRows(bitmap, in, out, count));
    }
    return SUCCESS;
}

}  // namespace

bool ditherChangesInput(const BitmapHandle& bitmap) { return needsPlainOrder(bitmap); }

Result ditherRows(BitmapHandle& bitmap, uint8_t* const* input, uint8_t* const* output, int32_t count) {
    return ditherRowsBy(ditherKernelsFor(instructionSet()), bitmap, input, output, count);
}

Result ditherRowsBy(const DitherKernels* kernels, BitmapHandle& bitmap, uint8_t* const* input, uint8_t* const* output,
                    int32_t count) {
    assert(count >= 1);
    TRY(checkRun(bitmap));
    DitherState& state = *static_cast<DitherState*>(bitmap.pDitherState);
    int32_t bits = state.sourceBits;
    uint32_t order = bitmap.Order;
    if (needsPlainOrder(bitmap)) {
        const ConvertSpec plain{.bitsSrc = bits, .bitsDst = 24, .orderSrc = order, .orderDst = ORDER_BGR};
        for (int32_t i = 0; i < count && bitmap.Width > 0; ++i) {
            TRY(convertBuffer(input[i], bitmap.Width, plain));
        }
        bits = 24;
        order = ORDER_BGR;
    }
    const ColorFetch source = chooseColorFetch(kernels, state.source, bitmap, bits, order);
    if (!source.gray) separateErrors(state);
    int32_t done = 0;
    if (kernels != nullptr && state.diffuses() && bitmap.Width <= kMaxBandWidth) {
        while (count - done >= kernels->bandRows &&
               ditherBand(*kernels, state, source, bitmap.Width, input + done, output + done)) {
            done += kernels->bandRows;
        }
    }
    for (; done < count; ++done) {
        if (kernels != nullptr && !state.diffuses()) {
            ditherRowBy(*kernels, state, source, bitmap.Width, input[done], output[done]);
        } else {
            ditherRow(state, source, bitmap.Width, input[done], output[done]);
        }
    }
    return SUCCESS;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_DitherLine(BitmapHandle* Bitmap, uint8_t* Input, uint8_t* Output) {
    if (Bitmap == nullptr || Input == nullptr || Output == nullptr) return ERROR_INVALID_PARAMETER;
    return ditherRows(*Bitmap, &Input, &Output, 1).code;
}

extern "C" int32_t TNK_CALL T_DitherLines(BitmapHandle* Bitmap, uint8_t* Input, int32_t InputStride, uint8_t* Output,
                                          int32_t OutputStride, int32_t Rows) {
    if (Bitmap == nullptr || Input == nullptr || Output == nullptr) return ERROR_INVALID_PARAMETER;
    return ditherLines(*Bitmap, Input, InputStride, Output, OutputStride, Rows).code;
}
