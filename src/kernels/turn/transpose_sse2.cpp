#include "kernels/turn/transpose_kernels.h"

#if defined(__SSE2__)
#include <emmintrin.h>

namespace tnk {
namespace {

template <size_t kBytes>
__m128i low(__m128i a, __m128i b) {
    if constexpr (kBytes == 1) return _mm_unpacklo_epi8(a, b);
    if constexpr (kBytes == 2) return _mm_unpacklo_epi16(a, b);
    if constexpr (kBytes == 4) return _mm_unpacklo_epi32(a, b);
    return _mm_unpacklo_epi64(a, b);
}

template <size_t kBytes>
__m128i high(__m128i a, __m128i b) {
    if constexpr (kBytes == 1) return _mm_unpackhi_epi8(a, b);
    if constexpr (kBytes == 2) return _mm_unpackhi_epi16(a, b);
    if constexpr (kBytes == 4) return _mm_unpackhi_epi32(a, b);
    return _mm_unpackhi_epi64(a, b);
}

}  // namespace

// Laying the upper half of the rows pixel by pixel between those of the lower half moves the bits of a pixel's place round
// by one; as many times as the side has bits, rows and columns have changed places.
template <size_t kBytes>
void transposeSquare(const uint8_t* source, ptrdiff_t sourceStride, uint8_t* target, ptrdiff_t targetStride) {
    constexpr uint32_t kSide = squareSide(kBytes);
    __m128i rows[kSide], mixed[kSide];
    for (uint32_t i = 0; i < kSide; ++i, source += sourceStride) {
        rows[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(source));
    }
    for (uint32_t done = 1; done < kSide; done *= 2) {
        for (uint32_t i = 0; i < kSide / 2; ++i) {
            mixed[2 * i] = low<kBytes>(rows[i], rows[i + kSide / 2]);
            mixed[2 * i + 1] = high<kBytes>(rows[i], rows[i + kSide / 2]);
        }
        for (uint32_t i = 0; i < kSide; ++i) rows[i] = mixed[i];
    }
    for (uint32_t i = 0; i < kSide; ++i, target += targetStride) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(target), rows[i]);
    }
}

template void transposeSquare<1>(const uint8_t*, ptrdiff_t, uint8_t*, ptrdiff_t);
template void transposeSquare<2>(const uint8_t*, ptrdiff_t, uint8_t*, ptrdiff_t);
template void transposeSquare<4>(const uint8_t*, ptrdiff_t, uint8_t*, ptrdiff_t);
template void transposeSquare<8>(const uint8_t*, ptrdiff_t, uint8_t*, ptrdiff_t);

}  // namespace tnk
#endif
