#include <tmmintrin.h>

#include "kernels/turn/blend_kernels.h"

namespace tnk {
namespace {

struct ByteMask {
    alignas(16) uint8_t byte[16];

    __m128i vector() const { return _mm_load_si128(reinterpret_cast<const __m128i*>(byte)); }
};

// The channels of two pixels side by side, as words.
template <uint32_t kBytes>
constexpr ByteMask pairs() {
    ByteMask mask{};
    for (uint32_t i = 0; i < 16; ++i) {
        const uint32_t channel = i / 4;
        mask.byte[i] = channel >= kBytes || i % 2 != 0 ? 0x80 : static_cast<uint8_t>(channel + i % 4 / 2 * kBytes);
    }
    return mask;
}

// The weights of a pair, which add up to 256.
__m128i weights(int64_t position) {
    const auto behind = static_cast<int32_t>(position & 255);
    return _mm_set1_epi32(behind << 16 | (256 - behind));
}

// The four channels of a position. Levels count from 128 on, so that the sums of two fit signed words.
template <uint32_t kBytes>
__m128i blendAt(const LinearStretch& stretch, int64_t x, int64_t y) {
    static constexpr ByteMask kPairs = pairs<kBytes>();
    const __m128i middle = _mm_set1_epi16(128);
    const uint8_t* at = stretch.pixels + static_cast<ptrdiff_t>(y >> 8) * stretch.stride +
                        static_cast<ptrdiff_t>(x >> 8) * static_cast<ptrdiff_t>(kBytes);
    const __m128i across = weights(x);
    const auto line = [&](const uint8_t* pixels) {
        const __m128i two = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(pixels));
        return _mm_madd_epi16(_mm_sub_epi16(_mm_shuffle_epi8(two, kPairs.vector()), middle), across);
    };
    const __m128i lines = _mm_packs_epi32(line(at), line(at + stretch.stride));
    const __m128i sums = _mm_madd_epi16(_mm_unpacklo_epi16(lines, _mm_srli_si128(lines, 8)), weights(y));
    return _mm_srli_epi32(_mm_add_epi32(sums, _mm_set1_epi32((128 << 16) + (1 << 15))), 16);
}

template <uint32_t kBytes>
void blend(const LinearStretch& stretch, uint8_t* target, int32_t count) {
    int64_t x = stretch.x, y = stretch.y;
    for (int32_t i = 0; i < count; ++i, target += kBytes) {
        const __m128i channels = blendAt<kBytes>(stretch, x >> 7, y >> 7);
        const __m128i words = _mm_packs_epi32(channels, channels);
        const int32_t pixel = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
        // Four bytes at once, but for the last pixel of three.
        if (kBytes == 4 || i + 1 < count) {
            __builtin_memcpy(target, &pixel, 4);
        } else {
            __builtin_memcpy(target, &pixel, kBytes);
        }
        x += stretch.stepX;
        y += stretch.stepY;
    }
}

}  // namespace

void blendThreeSsse3(const LinearStretch& stretch, uint8_t* target, int32_t count) { blend<3>(stretch, target, count); }

void blendFourSsse3(const LinearStretch& stretch, uint8_t* target, int32_t count) { blend<4>(stretch, target, count); }

}  // namespace tnk
