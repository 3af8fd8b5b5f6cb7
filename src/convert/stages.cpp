// From the two formats of a conversion to its stages.
#include "convert/stages.h"

#include <algorithm>

#include "base/pixel_values.h"
#include "convert/conversion_arguments.h"
#include "convert/stage_kernels.h"
#include "kernels/pixels/hue_class.h"
#include "palette/palette.h"

namespace tnk {
namespace {

constexpr uint8_t kFill = PixelShuffle::kFill;

// How colours lie in memory while a plan is laid out.
struct ColorLayout {
    uint8_t pixelBytes;
    bool wide;  // channels of 16 bits
    bool rgb;   // red comes first
    bool alpha;
    bool operator==(const ColorLayout&) const = default;
};
constexpr ColorLayout kColors8 = {4, false, false, false};
constexpr ColorLayout kColors16 = {8, true, false, false};

class Planner {
  public:
    Planner(const Conversion& conversion, StagePlan& plan) : c_(conversion), plan_(plan) {}

    void make();

  private:
    void addStages();
    void addFromIndexes();
    void addFromSamples();
    ColorLayout addColorLoad();
    void addToLevels(ColorLayout layout);
    void addToPalette(ColorLayout layout);
    void addTo555(ColorLayout layout);
    void addToMatrix(const ColorLayout& layout);

    Stage& add(stages::StageKernel* run);
    void addByteMap(uint32_t sourceBytes, uint32_t targetBytes, const uint8_t (&from)[8], uint8_t fill);
    void addShuffle(const ColorLayout& from, const ColorLayout& to);
    void addNarrowing(ColorLayout& layout);
    bool addPairMatch(const ColorLayout& layout);
    void addSampleLoad();
    void addSampleStore();
    void addTable(const PaletteEntry* source, uint32_t count, uint32_t topLevel);
    void addTableUse(bool changes);
    bool fillTable(const PaletteEntry* source, uint32_t count, uint32_t topLevel);

    bool isCopy() const;
    uint8_t alpha8() const { return c_.opaque ? 255 : 0; }
    bool toColors() const { return c_.bitsDst > 8 && !c_.grayTarget; }
    ColorLayout sourceLayout() const;
    ColorLayout targetLayout() const;
    uint64_t targetPixel(uint32_t red, uint32_t green, uint32_t blue) const;
    const Conversion& c_;
    StagePlan& plan_;
};

void Planner::make() {
    plan_.sourceBits = c_.bitsSrc != 0 ? static_cast<uint32_t>(c_.bitsSrc) : 8;
    plan_.targetBits = c_.bitsDst != 0 ? static_cast<uint32_t>(c_.bitsDst) : 8;
    plan_.stageCount = 0;
    plan_.palette = {};
    plan_.matcherReady = false;
    plan_.searched = 0;
    if (c_.paletteDst != nullptr) plan_.palette = {c_.paletteDst, size_t{1} << c_.bitsDst};
    if (!isCopy()) addStages();
}

// From the source's indexes, samples or colours to the target's.
void Planner::addStages() {
    if (c_.bitsSrc <= 8) return addFromIndexes();
    if (c_.graySource && c_.paletteSrc == nullptr) return addFromSamples();
    if (c_.bitsSrc == 16 && c_.bitsDst == 16 && !c_.graySource && !c_.grayTarget) {
        add(stages::swap555);
        return;
    }
    const ColorLayout layout = addColorLoad();
    if (c_.bitsDst == 0 || c_.grayTarget) return addToLevels(layout);
    if (c_.bitsDst <= 8) return addToPalette(layout);
    if (c_.bitsDst == 16) return addTo555(layout);
    if (c_.orderDst == ORDER_MATRIX_RGB && c_.orderSrc != ORDER_MATRIX_RGB) return addToMatrix(layout);
    if (layout != targetLayout()) addShuffle(layout, targetLayout());
}

// Pixels above 8 bits that stay as they are. Indexes stay where the table of their palettes says so.
bool Planner::isCopy() const {
    if (c_.bitsSrc != c_.bitsDst || c_.bitsSrc <= 8 || c_.graySource != c_.grayTarget) return false;
    if (c_.graySource) return c_.paletteSrc == nullptr && !c_.srcRange && !c_.dstRange;
    return c_.orderSrc == c_.orderDst && c_.orderSrc != ORDER_MATRIX_RGB;
}

// ---- parts of plans ----

Stage& Planner::add(stages::StageKernel* run) {
    Stage& stage = plan_.stages[plan_.stageCount++];
    stage.run = run;
    return stage;
}

ColorLayout Planner::sourceLayout() const {
    return {static_cast<uint8_t>(c_.bitsSrc / 8), c_.bitsSrc >= 48, c_.orderSrc == ORDER_RGB,
            c_.bitsSrc == 32 || c_.bitsSrc == 64};
}

ColorLayout Planner::targetLayout() const {
    return {static_cast<uint8_t>(c_.bitsDst / 8), c_.bitsDst >= 48, c_.orderDst == ORDER_RGB,
            c_.bitsDst == 32 || c_.bitsDst == 64};
}

// Spreads the description of one pixel over a vector.
void Planner::addByteMap(uint32_t sourceBytes, uint32_t targetBytes, const uint8_t (&from)[8], uint8_t fill) {
    PixelShuffle& shuffle = add(stages::shuffle).shuffle;
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
    if (c_.bitsSrc == 12) add(stages::load12);
    if (c_.bitsSrc == 16) addByteMap(2, 4, {0, 1, kFill, kFill}, 0);
}

void Planner::addSampleStore() {
    if (c_.bitsDst == 12) add(stages::store12);
    if (c_.bitsDst == 16) addByteMap(4, 2, {0, 1}, 0);
    if (c_.bitsDst >= 48)
        addByteMap(4, static_cast<uint32_t>(c_.bitsDst / 8), {0, 1, 0, 1, 0, 1, kFill, kFill}, alpha8());
}

// A pixel of a gray or colour target deeper than 8 bits, first byte lowest.
uint64_t Planner::targetPixel(uint32_t red, uint32_t green, uint32_t blue) const {
    if (c_.grayTarget) return spreadLevel(levelWindow(c_), grayLevel(red, green, blue));
    const bool rgb = c_.orderDst == ORDER_RGB;
    const uint32_t first = rgb ? red : blue;
    const uint32_t third = rgb ? blue : red;
    if (c_.bitsDst == 16) return word555(third, green, first);
    const uint32_t pixel = first | green << 8 | third << 16 | uint32_t{alpha8()} << 24;
    if (c_.bitsDst <= 32) return pixel;
    uint64_t wide = 0;
    for (uint32_t channel = 0; channel < 4; ++channel)
        wide |= uint64_t{(pixel >> 8 * channel & 0xFF) * 257} << 16 * channel;
    return wide;
}

// Fills the plan's table for indexes below `count`: palette entries, or without a palette the gray levels
// index * 255 / topLevel. False where every index stays what it is.
bool Planner::fillTable(const PaletteEntry* source, uint32_t count, uint32_t topLevel) {
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
    if (c_.bitsDst <= 8) {
        table.pixelBytes = 1;
        identity =
            buildPaletteMap(source, count, c_.paletteDst, static_cast<uint32_t>(plan_.palette.size()), table.one);
    } else {
        table.pixelBytes = c_.bitsDst == 12 ? 4 : static_cast<uint32_t>(c_.bitsDst / 8);
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
    return !identity;
}

// From bytes to the target: by the table, unless it changes nothing, and packed.
void Planner::addTableUse(bool changes) {
    if (changes) add(stages::expand);
    if (c_.bitsDst == 12) add(stages::store12);
    if (c_.bitsDst >= 1 && c_.bitsDst < 8) add(stages::pack).bits = static_cast<uint32_t>(c_.bitsDst);
}

void Planner::addTable(const PaletteEntry* source, uint32_t count, uint32_t topLevel) {
    addTableUse(fillTable(source, count, topLevel));
}

// ---- from the source ----

void Planner::addFromIndexes() {
    if (c_.bitsSrc == 0 && c_.bitsDst >= 24 && !c_.grayTarget) {
        addShuffle({1, false, targetLayout().rgb, false}, targetLayout());
        return;
    }
    const bool changes = fillTable(c_.paletteSrc, c_.bitsSrc != 0 ? 1u << c_.bitsSrc : 256, 255);
    if (!changes && plan_.sourceBits == plan_.targetBits) return;
    if (c_.bitsSrc == 1 && plan_.targetBits >= 8 && plan_.targetBits != 12) {
        add(stages::spread);
        return;
    }
    if (plan_.sourceBits < 8) add(stages::unpack).bits = plan_.sourceBits;
    addTableUse(changes);
}

void Planner::addFromSamples() {
    if (c_.grayTarget || c_.bitsDst >= 48) {
        addSampleLoad();
        add(stages::scale).scale = sampleScale(c_);
        addSampleStore();
        return;
    }
    // Through a window on short palette targets only as many bits as an index has count.
    const bool fewBits = c_.srcRange && c_.bitsDst >= 1 && c_.bitsDst < 8;
    const SampleScale window = windowScale(c_, fewBits ? c_.bitsDst : 8);
    const auto byte = static_cast<uint8_t>(window.shift / 8);
    const auto sourceBytes = static_cast<uint8_t>(c_.bitsSrc / 8);
    const bool isByte = c_.bitsSrc != 12 && window.mask == 255 && window.shift % 8 == 0 && byte < sourceBytes;
    if (isByte && c_.bitsDst >= 24) {
        addByteMap(sourceBytes, targetLayout().pixelBytes, {byte, byte, byte, kFill}, alpha8());
        return;
    }
    if (isByte) {
        addByteMap(sourceBytes, 1, {byte}, 0);
    } else {
        addSampleLoad();
        add(stages::samples8).scale = window;
    }
    addTable(nullptr, window.mask + 1, window.divide);
}

// Brings the source's pixels to colours, and tells how these lie.
ColorLayout Planner::addColorLoad() {
    if (c_.graySource) {
        const SampleScale window = windowScale(c_, c_.bitsSrc);
        addSampleLoad();
        add(stages::lookup).lookup = {c_.paletteSrc, window.shift, window.mask};
        return kColors8;
    }
    if (c_.bitsSrc == 16) {
        // Straight to the target where it has bytes for channels.
        const bool direct = toColors() && (c_.bitsDst == 24 || c_.bitsDst == 32);
        const bool rgb = c_.orderSrc == ORDER_RGB;
        const ColorLayout layout = direct ? targetLayout() : ColorLayout{4, false, rgb, false};
        add(stages::from555).fields = {layout.pixelBytes, layout.rgb != rgb, false, alpha8()};
        return layout;
    }
    if (c_.orderSrc != ORDER_MATRIX_RGB) return sourceLayout();
    const bool wide = c_.bitsSrc == 48;
    addShuffle(sourceLayout(), wide ? kColors16 : kColors8);
    add(wide ? stages::inverse16 : stages::inverse8);
    return wide ? kColors16 : kColors8;
}

// ---- from colours to the target ----

void Planner::addNarrowing(ColorLayout& layout) {
    if (!layout.wide) return;
    addShuffle(layout, kColors8);
    layout = kColors8;
}

void Planner::addTo555(ColorLayout layout) {
    // KEEP: only the alpha of 32-bit pixels becomes bit 15; that of 64-bit pixels does not.
    const bool alphaBit = layout.alpha && !layout.wide;
    addNarrowing(layout);
    add(stages::to555).fields = {layout.pixelBytes, layout.rgb != targetLayout().rgb, alphaBit, 0};
}

void Planner::addToMatrix(const ColorLayout& layout) {
    const bool wide = c_.bitsDst == 48;
    addShuffle(layout, wide ? kColors16 : kColors8);
    add(wide ? stages::forward16 : stages::forward8);
    // KEEP: from 48 bits the matrix is applied twice.
    if (c_.bitsSrc == 48) add(wide ? stages::forward16 : stages::forward8);
    addShuffle(wide ? kColors16 : kColors8, targetLayout());
}

void Planner::addToLevels(ColorLayout layout) {
    addNarrowing(layout);
    add(stages::gray).weights = {layout.pixelBytes, layout.rgb};
    if (c_.bitsDst != 0) addTable(nullptr, 256, 255);
}

// The two-entry form of the nearest match; false where the entries are one colour.
bool Planner::addPairMatch(const ColorLayout& layout) {
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
    add(stages::matchPair).pair = pair;
    return true;
}

void Planner::addToPalette(ColorLayout layout) {
    if (c_.bitsDst == 1) {
        addNarrowing(layout);
        if (addPairMatch(layout)) return;
    }
    const uint32_t channelBytes = layout.wide ? 2 : 1;
    const uint32_t high = channelBytes - 1;
    const uint32_t red = layout.rgb ? 0 : 2 * channelBytes;
    add(stages::nearest).channels = {layout.pixelBytes, red + high, channelBytes + high, 2 * channelBytes - red + high};
    addTableUse(false);
}

}  // namespace

void makePlan(const Conversion& conversion, StagePlan& plan) { Planner(conversion, plan).make(); }

}  // namespace tnk
