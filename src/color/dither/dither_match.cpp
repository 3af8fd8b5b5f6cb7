// How the dithering engine finds the palette entry of a colour: the mode by palette and count, and match tables.
#include <algorithm>
#include <bit>
#include <cstring>

#include "base/pixel_values.h"
#include "color/dither/dither_state.h"
#include "kernels/dither/dither_kernels.h"
#include "palette/palette.h"
#include "system/settings.h"
#include "tnkrn.h"

namespace tnk {
namespace {

// Bits of the smallest depth that holds `count` colours.
int32_t bandBits(uint32_t count) {
    int32_t bits = 1;
    while ((1u << bits) < count) ++bits;
    return bits;
}

bool samePalette(const PaletteEntry* left, const PaletteEntry* right, uint32_t count) {
    return std::memcmp(left, right, count * sizeof(PaletteEntry)) == 0;
}

constexpr uint8_t kNeverChosen = 0x03;  // bits of the reserved byte

void buildChoices(DitherState& state) {
    for (PaletteEntry& choice : state.choices) {
        choice = state.palette[0];
        choice.Reserved = 0;
    }
    for (uint32_t index = 0; index < state.count; ++index) {
        if ((state.palette[index].Reserved & kNeverChosen) != 0) continue;
        PaletteEntry& choice = state.choices[++state.choiceCount];
        choice = state.palette[index];
        choice.Reserved = static_cast<uint8_t>(index);
    }
}

// The place of the choice nearest to a 15-bit colour. A picture asks for thousands, a row of an icon for a few: the
// matcher's cells are made once they pay.
uint32_t nearestPlace(const DitherState& state, uint32_t key) {
    constexpr uint32_t kFewSearches = 64;
    const auto red = static_cast<uint8_t>(key >> 10 << 3);
    const auto green = static_cast<uint8_t>(key >> 5 << 3);
    const auto blue = static_cast<uint8_t>(key << 3);
    NearestSearches& searches = state.searches;
    if (searches.done++ == kFewSearches) searches.prepared = searches.matcher.prepare(state.choosable());
    if (searches.prepared) return searches.matcher.find(red, green, blue) + 1u;
    return findNearest(state.choosable(), red, green, blue) + 1;
}

}  // namespace

const PaletteEntry& lookUpChoice(const DitherState& state, uint32_t key) {
    uint32_t& place = state.matchTable[key];
    if (place == 0) place = nearestPlace(state, key);
    return state.choices[std::min(place, kOtherChoice)];
}

void completeMatch(const DitherMatch& match, uint32_t key) {
    const PaletteEntry& choice = lookUpChoice(*match.state, key);
    if (match.choices == nullptr) match.state->colorTable[key] = std::bit_cast<uint32_t>(choice);
}

void prepareColors(DitherState& state) {
    if (!state.ownsTable || state.colorTable || !state.colorTable.allocate(kMatchTableEntries)) return;
    // An index has one colour, so this is no choice: it has the index 0 and another colour.
    PaletteEntry none = state.palette[0];
    none.Reserved = 0;
    none.Blue ^= 1;
    state.unknownColor = std::bit_cast<uint32_t>(none);
    std::fill_n(state.colorTable.data(), kMatchTableEntries, state.unknownColor);
}

Result prepareMatching(DitherState& state, const PaletteEntry* palette, uint32_t* userTable) {
    const int32_t bits = bandBits(state.count);
    const PaletteEntry* fixed = fixedPalette(bits);
    if (palette == nullptr) palette = fixed;
    if (userTable != nullptr) {
        state.mode = MatchMode::userTable;
        state.matchTable = userTable;
    } else if (samePalette(palette, fixed, state.count)) {
        state.mode = static_cast<MatchMode>(static_cast<int32_t>(MatchMode::black1White1) + bits - 1);
    } else if (bits == 8 && samePalette(palette, webPalette(), state.count)) {
        state.mode = MatchMode::web;
    } else {
        state.mode = MatchMode::ownTable;
        if (!state.ownTable.allocate(kMatchTableEntries, true)) return FAILURE;
        state.matchTable = state.ownTable.data();
        state.ownsTable = true;
    }
    std::copy_n(palette, state.count, state.palette);
    if (!state.usesTable()) return SUCCESS;
    buildChoices(state);
    return state.choiceCount > 0 ? SUCCESS : ERROR_INVALID_PARAMETER;
}

void seedMatchTable(DitherState& state) {
    for (uint32_t place = 1; place <= state.choiceCount; ++place) {
        const PaletteEntry& choice = state.choices[place];
        uint32_t& entry = state.matchTable[word555(choice.Red, choice.Green, choice.Blue)];
        if (entry == 0) entry = place;  // the first entry of a 15-bit colour wins
    }
}

}  // namespace tnk

using namespace tnk;

extern "C" uint32_t* TNK_CALL T_CreateUserMatchTable(const PaletteEntry* Palette, uint32_t Count) {
    if (Palette == nullptr || Count > INT32_MAX) return nullptr;  // a negative count of the caller
    LocalArray<uint32_t> table;
    if (!table.allocate(kMatchTableEntries)) return nullptr;
    const std::span palette(Palette, Count);
    for (uint32_t key = 0; key < kMatchTableEntries; ++key) {
        table[key] = findNearest(palette, static_cast<uint8_t>(key >> 10 << 3), static_cast<uint8_t>(key >> 5 << 3),
                                 static_cast<uint8_t>(key << 3)) +
                     1;
    }
    return table.detach();
}

extern "C" int32_t TNK_CALL T_FreeUserMatchTable(uint32_t* Table) {
    if (Table != nullptr) LocalBlocks::free(Table);
    return SUCCESS;
}

extern "C" uint32_t* TNK_CALL T_SetUserMatchTable(uint32_t* Table) {
    ThreadSettings& settings = currentSettings();
    uint32_t* const previous = settings.userMatchTable;
    settings.userMatchTable = Table;
    return previous;
}
