// Pixels to bytes of a table by their 15-bit colours, with BMI2: one load, one extraction and one look-up a pixel, or two
// pixels at once where registers hold them.
#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "kernels/variants.h"

namespace tnk {
namespace {

#ifdef __x86_64__
using Word = uint64_t;
Word swapped(Word word) { return __builtin_bswap64(word); }
uint32_t extracted(Word word, Word mask) { return static_cast<uint32_t>(_pext_u64(word, mask)); }
#else
using Word = uint32_t;
Word swapped(Word word) { return __builtin_bswap32(word); }
uint32_t extracted(Word word, Word mask) { return _pext_u32(word, mask); }
#endif

constexpr size_t kTogether = sizeof(Word) / 4;

// The upper five bits of each channel in the first pixels of a word, which begin at its lowest byte, or at its highest.
template <uint32_t kPixelBytes, bool kFromHighest>
constexpr Word channelBits() {
    Word mask = 0;
    for (size_t i = 0; i < kTogether * kPixelBytes; ++i) {
        if (i % kPixelBytes == 3) continue;
        mask |= Word{0xF8} << 8 * (kFromHighest ? sizeof(Word) - 1 - i : i);
    }
    return mask;
}

template <uint32_t kPixelBytes, bool kRedFirst>
size_t lookUp(const uint8_t* source, uint8_t* target, size_t count, const uint8_t* table) {
    constexpr Word kMask = channelBits<kPixelBytes, kRedFirst>();
    // A load may go past its pixels.
    constexpr size_t kNeeded = (sizeof(Word) + kPixelBytes - 1) / kPixelBytes;
    size_t done = 0;
    for (; count - done >= kNeeded; done += kTogether, source += kTogether * kPixelBytes) {
        Word word;
        __builtin_memcpy(&word, source, sizeof word);
        if constexpr (kRedFirst) word = swapped(word);
        const uint32_t keys = extracted(word, kMask);
        if constexpr (kTogether == 1) {
            target[done] = table[keys];
        } else {
            target[done + kRedFirst] = table[keys & 0x7FFF];
            target[done + !kRedFirst] = table[keys >> 15];
        }
    }
    return done;
}

}  // namespace

void lookUp555Bmi2(const uint8_t* source, uint8_t* target, size_t count, const Table555& table) {
    const auto form = table.fields.pixelBytes == 3 ? (table.fields.swap ? lookUp<3, true> : lookUp<3, false>)
                                                   : (table.fields.swap ? lookUp<4, true> : lookUp<4, false>);
    const size_t done = form(source, target, count, table.bytes);
    kScalarKernels.lookUp555(source + done * table.fields.pixelBytes, target + done, count - done, table);
}

}  // namespace tnk
