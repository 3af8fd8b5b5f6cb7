// Dithering with AVX2: sixteen rows or pixels at a time.
#include <immintrin.h>

#include "kernels/dither/dither_band_core.h"
#include "kernels/dither/dither_row_core.h"

namespace tnk {
namespace {

struct Avx2 {
    using V = int16_t __attribute__((vector_size(32)));
    static constexpr int32_t kLanes = 16;

    static V vector(__m256i value) { return reinterpret_cast<V>(value); }
    static __m256i bits(V value) { return reinterpret_cast<__m256i>(value); }

    static V all(int32_t value) { return vector(_mm256_set1_epi16(static_cast<int16_t>(value))); }
    static V load(const int16_t* from) { return vector(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(from))); }
    static void store(void* to, V value) { _mm256_storeu_si256(static_cast<__m256i*>(to), bits(value)); }

    static V widen(const uint8_t* from) {
        return vector(_mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))));
    }
    static void narrow(uint8_t* to, V value) {
        const __m256i v = bits(value);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to),
                         _mm_packus_epi16(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)));
    }
    // To 0 .. most.
    static V clamp(V value, V most) {
        return vector(_mm256_min_epi16(_mm256_max_epi16(bits(value), _mm256_setzero_si256()), bits(most)));
    }
    // Bytes by bytes, out of one of 16 that each lane of 128 bits has.
    static constexpr bool kShuffles = true;
    static V repeat(const uint8_t* bytes) {
        return vector(_mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes))));
    }
    static V lookUp(V bytes, V places) { return vector(_mm256_shuffle_epi8(bits(bytes), bits(places))); }

    static V multiplyHigh(V value, V factor) { return vector(_mm256_mulhi_epu16(bits(value), bits(factor))); }

    // One lane down, each row's value to the next row; the first row takes *first.
    static V shiftDown(V value, const int16_t* first) {
        const __m128i above = _mm_loadu_si128(reinterpret_cast<const __m128i*>(first));
        const __m256i high = _mm256_permute2x128_si256(bits(value), _mm256_castsi128_si256(above), 0x21);
        return vector(_mm256_alignr_epi8(high, bits(value), 2));
    }

    static V lanesBelow(int32_t count) {
        const __m256i places = _mm256_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
        return vector(_mm256_cmpgt_epi16(_mm256_set1_epi16(static_cast<int16_t>(count)), places));
    }

    template <int32_t Power>
    static V divideByPower(V sum) {
        // Sums to 255 << Power leave 8 - Power upper bits that are all the sign.
        const __m256i sign = 2 * Power <= 8 ? bits(sum) : _mm256_srai_epi16(bits(sum), 15);
        return (sum + vector(_mm256_srli_epi16(sign, 16 - Power))) >> Power;
    }
    static V divide(V sum, const Reciprocal& by) {
        const __m256i high = _mm256_mulhi_epi16(bits(sum), _mm256_set1_epi16(static_cast<int16_t>(by.multiplier)));
        return vector(_mm256_srai_epi16(high, by.shift)) - (sum >> 15);
    }

    // Words of 16 lanes: those of the low halves of both 128-bit parts, and those of the high halves.
    struct Entries {
        __m256i low;
        __m256i high;
    };
    static Entries gather(const uint32_t* table, V key) {
        const __m256i zero = _mm256_setzero_si256();
        const auto* const words = reinterpret_cast<const int*>(table);
        return {_mm256_i32gather_epi32(words, _mm256_unpacklo_epi16(bits(key), zero), 4),
                _mm256_i32gather_epi32(words, _mm256_unpackhi_epi16(bits(key), zero), 4)};
    }
    // A bit for each lane of the mask whose entry is `none`.
    static uint32_t unknownLanes(const Entries& entries, uint32_t none, V mask) {
        const __m256i word = _mm256_set1_epi32(static_cast<int>(none));
        const __m256i unknown = _mm256_and_si256(
            bits(mask),
            _mm256_packs_epi32(_mm256_cmpeq_epi32(entries.low, word), _mm256_cmpeq_epi32(entries.high, word)));
        if (_mm256_testz_si256(unknown, unknown) != 0) return 0;
        const __m128i lanes = _mm_packs_epi16(_mm256_castsi256_si128(unknown), _mm256_extracti128_si256(unknown, 1));
        return static_cast<uint32_t>(_mm_movemask_epi8(lanes));
    }
    static Entries chosen(const PaletteEntry* choices, const Entries& places) {
        const __m256i last = _mm256_set1_epi32(kOtherChoice);
        const auto* const words = reinterpret_cast<const int*>(choices);
        return {_mm256_i32gather_epi32(words, _mm256_min_epu32(places.low, last), 4),
                _mm256_i32gather_epi32(words, _mm256_min_epu32(places.high, last), 4)};
    }
    template <int32_t Channels>
    static void split(const Entries& colors, V (&level)[Channels], V& index) {
        const __m256i byte = _mm256_set1_epi32(0xFF);
        const auto channel = [&](int shift) {
            return vector(_mm256_packs_epi32(_mm256_and_si256(_mm256_srli_epi32(colors.low, shift), byte),
                                             _mm256_and_si256(_mm256_srli_epi32(colors.high, shift), byte)));
        };
        level[0] = channel(16);
        if constexpr (Channels == 3) {
            level[1] = channel(8);
            level[2] = channel(0);
        }
        index = channel(24);
    }

    // Levels as bytes, of which sums and differences end at 255 and 0.
    struct Levels {
        using V = uint8_t __attribute__((vector_size(32)));
        static constexpr int32_t kLanes = 32;

        static V vector(__m256i value) { return reinterpret_cast<V>(value); }
        static __m256i bits(V value) { return reinterpret_cast<__m256i>(value); }
        static V load(const uint8_t* from) {
            return vector(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(from)));
        }
        static void store(uint8_t* to, V value) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), bits(value)); }
        static V plus(V a, V b) { return vector(_mm256_adds_epu8(bits(a), bits(b))); }
        static V minus(V a, V b) { return vector(_mm256_subs_epu8(bits(a), bits(b))); }
        // Bits that a byte loses must be zero.
        static V right(V value, int32_t by) { return vector(_mm256_srl_epi16(bits(value), _mm_cvtsi32_si128(by))); }
    };

    // Two lots of 16 bytes, side by side or `apart`.
    struct Bytes {
        static constexpr int32_t kBytes = 32;
        __m256i v;

        static __m128i half(const uint8_t* from) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from)); }
        static Bytes load(const uint8_t* from) { return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(from))}; }
        static Bytes load(const uint8_t* from, int32_t apart) {
            return {_mm256_inserti128_si256(_mm256_castsi128_si256(half(from)), half(from + apart), 1)};
        }
        void store(uint8_t* to) const { _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), v); }
        void store(uint8_t* to, int32_t apart) const {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm256_castsi256_si128(v));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to + apart), _mm256_extracti128_si256(v, 1));
        }
        static Bytes low(Bytes a, Bytes b) { return {_mm256_unpacklo_epi8(a.v, b.v)}; }
        static Bytes high(Bytes a, Bytes b) { return {_mm256_unpackhi_epi8(a.v, b.v)}; }
    };
};

}  // namespace

constexpr DitherKernels kDitherKernelsAvx2 = {Avx2::kLanes,   chooseBandCore<Avx2>, chooseRowCore<Avx2>, splitThreeAvx2,
                                              splitFourSsse3, packBitsAvx2,         packFoursSsse3,      packAboveAvx2};

}  // namespace tnk
