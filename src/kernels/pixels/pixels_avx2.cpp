#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace tnk {
namespace {

// Two lanes of 16 bytes. Shuffles, sums and packs stay inside the lanes, so kernels give each lane its own run of pixels.
struct Vector {
    static constexpr size_t kLanes = 2;

    __m256i v;

    static __m128i lane(const uint8_t* at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); }

    static Vector load(const uint8_t* at) { return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at))}; }
    static Vector loadLanes(const uint8_t* at, size_t stride) {
        return {_mm256_inserti128_si256(_mm256_castsi128_si256(lane(at)), lane(at + stride), 1)};
    }
    static Vector loadWords(const uint8_t* at) {  // bytes as words
        return {_mm256_cvtepu8_epi16(lane(at))};
    }
    static Vector repeatLane(const uint8_t* at) { return {_mm256_broadcastsi128_si256(lane(at))}; }
    static Vector repeatBits(const uint8_t* at) {  // the 4 bytes that hold 32 bits
        int32_t bits;
        __builtin_memcpy(&bits, at, 4);
        return {_mm256_set1_epi32(bits)};
    }
    static Vector each16(uint16_t value) { return {_mm256_set1_epi16(static_cast<int16_t>(value))}; }
    static Vector each32(uint32_t value) { return {_mm256_set1_epi32(static_cast<int32_t>(value))}; }
    static Vector each64(uint64_t value) { return {_mm256_set1_epi64x(static_cast<int64_t>(value))}; }

    __m128i low() const { return _mm256_castsi256_si128(v); }
    __m128i high() const { return _mm256_extracti128_si256(v, 1); }

    void store(uint8_t* at) const { _mm256_storeu_si256(reinterpret_cast<__m256i*>(at), v); }
    void storeLanes(uint8_t* at, size_t stride) const {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(at), low());
        _mm_storeu_si128(reinterpret_cast<__m128i*>(at + stride), high());
    }
    void storeHalfLanes(uint8_t* at, size_t stride) const {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(at), low());
        _mm_storel_epi64(reinterpret_cast<__m128i*>(at + stride), high());
    }
    // Lane by lane, first a's, then b's, `stride` bytes apart, by rising address: a store may go past its bytes.
    static void storeLanePairs(uint8_t* at, size_t stride, Vector a, Vector b) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(at), a.low());
        _mm_storeu_si128(reinterpret_cast<__m128i*>(at + stride), b.low());
        _mm_storeu_si128(reinterpret_cast<__m128i*>(at + 2 * stride), a.high());
        _mm_storeu_si128(reinterpret_cast<__m128i*>(at + 3 * stride), b.high());
    }

    Vector shuffled(Vector from) const { return {_mm256_shuffle_epi8(v, from.v)}; }
    Vector equal8(Vector b) const { return {_mm256_cmpeq_epi8(v, b.v)}; }
    Vector equal32(Vector b) const { return {_mm256_cmpeq_epi32(v, b.v)}; }
    Vector greater32(Vector b) const { return {_mm256_cmpgt_epi32(v, b.v)}; }
    uint32_t topBits() const { return static_cast<uint32_t>(_mm256_movemask_epi8(v)); }

    template <int kBits>
    Vector left16() const {
        return {_mm256_slli_epi16(v, kBits)};
    }
    template <int kBits>
    Vector right16() const {
        return {_mm256_srli_epi16(v, kBits)};
    }
    Vector rightBy16(uint32_t bits) const { return {_mm256_srl_epi16(v, _mm_cvtsi32_si128(static_cast<int>(bits)))}; }
    template <int kBits>
    Vector signedRight16() const {
        return {_mm256_srai_epi16(v, kBits)};
    }
    template <int kBits>
    Vector left32() const {
        return {_mm256_slli_epi32(v, kBits)};
    }
    template <int kBits>
    Vector signedRight32() const {
        return {_mm256_srai_epi32(v, kBits)};
    }

    // The quotients by 2^kBits, truncated toward zero.
    template <int kBits>
    Vector quotient32() const {
        const __m256i below = _mm256_srli_epi32(_mm256_srai_epi32(v, 31), 32 - kBits);
        return {_mm256_srai_epi32(_mm256_add_epi32(v, below), kBits)};
    }

    Vector weighted8(Vector weights) const { return {_mm256_maddubs_epi16(v, weights.v)}; }
    Vector weighted16(Vector weights) const { return {_mm256_madd_epi16(v, weights.v)}; }
    Vector pairSums16(Vector b) const { return {_mm256_hadd_epi16(v, b.v)}; }
    Vector pairSums32(Vector b) const { return {_mm256_hadd_epi32(v, b.v)}; }
    Vector packed16(Vector b) const { return {_mm256_packus_epi16(v, b.v)}; }
    Vector packedSigned16(Vector b) const { return {_mm256_packs_epi16(v, b.v)}; }
    Vector packedSigned32(Vector b) const { return {_mm256_packs_epi32(v, b.v)}; }
    Vector interleavedLow8(Vector b) const { return {_mm256_unpacklo_epi8(v, b.v)}; }
    Vector interleavedHigh8(Vector b) const { return {_mm256_unpackhi_epi8(v, b.v)}; }
    Vector interleavedLow16(Vector b) const { return {_mm256_unpacklo_epi16(v, b.v)}; }
    Vector interleavedHigh16(Vector b) const { return {_mm256_unpackhi_epi16(v, b.v)}; }

    Vector highProducts16(Vector b) const { return {_mm256_mulhi_epi16(v, b.v)}; }
    // Signed integers times `factor`, truncated toward zero.
    Vector scaled32(float factor) const {
        return {_mm256_cvttps_epi32(_mm256_mul_ps(_mm256_cvtepi32_ps(v), _mm256_set1_ps(factor)))};
    }
    static Vector sums32(Vector a, Vector b) { return {_mm256_add_epi32(a.v, b.v)}; }

    friend Vector operator|(Vector a, Vector b) { return {_mm256_or_si256(a.v, b.v)}; }
    friend Vector operator&(Vector a, Vector b) { return {_mm256_and_si256(a.v, b.v)}; }
    friend Vector operator^(Vector a, Vector b) { return {_mm256_xor_si256(a.v, b.v)}; }
    friend Vector operator-(Vector a, Vector b) { return {_mm256_sub_epi16(a.v, b.v)}; }
    friend Vector operator+(Vector a, Vector b) { return {_mm256_add_epi16(a.v, b.v)}; }
};

}  // namespace
}  // namespace tnk

#include "kernels/pixels/pixels_simd.h"
#include "kernels/pixels/yuv_simd.h"
#include "kernels/variants.h"

namespace tnk {

constinit const Kernels kAvx2Kernels = {shufflePixels, expand,   spread,    to555,     from555,  gray,
                                        matchPair,     multiply, countBits, lookUp555, yuvToBgr, yuvPairsToBgr};
constinit const Kernels kAvx2ExtractKernels = {shufflePixels, expand,        spread,    to555,
                                               from555,       gray,          matchPair, multiply,
                                               countBits,     lookUp555Bmi2, yuvToBgr,  yuvPairsToBgr};

}  // namespace tnk
