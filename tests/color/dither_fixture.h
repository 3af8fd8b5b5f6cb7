// What tests of dithering share: random pictures and palettes, and a run on a bitmap.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "color/dither/dither_band.h"
#include "color/dither/dither_state.h"
#include "palette/palette.h"
#include "reference/palette.h"
#include "tnkrn.h"

namespace tnk::test {

using Bytes = std::vector<uint8_t>;
using Rows = std::vector<Bytes>;
using Palette = std::vector<PaletteEntry>;
using Random = std::mt19937;

inline const ReferenceColor* asReference(const PaletteEntry* palette) {
    return reinterpret_cast<const ReferenceColor*>(palette);
}

inline uint32_t below(Random& random, uint32_t limit) { return static_cast<uint32_t>(random()) % limit; }

// Every third entry or so may not be chosen where `blocked`.
inline Palette randomPalette(Random& random, uint32_t count, bool gray = false, bool blocked = false) {
    Palette palette(count);
    for (PaletteEntry& entry : palette) {
        const uint32_t bits = random();
        entry = {static_cast<uint8_t>(bits), static_cast<uint8_t>(bits >> 8), static_cast<uint8_t>(bits >> 16), 0};
        if (gray) entry.Red = entry.Green = entry.Blue;
        if (blocked && below(random, 3) == 0) entry.Reserved = static_cast<uint8_t>(bits >> 24);
    }
    palette[0].Reserved = 0;
    return palette;
}

// Random grays, or entry i is the gray level i.
inline Palette grayPalette(Random& random, uint32_t count) {
    Palette palette = randomPalette(random, count, true);
    if (count == 256 && below(random, 2) == 0) fillGrayRamp(palette);
    return palette;
}

// Noise, or slopes that leave long runs of equal colours and clamp now and then.
inline Rows randomRows(Random& random, int32_t height, size_t bytes) {
    const bool smooth = below(random, 2) == 0;
    Rows rows(static_cast<size_t>(height), Bytes(bytes));
    for (size_t y = 0; y < rows.size(); ++y) {
        for (size_t x = 0; x < bytes; ++x) {
            rows[y][x] = static_cast<uint8_t>(smooth ? x * 2 / 3 + y * 3 + x % 3 * 40 : random());
        }
    }
    return rows;
}

// A destination that takes match mode `mode`.
struct Target {
    const PaletteEntry* palette = nullptr;
    Palette own;
    uint32_t count = 0;
    uint32_t bits = 8;
    std::vector<uint32_t> table;  // mode 1

    Target(Random& random, uint32_t mode, bool gray) {
        if (mode <= 1) {
            count = 3 + below(random, 254);
            own = randomPalette(random, count, gray, true);
            palette = own.data();
            bits = 1 + below(random, 8);
            if (mode == 1) table = userTable(random);
        } else if (mode == 10) {
            count = 129 + below(random, 128);
            palette = webPalette();
        } else {
            bits = mode - 1;
            const uint32_t most = 1u << bits;
            count = below(random, 2) == 0 ? most : most / 2 + 1 + below(random, most / 2);
            if (bits == 1) count = 1 + below(random, 2);
            if (below(random, 2) == 0) palette = fixedPalette(static_cast<int32_t>(bits));
        }
    }

    uint32_t* tableOrNull() { return table.empty() ? nullptr : table.data(); }

  private:
    // Partly filled, now and then with places that do not exist.
    std::vector<uint32_t> userTable(Random& random) const {
        std::vector<uint32_t> words(kMatchTableEntries);
        for (uint32_t& word : words) {
            if (below(random, 2) == 0)
                word = below(random, 8) == 0 ? static_cast<uint32_t>(random()) : 1 + below(random, count);
        }
        return words;
    }
};

inline BitmapHandle describe(int32_t bits, uint32_t order, int32_t width, uint32_t method) {
    BitmapHandle bitmap{};
    bitmap.StructSize = sizeof(BitmapHandle);
    bitmap.Width = width;
    bitmap.BitsPerPixel = bits;
    bitmap.Order = order;
    bitmap.HighBit = -1;
    bitmap.DitherMethod = method;
    return bitmap;
}

class Dithered {
  public:
    Dithered(const BitmapHandle& bitmap, Target& target) : bitmap_(bitmap), table_(target.table) {
        started = T_StartDitheringExt(&bitmap_, target.palette, target.count, target.bits,
                                      table_.empty() ? nullptr : table_.data());
    }
    ~Dithered() { T_StopDithering(&bitmap_); }
    Dithered(const Dithered&) = delete;
    Dithered& operator=(const Dithered&) = delete;

    int32_t line(Bytes& input, Bytes& output) { return T_DitherLine(&bitmap_, input.data(), output.data()); }

    // In groups of random size, by kernels of our choice.
    int32_t rows(const DitherKernels* kernels, Random& random, Rows& input, Rows& output) {
        std::vector<uint8_t*> in;
        std::vector<uint8_t*> out;
        for (Bytes& row : input) in.push_back(row.data());
        for (Bytes& row : output) out.push_back(row.data());
        const auto height = static_cast<int32_t>(input.size());
        for (int32_t y = 0; y < height;) {
            const int32_t most = below(random, 4) == 0 ? std::min(height - y, 5) : height - y;
            const int32_t count = 1 + static_cast<int32_t>(below(random, static_cast<uint32_t>(most)));
            const Result result = ditherRowsBy(kernels, bitmap_, in.data() + y, out.data() + y, count);
            if (!result.ok()) return result.code;
            y += count;
        }
        return SUCCESS;
    }

    const DitherState& state() const { return *static_cast<const DitherState*>(bitmap_.pDitherState); }
    const std::vector<uint32_t>& table() const { return table_; }

    int32_t started;

  private:
    BitmapHandle bitmap_;
    std::vector<uint32_t> table_;
};

}  // namespace tnk::test
