// Palettes built from the colours of pictures.
#pragma once

#include <cstdint>
#include <span>

#include "base/result.h"
#include "base/scratch.h"
#include "tnkrn.h"

namespace tnk {

constexpr uint32_t kBesidePlace = 256;

// Entries that dominant colours leave to the others at least; see CRF_PEELDOMINANT.
constexpr uint32_t leftForRest(bool peelsOn) { return peelsOn ? 1 : 63; }

struct OptimizedPalette {
    // In: how many colours are wanted, at most 256. Out: how many there are.
    uint32_t count = 0;
    PaletteEntry* entries = nullptr;  // room for as many as are wanted; the rest becomes zero
    bool wantsMatchTable = false;
    uint32_t leftForRest = tnk::leftForRest(false);
    bool fullPrecision = false;  // entries are whole means of clusters; dominant colours count as any others then
    bool matchesAll = true;      // the table has words for colours that do not occur, too; with full precision
    std::span<const PaletteEntry> beside{};  // with full precision: entries that pixels may get in place of these
    // Exact colours are those that reduced pixels are compared in. Else as counting collects them.
    bool forPixels = true;

    // Out: whether pixels have colours that the palette lacks, and a table of kMatchTableEntries words (place of the
    // entry for a 15-bit colour, from 1 on; 0 for colours that do not occur), or none. With full precision places beyond kBesidePlace are those of the entries `beside`.
    bool needsDithering = true;
    LocalArray<uint32_t> matchTable{};
};

// `fixed` are entries that the palette is going to stand beside: colours equal to one of them are left out of an exact
// answer. Codes: -1 no memory, and those of row access.
Result optimizePalette(BitmapHandle& bitmap, std::span<const PaletteEntry> fixed, OptimizedPalette& palette);
// One palette for all bitmaps; -2 without any.
Result optimizePaletteOfAll(std::span<const BitmapHandle> bitmaps, OptimizedPalette& palette);

}  // namespace tnk
