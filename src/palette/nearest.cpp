// The nearest entry of a palette to one colour.
#include "palette/nearest.h"

#include <algorithm>

#include "kernels/pixels/hue_class.h"
#include "palette/palette.h"

#if defined(__SSE2__)
#include <emmintrin.h>

#include <bit>
#endif

namespace tnk {
namespace {

constexpr uint32_t kChunk = 256;  // entries whose distances are held at a time

bool isColor(const PaletteEntry& entry, uint8_t level) {
    return entry.Red == level && entry.Green == level && entry.Blue == level;
}

// Whether an entry is as near as the rival or nearer somewhere between two corners. The difference of the two squared
// distances is linear in the colour: a corner has its least value, which one follows from how the channels stand.
bool contends(const PaletteEntry& entry, const PaletteEntry& rival, const PaletteEntry& low, const PaletteEntry& high) {
    const int32_t red = entry.Red > rival.Red ? high.Red : low.Red;
    const int32_t green = entry.Green > rival.Green ? high.Green : low.Green;
    const int32_t blue = entry.Blue > rival.Blue ? high.Blue : low.Blue;
    return squaredDistance(entry, red, green, blue) <= squaredDistance(rival, red, green, blue);
}

#if defined(__SSE2__)

// The four bytes of an entry with the reserved one cleared.
__m128i colorBytes(__m128i entries) { return _mm_and_si128(entries, _mm_set1_epi32(0xFFFFFF)); }

__m128i repeatColor(const PaletteEntry& color) {
    return _mm_set1_epi32(color.Blue | color.Green << 8 | color.Red << 16);
}

// The squared distances of four entries to four colours; reserved bytes are 0.
__m128i fourDistances(__m128i entries, __m128i wanted) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i apart = _mm_or_si128(_mm_subs_epu8(entries, wanted), _mm_subs_epu8(wanted, entries));
    const __m128i low = _mm_unpacklo_epi8(apart, zero);
    const __m128i high = _mm_unpackhi_epi8(apart, zero);
    // Two sums an entry: blue and green, red.
    const __m128 lowSums = _mm_castsi128_ps(_mm_madd_epi16(low, low));
    const __m128 highSums = _mm_castsi128_ps(_mm_madd_epi16(high, high));
    return _mm_add_epi32(_mm_castps_si128(_mm_shuffle_ps(lowSums, highSums, _MM_SHUFFLE(2, 0, 2, 0))),
                         _mm_castps_si128(_mm_shuffle_ps(lowSums, highSums, _MM_SHUFFLE(3, 1, 3, 1))));
}

// The first position from `from` on that holds `value`; `count` when there is none.
uint32_t findValue(const uint32_t* values, uint32_t from, uint32_t count, uint32_t value) {
    const __m128i wanted = _mm_set1_epi32(static_cast<int32_t>(value));
    for (; from + 4 <= count; from += 4) {
        const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&values[from]));
        const auto equal = static_cast<uint32_t>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(four, wanted))));
        if (equal != 0) return from + static_cast<uint32_t>(std::countr_zero(equal));
    }
    while (from < count && values[from] != value) ++from;
    return from;
}

#else

uint32_t findValue(const uint32_t* values, uint32_t from, uint32_t count, uint32_t value) {
    while (from < count && values[from] != value) ++from;
    return from;
}

#endif

}  // namespace

#if defined(__SSE2__)

// Writes the squared distance of each entry and returns the least.
uint32_t findDistances(std::span<const PaletteEntry> entries, const PaletteEntry& color, uint32_t* distances) {
    const __m128i wanted = repeatColor(color);
    const size_t whole = entries.size() & ~size_t{3};
    __m128 least = _mm_set1_ps(0x1p24f);  // floats hold every distance exactly
    for (size_t i = 0; i < whole; i += 4) {
        const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&entries[i]));
        const __m128i distance = fourDistances(colorBytes(four), wanted);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(&distances[i]), distance);
        least = _mm_min_ps(least, _mm_cvtepi32_ps(distance));
    }
    uint32_t lanes[4];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(lanes), _mm_cvtps_epi32(least));
    uint32_t result = std::min(std::min(lanes[0], lanes[1]), std::min(lanes[2], lanes[3]));
    for (size_t i = whole; i < entries.size(); ++i)
        result = std::min(result, distances[i] = squaredDistance(entries[i], color.Red, color.Green, color.Blue));
    return result;
}

uint32_t keepContenders(std::span<const PaletteEntry> palette, const PaletteEntry& rival, const PaletteEntry& low,
                        const PaletteEntry& high, PaletteEntry* kept) {
    const __m128i rivals = repeatColor(rival), lows = repeatColor(low), highs = repeatColor(high);
    PaletteEntry* end = kept;
    const auto keepIf = [&](const PaletteEntry& entry, bool stays) {
        *end = entry;  // without a branch: which ones stay cannot be predicted
        end += stays;
    };
    const size_t whole = palette.size() & ~size_t{3};
    for (size_t i = 0; i < whole; i += 4) {
        const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&palette[i]));
        const __m128i entries = colorBytes(four);
        const __m128i below = _mm_cmpeq_epi8(_mm_subs_epu8(entries, rivals), _mm_setzero_si128());
        const __m128i corners = _mm_or_si128(_mm_and_si128(below, lows), _mm_andnot_si128(below, highs));
        const __m128i beaten = _mm_cmpgt_epi32(fourDistances(entries, corners), fourDistances(rivals, corners));
        const auto bits = static_cast<uint32_t>(_mm_movemask_ps(_mm_castsi128_ps(beaten)));
        for (size_t n = 0; n < 4; ++n) keepIf(palette[i + n], (bits >> n & 1) == 0);
    }
    for (const PaletteEntry& entry : palette.subspan(whole)) keepIf(entry, contends(entry, rival, low, high));
    return static_cast<uint32_t>(end - kept);
}

#else

uint32_t findDistances(std::span<const PaletteEntry> entries, const PaletteEntry& color, uint32_t* distances) {
    uint32_t least = UINT32_MAX;
    for (const PaletteEntry& entry : entries)
        least = std::min(least, *distances++ = squaredDistance(entry, color.Red, color.Green, color.Blue));
    return least;
}

uint32_t keepContenders(std::span<const PaletteEntry> palette, const PaletteEntry& rival, const PaletteEntry& low,
                        const PaletteEntry& high, PaletteEntry* kept) {
    uint32_t count = 0;
    for (const PaletteEntry& entry : palette)
        if (contends(entry, rival, low, high)) kept[count++] = entry;
    return count;
}

#endif

// The search of findNearest without its shortcuts: the least distance, among equals the last entry of the wanted
// colour's hue class, else the first. At distance 0 the first, since the search ends there.
uint32_t searchPalette(std::span<const PaletteEntry> palette, const PaletteEntry& color) {
    const uint32_t wantedClass = hueClass(color.Red, color.Green, color.Blue);
    const auto count = static_cast<uint32_t>(palette.size());
    uint32_t distances[kChunk];
    uint32_t best = UINT32_MAX;
    uint32_t bestDistance = UINT32_MAX;
    for (uint32_t first = 0; first < count && bestDistance != 0; first += kChunk) {
        const uint32_t held = std::min(kChunk, count - first);
        const uint32_t least = findDistances(palette.subspan(first, held), color, distances);
        if (least > bestDistance) continue;
        uint32_t i = findValue(distances, 0, held, least);
        if (least < bestDistance) {
            bestDistance = least;
            best = first + i++;
        }
        if (least == 0) break;
        for (; (i = findValue(distances, i, held, least)) < held; ++i) {
            const PaletteEntry& entry = palette[first + i];
            if (hueClass(entry.Red, entry.Green, entry.Blue) == wantedClass) best = first + i;
        }
    }
    return best;
}

uint32_t findNearest(std::span<const PaletteEntry> palette, uint8_t red, uint8_t green, uint8_t blue) {
    if (palette.empty()) return UINT32_MAX;
    const auto last = static_cast<uint32_t>(palette.size()) - 1;
    if ((red | green | blue) == 0) {
        if (isColor(palette.front(), 0)) return 0;
        if (isColor(palette.back(), 0)) return last;
    }
    if ((red & green & blue) == 255) {
        if (isColor(palette.back(), 255)) return last;
        if (isColor(palette.front(), 255)) return 0;
    }
    return searchPalette(palette, {blue, green, red, 0});
}

}  // namespace tnk

extern "C" uint32_t TNK_CALL T_FindPaletteIndex(const PaletteEntry* Palette, uint32_t Count, uint8_t Red, uint8_t Green,
                                                uint8_t Blue) {
    if (Palette == nullptr) return 0;
    if (Count > INT32_MAX) return UINT32_MAX;  // a negative count of the caller has no entries
    return tnk::findNearest({Palette, Count}, Red, Green, Blue);
}
