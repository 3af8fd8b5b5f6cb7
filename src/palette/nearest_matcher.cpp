// Colour space is cut into cells by the base-4 digits of the channels: 64 blocks of 64 levels a channel, in each 64
// regions of 16 levels, in each 64 leaves of 4 levels, in each 64 colours. A cell is filled when a picture first touches
// it: blocks and regions learn which entries can win or tie inside them, a leaf the answer for each of its colours. A
// look-up is then three loads, whatever the palette. A photograph of 12 megapixels touches a fifth of the leaves: one or
// two megabytes.
#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "base/scratch.h"
#include "kernels/pixels/hue_class.h"
#include "palette/nearest.h"
#include "palette/palette.h"
#include "platform/platform.h"

namespace tnk {
namespace {

constexpr uint32_t kBranch = 64;  // leaves in a region, colours in a leaf
constexpr uint32_t kRegionKeys = kBranch * kBranch;
constexpr uint32_t kBlockKeys = kBranch * kRegionKeys;
constexpr uint32_t kRegions = 4096;
constexpr uint8_t kBlockSide = 64;
constexpr uint8_t kRegionSide = 16;
constexpr uint8_t kLeafSide = 4;

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

// The colour of a key; of a cell's first key, the cell's lowest corner.
PaletteEntry colorOfKey(uint32_t key) {
    PaletteEntry color{};
    for (uint32_t digit = 0; digit < 8; digit += 2, key >>= 6) {
        color.Red |= static_cast<uint8_t>((key >> 4 & 3) << digit);
        color.Green |= static_cast<uint8_t>((key >> 2 & 3) << digit);
        color.Blue |= static_cast<uint8_t>((key & 3) << digit);
    }
    return color;
}

// Entries in palette order; the reserved byte of each holds its index.
struct Candidates {
    uint32_t count = 0;
    PaletteEntry entries[kMaxPaletteEntries];
    std::span<const PaletteEntry> span() const { return {entries, count}; }
};

// Such entries kept in the pool; none: not known yet.
struct PooledCandidates {
    uint32_t first = 0;
    uint32_t count = 0;
};

// In place of a leaf's number, 0 untouched. A leaf is filled when it is touched again: in a single row many never are,
// and searching the region's candidates for one colour costs a tenth of filling.
constexpr uint32_t kTouched = 1;
constexpr uint32_t kFirstLeaf = 2;

struct Region {
    uint32_t leaves[kBranch] = {};  // numbers of leaves; 0 untouched, or kTouched
    PooledCandidates candidates;
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

// Room for `more` elements at the end; false when memory ran out.
template <typename T>
bool makeRoom(Scratch<T>& items, uint32_t count, uint32_t more) {
    if (count + more <= items.size()) return true;
    Scratch<T> larger;
    if (!larger.allocate(std::max(uint64_t{count} * 2, uint64_t{count} + more))) return false;
    if (count != 0) std::memcpy(larger.data(), items.data(), count * sizeof(T));
    items = std::move(larger);
    return true;
}

// The entries that can win or tie somewhere in a cell: those that the entry nearest to its middle does not beat at
// every colour. Ties stay in, the hue classes decide them.
void prune(std::span<const PaletteEntry> entries, const PaletteEntry& low, uint8_t side, Candidates& kept) {
    const auto moved = [&](uint8_t by) {
        return PaletteEntry{uint8_t(low.Blue + by), uint8_t(low.Green + by), uint8_t(low.Red + by), 0};
    };
    uint32_t distances[kMaxPaletteEntries];
    const uint32_t least = findDistances(entries, moved(side / 2), distances);
    const auto nearest = std::find(distances, distances + entries.size(), least) - distances;
    kept.count = keepContenders(entries, entries[static_cast<size_t>(nearest)], low, moved(side - 1), kept.entries);
}

// The answer for each colour of a leaf, as findNearest gives it without its shortcuts.
void fillLeaf(Leaf& leaf, const PaletteEntry& low, std::span<const PaletteEntry> candidates) {
    uint32_t classes[kBranch];
    uint32_t best[kBranch];
    for (int32_t i = 0; i < int32_t{kBranch}; ++i) {
        classes[i] = hueClass(low.Red + i / 16, low.Green + i / 4 % 4, low.Blue + i % 4);
        best[i] = UINT32_MAX;
    }
    for (const PaletteEntry color : candidates) {
        const uint32_t entryClass = hueClass(color.Red, color.Green, color.Blue);
        const uint32_t same = claim(0, color.Reserved, true);
        const uint32_t other = claim(0, color.Reserved, false);
        uint32_t blue[4];
        for (int32_t i = 0; i < 4; ++i) blue[i] = square(color.Blue - low.Blue - i);
        for (int32_t i = 0; i < int32_t{kBranch}; i += 4) {
            const uint32_t redGreen =
                square(color.Red - low.Red - i / 16) + square(color.Green - low.Green - i / 4 % 4);
            for (int32_t k = 0; k < 4; ++k) {
                const uint32_t tie = classes[i + k] == entryClass ? same : other;
                best[i + k] = std::min(best[i + k], (redGreen + blue[k]) << kDistanceShift | tie);
            }
        }
    }
    for (uint32_t i = 0; i < kBranch; ++i) leaf.indexes[i] = claimant(best[i]);

    // Among equal entries the first one answers for its own colour.
    for (size_t n = candidates.size(); n-- > 0;) {
        const PaletteEntry color = candidates[n];
        const auto red = static_cast<uint32_t>(color.Red - low.Red);
        const auto green = static_cast<uint32_t>(color.Green - low.Green);
        const auto blue = static_cast<uint32_t>(color.Blue - low.Blue);
        if ((red | green | blue) < kLeafSide) leaf.indexes[red << 4 | green << 2 | blue] = color.Reserved;
    }
}

}  // namespace

struct NearestMatcher::Grid {
    explicit Grid(std::span<const PaletteEntry> palette);
    bool begin();

    uint8_t findOutsideLeaves(const PaletteEntry& color);
    uint32_t addRegion(uint32_t key);
    uint32_t addLeaf(uint32_t key, std::span<const PaletteEntry> candidates);
    uint32_t addSolidLeaf(uint8_t index);
    bool pool(const Candidates& candidates, PooledCandidates& pooled);
    std::span<const PaletteEntry> unpool(const PooledCandidates& pooled) const {
        return {pooledEntries.data() + pooled.first, pooled.count};
    }

    uint32_t regionCount = 0;
    uint32_t leafCount = 0;
    uint32_t pooledCount = 0;
    bool full = false;  // memory ran out in this row: no more cells are asked for
    Scratch<Region> regions;
    Scratch<Leaf> leaves;
    Scratch<PaletteEntry> pooledEntries;
    Candidates all;
    PooledCandidates blocks[kBranch];
    uint16_t regionOf[kRegions] = {};             // 0: untouched, the region without leaves
    uint32_t solidLeaf[kMaxPaletteEntries] = {};  // the leaf that answers this entry alone; 0: none yet
};

NearestMatcher::Grid::Grid(std::span<const PaletteEntry> palette) {
    for (PaletteEntry entry : palette) {
        entry.Reserved = static_cast<uint8_t>(all.count);
        all.entries[all.count++] = entry;
    }
}

bool NearestMatcher::Grid::begin() {
    if (!makeRoom(regions, 0, 16) || !makeRoom(leaves, 0, 256)) return false;
    regions[0] = {};
    regionCount = 1;
    leafCount = kFirstLeaf;
    return true;
}

bool NearestMatcher::Grid::pool(const Candidates& candidates, PooledCandidates& pooled) {
    if (!makeRoom(pooledEntries, pooledCount, candidates.count)) return false;
    std::copy_n(candidates.entries, candidates.count, pooledEntries.data() + pooledCount);
    pooled = {pooledCount, candidates.count};
    pooledCount += candidates.count;
    return true;
}

// The number of the new region; 0 when memory ran out.
uint32_t NearestMatcher::Grid::addRegion(uint32_t key) {
    Candidates kept;
    PooledCandidates& block = blocks[key / kBlockKeys];
    if (block.count == 0) {
        prune(all.span(), colorOfKey(key / kBlockKeys * kBlockKeys), kBlockSide, kept);
        if (!pool(kept, block)) return 0;
    }
    if (!makeRoom(regions, regionCount, 1)) return 0;
    Region& region = regions[regionCount];
    region = {};
    prune(unpool(block), colorOfKey(key / kRegionKeys * kRegionKeys), kRegionSide, kept);
    if (!pool(kept, region.candidates)) return 0;
    regionOf[key / kRegionKeys] = static_cast<uint16_t>(regionCount);
    return regionCount++;
}

uint32_t NearestMatcher::Grid::addSolidLeaf(uint8_t index) {
    if (solidLeaf[index] != 0) return solidLeaf[index];
    if (!makeRoom(leaves, leafCount, 1)) return 0;
    std::memset(leaves[leafCount].indexes, index, kBranch);
    return solidLeaf[index] = leafCount++;
}

// The number of the new leaf; 0 when memory ran out.
uint32_t NearestMatcher::Grid::addLeaf(uint32_t key, std::span<const PaletteEntry> candidates) {
    const uint32_t first = key / kBranch * kBranch;
    const PaletteEntry low = colorOfKey(first);
    Candidates kept;
    prune(candidates, low, kLeafSide, kept);
    if (kept.count == 1) return addSolidLeaf(kept.entries[0].Reserved);
    if (!makeRoom(leaves, leafCount, 1)) return 0;
    Leaf& leaf = leaves[leafCount];
    fillLeaf(leaf, low, kept.span());
    if (first == kBlackKey) leaf.indexes[0] = static_cast<uint8_t>(findNearest(all.span(), 0, 0, 0));
    if (first + kBranch - 1 == kWhiteKey)
        leaf.indexes[kBranch - 1] = static_cast<uint8_t>(findNearest(all.span(), 255, 255, 255));
    return leafCount++;
}

// The answer for a colour that no leaf has yet.
uint8_t NearestMatcher::Grid::findOutsideLeaves(const PaletteEntry& color) {
    const uint32_t key = keyOf(color.Red, color.Green, color.Blue);
    uint32_t number = regionOf[key / kRegionKeys];
    if (number == 0 && !full) number = addRegion(key);
    full |= number == 0;
    if (number == 0 || key == kBlackKey || key == kWhiteKey)
        return static_cast<uint8_t>(findNearest(all.span(), color.Red, color.Green, color.Blue));

    const auto candidates = unpool(regions[number].candidates);
    uint32_t& leaf = regions[number].leaves[key / kBranch % kBranch];
    if (leaf == kTouched && !full) {
        const uint32_t added = addLeaf(key, candidates);
        if (added != 0) return leaves[leaf = added].indexes[key % kBranch];
        full = true;
    }
    leaf = kTouched;
    return candidates[searchPalette(candidates, color)].Reserved;
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

size_t NearestMatcher::bytes() const {
    if (grid_ == nullptr) return 0;
    return sizeof(Grid) + grid_->regions.span().size_bytes() + grid_->leaves.span().size_bytes() +
           grid_->pooledEntries.span().size_bytes();
}

void NearestMatcher::findRow(const uint8_t* pixels, uint32_t stride, uint32_t red, uint32_t green, uint32_t blue,
                             uint8_t* indexes, int32_t width) {
    grid_->full = false;
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
