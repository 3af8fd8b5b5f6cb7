#include <tmmintrin.h>

#include "kernels/turn/mirror_kernels.h"

namespace tnk {
namespace {

__m128i load(const uint8_t* at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); }
void store(uint8_t* at, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(at), v); }

struct ByteMask {
    alignas(16) uint8_t byte[16];

    __m128i vector() const { return _mm_load_si128(reinterpret_cast<const __m128i*>(byte)); }
};

// Units of kBytes bytes in reverse order, where 16 bytes hold whole units.
template <uint32_t kBytes>
constexpr ByteMask reversedUnits() {
    ByteMask mask{};
    for (uint32_t i = 0; i < 16; ++i)
        mask.byte[i] = static_cast<uint8_t>(16 - kBytes - i / kBytes * kBytes + i % kBytes);
    return mask;
}

// The pixels of kBits in each value of a nibble, in reverse order.
template <uint32_t kBits>
constexpr ByteMask reversedNibbles() {
    ByteMask mask{};
    for (uint32_t nibble = 0; nibble < 16; ++nibble) {
        for (uint32_t bit = 0; bit < 4; ++bit) {
            const uint32_t to = 4 - kBits - bit / kBits * kBits + bit % kBits;
            mask.byte[nibble] = static_cast<uint8_t>(mask.byte[nibble] | (nibble >> bit & 1) << to);
        }
    }
    return mask;
}

template <uint32_t kBits>
struct PackedStep {
    static constexpr size_t kBytes = 16;

    static void exchange(uint8_t* left, uint8_t* right) {
        const __m128i first = reversed(load(left));
        store(left, reversed(load(right)));
        store(right, first);
    }

  private:
    static __m128i reversed(__m128i v) {
        static constexpr ByteMask kBytesReversed = reversedUnits<1>();
        static constexpr ByteMask kNibbles = reversedNibbles<kBits>();
        const __m128i low = _mm_set1_epi8(0x0F);
        const __m128i nibbles = kNibbles.vector();
        v = _mm_shuffle_epi8(v, kBytesReversed.vector());
        const __m128i upper = _mm_shuffle_epi8(nibbles, _mm_and_si128(v, low));
        const __m128i lower = _mm_shuffle_epi8(nibbles, _mm_and_si128(_mm_srli_epi16(v, 4), low));
        return _mm_or_si128(_mm_slli_epi16(upper, 4), lower);
    }
};

// 16 bytes hold whole units.
template <uint32_t kUnit>
struct UnitStep {
    static constexpr size_t kBytes = 16;

    static void exchange(uint8_t* left, uint8_t* right) {
        static constexpr ByteMask kReversed = reversedUnits<kUnit>();
        const __m128i first = _mm_shuffle_epi8(load(left), kReversed.vector());
        store(left, _mm_shuffle_epi8(load(right), kReversed.vector()));
        store(right, first);
    }
};

// For each byte of target vector kTo: the byte of source vector kFrom that goes there, where it comes from that one.
// Units of 3 or 6 bytes in 48.
template <uint32_t kUnit, uint32_t kFrom, uint32_t kTo>
constexpr ByteMask reversedPart() {
    ByteMask mask{};
    for (uint32_t i = 0; i < 16; ++i) {
        const uint32_t at = 16 * kTo + i;
        const uint32_t from = 48 - kUnit - at / kUnit * kUnit + at % kUnit;
        mask.byte[i] = from / 16 == kFrom ? static_cast<uint8_t>(from % 16) : 0x80;
    }
    return mask;
}

template <uint32_t kUnit>
struct TripleStep {
    static constexpr size_t kBytes = 48;

    static void exchange(uint8_t* left, uint8_t* right) {
        const __m128i left0 = load(left), left1 = load(left + 16), left2 = load(left + 32);
        const __m128i right0 = load(right), right1 = load(right + 16), right2 = load(right + 32);
        storeReversed(left, right0, right1, right2);
        storeReversed(right, left0, left1, left2);
    }

  private:
    template <uint32_t kTo>
    static __m128i part(__m128i a, __m128i b, __m128i c) {
        static constexpr ByteMask k0 = reversedPart<kUnit, 0, kTo>();
        static constexpr ByteMask k1 = reversedPart<kUnit, 1, kTo>();
        static constexpr ByteMask k2 = reversedPart<kUnit, 2, kTo>();
        const __m128i two = _mm_or_si128(_mm_shuffle_epi8(a, k0.vector()), _mm_shuffle_epi8(b, k1.vector()));
        return _mm_or_si128(two, _mm_shuffle_epi8(c, k2.vector()));
    }
    static void storeReversed(uint8_t* at, __m128i a, __m128i b, __m128i c) {
        store(at, part<0>(a, b, c));
        store(at + 16, part<1>(a, b, c));
        store(at + 32, part<2>(a, b, c));
    }
};

template <typename Step>
size_t exchangeAll(uint8_t* row, size_t bytes) {
    size_t done = 0;
    for (; bytes - 2 * done >= 2 * Step::kBytes; done += Step::kBytes) {
        Step::exchange(row + done, row + bytes - done - Step::kBytes);
    }
    return done;
}

}  // namespace

size_t mirrorEndsSsse3(uint8_t* row, size_t bytes, int32_t pixelBits) {
    switch (pixelBits) {
        case 1:
            return exchangeAll<PackedStep<1>>(row, bytes);
        case 2:
            return exchangeAll<PackedStep<2>>(row, bytes);
        case 4:
            return exchangeAll<PackedStep<4>>(row, bytes);
        case 8:
            return exchangeAll<UnitStep<1>>(row, bytes);
        case 16:
            return exchangeAll<UnitStep<2>>(row, bytes);
        case 24:
            return exchangeAll<TripleStep<3>>(row, bytes);
        case 32:
            return exchangeAll<UnitStep<4>>(row, bytes);
        case 48:
            return exchangeAll<TripleStep<6>>(row, bytes);
        case 64:
            return exchangeAll<UnitStep<8>>(row, bytes);
        default:
            return 0;
    }
}

}  // namespace tnk
