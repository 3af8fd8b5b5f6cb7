#include "color/reduce/optimized_palette.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/sample_rules.h"
#include "bitmap/lifecycle.h"
#include "color/dither/color_fetch.h"
#include "color/dither/dither_state.h"
#include "color/reduce/color_boxes.h"
#include "color/reduce/color_clusters.h"
#include "color/reduce/color_count.h"
#include "color/reduce/color_sums.h"
#include "color/reduce/histogram.h"
#include "convert/row_converter.h"
#include "palette/palette.h"
#include "system/settings.h"

namespace tnk {
namespace {

constexpr EntryRule kBuilderRule = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};

bool contains(std::span<const PaletteEntry> entries, const PaletteEntry& wanted) {
    return std::any_of(entries.begin(), entries.end(),
                       [&](const PaletteEntry& entry) { return sameColor(entry, wanted); });
}

uint32_t sortValue(const PaletteEntry& entry) {
    return uint32_t{entry.Red} << 16 | uint32_t{entry.Green} << 8 | entry.Blue;
}

// Sorts by red, green, blue and moves `places` along. Exchanging, since the order that equal colours come out in shows
// in match tables.
void sortEntries(std::span<PaletteEntry> entries, uint32_t* places) {
    for (size_t i = 0; i < entries.size(); ++i) {
        for (size_t j = i + 1; j < entries.size(); ++j) {
            if (sortValue(entries[j]) >= sortValue(entries[i])) continue;
            std::swap(entries[i], entries[j]);
            if (places != nullptr) std::swap(places[i], places[j]);
        }
    }
}

// Entries from `used` on become zero.
void finish(OptimizedPalette& palette, uint32_t used) {
    std::fill(palette.entries + used, palette.entries + palette.count, PaletteEntry{});
    palette.count = used;
}

// Counted colours are what is stored; makes them the colours that reduced pixels are compared in.
Result showColors(const BitmapHandle& bitmap, std::span<PaletteEntry> colors) {
    if (needsPlainOrder(bitmap)) {
        RowConverter converter;
        TRY(converter.prepare({.bitsSrc = 24, .bitsDst = 24, .orderSrc = bitmap.Order, .orderDst = ORDER_BGR}));
        for (PaletteEntry& entry : colors) {
            uint8_t stored[3] = {entry.Blue, entry.Green, entry.Red};
            uint8_t shown[3];
            TRY(converter.run(stored, shown, 1));
            entry = {shown[0], shown[1], shown[2], 0};
        }
    } else if (hasGraySamples(bitmap) && !hasSampleTable(bitmap)) {
        // Levels of fewer than 8 bits are stretched.
        const uint32_t most = sampleWindow(bitmap, 8).mask;
        for (PaletteEntry& entry : colors) {
            if (most > 0) entry.Blue = entry.Green = entry.Red = static_cast<uint8_t>(entry.Red * 255u / most);
        }
    }
    return SUCCESS;
}

// The colours of a bitmap that has no more than there is room for.
Result findExact(BitmapHandle& bitmap, std::span<const PaletteEntry> fixed, OptimizedPalette& palette) {
    if (bitmap.BitsPerPixel <= 8 && bitmap.ColorCount <= palette.count) {
        PaletteEntry own[kMaxPaletteEntries];
        readBitmapPalette(bitmap, own);
        std::copy_n(own, bitmap.ColorCount, palette.entries);
        finish(palette, bitmap.ColorCount);
        palette.needsDithering = false;
        return SUCCESS;
    }
    // Samples of 32 bits are not counted by the colours of their table.
    if (bitmap.BitsPerPixel == 32 && hasSampleTable(bitmap)) return SUCCESS;
    // All pixels count, whatever the region, and nothing is reported while the palette is built.
    const T_HANDLE region = std::exchange(bitmap.Region, 0);
    const CallbackOff silence;
    uint32_t found = palette.count;
    const Result counted = countColors(bitmap, palette.entries, &found);
    bitmap.Region = region;
    if (!counted.ok() || found > palette.count) return counted;
    if (palette.forPixels) TRY(showColors(bitmap, {palette.entries, found}));
    PaletteEntry* const end = std::remove_if(palette.entries, palette.entries + found, [&](const PaletteEntry& entry) {
        return std::any_of(fixed.begin(), fixed.end(),
                           [&](const PaletteEntry& other) { return sameColor(entry, other); });
    });
    const auto left = static_cast<uint32_t>(end - palette.entries);
    sortEntries({palette.entries, left}, nullptr);
    finish(palette, left);
    palette.needsDithering = false;
    return SUCCESS;
}

void fillMatchTable(const ColorBoxes& boxes, const uint32_t* boxOf, uint32_t count, uint32_t* table) {
    for (uint32_t place = 0; place < count; ++place) {
        for (const uint16_t key : boxes.keys(boxOf[place])) table[key] = place + 1;
    }
}

Result quantise(ColorHistogram& histogram, OptimizedPalette& palette) {
    ColorBoxes boxes(histogram);
    TRY(boxes.split(palette.count, palette.leftForRest));
    uint32_t boxOf[kMaxPaletteEntries];
    for (uint32_t i = 0; i < boxes.count(); ++i) {
        boxOf[i] = i;
        palette.entries[i] = boxes.color(i);
    }
    finish(palette, boxes.count());
    sortEntries({palette.entries, palette.count}, boxOf);
    palette.needsDithering = true;
    if (!palette.wantsMatchTable) return SUCCESS;
    static_assert(kHistogramKeys == kMatchTableEntries);
    if (!palette.matchTable.allocate(kMatchTableEntries, true)) return FAILURE;
    fillMatchTable(boxes, boxOf, palette.count, palette.matchTable.data());
    return SUCCESS;
}

// The same by sums and clusters. The table is made of the rounded entries.
Result quantise(ColorSums& sums, OptimizedPalette& palette) {
    ColorClusters clusters(sums);
    TRY(clusters.build(palette.count, palette.beside));
    for (uint32_t i = 0; i < clusters.count(); ++i) palette.entries[i] = clusters.color(i);
    finish(palette, clusters.count());
    sortEntries({palette.entries, palette.count}, nullptr);
    palette.needsDithering = true;
    if (!palette.wantsMatchTable) return SUCCESS;
    if (!palette.matchTable.allocate(kMatchTableEntries, true)) return FAILURE;
    PaletteEntry all[kMaxPaletteEntries];
    std::copy(palette.beside.begin(), palette.beside.end(), std::copy_n(palette.entries, palette.count, all));
    clusters.match({all, palette.count + palette.beside.size()}, palette.matchesAll, palette.matchTable.data());
    for (uint32_t& place : palette.matchTable.span())
        if (place > palette.count) place += kBesidePlace - palette.count;
    return SUCCESS;
}

// The palette by the colours of a bitmap, and of all bitmaps.
template <typename Histogram>
Result quantiseOne(BitmapHandle& bitmap, OptimizedPalette& palette) {
    Histogram histogram;
    TRY(histogram.prepare());
    TRY(histogram.add(bitmap));
    return quantise(histogram, palette);
}

template <typename Histogram>
Result quantiseAll(std::span<const BitmapHandle> bitmaps, OptimizedPalette& palette) {
    Histogram histogram;
    TRY(histogram.prepare());
    for (const BitmapHandle& item : bitmaps) {
        TRY(checkEntry(kBuilderRule, &item));
        BitmapHandle bitmap = item;  // a copy of the record: reading rows notes them in it
        TRY(histogram.add(bitmap));
    }
    return quantise(histogram, palette);
}

// Adds the bitmap's colours that are not yet among the `used` ones; false when there is no room for all.
bool mergePalette(const BitmapHandle& bitmap, OptimizedPalette& palette, uint32_t& used) {
    PaletteEntry own[kMaxPaletteEntries];
    readBitmapPalette(bitmap, own);
    for (const PaletteEntry& entry : std::span(own, std::min(bitmap.ColorCount, kMaxPaletteEntries))) {
        if (contains({palette.entries, used}, entry)) continue;
        if (used == palette.count) return false;
        palette.entries[used++] = entry;
    }
    return true;
}

// The palettes of all items in one. Not `merged`: an item has none, or there is no room for all colours.
Result mergePalettes(std::span<const BitmapHandle> bitmaps, OptimizedPalette& palette, bool* merged) {
    uint32_t used = 0;
    *merged = true;
    for (size_t i = 0; i < bitmaps.size() && *merged; ++i) {
        const BitmapHandle& bitmap = bitmaps[i];
        TRY(checkEntry(kBuilderRule, &bitmap));
        *merged = bitmap.BitsPerPixel <= 8 && mergePalette(bitmap, palette, used);
    }
    if (!*merged) return SUCCESS;
    sortEntries({palette.entries, used}, nullptr);
    finish(palette, used);
    // KEEP: no pixel needs dithering now, as with one bitmap; but the answer for a list has always been that some do.
    palette.needsDithering = true;
    return SUCCESS;
}

}  // namespace

Result optimizePalette(BitmapHandle& bitmap, std::span<const PaletteEntry> fixed, OptimizedPalette& palette) {
    TRY(checkEntry(kBuilderRule, &bitmap));
    TRY(findExact(bitmap, fixed, palette));
    if (!palette.needsDithering) return SUCCESS;
    return palette.fullPrecision ? quantiseOne<ColorSums>(bitmap, palette)
                                 : quantiseOne<ColorHistogram>(bitmap, palette);
}

Result optimizePaletteOfAll(std::span<const BitmapHandle> bitmaps, OptimizedPalette& palette) {
    if (bitmaps.empty()) return ERROR_NOT_ALLOCATED;
    if (bitmaps.size() == 1) {
        BitmapHandle bitmap = bitmaps[0];
        return optimizePalette(bitmap, {}, palette);
    }
    bool merged = false;
    TRY(mergePalettes(bitmaps, palette, &merged));
    if (merged) return SUCCESS;
    return palette.fullPrecision ? quantiseAll<ColorSums>(bitmaps, palette)
                                 : quantiseAll<ColorHistogram>(bitmaps, palette);
}

}  // namespace tnk
