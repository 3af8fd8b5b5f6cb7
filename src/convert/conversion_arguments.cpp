#include "convert/conversion_arguments.h"

#include <algorithm>
#include <bit>

#include "base/pixel_format.h"
#include "base/sample_rules.h"
#include "convert/row_converter.h"
#include "palette/palette.h"

namespace tnk {
namespace {

constexpr uint32_t topOfBits(int32_t bits) { return bits >= 32 ? 0xFFFFFFFF : (1u << bits) - 1; }
constexpr uint32_t orderBit(uint32_t order) { return order < 8 ? 1u << order : 0; }
constexpr uint32_t kMatrixBit = orderBit(ORDER_MATRIX_RGB);

bool acceptsOrders(const ConvertSpec& spec) {
    const PixelFormat* source = findPixelFormat(spec.bitsSrc);
    const PixelFormat* target = findPixelFormat(spec.bitsDst);
    if ((source == nullptr && spec.bitsSrc != 0) || (target == nullptr && spec.bitsDst != 0)) return false;
    const bool matrixSource = source != nullptr && (source->orders & kMatrixBit) != 0;
    const uint32_t targetOrders = target == nullptr ? 0 : target->orders & ~(matrixSource ? 0 : kMatrixBit);
    // Up to 8 bits the order says nothing.
    return (spec.bitsSrc <= 8 || acceptsOrder(*source, spec.orderSrc)) &&
           (spec.bitsDst <= 8 || (targetOrders & orderBit(spec.orderDst)) != 0);
}

bool coversAll(const ConvertSpec& spec, int32_t bits) {
    return spec.lowBit <= 0 && (spec.highBit < 0 || spec.highBit == bits - 1);
}

// The window of a gray target, as its colour or lookup table source counts it.
GrayParams targetWindow(const Conversion& c) {
    const bool byPalette = c.paletteSrc != nullptr && (c.bitsSrc == 16 || c.bitsSrc == 32);
    return grayParams(c.bitsSrc >= 48 ? 16 : c.bitsDst, byPalette ? 8 : c.bitsDst, c.lowBit, c.highBit);
}

// A window without bits holds no samples.
bool isWindowEmpty(const Conversion& c) {
    if (c.srcRange && c.graySource) return grayParams(c.bitsSrc, c.bitsSrc, c.lowBit, c.highBit).bits < 1;
    return c.dstRange && c.grayTarget && targetWindow(c).bits < 1;
}

// A factor that is rounded up with k fraction bits makes quotients of samples below 2^n too large by less than
// 2^(n - k). From k = 2n on that is harmless: quotients by 2^n - 1 are integers, or stay 1 / (2^n - 1) below the next.
// Products are below 2^(k + m) with results of m bits.
void setFactor(SampleScale& scale) {
    const auto n = static_cast<uint32_t>(std::bit_width(scale.divide));
    const auto m = static_cast<uint32_t>(std::bit_width(scale.multiply));
    if (2 * n + m > 64) return;
    scale.factorShift = 2 * n;
    scale.factor = (uint64_t{scale.multiply} << 2 * n) / scale.divide + 1;
}

}  // namespace

Result checkConversion(const ConvertSpec& spec, Conversion& c) {
    const bool grayOrderSrc = spec.orderSrc == ORDER_GRAY;
    const bool grayOrderDst = spec.orderDst == ORDER_GRAY;
    // KEEP: a range on a source without gray samples is dropped, one on such a destination is an error.
    const bool srcRange = grayOrderSrc && (spec.flags & CONVERT_SRC_BIT_RANGE) != 0;
    const bool dstRange = (spec.flags & CONVERT_DST_BIT_RANGE) != 0;
    if (dstRange && (srcRange || !grayOrderDst)) return ERROR_INVALID_PARAMETER;
    if (!acceptsOrders(spec)) return ERROR_INVALID_PARAMETER;
    c.bitsSrc = spec.bitsSrc;
    c.bitsDst = spec.bitsDst;
    c.orderSrc = spec.orderSrc;
    c.orderDst = spec.orderDst;
    c.graySource = grayOrderSrc && spec.bitsSrc > 8;
    c.grayTarget = grayOrderDst && spec.bitsDst > 8;
    c.srcRange = srcRange && !coversAll(spec, spec.bitsSrc);
    c.dstRange = dstRange && !coversAll(spec, spec.bitsDst);
    c.lowBit = spec.lowBit;
    c.highBit = spec.highBit;
    c.opaque = (spec.flags & (CONVERT_ALPHA_FROM_VALUE | CONVERT_ALPHA_OPAQUE)) != 0;
    c.paletteSrc = spec.bitsSrc != 0 ? spec.paletteSrc : nullptr;
    if (hasPalette(spec.bitsSrc) && c.paletteSrc == nullptr) c.paletteSrc = fixedPalette(8);
    c.paletteDst = hasPalette(spec.bitsDst) ? spec.paletteDst : nullptr;
    if (hasPalette(spec.bitsDst) && c.paletteDst == nullptr) c.paletteDst = fixedPalette(spec.bitsDst);
    return isWindowEmpty(c) ? ERROR_INVALID_PARAMETER : SUCCESS;
}

LevelWindow levelWindow(const Conversion& c) {
    if (c.dstRange) {
        const GrayParams window = targetWindow(c);
        return {window.bits, window.shift};
    }
    // KEEP: these sources fill only the low 16 bits of 32-bit samples; all others fill the sample.
    const bool half = c.bitsDst == 32 && !c.graySource && (c.bitsSrc == 32 || c.bitsSrc >= 48);
    return {half ? 16 : c.bitsDst, 0};
}

uint32_t spreadLevel(const LevelWindow& window, uint32_t level) {
    const uint64_t value =
        window.bits < 9 ? level >> (8 - window.bits) : level * ((uint64_t{1} << window.bits) - 1) / 255;
    return window.shift < 32 ? static_cast<uint32_t>(value << window.shift) : 0;
}

SampleScale windowScale(const Conversion& c, int32_t maxBits) {
    const GrayParams window = grayParams(c.bitsSrc, maxBits, c.srcRange ? c.lowBit : -1, c.srcRange ? c.highBit : -1);
    const bool outside = window.shift > 31;
    return {.shift = outside ? 0 : static_cast<uint32_t>(window.shift),
            .mask = outside ? 0 : window.mask,
            .multiply = window.mask,
            .divide = window.mask,
            .shiftUp = 0,
            .factorShift = 0,
            .factor = 0};
}

SampleScale sampleScale(const Conversion& c) {
    // Into a window of the target go the top bits of the sample, as many as it has.
    const LevelWindow window = c.grayTarget ? levelWindow(c) : LevelWindow{16, 0};
    SampleScale scale = windowScale(c, window.bits);
    scale.multiply = topOfBits(window.bits);
    scale.shiftUp = static_cast<uint32_t>(std::min(window.shift, 31));
    if (window.shift > 31) scale.mask = 0;
    setFactor(scale);
    return scale;
}

}  // namespace tnk
