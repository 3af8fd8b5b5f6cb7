// Dithering with AVX2: pixels into channels, and levels and indexes into bits. The few pixels that a wide vector leaves
// go by narrow ones.
#include <immintrin.h>

#include <cstddef>

#include "kernels/dither/dither_kernels.h"
#include "kernels/dither/split_places.h"

namespace tnk {
namespace {

__m128i load16(const uint8_t* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
__m256i load(const uint8_t* from) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from)); }
void store(uint8_t* to, __m256i value) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), value); }

// 16 bytes, and the 16 bytes 48 further on: the same part of the next 16 pixels.
__m256i loadParts(const uint8_t* from) {
    return _mm256_inserti128_si256(_mm256_castsi128_si256(load16(from)), load16(from + 48), 1);
}

// Takes the bytes of a channel out of three vectors of 3-byte pixels, lane by lane.
struct Take3 {
    __m256i from[3];

    explicit Take3(int32_t channel) {
        for (int32_t i = 0; i < 3; ++i) from[i] = _mm256_broadcastsi128_si256(load16(kSplitPlaces.of[channel][i]));
    }
    __m256i operator()(__m256i a, __m256i b, __m256i c) const {
        return _mm256_or_si256(_mm256_or_si256(_mm256_shuffle_epi8(a, from[0]), _mm256_shuffle_epi8(b, from[1])),
                               _mm256_shuffle_epi8(c, from[2]));
    }
};

// The bytes of each eight in the order of their bits: the first pixel is the highest bit.
__m256i firstHigh() {
    return _mm256_broadcastsi128_si256(_mm_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8));
}

void putBits(uint8_t* row, __m256i tops) {
    const int bits = _mm256_movemask_epi8(tops);
    __builtin_memcpy(row, &bits, 4);
}

}  // namespace

int32_t splitThreeAvx2(const uint8_t* pixels, int32_t count, uint8_t* first, uint8_t* second, uint8_t* third) {
    const Take3 takeFirst(0);
    const Take3 takeSecond(1);
    const Take3 takeThird(2);
    int32_t x = 0;
    for (; x + 32 <= count; x += 32) {
        const uint8_t* const from = pixels + 3 * static_cast<ptrdiff_t>(x);
        const __m256i a = loadParts(from);
        const __m256i b = loadParts(from + 16);
        const __m256i c = loadParts(from + 32);
        store(first + x, takeFirst(a, b, c));
        store(second + x, takeSecond(a, b, c));
        store(third + x, takeThird(a, b, c));
    }
    return x + splitThreeSsse3(pixels + 3 * static_cast<ptrdiff_t>(x), count - x, first + x, second + x, third + x);
}

int32_t packBitsAvx2(const uint8_t* indexes, int32_t count, uint8_t* row) {
    const __m256i places = firstHigh();
    int32_t x = 0;
    for (; x + 32 <= count; x += 32) {
        putBits(row + x / 8, _mm256_slli_epi16(_mm256_shuffle_epi8(load(indexes + x), places), 7));
    }
    return x + packBitsSsse3(indexes + x, count - x, row + x / 8);
}

int32_t packAboveAvx2(const uint8_t* levels, const uint8_t (&thresholds)[kOffsets], int32_t count, uint8_t* row) {
    const __m256i places = firstHigh();
    const __m256i repeated = _mm256_broadcastsi128_si256(load16(thresholds));
    const __m256i least = _mm256_add_epi8(_mm256_shuffle_epi8(repeated, places), _mm256_set1_epi8(1));
    int32_t x = 0;
    for (; x + 32 <= count; x += 32) {
        const __m256i level = _mm256_shuffle_epi8(load(levels + x), places);
        putBits(row + x / 8, _mm256_cmpeq_epi8(_mm256_max_epu8(level, least), level));
    }
    return x + packAboveSsse3(levels + x, thresholds, count - x, row + x / 8);
}

}  // namespace tnk
