#include <tmmintrin.h>

#include <cstddef>
#include <cstdint>

namespace tnk {
namespace {

// One lane of 16 bytes.
struct Vector {
    static constexpr size_t kLanes = 1;

    __m128i v;

    static Vector load(const uint8_t* at) { return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(at))}; }
    static Vector loadLanes(const uint8_t* at, size_t) { return load(at); }
    static Vector loadWords(const uint8_t* at) {  // bytes as words
        return {_mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(at)), _mm_setzero_si128())};
    }
    static Vector repeatLane(const uint8_t* lane) { return load(lane); }
    static Vector repeatBits(const uint8_t* at) {  // the 2 bytes that hold 16 bits
        return {_mm_cvtsi32_si128(at[0] | at[1] << 8)};
    }
    static Vector each16(uint16_t value) { return {_mm_set1_epi16(static_cast<int16_t>(value))}; }
    static Vector each32(uint32_t value) { return {_mm_set1_epi32(static_cast<int32_t>(value))}; }
    static Vector each64(uint64_t value) { return {_mm_set1_epi64x(static_cast<int64_t>(value))}; }

    void store(uint8_t* at) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(at), v); }
    void storeLanes(uint8_t* at, size_t) const { store(at); }
    void storeHalfLanes(uint8_t* at, size_t) const { _mm_storel_epi64(reinterpret_cast<__m128i*>(at), v); }
    // Lane by lane, first a's, then b's, `stride` bytes apart, by rising address: a store may go past its bytes.
    static void storeLanePairs(uint8_t* at, size_t stride, Vector a, Vector b) {
        a.store(at);
        b.store(at + stride);
    }

    Vector shuffled(Vector from) const { return {_mm_shuffle_epi8(v, from.v)}; }
    Vector equal8(Vector b) const { return {_mm_cmpeq_epi8(v, b.v)}; }
    Vector equal32(Vector b) const { return {_mm_cmpeq_epi32(v, b.v)}; }
    Vector greater32(Vector b) const { return {_mm_cmpgt_epi32(v, b.v)}; }
    uint32_t topBits() const { return static_cast<uint32_t>(_mm_movemask_epi8(v)); }

    template <int kBits>
    Vector left16() const {
        return {_mm_slli_epi16(v, kBits)};
    }
    template <int kBits>
    Vector right16() const {
        return {_mm_srli_epi16(v, kBits)};
    }
    Vector rightBy16(uint32_t bits) const { return {_mm_srl_epi16(v, _mm_cvtsi32_si128(static_cast<int>(bits)))}; }
    template <int kBits>
    Vector signedRight16() const {
        return {_mm_srai_epi16(v, kBits)};
    }
    template <int kBits>
    Vector left32() const {
        return {_mm_slli_epi32(v, kBits)};
    }
    template <int kBits>
    Vector signedRight32() const {
        return {_mm_srai_epi32(v, kBits)};
    }

    // The quotients by 2^kBits, truncated toward zero.
    template <int kBits>
    Vector quotient32() const {
        const __m128i below = _mm_srli_epi32(_mm_srai_epi32(v, 31), 32 - kBits);
        return {_mm_srai_epi32(_mm_add_epi32(v, below), kBits)};
    }

    Vector weighted8(Vector weights) const { return {_mm_maddubs_epi16(v, weights.v)}; }
    Vector weighted16(Vector weights) const { return {_mm_madd_epi16(v, weights.v)}; }
    Vector pairSums16(Vector b) const { return {_mm_hadd_epi16(v, b.v)}; }
    Vector pairSums32(Vector b) const { return {_mm_hadd_epi32(v, b.v)}; }
    Vector packed16(Vector b) const { return {_mm_packus_epi16(v, b.v)}; }
    Vector packedSigned16(Vector b) const { return {_mm_packs_epi16(v, b.v)}; }
    Vector packedSigned32(Vector b) const { return {_mm_packs_epi32(v, b.v)}; }
    Vector interleavedLow8(Vector b) const { return {_mm_unpacklo_epi8(v, b.v)}; }
    Vector interleavedHigh8(Vector b) const { return {_mm_unpackhi_epi8(v, b.v)}; }
    Vector interleavedLow16(Vector b) const { return {_mm_unpacklo_epi16(v, b.v)}; }
    Vector interleavedHigh16(Vector b) const { return {_mm_unpackhi_epi16(v, b.v)}; }

    Vector highProducts16(Vector b) const { return {_mm_mulhi_epi16(v, b.v)}; }
    // Signed integers times `factor`, truncated toward zero.
    Vector scaled32(float factor) const {
        return {_mm_cvttps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(v), _mm_set1_ps(factor)))};
    }
    static Vector sums32(Vector a, Vector b) { return {_mm_add_epi32(a.v, b.v)}; }

    friend Vector operator|(Vector a, Vector b) { return {_mm_or_si128(a.v, b.v)}; }
    friend Vector operator&(Vector a, Vector b) { return {_mm_and_si128(a.v, b.v)}; }
    friend Vector operator^(Vector a, Vector b) { return {_mm_xor_si128(a.v, b.v)}; }
    friend Vector operator-(Vector a, Vector b) { return {_mm_sub_epi16(a.v, b.v)}; }
    friend Vector operator+(Vector a, Vector b) { return {_mm_add_epi16(a.v, b.v)}; }
};

}  // namespace
}  // namespace tnk

#include "kernels/pixels/pixels_simd.h"
#include "kernels/pixels/yuv_simd.h"
#include "kernels/variants.h"

namespace tnk {

constinit const Kernels kSsse3Kernels = {shufflePixels, expand,   spread,    to555,     from555,  gray,
                                         matchPair,     multiply, countBits, lookUp555, yuvToBgr, yuvPairsToBgr};

}  // namespace tnk
