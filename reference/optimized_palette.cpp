#include "reference/optimized_palette.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace tnk::test {
namespace {

using Histogram = std::vector<uint64_t>;
using Wide = std::array<uint64_t, 3>;  // red, green, blue

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

// take(colour, its channels as red, green and blue of 16 bits) for each pixel.
template <typename Take>
void forEachPixel(const ReferencePicture& picture, Take take) {
    ReferenceDitherSource format = picture.format;
    const bool matrix = (format.bits == 24 || format.bits == 48) && format.order == kOrderMatrix;
    if (matrix) format.order = kOrderBgr;
    for (std::vector<uint8_t> row : picture.rows) {
        if (matrix)
            referenceConvert(row.data(), format.width, format.bits, format.bits, kOrderMatrix, kOrderBgr, nullptr,
                             nullptr, 0, -1, -1);
        for (int32_t x = 0; x < format.width; ++x) {
            const ReferenceColor c = referenceColorAt(format, row.data(), x);
            Wide wide = {c.red * 257u, c.green * 257u, c.blue * 257u};
            const uint8_t* const at = &row[static_cast<size_t>(x) * static_cast<size_t>(format.bits) / 8];
            for (size_t i = 0; i < 3 && format.bits >= 48 && !matrix; ++i)
                wide[format.order == kOrderBgr ? 2 - i : i] = at[2 * i] + at[2 * i + 1] * 256u;
            take(c, wide);
        }
    }
}

size_t keyOf(const ReferenceColor& c) {
    return static_cast<size_t>(c.red >> 3 << 10 | c.green >> 3 << 5 | c.blue >> 3);
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

// Full precision: sums of channels by key, and colours by lightness and two opponent hues.
struct Sum {
    uint64_t pixels = 0;
    Wide channels{};
    void add(const Wide& more, uint64_t count) {
        pixels += count;
        for (size_t c = 0; c < 3; ++c) channels[c] += more[c];
    }
    Wide mean() const {
        Wide mean;
        for (size_t c = 0; c < 3; ++c) mean[c] = (channels[c] + pixels / 2) / pixels;
        return mean;
    }
};

Wide opponents(const Wide& c) {
    return {(25 * c[0] + 83 * c[1] + 8 * c[2]) / 4096, (111 * c[0] + 170 * (65535 - c[1]) + 59 * c[2]) / 4096,
            (39 * c[0] + 121 * c[1] + 160 * (65535 - c[2])) / 4096};
}
Wide opponents(const ReferenceColor& c) { return opponents(Wide{c.red * 257u, c.green * 257u, c.blue * 257u}); }

// What pixels are matched by.
Wide halfHue(const Wide& color) { return {color[0], color[1] / 2, color[2] / 2}; }

size_t nearestOf(const std::vector<Wide>& colors, const Wide& wanted) {
    size_t nearest = 0;
    uint64_t least = UINT64_MAX;
    for (size_t i = 0; i < colors.size(); ++i) {
        uint64_t distance = 0;
        for (size_t c = 0; c < 3; ++c) {
            const uint64_t apart = colors[i][c] - wanted[c];  // its square is right when it wraps
            distance += apart * apart;
        }
        if (distance < least) {
            least = distance;
            nearest = i;
        }
    }
    return nearest;
}

struct Cluster {
    std::vector<size_t> keys;
    Wide mean{}, error{};
    uint64_t total() const { return error[0] + error[1] + error[2]; }

    void measure(const std::vector<Sum>& sums) {
        Sum all;
        for (const size_t key : keys) {
            Wide weighted = opponents(sums[key].mean());
            for (uint64_t& value : weighted) value *= sums[key].pixels;
            all.add(weighted, sums[key].pixels);
        }
        for (size_t c = 0; c < 3; ++c) {
            mean[c] = all.channels[c] / all.pixels;
            for (const size_t key : keys) {
                const uint64_t apart = opponents(sums[key].mean())[c] - mean[c];
                error[c] += sums[key].pixels * apart * apart;
            }
        }
    }
};

std::vector<Cluster> clustersOf(const std::vector<Sum>& sums, uint32_t wanted) {
    std::vector<Cluster> clusters(1);
    for (size_t key = 0; key < sums.size(); ++key)
        if (sums[key].pixels != 0) clusters[0].keys.push_back(key);
    clusters[0].measure(sums);
    while (clusters.size() < wanted) {
        Cluster& box = *std::max_element(clusters.begin(), clusters.end(),
                                         [](const Cluster& a, const Cluster& b) { return a.total() < b.total(); });
        if (box.total() == 0) break;
        const auto axis = static_cast<size_t>(std::max_element(box.error.begin(), box.error.end()) - box.error.begin());
        Cluster low, high;
        for (const size_t key : box.keys)
            (opponents(sums[key].mean())[axis] <= box.mean[axis] ? low : high).keys.push_back(key);
        low.measure(sums);
        high.measure(sums);
        box = low;
        clusters.push_back(high);
    }
    return clusters;
}

// Means of the clusters, after the passes that give each key to the nearest mean or entry beside them.
std::vector<Wide> refined(const std::vector<Sum>& sums, const std::vector<Cluster>& clusters,
                          const std::vector<ReferenceColor>& beside) {
    std::vector<size_t> owner(sums.size());
    for (size_t i = 0; i < clusters.size(); ++i)
        for (const size_t key : clusters[i].keys) owner[key] = i;
    std::vector<Wide> means(clusters.size());
    for (int pass = 0; pass < 3; ++pass) {
        std::vector<Wide> nearby;
        for (const Wide& mean : means) nearby.push_back(opponents(mean));
        for (const ReferenceColor& color : beside) nearby.push_back(opponents(color));
        std::vector<Sum> found(nearby.size());
        for (size_t key = 0; key < sums.size(); ++key) {
            if (sums[key].pixels == 0) continue;
            if (pass > 0) owner[key] = nearestOf(nearby, opponents(sums[key].mean()));
            found[owner[key]].add(sums[key].channels, sums[key].pixels);
        }
        for (size_t i = 0; i < means.size(); ++i)
            if (found[i].pixels != 0) means[i] = found[i].mean();
    }
    return means;
}

ReferenceOptimized quantisePrecisely(const std::vector<ReferencePicture>& pictures, uint32_t wanted,
                                     const std::vector<ReferenceColor>& beside) {
    std::vector<Sum> sums(kReferenceMatchTableSize);
    for (const ReferencePicture& picture : pictures)
        forEachPixel(picture, [&](const ReferenceColor& c, const Wide& wide) { sums[keyOf(c)].add(wide, 1); });
    ReferenceOptimized result;
    for (const Wide& mean : refined(sums, clustersOf(sums, wanted), beside)) {
        const auto rounded = [](uint64_t v) { return static_cast<uint8_t>((v + 128) / 257); };
        result.palette.push_back({rounded(mean[2]), rounded(mean[1]), rounded(mean[0]), 0});
    }
    sortByExchange(result.palette);
    result.count = static_cast<uint32_t>(result.palette.size());
    std::vector<Wide> entries;
    for (const ReferenceColor& color : result.palette) entries.push_back(halfHue(opponents(color)));
    for (const ReferenceColor& color : beside) entries.push_back(halfHue(opponents(color)));
    for (uint64_t key = 0; key < sums.size(); ++key) {
        const auto middle = [](uint64_t field) { return (field % 32 * 8 + 4) * 257; };
        const Wide color =
            sums[key].pixels != 0 ? sums[key].mean() : Wide{middle(key / 1024), middle(key / 32), middle(key)};
        const size_t place = nearestOf(entries, halfHue(opponents(color)));
        result.matchTable.push_back(
            static_cast<uint32_t>(place < result.count ? place + 1 : kReferenceBeside + place + 1 - result.count));
    }
    result.palette.resize(wanted);
    return result;
}

ReferenceOptimized quantise(const std::vector<ReferencePicture>& pictures, uint32_t wanted, bool peelToOne,
                            const std::vector<ReferenceColor>* beside) {
    if (beside != nullptr) return quantisePrecisely(pictures, wanted, *beside);
    Histogram bins(kReferenceMatchTableSize);
    for (const ReferencePicture& picture : pictures)
        forEachPixel(picture, [&](const ReferenceColor& c, const Wide&) { ++bins[keyOf(c)]; });
    return quantise(bins, wanted, peelToOne);
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
                                             const std::vector<ReferenceColor>& fixed, bool peelToOne, bool forPixels,
                                             const std::vector<ReferenceColor>* beside) {
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
    return quantise(std::vector{picture}, wanted, peelToOne, beside);
}

ReferenceOptimized referenceOptimizedPalette(const std::vector<ReferencePicture>& pictures, uint32_t wanted,
                                             bool peelToOne, bool forPixels,
                                             const std::vector<ReferenceColor>* beside) {
    if (pictures.size() == 1) return referenceOptimizedPalette(pictures[0], wanted, {}, peelToOne, forPixels, beside);
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
    return quantise(pictures, wanted, peelToOne, beside);
}

}  // namespace tnk::test
