#include "color/reduce/palette_choice.h"

#include <algorithm>
#include <utility>

#include "base/sample_rules.h"
#include "bitmap/lifecycle.h"
#include "color/dither/color_fetch.h"
#include "color/reduce/optimized_palette.h"
#include "platform/platform.h"
#include "system/settings.h"

namespace tnk {
namespace {

// The low bits of an entry's reserved byte: none in an entry that may be chosen, the second alone in one that an
// optimized palette may fill.
constexpr uint8_t kMarks = 0x03;
constexpr uint8_t kFreeEntry = 0x02;

bool isFree(const PaletteEntry& entry) { return (entry.Reserved & kMarks) == kFreeEntry; }

Result readUserPalette(const PaletteRequest& request, PaletteChoice& choice) {
    if (request.handle != 0) {
        // Entries that the handle lacks are black.
        const uint32_t read = platform->getPaletteEntries(request.handle, 0, request.count, choice.entries);
        return read > 0 ? SUCCESS : ERROR_INVALID_PARAMETER;
    }
    if (request.entries == nullptr) return ERROR_INVALID_PARAMETER;
    std::copy_n(request.entries, request.count, choice.entries);
    return SUCCESS;
}

Result chooseGiven(const PaletteRequest& request, PaletteChoice& choice) {
    const PaletteEntry* table = nullptr;
    switch (request.selection) {
        case CRF_USERPALETTE | CRF_USERMATCHTABLE:
            choice.matchTable = currentSettings().userMatchTable;
            [[fallthrough]];
        case CRF_USERPALETTE:
            return readUserPalette(request, choice);
        case CRF_WEBPALETTE:
            if (request.bits != 8) return ERROR_INVALID_PARAMETER;
            table = webPalette();
            break;
        case CRF_FIXEDPALETTE | CRF_WEBPALETTE:
            table = request.bits == 8 ? webPalette() : fixedPalette(request.bits);
            break;
        case CRF_FIXEDPALETTE:
            table = fixedPalette(request.bits);
            break;
        default:
            return ERROR_INVALID_PARAMETER;
    }
    std::copy_n(table, request.count, choice.entries);
    return SUCCESS;
}

// The display's static colours: one half at the start, the other at the end, as the display has them.
void reserveScreenColors(PaletteChoice& choice) {
    PaletteEntry screen[kMaxPaletteEntries];
    const uint32_t size = platform->screenPalette(screen);
    const uint32_t half = std::min({platform->screenReserved(), size, choice.count}) / 2;
    for (uint32_t i = 0; i < half; ++i) {
        choice.entries[i] = screen[i];
        choice.entries[choice.count - 1 - i] = screen[size - 1 - i];
        choice.entries[i].Reserved = choice.entries[choice.count - 1 - i].Reserved = 0;
    }
}

// The entries of an optimized palette that are there from the start, and where the others go.
class FreeEntries {
  public:
    FreeEntries(const PaletteRequest& request, PaletteChoice& choice) : choice_(choice) {
        std::fill_n(choice.entries, choice.count, PaletteEntry{0, 0, 0, kFreeEntry});
        if ((request.selection & CRF_RESERVESYSTEMCOLORS) != 0) reserveScreenColors(choice);
        for (uint32_t i = 0; i < choice.count; ++i) {
            if (request.entries != nullptr && !isFree(request.entries[i])) choice.entries[i] = request.entries[i];
            if (isFree(choice.entries[i])) {
                places_[count_++] = static_cast<uint8_t>(i);
            } else {
                fixed_[i - count_] = choice.entries[i];
                if ((choice.entries[i].Reserved & kMarks) == 0) chosen_[chosenCount_++] = choice.entries[i];
            }
        }
    }

    uint32_t count() const { return count_; }
    std::span<const PaletteEntry> fixed() const { return {fixed_, choice_.count - count_}; }
    bool contiguous() const { return count_ > 0 && places_[count_ - 1] - places_[0] == static_cast<int>(count_) - 1; }

    // Puts the built colours into the free entries, in their order; zero where there are no more. Colours of palettes
    // and lookup tables come with their reserved bytes, which must not say that an entry is free or never chosen.
    void fill(const OptimizedPalette& built) {
        for (uint32_t i = 0; i < count_; ++i) {
            PaletteEntry& entry = choice_.entries[places_[i]];
            entry = i < built.count ? built.entries[i] : PaletteEntry{};
            entry.Reserved = static_cast<uint8_t>(entry.Reserved & ~kMarks);
        }
    }

    // Unused entries go, but for those that entries of the caller's or the display's stand behind.
    void cutUnused(uint32_t used) {
        for (uint32_t i = count_; i > used && choice_.count > 1 && places_[i - 1] == choice_.count - 1; --i)
            --choice_.count;
    }

    // The kept entries that pixels may get.
    std::span<const PaletteEntry> chosen() const { return {chosen_, chosenCount_}; }

    // Turns the builder's places into those that a match table counts, among all entries that may be chosen.
    void placeAmongChosen(std::span<uint32_t> table) const {
        uint32_t placeOf[2 * kBesidePlace] = {};
        uint32_t place = 0, built = 0, kept = kBesidePlace;
        for (uint32_t i = 0; i < choice_.count; ++i) {
            if ((choice_.entries[i].Reserved & kMarks) != 0) continue;
            const bool filled = built < count_ && places_[built] == i;
            placeOf[filled ? ++built : ++kept] = ++place;
        }
        for (uint32_t& word : table) word = placeOf[word];
    }

  private:
    PaletteChoice& choice_;
    PaletteEntry fixed_[kMaxPaletteEntries];
    PaletteEntry chosen_[kMaxPaletteEntries];
    uint32_t chosenCount_ = 0;
    uint8_t places_[kMaxPaletteEntries];
    uint32_t count_ = 0;
};

// `build` makes the colours of the free entries. A palette of more free entries than the source has colours needs no
// dithering, unless the source is deeper.
template <typename Build>
Result chooseOptimized(const PaletteRequest& request, PaletteChoice& choice, bool deeper, uint32_t sourceColors,
                       Build build) {
    FreeEntries free(request, choice);
    if (free.count() == 0) return SUCCESS;
    PaletteEntry colors[kMaxPaletteEntries];
    OptimizedPalette built{.count = free.count(), .entries = colors};
    built.fullPrecision = request.fullPrecision;
    built.matchesAll = request.matchesAll;
    built.beside = free.chosen();
    built.wantsMatchTable = (free.contiguous() || request.fullPrecision) && (request.selection & CRF_NOMATCHTABLE) == 0;
    built.leftForRest = leftForRest(request.peelsOn);
    TRY(build(free.fixed(), built));
    free.fill(built);
    choice.dithers = built.needsDithering && (deeper || free.count() <= sourceColors || !free.contiguous());
    if (!built.needsDithering) free.cutUnused(built.count);
    if (!built.matchTable) return SUCCESS;
    free.placeAmongChosen(built.matchTable.span());
    choice.ownTable = std::move(built.matchTable);
    choice.matchTable = choice.ownTable.data();
    return SUCCESS;
}

// Entries that no pixel has must not come before those that some have in a search for the nearest.
void pad(PaletteChoice& choice) {
    const auto coloured = [](const PaletteEntry& entry) {
        const uint32_t color = colorOf(entry);
        return color != 0 && color != 0xFFFFFF;
    };
    const PaletteEntry* const end = choice.entries + choice.count;
    const PaletteEntry* const found = std::find_if(choice.entries, choice.entries + choice.count, coloured);
    const PaletteEntry filler = found != end ? *found : PaletteEntry{127, 127, 127, 0};
    std::fill(choice.entries + choice.count, choice.entries + kMaxPaletteEntries, filler);
}

// Whether the conversion of rows sees the colours that were counted. Else a pixel's nearest entry could be one of the
// padding. Signed samples are converted in any case: dithering would refuse them.
bool convertsAsCounted(const BitmapHandle& source, int32_t bits) {
    if ((source.Flags & BMF_SIGNED) != 0) return true;
    if (needsPlainOrder(source)) return source.BitsPerPixel == 24;  // 48 bits are turned before their low bytes go
    if (!hasGraySamples(source) || hasSampleTable(source)) return true;
    // A window is cut to the bits of an index, the whole sample to 8.
    const bool whole = source.LowBit <= 0 && (source.HighBit < 0 || source.HighBit == source.BitsPerPixel - 1);
    return whole || sampleWindow(source, 8).bits <= bits;
}

}  // namespace

Result choosePalette(const PaletteRequest& request, BitmapHandle& source, PaletteChoice& choice) {
    choice.count = request.count;
    if (request.optimized()) {
        TRY(chooseOptimized(request, choice, source.BitsPerPixel > request.bits, source.ColorCount,
                            [&](std::span<const PaletteEntry> fixed, OptimizedPalette& built) {
                                return optimizePalette(source, fixed, built);
                            }));
        if (!convertsAsCounted(source, request.bits)) choice.dithers = true;
    } else {
        TRY(chooseGiven(request, choice));
    }
    pad(choice);
    return SUCCESS;
}

Result chooseSharedPalette(const PaletteRequest& request, std::span<const BitmapHandle> bitmaps,
                           PaletteChoice& choice) {
    choice.count = request.count;
    PaletteRequest kept = request;
    kept.matchesAll = true;  // callbacks may see the table
    PaletteEntry handleEntries[kMaxPaletteEntries];
    if (request.handle != 0) {
        std::fill(std::begin(handleEntries), std::end(handleEntries), PaletteEntry{0, 0, 0, kFreeEntry});
        if (platform->getPaletteEntries(request.handle, 0, request.count, handleEntries) == 0)
            return ERROR_INVALID_PARAMETER;
        kept.entries = handleEntries;
    }
    TRY(chooseOptimized(kept, choice, true, 0, [&](std::span<const PaletteEntry>, OptimizedPalette& built) {
        return optimizePaletteOfAll(bitmaps, built);
    }));
    pad(choice);
    return SUCCESS;
}

}  // namespace tnk
