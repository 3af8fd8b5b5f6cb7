// Resizing with AVX2.
#include <immintrin.h>

#include <cstring>

#include "kernels/size/size_kernels.h"

namespace tnk {
namespace {

__m128i load(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }
__m256i loadWide(const void* from) { return _mm256_loadu_si256(static_cast<const __m256i*>(from)); }

__m256i blend(__m256i pairs, __m256i weights, __m256i offset) {
    return _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(pairs, weights), offset), kBlendBits);
}

}  // namespace

void blendColumnsAvx2(const uint8_t* row, const BlendRun* runs, size_t count, int32_t offset, uint8_t* target) {
    const __m256i offsets = _mm256_set1_epi32(offset);
    for (const BlendRun* run = runs; run != runs + count; ++run, target += 8) {
        const __m128i pairs = _mm_shuffle_epi8(load(row + run->from), load(run->pairs));
        const __m256i values = blend(_mm256_cvtepu8_epi16(pairs), loadWide(run->weights), offsets);
        const __m128i words = _mm_packs_epi32(_mm256_castsi256_si128(values), _mm256_extracti128_si256(values, 1));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(target), _mm_packus_epi16(words, words));
    }
}

size_t blendRowsAvx2(const uint8_t* a, const uint8_t* b, const BlendWeights& weights, int32_t offset, size_t count,
                     uint8_t* target) {
    int32_t both;
    std::memcpy(&both, &weights, sizeof both);
    const __m256i all = _mm256_set1_epi32(both);
    const __m256i offsets = _mm256_set1_epi32(offset);
    const __m256i zero = _mm256_setzero_si256();
    size_t i = 0;
    for (; i + 32 <= count; i += 32) {
        const __m256i low = _mm256_unpacklo_epi8(loadWide(a + i), loadWide(b + i));
        const __m256i high = _mm256_unpackhi_epi8(loadWide(a + i), loadWide(b + i));
        const __m256i first = _mm256_packs_epi32(blend(_mm256_unpacklo_epi8(low, zero), all, offsets),
                                                 blend(_mm256_unpackhi_epi8(low, zero), all, offsets));
        const __m256i second = _mm256_packs_epi32(blend(_mm256_unpacklo_epi8(high, zero), all, offsets),
                                                  blend(_mm256_unpackhi_epi8(high, zero), all, offsets));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(target + i), _mm256_packus_epi16(first, second));
    }
    return i;
}

}  // namespace tnk
