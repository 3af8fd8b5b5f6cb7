// From the two formats of a conversion to its steps.
#include "format/convert_plan.h"

#include <algorithm>
#include <bit>

#include "color/palette.h"
#include "format/convert.h"
#include "format/convert_steps.h"
#include "format/pixel_format.h"
#include "kernels/hue_class.h"

namespace tnk {
namespace {

constexpr uint8_t kFill = PixelShuffle::kFill;
constexpr uint32_t topOfBits(int32_t bits) { return bits >= 32 ? 0xFFFFFFFF : (1u << bits) - 1; }
constexpr uint32_t orderBit(uint32_t order) { return order < 8 ? 1u << order : 0; }
constexpr uint32_t kMatrixBit = orderBit(ORDER_MATRIX_RGB);

// How colours lie in memory while a plan is laid out.
struct ColorLayout {
    uint8_t pixelBytes;
    bool wide;  // channels of 16 bits
    bool rgb;   // red comes first
    bool alpha;
};
constexpr ColorLayout kColors8 = {4, false, false, false};
constexpr ColorLayout kColors16 = {8, true, false, false};

class Planner {
  public:
    Planner(const ConvertSpec& spec, ConvertPlan& plan) : spec_(spec), plan_(plan) {}

    Result make();

  private:
    bool check();
    bool acceptsOrders() const;

    void fromIndexes();
    void fromSamples();
    void fromSamplesByTable();
    void fromColors();
    void toColorTarget(ColorLayout layout);
    void toMatrixTarget(ColorLayout layout);
    void toLevelTarget(ColorLayout layout);
    void toPalette(ColorLayout layout);
    void narrow(ColorLayout& layout);
    bool setPair(const ColorLayout& layout);

    ConvertStep& add(steps::Step* run);
    void addByteMap(uint32_t sourceBytes, uint32_t targetBytes, const uint8_t (&from)[8], uint8_t fill);
    void addShuffle(const ColorLayout& from, const ColorLayout& to);
    void addSampleLoad();
    void addSampleStore();
    void addIndexStore();
    void addTable(const PaletteEntry* source, uint32_t count, uint32_t topLevel);

    bool isGrayTarget() const { return dstGray_ && spec_.bitsDst > 8; }
    uint8_t alpha8() const { return opaque_ ? 255 : 0; }
    ColorLayout sourceLayout() const;
    ColorLayout targetLayout() const;
    Result setTargetWindow();
    uint32_t spreadLevel(uint32_t level) const;
    uint64_t targetPixel(uint32_t red, uint32_t green, uint32_t blue) const;
    SampleScale sourceWindow(int32_t maxBits) const;

    const ConvertSpec& spec_;
    ConvertPlan& plan_;
    bool srcGray_ = false;
    bool dstGray_ = false;
    bool srcRange_ = false;
    bool dstRange_ = false;
    bool opaque_ = false;
    int32_t levelBits_ = 0;   // bits of a gray target that a level is spread over,
    int32_t levelShift_ = 0;  // and where they begin
    const PaletteEntry* paletteSrc_ = nullptr;
    const PaletteEntry* paletteDst_ = nullptr;
};

bool Planner::acceptsOrders() const {
    const PixelFormat* source = findPixelFormat(spec_.bitsSrc);
    const PixelFormat* target = findPixelFormat(spec_.bitsDst);
    if ((source == nullptr && spec_.bitsSrc != 0) || (target == nullptr && spec_.bitsDst != 0)) return false;
    const bool matrixSource = source != nullptr && (source->orders & kMatrixBit) != 0;
    const uint32_t targetOrders = target == nullptr ? 0 : target->orders & ~(matrixSource ? 0 : kMatrixBit);
    // Up to 8 bits the order says nothing.
    return (spec_.bitsSrc <= 8 || (source->orders & orderBit(spec_.orderSrc)) != 0) &&
           (spec_.bitsDst <= 8 || (targetOrders & orderBit(spec_.orderDst)) != 0);
}

bool coversAll(const ConvertSpec& spec, int32_t bits) {
    return spec.lowBit <= 0 && (spec.highBit < 0 || spec.highBit == bits - 1);
}

bool Planner::check() {
    srcGray_ = spec_.orderSrc == ORDER_GRAY;
    dstGray_ = spec_.orderDst == ORDER_GRAY;
    // KEEP: a range on a source without gray samples is dropped, one on such a destination is an error.
    srcRange_ = srcGray_ && (spec_.flags & CONVERT_SRC_BIT_RANGE) != 0;
    dstRange_ = (spec_.flags & CONVERT_DST_BIT_RANGE) != 0;
    if (dstRange_ && (srcRange_ || !dstGray_)) return false;
    if (!acceptsOrders()) return false;
    if (coversAll(spec_, spec_.bitsSrc)) srcRange_ = false;
    if (coversAll(spec_, spec_.bitsDst)) dstRange_ = false;
    return true;
}

Result Planner::make() {
    if (!check()) return ERROR_INVALID_PARAMETER;
    opaque_ = (spec_.flags & (CONVERT_ALPHA_FROM_VALUE | CONVERT_ALPHA_OPAQUE)) != 0;
    plan_.sourceBits = spec_.bitsSrc != 0 ? static_cast<uint32_t>(spec_.bitsSrc) : 8;
    plan_.targetBits = spec_.bitsDst != 0 ? static_cast<uint32_t>(spec_.bitsDst) : 8;
    plan_.stepCount = 0;
    plan_.palette = {};
    plan_.matcherReady = false;
    paletteSrc_ = spec_.paletteSrc;
    if (spec_.bitsSrc == 0) paletteSrc_ = nullptr;
    if (spec_.bitsSrc >= 1 && spec_.bitsSrc <= 8 && paletteSrc_ == nullptr) paletteSrc_ = fixedPalette(8);
    if (spec_.bitsDst >= 1 && spec_.bitsDst <= 8) {
        paletteDst_ = spec_.paletteDst != nullptr ? spec_.paletteDst : fixedPalette(spec_.bitsDst);
        plan_.palette = {paletteDst_, size_t{1} << spec_.bitsDst};
    }
    if (isGrayTarget()) TRY(setTargetWindow());
    // A window without bits holds no samples.
    if (srcRange_ && spec_.bitsSrc > 8 && sourceWindow(spec_.bitsSrc).divide == 0) return ERROR_INVALID_PARAMETER;

    if (spec_.bitsSrc <= 8)
        fromIndexes();
    else if (!srcGray_)
        fromColors();
    else if (paletteSrc_ != nullptr)
        fromSamplesByTable();
    else
        fromSamples();
    return SUCCESS;
}

// ---- parts of plans ----

ConvertStep& Planner::add(steps::Step* run) {
    ConvertStep& step = plan_.steps[plan_.stepCount++];
    step.run = run;
    return step;
}

ColorLayout Planner::sourceLayout() const {
    return {static_cast<uint8_t>(spec_.bitsSrc / 8), spec_.bitsSrc >= 48, spec_.orderSrc == ORDER_RGB,
            spec_.bitsSrc == 32 || spec_.bitsSrc == 64};
}

ColorLayout Planner::targetLayout() const {
    return {static_cast<uint8_t>(spec_.bitsDst / 8), spec_.bitsDst >= 48, spec_.orderDst == ORDER_RGB,
            spec_.bitsDst == 32 || spec_.bitsDst == 64};
}

// Spreads the description of one pixel over a vector.
void Planner::addByteMap(uint32_t sourceBytes, uint32_t targetBytes, const uint8_t (&from)[8], uint8_t fill) {
    PixelShuffle& shuffle = add(steps::shuffle).shuffle;
    shuffle.sourceBytes = static_cast<uint8_t>(sourceBytes);
    shuffle.targetBytes = static_cast<uint8_t>(targetBytes);
    shuffle.pixels = static_cast<uint8_t>(16 / std::max(sourceBytes, targetBytes));
    for (uint32_t i = 0; i < 16; ++i) {
        const uint32_t pixel = i / targetBytes;
        const bool past = pixel >= shuffle.pixels;
        const uint8_t byte = from[i % targetBytes];
        const bool filled = !past && byte == kFill;
        // Bytes past the last pixel of a vector stay what they were, which lets equal sizes work in place.
        shuffle.from[i] = static_cast<uint8_t>(past ? i : filled ? kFill : pixel * sourceBytes + byte);
        shuffle.fill[i] = filled ? fill : 0;
    }
}

// Channels of 8 bits become 16 by doubling, 16 become 8 by the high byte.
void Planner::addShuffle(const ColorLayout& from, const ColorLayout& to) {
    const uint32_t channelBytes = to.wide ? 2 : 1;
    uint8_t bytes[8] = {};
    for (uint32_t i = 0; i < to.pixelBytes; ++i) {
        uint32_t channel = i / channelBytes;
        const bool filled = channel == 3 && !from.alpha;
        if (channel < 3 && from.rgb != to.rgb) channel = 2 - channel;
        if (from.pixelBytes == 1) channel = 0;
        const uint32_t place = !from.wide ? channel : 2 * channel + (to.wide ? i % 2 : 1);
        bytes[i] = filled ? kFill : static_cast<uint8_t>(place);
    }
    addByteMap(from.pixelBytes, to.pixelBytes, bytes, alpha8());
}

void Planner::addSampleLoad() {
    if (spec_.bitsSrc == 12) add(steps::load12);
    if (spec_.bitsSrc == 16) addByteMap(2, 4, {0, 1, kFill, kFill}, 0);
}

void Planner::addSampleStore() {
    if (spec_.bitsDst == 12) add(steps::store12);
    if (spec_.bitsDst == 16) addByteMap(4, 2, {0, 1}, 0);
    if (spec_.bitsDst >= 48)
        addByteMap(4, static_cast<uint32_t>(spec_.bitsDst / 8), {0, 1, 0, 1, 0, 1, kFill, kFill}, alpha8());
}

void Planner::addIndexStore() {
    if (spec_.bitsDst >= 1 && spec_.bitsDst < 8) add(steps::pack).bits = static_cast<uint32_t>(spec_.bitsDst);
}

// The window in which a gray target takes the levels of colours.
Result Planner::setTargetWindow() {
    levelBits_ = spec_.bitsDst;
    if (dstRange_) {
        const bool byPalette = spec_.paletteSrc != nullptr && (spec_.bitsSrc == 16 || spec_.bitsSrc == 32);
        const GrayParams window = grayParams(spec_.bitsSrc >= 48 ? 16 : spec_.bitsDst, byPalette ? 8 : spec_.bitsDst,
                                             spec_.lowBit, spec_.highBit);
        if (window.bits < 1) return ERROR_INVALID_PARAMETER;
        levelBits_ = window.bits;
        levelShift_ = window.shift;
    } else if (spec_.bitsDst == 32 && !srcGray_ && (spec_.bitsSrc == 32 || spec_.bitsSrc >= 48)) {
        // KEEP: these sources fill only the low 16 bits of 32-bit samples; all others fill the sample.
        levelBits_ = 16;
    }
    return SUCCESS;
}

uint32_t Planner::spreadLevel(uint32_t level) const {
    const uint64_t value = levelBits_ < 9 ? level >> (8 - levelBits_) : level * ((uint64_t{1} << levelBits_) - 1) / 255;
    return levelShift_ < 32 ? static_cast<uint32_t>(value << levelShift_) : 0;
}

// A pixel of a gray or colour target deeper than 8 bits, first byte lowest.
uint64_t Planner::targetPixel(uint32_t red, uint32_t green, uint32_t blue) const {
    if (isGrayTarget()) return spreadLevel(grayLevel(red, green, blue));
    const bool rgb = spec_.orderDst == ORDER_RGB;
    const uint32_t first = rgb ? red : blue;
    const uint32_t third = rgb ? blue : red;
    if (spec_.bitsDst == 16) return third >> 3 << 10 | green >> 3 << 5 | first >> 3;
    const uint32_t pixel = first | green << 8 | third << 16 | uint32_t{alpha8()} << 24;
    if (spec_.bitsDst <= 32) return pixel;
    uint64_t wide = 0;
    for (uint32_t channel = 0; channel < 4; ++channel)
        wide |= uint64_t{(pixel >> 8 * channel & 0xFF) * 257} << 16 * channel;
    return wide;
}

// Fills the plan's table for indexes below `count`: palette entries, or without a palette the gray levels
// index * 255 / topLevel. Adds the step that applies it, and those that store the result.
void Planner::addTable(const PaletteEntry* source, uint32_t count, uint32_t topLevel) {
    PixelTable& table = plan_.table;
    bool identity = false;  // left so only for maps from bytes to bytes
    PaletteEntry levels[256];
    if (source == nullptr && topLevel != 255) {
        for (uint32_t i = 0; i < count; ++i) {
            const auto level = static_cast<uint8_t>(i * 255 / topLevel);
            levels[i] = {level, level, level, 0};
        }
        source = levels;
    }
    if (spec_.bitsDst <= 8) {
        table.pixelBytes = 1;
        identity = buildPaletteMap(source, count, paletteDst_, static_cast<uint32_t>(plan_.palette.size()), table.one);
    } else {
        table.pixelBytes = spec_.bitsDst == 12 ? 4 : static_cast<uint32_t>(spec_.bitsDst / 8);
        for (uint32_t i = 0; i < count; ++i) {
            const auto gray = static_cast<uint8_t>(i);
            const PaletteEntry color = source != nullptr ? source[i] : PaletteEntry{gray, gray, gray, 0};
            const uint64_t pixel = targetPixel(color.Red, color.Green, color.Blue);
            if (table.pixelBytes <= 4)
                table.four[i] = static_cast<uint32_t>(pixel);
            else
                table.eight[i] = pixel;
        }
    }
    if (!identity) add(steps::expand);
    if (spec_.bitsDst == 12) add(steps::store12);
    addIndexStore();
}

// ---- plans by source ----

void Planner::fromIndexes() {
    if (spec_.bitsSrc == 0 && spec_.bitsDst >= 24 && !isGrayTarget()) {
        addShuffle({1, false, targetLayout().rgb, false}, targetLayout());
        return;
    }
    const bool packed = spec_.bitsSrc >= 1 && spec_.bitsSrc < 8;
    if (packed) add(steps::unpack).bits = static_cast<uint32_t>(spec_.bitsSrc);
    addTable(paletteSrc_, spec_.bitsSrc != 0 ? 1u << spec_.bitsSrc : 256, 255);
    if (spec_.bitsSrc == 1 && plan_.targetBits >= 8 && plan_.targetBits != 12) {
        plan_.stepCount = 0;
        add(steps::spread);
    } else if (packed && spec_.bitsSrc == spec_.bitsDst && plan_.stepCount == 2) {
        plan_.stepCount = 0;  // unpacked and packed again
    }
}

// The sample window that a gray source is read through, with at most `maxBits`.
SampleScale Planner::sourceWindow(int32_t maxBits) const {
    const GrayParams window =
        grayParams(spec_.bitsSrc, maxBits, srcRange_ ? spec_.lowBit : -1, srcRange_ ? spec_.highBit : -1);
    const bool outside = window.shift > 31;
    return {.shift = outside ? 0 : static_cast<uint32_t>(window.shift),
            .mask = outside ? 0 : window.mask,
            .multiply = window.mask,
            .divide = window.mask,
            .shiftUp = 0,
            .factorShift = 0,
            .factor = 0};
}

void Planner::fromSamplesByTable() {
    const SampleScale window = sourceWindow(spec_.bitsSrc);
    addSampleLoad();
    add(steps::lookup).lookup = {paletteSrc_, window.shift, window.mask};
    toColorTarget(kColors8);
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

void Planner::fromSamples() {
    if (isGrayTarget() && spec_.bitsSrc == spec_.bitsDst && !srcRange_ && !dstRange_) return;
    if (spec_.bitsDst < 48 && !isGrayTarget()) {
        // Through a window on short palette targets only as many bits as an index has count.
        const bool fewBits = srcRange_ && spec_.bitsDst >= 1 && spec_.bitsDst < 8;
        const SampleScale window = sourceWindow(fewBits ? spec_.bitsDst : 8);
        const auto byte = static_cast<uint8_t>(window.shift / 8);
        const auto sourceBytes = static_cast<uint8_t>(spec_.bitsSrc / 8);
        if (spec_.bitsSrc != 12 && window.mask == 255 && window.shift % 8 == 0 && byte < sourceBytes) {
            // The level is a byte of the sample.
            if (spec_.bitsDst >= 24) {
                addByteMap(sourceBytes, targetLayout().pixelBytes, {byte, byte, byte, kFill}, alpha8());
                return;
            }
            addByteMap(sourceBytes, 1, {byte}, 0);
        } else {
            addSampleLoad();
            add(steps::samples8).scale = window;
        }
        addTable(nullptr, window.mask + 1, window.divide);
        return;
    }
    addSampleLoad();
    const int32_t depth = isGrayTarget() ? spec_.bitsDst : 16;
    SampleScale scale = sourceWindow(depth);
    scale.multiply = topOfBits(depth);
    if (dstRange_) {
        // The top bits of the sample, as many as the window has.
        scale = sourceWindow(levelBits_);
        scale.multiply = topOfBits(levelBits_);
        scale.shiftUp = static_cast<uint32_t>(std::min(levelShift_, 31));
        if (levelShift_ > 31) scale.mask = 0;
    }
    setFactor(scale);
    add(steps::scale).scale = scale;
    addSampleStore();
}

void Planner::fromColors() {
    if (spec_.bitsSrc == 16) {
        if (spec_.bitsDst == 16 && !dstGray_) {
            if (spec_.orderSrc != spec_.orderDst) add(steps::swap555);
            return;
        }
        ColorLayout layout = kColors8;
        layout.rgb = spec_.orderSrc == ORDER_RGB;
        if ((spec_.bitsDst == 24 || spec_.bitsDst == 32) && !dstGray_) layout = targetLayout();
        add(steps::from555).fields = {layout.pixelBytes, layout.rgb != (spec_.orderSrc == ORDER_RGB), false, alpha8()};
        if (layout.pixelBytes * 8 == spec_.bitsDst && !dstGray_) return;
        layout.alpha = false;
        toColorTarget(layout);
        return;
    }
    if (spec_.orderSrc != ORDER_MATRIX_RGB) return toColorTarget(sourceLayout());
    const bool wide = spec_.bitsSrc == 48;
    addShuffle(sourceLayout(), wide ? kColors16 : kColors8);
    add(wide ? steps::inverse16 : steps::inverse8);
    toColorTarget(wide ? kColors16 : kColors8);
}

void Planner::narrow(ColorLayout& layout) {
    if (!layout.wide) return;
    addShuffle(layout, kColors8);
    layout = kColors8;
}

void Planner::toColorTarget(ColorLayout layout) {
    if (spec_.bitsDst == 0 || isGrayTarget()) return toLevelTarget(layout);
    if (spec_.bitsDst <= 8) return toPalette(layout);
    const ColorLayout target = targetLayout();
    if (spec_.bitsDst == 16) {
        // KEEP: only the alpha of 32-bit pixels becomes bit 15; that of 64-bit pixels does not.
        const bool alphaBit = layout.alpha && !layout.wide;
        narrow(layout);
        add(steps::to555).fields = {layout.pixelBytes, layout.rgb != target.rgb, alphaBit, 0};
        return;
    }
    if (spec_.orderDst == ORDER_MATRIX_RGB && spec_.orderSrc != ORDER_MATRIX_RGB) return toMatrixTarget(layout);
    const bool same = plan_.stepCount == 0 && layout.pixelBytes == target.pixelBytes && layout.rgb == target.rgb;
    if (!same) addShuffle(layout, target);
}

void Planner::toMatrixTarget(ColorLayout layout) {
    const bool wide = spec_.bitsDst == 48;
    addShuffle(layout, wide ? kColors16 : kColors8);
    add(wide ? steps::forward16 : steps::forward8);
    // KEEP: from 48 bits the matrix is applied twice.
    if (spec_.bitsSrc == 48) add(wide ? steps::forward16 : steps::forward8);
    addShuffle(wide ? kColors16 : kColors8, targetLayout());
}

void Planner::toLevelTarget(ColorLayout layout) {
    narrow(layout);
    add(steps::gray).weights = {layout.pixelBytes, layout.rgb};
    if (spec_.bitsDst == 0) return;
    addTable(nullptr, 256, 255);
}

// The two-entry form of the nearest match; false where the entries are one colour.
bool Planner::setPair(const ColorLayout& layout) {
    const PaletteEntry& a = plan_.palette[0];
    const PaletteEntry& b = plan_.palette[1];
    PairMatch pair;
    const uint32_t red = layout.rgb ? 0 : 2;
    pair.weight[red] = 2 * (b.Red - a.Red);
    pair.weight[1] = 2 * (b.Green - a.Green);
    pair.weight[2 - red] = 2 * (b.Blue - a.Blue);
    // Squared distances differ by a linear form: |p - a|^2 - |p - b|^2 = 2 p (b - a) - (|b|^2 - |a|^2).
    pair.limit =
        b.Red * b.Red - a.Red * a.Red + b.Green * b.Green - a.Green * a.Green + b.Blue * b.Blue - a.Blue * a.Blue;
    pair.pixelBytes = layout.pixelBytes;
    pair.hueClass = static_cast<uint8_t>(hueClass(b.Red, b.Green, b.Blue));
    pair.rgb = layout.rgb;
    if (pair.weight[0] == 0 && pair.weight[1] == 0 && pair.weight[2] == 0) return false;
    add(steps::matchPair).pair = pair;
    return true;
}

void Planner::toPalette(ColorLayout layout) {
    if (spec_.bitsDst == 1) {
        narrow(layout);
        if (setPair(layout)) return;
    }
    const uint32_t channelBytes = layout.wide ? 2 : 1;
    const uint32_t high = channelBytes - 1;
    const uint32_t red = layout.rgb ? 0 : 2 * channelBytes;
    add(steps::nearest).channels = {layout.pixelBytes, red + high, channelBytes + high, 2 * channelBytes - red + high};
    addIndexStore();
}

}  // namespace

Result makePlan(const ConvertSpec& spec, ConvertPlan& plan) { return Planner(spec, plan).make(); }

}  // namespace tnk
