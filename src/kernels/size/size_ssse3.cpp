// Resizing with SSSE3.
#include <tmmintrin.h>

#include <cstring>

#include "kernels/size/size_kernels.h"

namespace tnk {
namespace {

__m128i load(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }
void store(void* to, __m128i value) { _mm_storeu_si128(static_cast<__m128i*>(to), value); }

// Of words in pairs: a, b, a, b ...
__m128i blend(__m128i pairs, __m128i weights, __m128i offset) {
    return _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(pairs, weights), offset), kBlendBits);
}

// What takes neighbouring pixels' channels side by side, and the bytes that it takes and leaves.
struct Neighbours {
    uint8_t shuffle[16];
    size_t sourceBytes;
    size_t resultBytes;
};
constexpr Neighbours kNeighbours[] = {
    {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}, 16, 8},
    {{0, 3, 1, 4, 2, 5, 6, 9, 7, 10, 8, 11, 0x80, 0x80, 0x80, 0x80}, 12, 6},
    {{0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15}, 16, 8},
};

}  // namespace

void pickRunsSsse3(const uint8_t* row, const PickRun* runs, size_t count, uint32_t bytes, uint8_t* target) {
    for (const PickRun* run = runs; run != runs + count; ++run, target += bytes) {
        const __m128i low = _mm_shuffle_epi8(load(row + run->from), load(run->low));
        const __m128i high = _mm_shuffle_epi8(load(row + run->from + 16), load(run->high));
        store(target, _mm_or_si128(low, high));
    }
}

void blendColumnsSsse3(const uint8_t* row, const BlendRun* runs, size_t count, int32_t offset, uint8_t* target) {
    const __m128i offsets = _mm_set1_epi32(offset);
    const __m128i zero = _mm_setzero_si128();
    for (const BlendRun* run = runs; run != runs + count; ++run, target += 8) {
        const __m128i pairs = _mm_shuffle_epi8(load(row + run->from), load(run->pairs));
        const __m128i first = blend(_mm_unpacklo_epi8(pairs, zero), load(run->weights), offsets);
        const __m128i second = blend(_mm_unpackhi_epi8(pairs, zero), load(run->weights + 4), offsets);
        const __m128i words = _mm_packs_epi32(first, second);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(target), _mm_packus_epi16(words, words));
    }
}

size_t blendRowsSsse3(const uint8_t* a, const uint8_t* b, const BlendWeights& weights, int32_t offset, size_t count,
                      uint8_t* target) {
    int32_t both;
    std::memcpy(&both, &weights, sizeof both);
    const __m128i all = _mm_set1_epi32(both);
    const __m128i offsets = _mm_set1_epi32(offset);
    const __m128i zero = _mm_setzero_si128();
    size_t i = 0;
    for (; i + 16 <= count; i += 16) {
        const __m128i low = _mm_unpacklo_epi8(load(a + i), load(b + i));
        const __m128i high = _mm_unpackhi_epi8(load(a + i), load(b + i));
        const __m128i first = _mm_packs_epi32(blend(_mm_unpacklo_epi8(low, zero), all, offsets),
                                              blend(_mm_unpackhi_epi8(low, zero), all, offsets));
        const __m128i second = _mm_packs_epi32(blend(_mm_unpacklo_epi8(high, zero), all, offsets),
                                               blend(_mm_unpackhi_epi8(high, zero), all, offsets));
        store(target + i, _mm_packus_epi16(first, second));
    }
    return i;
}

size_t halveSsse3(const uint8_t* a, const uint8_t* b, uint32_t channels, size_t count, uint8_t* target) {
    const Neighbours& neighbours = kNeighbours[channels == 1 ? 0 : channels - 2];
    const __m128i shuffle = load(neighbours.shuffle);
    const __m128i ones = _mm_set1_epi8(1);
    size_t done = 0;
    // Vectors of eight results are read and written, also where fewer of them count.
    for (; done + 8 <= count; done += neighbours.resultBytes) {
        const __m128i sums = _mm_add_epi16(_mm_maddubs_epi16(_mm_shuffle_epi8(load(a), shuffle), ones),
                                           _mm_maddubs_epi16(_mm_shuffle_epi8(load(b), shuffle), ones));
        const __m128i means = _mm_srli_epi16(_mm_add_epi16(sums, _mm_set1_epi16(2)), 2);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(target + done), _mm_packus_epi16(means, means));
        a += neighbours.sourceBytes;
        b += neighbours.sourceBytes;
    }
    return done;
}

}  // namespace tnk
