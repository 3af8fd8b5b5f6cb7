// Counting of distinct colours: one bit for each colour that can be, set as pixels are met.
#include "color/reduce/color_count.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/pixel_values.h"
#include "base/progress.h"
#include "base/sample_rules.h"
#include "base/scratch.h"
#include "base/shape.h"
#include "bitmap/lifecycle.h"
#include "bitmap/region_scan.h"
#include "bitmap/rows.h"
#include "color/dither/color_fetch.h"
#include "convert/packed_pixels.h"
#include "kernels/kernels.h"
#include "palette/palette.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kCountRule = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};

constexpr uint32_t kTrueColorBits = 24;

uint32_t keyOf(uint32_t first, uint32_t second, uint32_t third) { return first | second << 8 | third << 16; }

// How the pixels of a bitmap are counted, settled before the first row.
struct CountRule {
    uint32_t keyBits = kTrueColorBits;
    GrayParams gray;
    std::span<const PaletteEntry> table;  // lookup table of gray samples
    PaletteEntry palette[kMaxPaletteEntries];
    uint8_t first[kMaxPaletteEntries];  // the first entry of the same colour
    uint64_t enough = UINT64_MAX;       // the scan ends with as many colours
    bool redFirst = false;
};

class ColorSet {
  public:
    Result prepare(const CountRule& rule, PaletteEntry* colors, uint32_t capacity) {
        const uint64_t keys = uint64_t{1} << rule.keyBits;
        if (!seen_.allocate((keys + 31) / 32, true)) return FAILURE;
        colors_ = colors;
        capacity_ = capacity;
        enough_ = rule.enough;
        marksOnly_ = colors == nullptr && enough_ == UINT64_MAX && rule.keyBits <= kTrueColorBits;
        return SUCCESS;
    }

    // Adds the pixels start .. end - 1 of a row; false when the answer is settled. `keyAt` gives the key of a column,
    // `colorOf` the colour of a key at a column.
    template <typename KeyAt, typename ColorOf>
    bool add(uint32_t start, uint32_t end, KeyAt keyAt, ColorOf colorOf) {
        if (marksOnly_) {
            // Whether a colour is new is not asked: the answer cannot be foretold and would cost more than the rest.
            for (uint32_t x = start; x < end; ++x) {
                const uint32_t key = keyAt(x);
                seen_[key >> 5] |= bitOf(key);
            }
            return true;
        }
        for (uint32_t x = start; x < end; ++x) {
            const uint32_t key = keyAt(x);
            if ((seen_[key >> 5] & bitOf(key)) != 0) continue;
            seen_[key >> 5] |= bitOf(key);
            if (colors_ != nullptr && count_ < capacity_) colors_[count_] = colorOf(key, x);
            if (++count_ >= enough_) return false;
        }
        return true;
    }

    uint32_t count() const {
        if (!marksOnly_) return count_;
        return static_cast<uint32_t>(kernels().countBits(seen_.data(), seen_.size()));
    }

  private:
    static uint32_t bitOf(uint32_t key) { return 1u << (key & 31); }

    Scratch<uint32_t> seen_;
    PaletteEntry* colors_ = nullptr;
    uint32_t capacity_ = 0;
    uint32_t count_ = 0;
    uint64_t enough_ = 0;
    // Nothing ends the scan early, no colours are collected, and the set is small enough to be walked at the end: one for
    // samples of 32 bits has half a gigabyte, of which only the pages that pixels mark are ever there.
    bool marksOnly_ = false;
};

// Counts the pixels start .. end - 1 of a row; false when the answer is settled.
using CountRun = bool (*)(const CountRule& rule, ColorSet& colors, const uint8_t* row, uint32_t start, uint32_t end);

bool countIndexes(const CountRule& rule, ColorSet& colors, const uint8_t* row, uint32_t start, uint32_t end) {
    return colors.add(
        start, end, [&](uint32_t x) { return rule.first[row[x]]; },
        [&](uint32_t key, uint32_t) { return rule.palette[key]; });
}

template <int32_t Bits>
bool countGray(const CountRule& rule, ColorSet& colors, const uint8_t* row, uint32_t start, uint32_t end) {
    const auto gray = [](uint32_t key, uint32_t) {
        const auto level = static_cast<uint8_t>(key);
        return PaletteEntry{level, level, level, 0};
    };
    return colors.add(
        start, end, [&](uint32_t x) { return windowValue(rule.gray, loadSample<Bits>(row, x)); }, gray);
}

// Gray samples by the colours of their lookup table; a sample without an entry is black.
template <int32_t Bits>
bool countTable(const CountRule& rule, ColorSet& colors, const uint8_t* row, uint32_t start, uint32_t end) {
    const auto entryAt = [&](uint32_t x) {
        const uint32_t value = windowValue(rule.gray, loadSample<Bits>(row, x));
        return tableEntry(rule.table, value);
    };
    const auto keyAt = [&](uint32_t x) {
        const PaletteEntry entry = entryAt(x);
        return keyOf(entry.Blue, entry.Green, entry.Red);
    };
    return colors.add(start, end, keyAt, [&](uint32_t, uint32_t x) { return entryAt(x); });
}

bool count555(const CountRule& rule, ColorSet& colors, const uint8_t* row, uint32_t start, uint32_t end) {
    const auto color = [&](uint32_t key, uint32_t) {
        const uint8_t low = widen5(key), middle = widen5(key >> 5), high = widen5(key >> 10);
        return rule.redFirst ? PaletteEntry{high, middle, low, 0} : PaletteEntry{low, middle, high, 0};
    };
    return colors.add(
        start, end, [&](uint32_t x) { return load16(row + 2 * size_t{x}) & 0x7FFF; }, color);
}

// The bytes First, First + Step and First + 2 Step of each pixel.
template <uint32_t Stride, uint32_t First, uint32_t Step>
bool countBytes(const CountRule& rule, ColorSet& colors, const uint8_t* row, uint32_t start, uint32_t end) {
    const auto color = [&](uint32_t key, uint32_t) {
        const auto first = static_cast<uint8_t>(key), third = static_cast<uint8_t>(key >> 16);
        const auto second = static_cast<uint8_t>(key >> 8);
        return rule.redFirst ? PaletteEntry{third, second, first, 0} : PaletteEntry{first, second, third, 0};
    };
    const auto keyAt = [&](uint32_t x) {
        const uint8_t* const pixel = row + size_t{x} * Stride + First;
        return keyOf(pixel[0], pixel[Step], pixel[2 * Step]);
    };
    if constexpr (First == 0 && Step == 1) {
        // By four bytes, which end with the pixel where it has three: but for the row's first, those are the row's.
        constexpr uint32_t kBefore = 4 - Stride;
        const auto keyByWord = [&](uint32_t x) {
            return load32(row + size_t{x} * Stride - kBefore) >> 8 * kBefore & 0xFFFFFF;
        };
        const uint32_t second = std::min(start + 1, end);
        return colors.add(start, second, keyAt, color) && colors.add(second, end, keyByWord, color);
    } else {
        return colors.add(start, end, keyAt, color);
    }
}

// Entries of the same colour count as the first of them.
uint32_t findDistinct(CountRule& rule, uint32_t entries) {
    uint32_t distinct = entries;
    for (uint32_t i = 0; i < kMaxPaletteEntries; ++i) {
        rule.first[i] = static_cast<uint8_t>(i);
        for (uint32_t j = 0; j < i; ++j) {
            if (std::memcmp(&rule.palette[i], &rule.palette[j], 3) != 0) continue;
            rule.first[i] = static_cast<uint8_t>(j);
            if (i < entries) --distinct;
            break;
        }
    }
    return distinct;
}

void settleGray(const BitmapHandle& bitmap, bool collects, CountRule& rule) {
    const bool hasTable = hasSampleTable(bitmap);
    rule.gray = sampleWindow(bitmap, collects && !hasTable ? 8 : bitmap.BitsPerPixel);
    if (hasTable && bitmap.BitsPerPixel < 32) {
        rule.table = sampleTable(bitmap);
        return;
    }
    rule.keyBits = static_cast<uint32_t>(std::max(rule.gray.bits, 0));
}

void settleRule(const BitmapHandle& bitmap, bool collects, uint32_t capacity, CountRule& rule) {
    if (collects) rule.enough = uint64_t{capacity} + 1;
    rule.redFirst = bitmap.Order != ORDER_BGR && bitmap.Order != ORDER_MATRIX_RGB;
    if (bitmap.BitsPerPixel <= 8) {
        rule.keyBits = Shape(bitmap).bits;
        readBitmapPalette(bitmap, rule.palette);
        rule.enough = std::min<uint64_t>(rule.enough, findDistinct(rule, 1u << rule.keyBits));
    } else if (hasGraySamples(bitmap)) {
        settleGray(bitmap, collects, rule);
    } else if (bitmap.BitsPerPixel == 16) {
        rule.keyBits = 15;
    }
}

CountRun chooseRun(const BitmapHandle& bitmap, const CountRule& rule) {
    const bool gray = hasGraySamples(bitmap);
    switch (bitmap.BitsPerPixel) {
        case 12:
            return !rule.table.empty() ? countTable<12> : countGray<12>;
        case 16:
            return !gray ? count555 : !rule.table.empty() ? countTable<16> : countGray<16>;
        case 24:
            return countBytes<3, 0, 1>;
        case 32:
            return gray ? countGray<32> : countBytes<4, 0, 1>;
        case 48:
            return countBytes<6, 1, 2>;
        case 64:
            return countBytes<8, 1, 2>;
        default:
            return countIndexes;
    }
}

class ColorScan {
  public:
    explicit ColorScan(BitmapHandle& bitmap)
        : bitmap_(bitmap), reader_(bitmap), region_(bitmap, AskRegion::whereThereIsOne) {}

    Result prepare(PaletteEntry* colors, uint32_t capacity) {
        settleRule(bitmap_, colors != nullptr, capacity, rule_);
        TRY(colors_.prepare(rule_, colors, capacity));
        TRY(reader_.prepare());
        const uint32_t width = Shape(bitmap_).width;
        if (bitmap_.BitsPerPixel < 8 && !unpacked_.allocate(width)) return FAILURE;
        return region_.prepare();
    }

    Result run() {
        const CountRun countRun = chooseRun(bitmap_, rule_);
        Progress progress = statusProgress(region_.rows());
        TRY(progress.begin());
        for (int32_t row = region_.top(); row < region_.bottom(); ++row) {
            bool open = true;
            TRY(countRow(row, countRun, &open));
            if (!open) return progress.finish();
            TRY(progress.step());
        }
        return SUCCESS;
    }

    uint32_t count() const { return colors_.count(); }

  private:
    Result countRow(int32_t row, CountRun countRun, bool* open) {
        uint8_t* pixels;
        TRY(reader_.read(row, 1, &pixels));
        TRY(region_.readRow(row));
        if (unpacked_) {
            unpackPixels(Shape(bitmap_).bits, pixels, unpacked_.data(), unpacked_.size());
            pixels = unpacked_.data();
        }
        for (const RowSegment& segment : region_.segments()) {
            *open = countRun(rule_, colors_, pixels, segment.start, segment.end);
            if (!*open) break;
        }
        return SUCCESS;
    }

    BitmapHandle& bitmap_;
    RowReader reader_;
    RegionScan region_;
    CountRule rule_;
    ColorSet colors_;
    Scratch<uint8_t> unpacked_;
};

}  // namespace

Result countColors(BitmapHandle& bitmap, PaletteEntry* colors, uint32_t* count) {
    assert(isAllocated(bitmap) && count != nullptr);
    const Locked lock(bitmap);
    ColorScan scan(bitmap);
    TRY(scan.prepare(colors, colors != nullptr ? *count : 0));
    TRY(scan.run());
    *count = scan.count();
    return SUCCESS;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_GetBitmapColorCountExt(BitmapHandle* Bitmap, uint32_t* Count, PaletteEntry* Colors) {
    constexpr EntryRule kStorageFirst = {kCountRule.onNull, kCountRule.onUnallocated, 0};
    if (const Result entry = checkEntry(kStorageFirst, Bitmap); !entry.ok()) return entry.code;
    if (Count == nullptr) return ERROR_INVALID_PARAMETER;
    if (const Result entry = checkEntry(kCountRule, Bitmap); !entry.ok()) return entry.code;
    return countColors(*Bitmap, Colors, Count).code;
}
