#include "reference/optimized_palette.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace tnk::test {
namespace {

using Histogram = std::vector<uint64_t>;

struct Key {
    uint32_t key;
    uint64_t pixels;
    uint32_t channel(size_t c) const { return key >> (10 - 5 * c) & 31; }  // red, green, blue
};

struct Box {
    std::vector<Key> keys;
    std::array<uint32_t, 3> mean{};
    std::array<uint64_t, 3> variance{};
    uint64_t total() const { return variance[0] + variance[1] + variance[2]; }

    void measure() {
        uint64_t pixels = 0;
        for (const Key& k : keys) pixels += k.pixels;
        for (size_t c = 0; c < 3; ++c) {
            uint64_t sum = 0, squares = 0;
            for (const Key& k : keys) sum += k.pixels * k.channel(c);
            mean[c] = static_cast<uint32_t>(sum / pixels);
            for (const Key& k : keys) {
                const uint64_t distance = std::max(k.channel(c), mean[c]) - std::min(k.channel(c), mean[c]);
                squares += k.pixels * distance * distance;
            }
            variance[c] = squares / pixels;
        }
    }
};

bool sameRgb(const ReferenceColor& a, const ReferenceColor& b) {
    return a.blue == b.blue && a.green == b.green && a.red == b.red;
}

uint32_t sortKey(const ReferenceColor& c) {
    return static_cast<uint32_t>(c.red) << 16 | static_cast<uint32_t>(c.green) << 8 | c.blue;
}

// The exchanges themselves decide which of equal entries comes first. Returns where each entry was.
std::vector<size_t> sortByExchange(std::vector<ReferenceColor>& colors) {
    std::vector<size_t> from(colors.size());
    std::iota(from.begin(), from.end(), size_t{0});
    for (size_t i = 0; i < colors.size(); ++i) {
        for (size_t j = i + 1; j < colors.size(); ++j) {
            if (sortKey(colors[j]) >= sortKey(colors[i])) continue;
            std::swap(colors[i], colors[j]);
            std::swap(from[i], from[j]);
        }
    }
    return from;
}

void addPicture(Histogram& bins, const ReferencePicture& picture) {
    ReferenceDitherSource format = picture.format;
    const bool matrix = (format.bits == 24 || format.bits == 48) && format.order == kOrderMatrix;
    if (matrix) format.order = kOrderBgr;
    for (std::vector<uint8_t> row : picture.rows) {
        if (matrix)
            referenceConvert(row.data(), format.width, format.bits, format.bits, kOrderMatrix, kOrderBgr, nullptr,
                             nullptr, 0, -1, -1);
        for (int32_t x = 0; x < format.width; ++x) {
            const ReferenceColor c = referenceColorAt(format, row.data(), x);
            ++bins[static_cast<size_t>(c.red >> 3 << 10 | c.green >> 3 << 5 | c.blue >> 3)];
        }
    }
}

// Takes a colour that outweighs all others in the last box twice over out of it.
bool peel(std::vector<Box>& boxes) {
    std::vector<Key> keys = boxes.back().keys;
    if (keys.size() < 2) return false;
    std::stable_sort(keys.begin(), keys.end(), [](const Key& a, const Key& b) { return a.pixels > b.pixels; });
    if (keys[0].pixels <= 2 * keys[1].pixels) return false;
    boxes.back().keys = {keys[0]};
    keys.erase(keys.begin());
    boxes.push_back({keys, {}, {}});
    return true;
}

bool split(std::vector<Box>& boxes) {
    size_t chosen = 0;
    for (size_t i = 1; i < boxes.size(); ++i) {
        const bool wider = boxes[i].total() > boxes[chosen].total();
        const bool fuller =
            boxes[i].total() == boxes[chosen].total() && boxes[i].keys.size() > boxes[chosen].keys.size();
        if (wider || fuller) chosen = i;
    }
    Box& box = boxes[chosen];
    if (box.keys.size() < 2) return false;
    std::array<size_t, 3> channels = {0, 1, 2};
    std::stable_sort(channels.begin(), channels.end(),
                     [&](size_t a, size_t b) { return box.variance[a] > box.variance[b]; });
    const auto varies = [&](size_t c) {
        return std::any_of(box.keys.begin(), box.keys.end(),
                           [&](const Key& k) { return k.channel(c) != box.keys[0].channel(c); });
    };
    const size_t axis = *std::find_if(channels.begin(), channels.end(), varies);
    Box low, high;
    for (const Key& k : box.keys) (k.channel(axis) <= box.mean[axis] ? low : high).keys.push_back(k);
    low.measure();
    high.measure();
    box = low;
    boxes.push_back(high);
    return true;
}

ReferenceOptimized quantise(const Histogram& bins, uint32_t wanted, bool peelToOne) {
    std::vector<Box> boxes(1);
    for (uint32_t key = 0; key < bins.size(); ++key)
        if (bins[key] != 0) boxes[0].keys.push_back({key, bins[key]});
    const size_t left = peelToOne ? 1 : 63;
    while (wanted >= boxes.size() + left && peel(boxes)) {
    }
    for (Box& box : boxes) box.measure();
    while (boxes.size() < wanted && split(boxes)) {
    }

    ReferenceOptimized result;
    for (const Box& box : boxes) {
        const auto widen = [](uint32_t v) { return static_cast<uint8_t>(v * 8 | v >> 2); };
        result.palette.push_back({widen(box.mean[2]), widen(box.mean[1]), widen(box.mean[0]), 0});
    }
    const std::vector<size_t> from = sortByExchange(result.palette);
    result.matchTable.assign(bins.size(), 0);
    for (uint32_t p = 0; p < from.size(); ++p)
        for (const Key& k : boxes[from[p]].keys) result.matchTable[k.key] = p + 1;
    result.count = static_cast<uint32_t>(boxes.size());
    result.palette.resize(wanted);
    return result;
}

// The colour in which the pixels of a counted colour are shown.
ReferenceColor shownColor(const ReferenceDitherSource& f, bool gray, ReferenceColor color) {
    if (gray) {
        const uint32_t mask = referenceGrayParams(f.bits, 8, f.lowBit, f.highBit).mask;
        const auto level = static_cast<uint8_t>(mask != 0 && mask < 255 ? color.red * 255u / mask : color.red);
        return {level, level, level, 0};
    }
    if (f.order == kOrderMatrix && f.bits > 16)
        referenceConvert(&color.blue, 1, 24, 24, kOrderMatrix, kOrderBgr, nullptr, nullptr, 0, -1, -1);
    return color;
}

ReferenceOptimized exactAnswer(std::vector<ReferenceColor> colors, uint32_t wanted, bool needsDithering) {
    ReferenceOptimized result;
    result.count = static_cast<uint32_t>(colors.size());
    result.palette = std::move(colors);
    result.palette.resize(wanted);
    result.needsDithering = needsDithering;
    return result;
}

}  // namespace

ReferenceOptimized referenceOptimizedPalette(const ReferencePicture& picture, uint32_t wanted,
                                             const std::vector<ReferenceColor>& fixed, bool peelToOne, bool forPixels) {
    const ReferenceDitherSource& f = picture.format;
    if (f.bits <= 8 && f.paletteCount <= wanted)
        return exactAnswer({f.palette, f.palette + f.paletteCount}, wanted, false);

    const bool gray = f.bits == 12 || ((f.bits == 16 || f.bits == 32) && f.order == kOrderGray);
    const bool byTable = gray && f.window && f.lut != nullptr;
    ReferenceCount counted = referenceColorCount(picture, wanted);
    // 32-bit samples are not counted by the colours of their table.
    if (counted.count <= wanted && !(byTable && f.bits == 32)) {
        std::vector<ReferenceColor>& colors = counted.colors;
        for (ReferenceColor& color : colors)
            if (forPixels) color = shownColor(f, gray && !byTable, color);
        std::erase_if(colors, [&](const ReferenceColor& color) {
            return std::any_of(fixed.begin(), fixed.end(),
                               [&](const ReferenceColor& taken) { return sameRgb(taken, color); });
        });
        sortByExchange(colors);
        return exactAnswer(std::move(colors), wanted, false);
    }
    Histogram bins(kReferenceMatchTableSize);
    addPicture(bins, picture);
    return quantise(bins, wanted, peelToOne);
}

ReferenceOptimized referenceOptimizedPalette(const std::vector<ReferencePicture>& pictures, uint32_t wanted,
                                             bool peelToOne, bool forPixels) {
    if (pictures.size() == 1) return referenceOptimizedPalette(pictures[0], wanted, {}, peelToOne, forPixels);
    if (std::all_of(pictures.begin(), pictures.end(), [](const auto& p) { return p.format.bits <= 8; })) {
        std::vector<ReferenceColor> merged;
        for (const ReferencePicture& picture : pictures) {
            for (uint32_t i = 0; i < picture.format.paletteCount; ++i) {
                const ReferenceColor& color = picture.format.palette[i];
                const bool known = std::any_of(merged.begin(), merged.end(),
                                               [&](const ReferenceColor& other) { return sameRgb(other, color); });
                if (!known) merged.push_back(color);
            }
        }
        if (merged.size() <= wanted) {
            sortByExchange(merged);
            return exactAnswer(std::move(merged), wanted, true);
        }
    }
    Histogram bins(kReferenceMatchTableSize);
    for (const ReferencePicture& picture : pictures) addPicture(bins, picture);
    return quantise(bins, wanted, peelToOne);
}

}  // namespace tnk::test
