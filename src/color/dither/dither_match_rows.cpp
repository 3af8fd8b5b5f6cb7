#include "color/dither/dither_match_rows.h"

#include <algorithm>
#include <cstring>

#include "color/dither/dither_pack.h"
#include "kernels/kernels.h"

namespace tnk {
namespace {

// The index that stands for a colour not met yet: one that no pixel gets, or else that of the most vivid colour, which few
// do.
uint8_t seldomIndex(const DitherState& state) {
    uint8_t seldom = 0;
    int32_t vivid = -1;
    bool used[kMaxPaletteEntries] = {true};  // 0 also for places that are none
    for (const PaletteEntry& entry : state.choosable()) {
        const int32_t chroma =
            std::max({entry.Red, entry.Green, entry.Blue}) - std::min({entry.Red, entry.Green, entry.Blue});
        used[entry.Reserved] = true;
        if (chroma <= vivid) continue;
        vivid = chroma;
        seldom = entry.Reserved;
    }
    const bool* const unused = std::find(used, used + kMaxPaletteEntries, false);
    return unused != used + kMaxPaletteEntries ? static_cast<uint8_t>(unused - used) : seldom;
}

// Makes the run's table of indexes; false for a table that a caller may change, and when memory ran out.
bool prepareIndexes(DitherState& state) {
    if (!state.ownsTable || state.indexTable) return state.ownsTable;
    if (!state.indexTable.allocate(kMatchTableEntries)) return false;
    state.unknownIndex = seldomIndex(state);
    std::memset(state.indexTable.data(), state.unknownIndex, kMatchTableEntries);
    return true;
}

void matchByWords(const DitherState& state, const uint16_t* keys, int32_t count, uint8_t* indexes) {
    for (int32_t i = 0; i < count; ++i) indexes[i] = lookUpChoice(state, keys[i]).Reserved;
}

bool anyByteIs(const uint8_t* bytes, uint8_t value) {
    constexpr uint64_t kOnes = 0x0101010101010101;
    uint64_t word;
    std::memcpy(&word, bytes, sizeof word);
    word ^= kOnes * value;
    return ((word - kOnes) & ~word & kOnes << 7) != 0;
}

// A block by the table of indexes: bytes half fill the first-level cache where words would not fit. Colours not met yet
// show afterwards, so that no pixel asks. `indexes` has room for eight more.
void matchByIndexes(const DitherState& state, const ColorFetch& source, int32_t count, const uint8_t* pixels,
                    uint8_t* indexes) {
    uint16_t keys[kVectorBlock];
    uint8_t* const table = state.indexTable.data();
    bool fetched = !source.bytes;
    if (source.bytes) {
        kernels().lookUp555(pixels, indexes, static_cast<size_t>(count), {table, source.fields});
    } else {
        fetchKeys(source, pixels, count, keys);
        for (int32_t i = 0; i < count; ++i) indexes[i] = table[keys[i]];
    }
    for (int32_t first = 0; first < count; first += 8) {
        if (!anyByteIs(indexes + first, state.unknownIndex)) continue;
        if (!fetched) fetchKeys(source, pixels, count, keys);
        fetched = true;
        for (int32_t i = first; i < std::min(first + 8, count); ++i) {
            if (indexes[i] == state.unknownIndex) indexes[i] = table[keys[i]] = lookUpChoice(state, keys[i]).Reserved;
        }
    }
}

}  // namespace

void matchRow(DitherState& state, const ColorFetch& source, int32_t width, const uint8_t* input, uint8_t* output) {
    const bool byIndexes = prepareIndexes(state);
    uint16_t keys[kVectorBlock];
    uint8_t indexes[kVectorBlock + 8] = {};
    int32_t count;
    for (int32_t x = 0; x < width; x += count) {
        count = std::min(kVectorBlock, width - x);
        const uint8_t* const pixels = input + source.offsetOf(x);
        if (byIndexes) {
            matchByIndexes(state, source, count, pixels, indexes);
        } else {
            fetchKeys(source, pixels, count, keys);
            matchByWords(state, keys, count, indexes);
        }
        packIndexes(source.kernels, indexes, state.outputBits, count,
                    output + static_cast<size_t>(x) / 8 * state.outputBits);
    }
}

}  // namespace tnk
