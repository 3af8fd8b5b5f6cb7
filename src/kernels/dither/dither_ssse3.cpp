// Dithering with SSSE3: pixels into channels, and indexes into bits.
#include <tmmintrin.h>

#include "kernels/dither/dither_kernels.h"
#include "kernels/dither/split_places.h"

namespace tnk {
namespace {

__m128i load(const uint8_t* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
void store(uint8_t* to, __m128i value) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), value); }

// Takes the bytes of a channel out of three vectors of 3-byte pixels.
struct Take3 {
    __m128i from[3];

    explicit Take3(int32_t channel) {
        for (int32_t i = 0; i < 3; ++i) from[i] = load(kSplitPlaces.of[channel][i]);
    }
    __m128i operator()(__m128i a, __m128i b, __m128i c) const {
        return _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(a, from[0]), _mm_shuffle_epi8(b, from[1])),
                            _mm_shuffle_epi8(c, from[2]));
    }
};

}  // namespace

int32_t splitThreeSsse3(const uint8_t* pixels, int32_t count, uint8_t* first, uint8_t* second, uint8_t* third) {
    const Take3 takeFirst(0);
    const Take3 takeSecond(1);
    const Take3 takeThird(2);
    int32_t x = 0;
    for (; x + 16 <= count; x += 16) {
        const __m128i a = load(pixels + 3 * x);
        const __m128i b = load(pixels + 3 * x + 16);
        const __m128i c = load(pixels + 3 * x + 32);
        store(first + x, takeFirst(a, b, c));
        store(second + x, takeSecond(a, b, c));
        store(third + x, takeThird(a, b, c));
    }
    return x;
}

int32_t splitFourSsse3(const uint8_t* pixels, int32_t count, uint8_t* first, uint8_t* second, uint8_t* third) {
    const __m128i byChannel = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    int32_t x = 0;
    for (; x + 16 <= count; x += 16) {
        const __m128i a = _mm_shuffle_epi8(load(pixels + 4 * x), byChannel);
        const __m128i b = _mm_shuffle_epi8(load(pixels + 4 * x + 16), byChannel);
        const __m128i c = _mm_shuffle_epi8(load(pixels + 4 * x + 32), byChannel);
        const __m128i d = _mm_shuffle_epi8(load(pixels + 4 * x + 48), byChannel);
        const __m128i ab = _mm_unpacklo_epi32(a, b);
        const __m128i cd = _mm_unpacklo_epi32(c, d);
        store(first + x, _mm_unpacklo_epi64(ab, cd));
        store(second + x, _mm_unpackhi_epi64(ab, cd));
        store(third + x, _mm_unpacklo_epi64(_mm_unpackhi_epi32(a, b), _mm_unpackhi_epi32(c, d)));
    }
    return x;
}

int32_t packBitsSsse3(const uint8_t* indexes, int32_t count, uint8_t* row) {
    const __m128i firstHigh = _mm_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8);
    int32_t x = 0;
    for (; x + 16 <= count; x += 16) {
        const __m128i lowBitsUp = _mm_slli_epi16(_mm_shuffle_epi8(load(indexes + x), firstHigh), 7);
        const int bits = _mm_movemask_epi8(lowBitsUp);
        row[x / 8] = static_cast<uint8_t>(bits);
        row[x / 8 + 1] = static_cast<uint8_t>(bits >> 8);
    }
    return x;
}

int32_t packFoursSsse3(const uint8_t* indexes, int32_t count, uint8_t* row) {
    const __m128i low = _mm_set1_epi8(0x0F);
    const __m128i weights = _mm_set1_epi16(0x0110);  // the first of two is the high half
    int32_t x = 0;
    for (; x + 16 <= count; x += 16) {
        const __m128i pairs = _mm_maddubs_epi16(_mm_and_si128(load(indexes + x), low), weights);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(row + x / 2), _mm_packus_epi16(pairs, pairs));
    }
    return x;
}

// Columns repeat, so a vector's pixels reversed by eights take the thresholds reversed alike.
int32_t packAboveSsse3(const uint8_t* levels, const uint8_t (&thresholds)[kOffsets], int32_t count, uint8_t* row) {
    const __m128i firstHigh = _mm_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8);
    const __m128i least = _mm_add_epi8(_mm_shuffle_epi8(load(thresholds), firstHigh), _mm_set1_epi8(1));
    int32_t x = 0;
    for (; x + 16 <= count; x += 16) {
        const __m128i level = _mm_shuffle_epi8(load(levels + x), firstHigh);
        const int bits = _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_max_epu8(level, least), level));
        row[x / 8] = static_cast<uint8_t>(bits);
        row[x / 8 + 1] = static_cast<uint8_t>(bits >> 8);
    }
    return x;
}

}  // namespace tnk
