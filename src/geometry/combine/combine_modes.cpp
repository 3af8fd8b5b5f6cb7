#include "geometry/combine/combine_modes.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/pixel_values.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tnk {
namespace {

// ---- bits ----

template <typename Rule>
void combineBits(uint8_t* __restrict target, const uint8_t* __restrict source, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) target[i] = static_cast<uint8_t>(Rule::of(target[i], source[i]));
}

struct Not {
    static uint32_t of(uint32_t, uint32_t s) { return ~s; }
};
struct And {
    static uint32_t of(uint32_t d, uint32_t s) { return d & s; }
};
struct Or {
    static uint32_t of(uint32_t d, uint32_t s) { return d | s; }
};
struct Xor {
    static uint32_t of(uint32_t d, uint32_t s) { return d ^ s; }
};

void copyBits(uint8_t* target, const uint8_t* source, size_t bytes) { std::memcpy(target, source, bytes); }

// ---- values ----

// Written so that the compiler finds the vector instructions for unsigned samples of every size.
template <typename T, typename Rule>
void combineSamples(uint8_t* __restrict target, const uint8_t* __restrict source, size_t samples, uint32_t most) {
    const auto top = static_cast<T>(most);
    for (size_t i = 0; i < samples; ++i) {
        const T d = loadAs<T>(target + i * sizeof(T));
        const T s = loadAs<T>(source + i * sizeof(T));
        storeAs(target + i * sizeof(T), Rule::of(d, s, top));
    }
}

struct Add {
    template <typename T>
    static T of(T d, T s, T most) {
        const auto sum = static_cast<T>(d + s);
        return sum < d ? most : std::min(sum, most);
    }
};
struct Subtract {
    template <typename T>
    static T of(T d, T s, T) {
        return static_cast<T>(d - std::min(d, s));
    }
};
struct Difference {
    template <typename T>
    static T of(T d, T s, T) {
        return static_cast<T>(std::max(d, s) - std::min(d, s));
    }
};
struct Average {
    template <typename T>
    static T of(T d, T s, T) {
        if constexpr (sizeof(T) < 4) return static_cast<T>((d + s + 1) >> 1);
        return static_cast<T>((uint64_t{d} + s + 1) >> 1);
    }
};
struct Minimum {
    template <typename T>
    static T of(T d, T s, T) {
        return std::min(d, s);
    }
};
struct Maximum {
    template <typename T>
    static T of(T d, T s, T) {
        return std::max(d, s);
    }
};
struct Multiply {
    template <typename T>
    static T of(T d, T s, T most) {
        return static_cast<T>((uint64_t{d} * s + most / 2) / most);
    }
};

// x / (2^n - 1), rounded, for products of two samples of n bits: Blinn, 1995.
constexpr uint32_t divide255(uint32_t x) { return (x + 128 + ((x + 128) >> 8)) >> 8; }
struct MultiplyAll {
    template <typename T>
    static T of(T d, T s, T) {
        if constexpr (sizeof(T) == 1) return static_cast<T>(divide255(uint32_t{d} * s));
        if constexpr (sizeof(T) == 2) {
            const uint32_t product = uint32_t{d} * s + (1u << 15);
            return static_cast<T>((product + (product >> 16)) >> 16);
        }
        const uint64_t product = uint64_t{d} * s + (uint64_t{1} << 31);
        return static_cast<T>((product + (product >> 32)) >> 32);
    }
};

template <typename T>
SampleRoutine routineFor(uint32_t mode, uint32_t most) {
    switch (mode) {
        case COMBINE_ADD:
            return combineSamples<T, Add>;
        case COMBINE_SUBTRACT:
            return combineSamples<T, Subtract>;
        case COMBINE_DIFFERENCE:
            return combineSamples<T, Difference>;
        case COMBINE_MULTIPLY:
            return most == static_cast<T>(-1) ? combineSamples<T, MultiplyAll> : combineSamples<T, Multiply>;
        case COMBINE_AVERAGE:
            return combineSamples<T, Average>;
        case COMBINE_MINIMUM:
            return combineSamples<T, Minimum>;
        default:
            assert(mode == COMBINE_MAXIMUM);
            return combineSamples<T, Maximum>;
    }
}

// ---- alpha ----

// With alphas of 16 bits the sums stay below 2^49.
struct AlphaSum {
    uint64_t ofSource;  // weights of the two colours, and their sum, which is alpha of the result times kFullAlpha
    uint64_t ofTarget;
    uint64_t both;

    AlphaSum(uint64_t source, uint64_t target)
        : ofSource(source * kFullAlpha), ofTarget(target * (kFullAlpha - source)), both(ofSource + ofTarget) {}
    uint64_t blend(uint64_t d, uint64_t s) const { return (s * ofSource + d * ofTarget + both / 2) / both; }
};

template <typename T>
void overRun(const SampleShape& shape, uint8_t* target, const uint8_t* source, const uint16_t* alpha, size_t pixels) {
    const uint32_t channels = shape.channels;
    const uint32_t colors = channels - shape.alpha;
    for (size_t i = 0; i < pixels; ++i, target += channels * sizeof(T), source += channels * sizeof(T)) {
        uint64_t targetAlpha = kFullAlpha;
        if (shape.alpha) targetAlpha = uint64_t{loadAs<T>(target + colors * sizeof(T))} * kFullAlpha / shape.most;
        const AlphaSum sum(alpha[i], targetAlpha);
        if (sum.both == 0) continue;  // nothing over nothing has no colour
        for (uint32_t c = 0; c < colors; ++c) {
            const uint64_t blended = sum.blend(loadAs<T>(target + c * sizeof(T)), loadAs<T>(source + c * sizeof(T)));
            storeAs(target + c * sizeof(T), static_cast<T>(blended));
        }
        if (!shape.alpha) continue;
        constexpr uint64_t kSquare = uint64_t{kFullAlpha} * kFullAlpha;
        storeAs(target + colors * sizeof(T), static_cast<T>((sum.both * shape.most + kSquare / 2) / kSquare));
    }
}

uint32_t blend255(uint32_t d, uint32_t s, uint32_t alpha) { return divide255(s * alpha + d * (255 - alpha)); }

void overPixel32(uint8_t* target, const uint8_t* source) {
    const uint32_t ofSource = source[3] * 255u;
    const uint32_t ofTarget = target[3] * (255u - source[3]);
    const uint32_t both = ofSource + ofTarget;
    if (both == 0) return;
    for (int c = 0; c < 3; ++c) {
        target[c] = static_cast<uint8_t>((source[c] * ofSource + target[c] * ofTarget + both / 2) / both);
    }
    target[3] = static_cast<uint8_t>(divide255(both));
}

#if defined(__SSE2__)

// x / 255, rounded, of words: the rule above in one multiplication, since (x + 128) * 257 carries what it adds.
__m128i blendHalf(__m128i d, __m128i s, __m128i alpha) {
    const __m128i rest = _mm_xor_si128(alpha, _mm_set1_epi16(255));
    const __m128i sum = _mm_add_epi16(_mm_mullo_epi16(s, alpha), _mm_mullo_epi16(d, rest));
    return _mm_mulhi_epu16(_mm_add_epi16(sum, _mm_set1_epi16(128)), _mm_set1_epi16(257));
}

// Four pixels over four opaque ones; false, and nothing done, where one of the targets is not. A full source channel in
// the place of alpha keeps the result opaque.
bool overOpaque32(uint8_t* target, const uint8_t* source) {
    const __m128i top = _mm_set1_epi32(static_cast<int>(0xFF000000));
    const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(target));
    const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source));
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(_mm_and_si128(d, top), top)) != 0xFFFF) return false;
    const __m128i zero = _mm_setzero_si128();
    __m128i alpha = _mm_srli_epi32(s, 24);
    alpha = _mm_or_si128(alpha, _mm_slli_epi32(alpha, 16));
    const __m128i full = _mm_or_si128(s, top);
    const __m128i low =
        blendHalf(_mm_unpacklo_epi8(d, zero), _mm_unpacklo_epi8(full, zero), _mm_unpacklo_epi32(alpha, alpha));
    const __m128i high =
        blendHalf(_mm_unpackhi_epi8(d, zero), _mm_unpackhi_epi8(full, zero), _mm_unpackhi_epi32(alpha, alpha));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(target), _mm_packus_epi16(low, high));
    return true;
}

#endif

}  // namespace

BitRoutine bitRoutine(uint32_t mode) {
    constexpr BitRoutine kRoutines[] = {copyBits, combineBits<Not>, combineBits<And>, combineBits<Or>,
                                        combineBits<Xor>};
    assert(isBitwise(mode));
    return kRoutines[mode];
}

SampleRoutine sampleRoutine(uint32_t mode, const SampleShape& shape) {
    return shape.bytes == 1   ? routineFor<uint8_t>(mode, shape.most)
           : shape.bytes == 2 ? routineFor<uint16_t>(mode, shape.most)
                              : routineFor<uint32_t>(mode, shape.most);
}

void overSamples(const SampleShape& shape, uint8_t* target, const uint8_t* source, const uint16_t* alpha,
                 size_t pixels) {
    const auto run = shape.bytes == 1 ? overRun<uint8_t> : shape.bytes == 2 ? overRun<uint16_t> : overRun<uint32_t>;
    run(shape, target, source, alpha, pixels);
}

void overBytes(uint8_t* __restrict target, const uint8_t* __restrict source, const uint8_t* __restrict alpha,
               size_t samples) {
    for (size_t i = 0; i < samples; ++i) target[i] = static_cast<uint8_t>(blend255(target[i], source[i], alpha[i]));
}

void overPixels32(uint8_t* target, const uint8_t* source, size_t pixels) {
    size_t i = 0;
#if defined(__SSE2__)
    for (; i + 4 <= pixels; i += 4) {
        if (overOpaque32(target + 4 * i, source + 4 * i)) continue;
        for (size_t n = i; n < i + 4; ++n) overPixel32(target + 4 * n, source + 4 * n);
    }
#endif
    for (; i < pixels; ++i) overPixel32(target + 4 * i, source + 4 * i);
}

void keepMasked(uint8_t* __restrict target, const uint8_t* __restrict old, const uint8_t (&mask)[kMaskBytes],
                size_t bytes) {
    for (size_t i = 0; i < bytes; i += kMaskBytes) {
        const size_t count = std::min(bytes - i, kMaskBytes);
        for (size_t n = 0; n < count; ++n) {
            target[i + n] = static_cast<uint8_t>((target[i + n] & mask[n]) | (old[i + n] & ~mask[n]));
        }
    }
}

}  // namespace tnk
