// Colour space is cut into cells by the base-4 digits of the channels: a region has 16 levels a channel and holds 64
// leaves of 4 levels a channel, each of 64 colours. A cell is filled when a picture first touches it: a region learns
// which entries can win or tie inside it, a leaf the answer for each of its colours. A look-up is then three loads,
// whatever the palette. A photograph of 12 megapixels touches a fifth of the space: one or two megabytes.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <new>

#include "color/nearest.h"
#include "color/palette.h"
#include "kernels/hue_class.h"
#include "platform/platform.h"
#include "system/memory.h"

namespace tnk {
namespace {

constexpr uint32_t kBranch = 64;  // leaves in a region, colours in a leaf
constexpr uint32_t kRegionKeys = kBranch * kBranch;
constexpr uint32_t kBlockKeys = kBranch * kRegionKeys;
constexpr uint32_t kRegions = 4096;
constexpr int32_t kBlockSide = 64;
constexpr int32_t kRegionSide = 16;
constexpr int32_t kLeafSide = 4;

// The base-4 digits of a channel, each in the low bits of six. Three channels interleave to a key of 24 bits, whose
// upper half is the region, followed by six bits for the leaf in it and six for the colour in that.
constexpr std::array<uint32_t, 256> kSpread = [] {
    std::array<uint32_t, 256> spread{};
    for (uint32_t v = 0; v < 256; ++v) spread[v] = (v & 3) | (v & 12) << 4 | (v & 48) << 8 | (v & 192) << 12;
    return spread;
}();

uint32_t keyOf(uint8_t red, uint8_t green, uint8_t blue) {
    return kSpread[red] << 4 | kSpread[green] << 2 | kSpread[blue];
}

struct Color {
    int32_t red = 0;
    int32_t green = 0;
    int32_t blue = 0;
};

// The colour of a key; of a cell's first key, the cell's lowest corner.
Color colorOfKey(uint32_t key) {
    Color color;
    for (uint32_t digit = 0; digit < 8; digit += 2, key >>= 6) {
        color.red |= static_cast<int32_t>((key >> 4 & 3) << digit);
        color.green |= static_cast<int32_t>((key >> 2 & 3) << digit);
        color.blue |= static_cast<int32_t>((key & 3) << digit);
    }
    return color;
}

// Some of the palette's entries, in palette order.
struct Candidates {
    std::span<const PaletteEntry> span() const { return {colors, count}; }

    uint32_t count = 0;
    PaletteEntry colors[kMaxPaletteEntries];
    uint8_t indexes[kMaxPaletteEntries];
};

// The same as bits; empty: not known yet.
class EntrySet {
  public:
    void assign(const Candidates& all) {
        for (uint32_t i = 0; i < all.count; ++i) words_[all.indexes[i] / 32] |= 1u << all.indexes[i] % 32;
    }
    void list(const PaletteEntry* palette, Candidates& all) const {
        all.count = 0;
        for (uint32_t word = 0; word < std::size(words_); ++word)
            for (uint32_t bits = words_[word]; bits != 0; bits &= bits - 1) {
                const uint32_t index = word * 32 + static_cast<uint32_t>(std::countr_zero(bits));
                all.indexes[all.count] = static_cast<uint8_t>(index);
                all.colors[all.count++] = palette[index];
            }
    }

  private:
    uint32_t words_[kMaxPaletteEntries / 32] = {};
};

// In place of a leaf's number, 0 untouched. A leaf is filled when it is touched again: in a single row many never are,
// and searching the region's candidates for one colour costs a tenth of filling.
constexpr uint32_t kTouched = 1;
constexpr uint32_t kFirstLeaf = 2;

struct Region {
    uint32_t leaves[kBranch] = {};  // numbers of leaves; 0 untouched, or kTouched
    EntrySet candidates;
};

struct Leaf {
    uint8_t indexes[kBranch];
};

// An entry's claim to a colour is one number, and the least claim wins: the distance, then whether the hue classes
// differ, then the place in the palette, counted from the end where they agree.
constexpr uint32_t kDistanceShift = 9;
constexpr uint32_t claim(uint32_t distance, uint32_t entry, bool sameClass) {
    return distance << kDistanceShift | (sameClass ? 255 - entry : 256 + entry);
}
constexpr uint8_t claimant(uint32_t least) { return static_cast<uint8_t>((least & 256) != 0 ? least : ~least); }

constexpr uint32_t kBlackKey = 0;
constexpr uint32_t kWhiteKey = 0xFFFFFF;

constexpr uint32_t square(int32_t value) { return static_cast<uint32_t>(value * value); }

// The least value over a cell, in one channel, of the squared distance to `entry` less that to `rival`. The difference
// is linear in the colour, so an end of the cell has it.
int32_t leastDifference(int32_t entry, int32_t rival, int32_t low, int32_t side) {
    const int32_t apart = entry - rival;
    return apart * (entry + rival - 2 * (apart > 0 ? low + side - 1 : low));
}

// Room for one more element, cleared or not; false when memory ran out.
template <typename T>
bool makeRoom(Scratch<T>& items, uint32_t count, uint32_t firstCapacity) {
    if (count < items.size()) return true;
    Scratch<T> larger;
    if (!larger.allocate(count == 0 ? firstCapacity : uint64_t{count} * 2)) return false;
    if (count != 0) std::memcpy(larger.data(), items.data(), count * sizeof(T));
    items = std::move(larger);
    return true;
}

// Leaves the entries that can win or tie somewhere in a cell: those that the entry nearest to its centre does not beat
// at every colour. Ties stay in, the hue classes decide them.
void prune(Candidates& all, Color low, int32_t side) {
    const int32_t half = side / 2;
    const PaletteEntry centre = {uint8_t(low.blue + half), uint8_t(low.green + half), uint8_t(low.red + half), 0};
    uint32_t distances[kMaxPaletteEntries];
    const uint32_t least = findDistances(all.span(), centre, distances);
    const PaletteEntry rival = all.colors[std::find(distances, distances + all.count, least) - distances];
    uint32_t kept = 0;
    for (uint32_t i = 0; i < all.count; ++i) {
        const PaletteEntry color = all.colors[i];
        const int32_t lead = leastDifference(color.Red, rival.Red, low.red, side) +
                             leastDifference(color.Green, rival.Green, low.green, side) +
                             leastDifference(color.Blue, rival.Blue, low.blue, side);
        all.colors[kept] = color;  // without a branch: which ones stay cannot be predicted
        all.indexes[kept] = all.indexes[i];
        kept += lead <= 0;
    }
    all.count = kept;
}

// The answer for each colour of a leaf, as findNearest gives it without its shortcuts.
void fillLeaf(Leaf& leaf, Color low, const Candidates& candidates) {
    uint32_t classes[kBranch];
    uint32_t best[kBranch];
    for (int32_t i = 0; i < int32_t{kBranch}; ++i) {
        classes[i] = hueClass(low.red + i / 16, low.green + i / 4 % 4, low.blue + i % 4);
        best[i] = UINT32_MAX;
    }
    for (uint32_t n = 0; n < candidates.count; ++n) {
        const PaletteEntry color = candidates.colors[n];
        const uint32_t entryClass = hueClass(color.Red, color.Green, color.Blue);
        const uint32_t same = claim(0, candidates.indexes[n], true);
        const uint32_t other = claim(0, candidates.indexes[n], false);
        uint32_t blue[4];
        for (int32_t i = 0; i < 4; ++i) blue[i] = square(color.Blue - low.blue - i);
        for (int32_t i = 0; i < int32_t{kBranch}; i += 4) {
            const uint32_t redGreen =
                square(color.Red - low.red - i / 16) + square(color.Green - low.green - i / 4 % 4);
            for (int32_t k = 0; k < 4; ++k) {
                const uint32_t tie = classes[i + k] == entryClass ? same : other;
                best[i + k] = std::min(best[i + k], (redGreen + blue[k]) << kDistanceShift | tie);
            }
        }
    }
    for (uint32_t i = 0; i < kBranch; ++i) leaf.indexes[i] = claimant(best[i]);

    // Among equal entries the first one answers for its own colour.
    for (uint32_t n = candidates.count; n-- > 0;) {
        const PaletteEntry color = candidates.colors[n];
        const auto red = static_cast<uint32_t>(color.Red - low.red);
        const auto green = static_cast<uint32_t>(color.Green - low.green);
        const auto blue = static_cast<uint32_t>(color.Blue - low.blue);
        if ((red | green | blue) < kLeafSide) leaf.indexes[red << 4 | green << 2 | blue] = candidates.indexes[n];
    }
}

}  // namespace

struct NearestMatcher::Grid {
    explicit Grid(std::span<const PaletteEntry> entries);
    bool begin();

    std::span<const PaletteEntry> entries() const { return {palette, count}; }
    uint8_t findOutsideLeaves(const PaletteEntry& color);
    uint32_t addRegion(uint32_t key);
    uint32_t addLeaf(uint32_t key, Candidates& candidates);
    uint32_t addSolidLeaf(uint8_t index);

    uint32_t count;
    uint32_t regionCount = 0;
    uint32_t leafCount = 0;
    bool full = false;  // memory ran out once: no more cells are asked for
    Scratch<Region> regions;
    Scratch<Leaf> leaves;
    EntrySet blocks[kBranch];
    uint16_t regionOf[kRegions] = {};             // 0: untouched, the region without leaves
    uint32_t solidLeaf[kMaxPaletteEntries] = {};  // the leaf that answers this entry alone; 0: none yet
    PaletteEntry palette[kMaxPaletteEntries];
};

NearestMatcher::Grid::Grid(std::span<const PaletteEntry> entries) : count(static_cast<uint32_t>(entries.size())) {
    std::copy(entries.begin(), entries.end(), palette);
}

bool NearestMatcher::Grid::begin() {
    if (!makeRoom(regions, 0, 16) || !makeRoom(leaves, 0, 256)) return false;
    regions[0] = {};
    regionCount = 1;
    leafCount = kFirstLeaf;
    return true;
}

// The number of the new region; 0 when memory ran out.
uint32_t NearestMatcher::Grid::addRegion(uint32_t key) {
    if (!makeRoom(regions, regionCount, 0)) return 0;
    Candidates candidates;
    EntrySet& inBlock = blocks[key / kBlockKeys];
    inBlock.list(palette, candidates);
    if (candidates.count == 0) {
        for (; candidates.count < count; ++candidates.count) {
            candidates.colors[candidates.count] = palette[candidates.count];
            candidates.indexes[candidates.count] = static_cast<uint8_t>(candidates.count);
        }
        prune(candidates, colorOfKey(key / kBlockKeys * kBlockKeys), kBlockSide);
        inBlock.assign(candidates);
    }
    prune(candidates, colorOfKey(key / kRegionKeys * kRegionKeys), kRegionSide);
    Region& region = regions[regionCount];
    region = {};
    region.candidates.assign(candidates);
    regionOf[key / kRegionKeys] = static_cast<uint16_t>(regionCount);
    return regionCount++;
}

uint32_t NearestMatcher::Grid::addSolidLeaf(uint8_t index) {
    if (solidLeaf[index] != 0) return solidLeaf[index];
    if (!makeRoom(leaves, leafCount, 0)) return 0;
    std::memset(leaves[leafCount].indexes, index, kBranch);
    return solidLeaf[index] = leafCount++;
}

// The number of the new leaf; 0 when memory ran out.
uint32_t NearestMatcher::Grid::addLeaf(uint32_t key, Candidates& candidates) {
    const uint32_t first = key / kBranch * kBranch;
    const Color low = colorOfKey(first);
    prune(candidates, low, kLeafSide);
    if (candidates.count == 1) return addSolidLeaf(candidates.indexes[0]);
    if (!makeRoom(leaves, leafCount, 0)) return 0;
    Leaf& leaf = leaves[leafCount];
    fillLeaf(leaf, low, candidates);
    if (first == kBlackKey) leaf.indexes[0] = static_cast<uint8_t>(findNearest(entries(), 0, 0, 0));
    if (first + kBranch - 1 == kWhiteKey)
        leaf.indexes[kBranch - 1] = static_cast<uint8_t>(findNearest(entries(), 255, 255, 255));
    return leafCount++;
}

// The answer for a colour that no leaf has yet.
uint8_t NearestMatcher::Grid::findOutsideLeaves(const PaletteEntry& color) {
    const uint32_t key = keyOf(color.Red, color.Green, color.Blue);
    uint32_t number = regionOf[key / kRegionKeys];
    if (number == 0 && !full) number = addRegion(key);
    full |= number == 0;
    if (number == 0 || key == kBlackKey || key == kWhiteKey)
        return static_cast<uint8_t>(findNearest(entries(), color.Red, color.Green, color.Blue));

    Candidates candidates;
    regions[number].candidates.list(palette, candidates);
    uint32_t& leaf = regions[number].leaves[key / kBranch % kBranch];
    if (leaf == kTouched && !full) {
        const uint32_t added = addLeaf(key, candidates);
        if (added != 0) return leaves[leaf = added].indexes[key % kBranch];
        full = true;
    }
    leaf = kTouched;
    return candidates.indexes[searchPalette(candidates.span(), color)];
}

NearestMatcher::~NearestMatcher() {
    if (grid_ == nullptr) return;
    grid_->~Grid();
    platform->freeLocal(grid_);
}

bool NearestMatcher::prepare(std::span<const PaletteEntry> palette) {
    void* block = grid_;
    if (grid_ != nullptr)
        grid_->~Grid();
    else
        block = platform->allocateLocal(sizeof(Grid), false);
    grid_ = nullptr;
    if (block == nullptr) return false;
    grid_ = new (block) Grid(palette);
    return grid_->begin();
}

uint8_t NearestMatcher::find(uint8_t red, uint8_t green, uint8_t blue) {
    const uint8_t color[3] = {red, green, blue};
    uint8_t index;
    findRow(color, 3, 0, 1, 2, &index, 1);
    return index;
}

void NearestMatcher::findRow(const uint8_t* pixels, uint32_t stride, uint32_t red, uint32_t green, uint32_t blue,
                             uint8_t* indexes, int32_t width) {
    // Held in locals: a store to `indexes` could change the members, for all that the compiler knows.
    const uint16_t* const regionOf = grid_->regionOf;
    const Region* regions = grid_->regions.data();
    const Leaf* leaves = grid_->leaves.data();
    for (int32_t i = 0; i < width; ++i, pixels += stride) {
        const uint32_t key = keyOf(pixels[red], pixels[green], pixels[blue]);
        const uint32_t leaf = regions[regionOf[key / kRegionKeys]].leaves[key / kBranch % kBranch];
        if (leaf >= kFirstLeaf) [[likely]] {
            indexes[i] = leaves[leaf].indexes[key % kBranch];
            continue;
        }
        indexes[i] = grid_->findOutsideLeaves({pixels[blue], pixels[green], pixels[red], 0});
        regions = grid_->regions.data();
        leaves = grid_->leaves.data();
    }
}

}  // namespace tnk
