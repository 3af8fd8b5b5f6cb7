// Dithering with SSE2: eight rows or pixels at a time.
#include <emmintrin.h>

#include "kernels/dither/dither_band_core.h"
#include "kernels/dither/dither_row_core.h"

namespace tnk {
namespace {

struct Sse2 {
    using V = int16_t __attribute__((vector_size(16)));
    static constexpr int32_t kLanes = 8;

    static V vector(__m128i value) { return reinterpret_cast<V>(value); }
    static __m128i bits(V value) { return reinterpret_cast<__m128i>(value); }

    static V all(int32_t value) { return vector(_mm_set1_epi16(static_cast<int16_t>(value))); }
    static V load(const int16_t* from) { return vector(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))); }
    static void store(void* to, V value) { _mm_storeu_si128(static_cast<__m128i*>(to), bits(value)); }

    static V widen(const uint8_t* from) {
        return vector(_mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)), _mm_setzero_si128()));
    }
    static void narrow(uint8_t* to, V value) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(bits(value), bits(value)));
    }
    // To 0 .. most.
    static V clamp(V value, V most) {
        return vector(_mm_min_epi16(_mm_max_epi16(bits(value), _mm_setzero_si128()), bits(most)));
    }
    static constexpr bool kShuffles = false;

    static V multiplyHigh(V value, V factor) { return vector(_mm_mulhi_epu16(bits(value), bits(factor))); }

    // One lane down, each row's value to the next row; the first row takes *first.
    static V shiftDown(V value, const int16_t* first) {
        const __m128i above = _mm_slli_si128(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(first)), 14);
        return vector(_mm_or_si128(_mm_srli_si128(bits(value), 2), above));
    }

    static V lanesBelow(int32_t count) {
        const __m128i places = _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7);
        return vector(_mm_cmpgt_epi16(_mm_set1_epi16(static_cast<int16_t>(count)), places));
    }

    template <int32_t Power>
    static V divideByPower(V sum) {
        // Sums to 255 << Power leave 8 - Power upper bits that are all the sign.
        const __m128i sign = 2 * Power <= 8 ? bits(sum) : _mm_srai_epi16(bits(sum), 15);
        return (sum + vector(_mm_srli_epi16(sign, 16 - Power))) >> Power;
    }
    static V divide(V sum, const Reciprocal& by) {
        const __m128i high = _mm_mulhi_epi16(bits(sum), _mm_set1_epi16(static_cast<int16_t>(by.multiplier)));
        return vector(_mm_srai_epi16(high, by.shift)) - (sum >> 15);
    }

    struct Entries {
        uint32_t lanes[kLanes];
    };
    static Entries gather(const uint32_t* table, V key) {
        Entries entries;
        for (int32_t lane = 0; lane < kLanes; ++lane) entries.lanes[lane] = table[key[lane]];
        return entries;
    }
    // A bit for each lane of the mask whose entry is `none`.
    static uint32_t unknownLanes(const Entries& entries, uint32_t none, V mask) {
        uint32_t unknown = 0;
        for (int32_t lane = 0; lane < kLanes; ++lane) {
            unknown |= static_cast<uint32_t>(entries.lanes[lane] == none && mask[lane] != 0) << lane;
        }
        return unknown;
    }
    static Entries chosen(const PaletteEntry* choices, const Entries& places) {
        Entries colors;
        for (int32_t lane = 0; lane < kLanes; ++lane) {
            const uint32_t place = places.lanes[lane];
            __builtin_memcpy(&colors.lanes[lane], &choices[place < kOtherChoice ? place : kOtherChoice], 4);
        }
        return colors;
    }
    template <int32_t Channels>
    static void split(const Entries& colors, V (&level)[Channels], V& index) {
        for (int32_t lane = 0; lane < kLanes; ++lane) {
            const uint32_t color = colors.lanes[lane];
            level[0][lane] = static_cast<int16_t>(color >> 16 & 0xFF);
            if constexpr (Channels == 3) {
                level[1][lane] = static_cast<int16_t>(color >> 8 & 0xFF);
                level[2][lane] = static_cast<int16_t>(color & 0xFF);
            }
            index[lane] = static_cast<int16_t>(color >> 24);
        }
    }

    // Levels as bytes, of which sums and differences end at 255 and 0.
    struct Levels {
        using V = uint8_t __attribute__((vector_size(16)));
        static constexpr int32_t kLanes = 16;

        static V vector(__m128i value) { return reinterpret_cast<V>(value); }
        static __m128i bits(V value) { return reinterpret_cast<__m128i>(value); }
        static V load(const uint8_t* from) { return vector(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))); }
        static void store(uint8_t* to, V value) { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), bits(value)); }
        static V plus(V a, V b) { return vector(_mm_adds_epu8(bits(a), bits(b))); }
        static V minus(V a, V b) { return vector(_mm_subs_epu8(bits(a), bits(b))); }
        // Bits that a byte loses must be zero.
        static V right(V value, int32_t by) { return vector(_mm_srl_epi16(bits(value), _mm_cvtsi32_si128(by))); }
    };

    struct Bytes {
        static constexpr int32_t kBytes = 16;
        __m128i v;

        static Bytes load(const uint8_t* from, int32_t = 0) {
            return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(from))};
        }
        void store(uint8_t* to, int32_t = 0) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(to), v); }
        static Bytes low(Bytes a, Bytes b) { return {_mm_unpacklo_epi8(a.v, b.v)}; }
        static Bytes high(Bytes a, Bytes b) { return {_mm_unpackhi_epi8(a.v, b.v)}; }
    };
};

}  // namespace

constexpr DitherKernels kDitherKernelsSse2 = {
    Sse2::kLanes, chooseBandCore<Sse2>, chooseRowCore<Sse2>, nullptr, nullptr, nullptr, nullptr, nullptr};
constexpr DitherKernels kDitherKernelsSsse3 = {Sse2::kLanes,    chooseBandCore<Sse2>, chooseRowCore<Sse2>,
                                               splitThreeSsse3, splitFourSsse3,       packBitsSsse3,
                                               packFoursSsse3,  packAboveSsse3};

}  // namespace tnk
