// The palette that colour resolution reduces to.
#pragma once

#include <cstdint>
#include <span>

#include "base/result.h"
#include "base/scratch.h"
#include "palette/palette.h"
#include "tnkrn.h"

namespace tnk {

// What the caller asks for.
struct PaletteRequest {
    int32_t bits = 0;
    uint32_t selection = 0;      // bits 0-9 of the flags without those of the order
    bool peelsOn = false;        // of an optimized palette, see CRF_PEELDOMINANT
    bool fullPrecision = false;  // likewise, see CRF_FULLPRECISION
    bool matchesAll = true;      // its match table is asked for any colour, as errors and offsets make them
    const PaletteEntry* entries = nullptr;
    T_HANDLE handle = 0;
    uint32_t count = 0;  // 1 to 2^bits

    // An optimized palette, with or without static colours and match table. A list builds it once for all items, but
    // without the table.
    bool optimized() const {
        constexpr uint32_t kUnnamedBit = 0x0002;  // accepted there, without a meaning of its own
        return (selection & ~(kUnnamedBit | CRF_RESERVESYSTEMCOLORS | CRF_NOMATCHTABLE)) == 0;
    }
    bool sharedByList() const { return optimized() && (selection & CRF_NOMATCHTABLE) == 0; }
    // Whether `entries` are looked at: other choices may come with a pointer to anything.
    bool readsEntries() const {
        return entries != nullptr && (optimized() || (selection & ~CRF_USERMATCHTABLE) == CRF_USERPALETTE);
    }
};

// What it comes to.
struct PaletteChoice {
    PaletteEntry entries[kMaxPaletteEntries] = {};  // those from `count` on are one of the colours, or a gray
    uint32_t count = 0;
    uint32_t* matchTable = nullptr;  // the thread's, `ownTable`, or none
    LocalArray<uint32_t> ownTable;
    bool dithers = true;  // false: every pixel's colour is an entry
};

Result choosePalette(const PaletteRequest& request, BitmapHandle& source, PaletteChoice& choice);

// One optimized palette for all bitmaps of a list.
// `request.handle` counts as an array that ends with free entries.
Result chooseSharedPalette(const PaletteRequest& request, std::span<const BitmapHandle> bitmaps, PaletteChoice& choice);

}  // namespace tnk
