#include "bitmap/copy/bit_run.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstring>

namespace tnk {
namespace {

// Eight bits of the stream `first`, `second`, from bit `shift` on; shift is 1 to 7.
template <bool kLowFirst>
uint8_t join(uint32_t first, uint32_t second, uint32_t shift) {
    if constexpr (kLowFirst) return static_cast<uint8_t>(first >> shift | second << (8 - shift));
    return static_cast<uint8_t>(first << shift | second >> (8 - shift));
}

// Eight bytes at a time: bits that a shift of the word carries into a neighbouring byte are masked off. The compiler makes
// vectors of it; of shifts of single bytes it makes 32-bit lanes, five times slower.
template <bool kLowFirst>
void joinAll(uint8_t* __restrict to, const uint8_t* __restrict from, size_t count, uint32_t shift) {
    const uint64_t bytes = 0x0101010101010101;
    const uint64_t ofFirst = bytes * join<kLowFirst>(0xFF, 0, shift);
    const uint64_t ofSecond = ~ofFirst;
    const size_t words = count / 8;
    for (size_t i = 0; i < words; ++i) {
        uint64_t first, second;
        std::memcpy(&first, from + 8 * i, 8);
        std::memcpy(&second, from + 8 * i + 1, 8);
        first = kLowFirst ? first >> shift : first << shift;
        second = kLowFirst ? second << (8 - shift) : second >> (8 - shift);
        const uint64_t word = (first & ofFirst) | (second & ofSecond);
        std::memcpy(to + 8 * i, &word, 8);
    }
    for (size_t i = 8 * words; i < count; ++i) to[i] = join<kLowFirst>(from[i], from[i + 1], shift);
}

// A byte before the run and one after it are part of the stream and count as 0.
template <bool kLowFirst>
void realign(uint8_t* to, size_t toBytes, const uint8_t* from, size_t fromBytes, int32_t shift) {
    if (shift < 0) {
        shift += 8;
        *to++ = join<kLowFirst>(0, from[0], static_cast<uint32_t>(shift));
        --toBytes;
    }
    const size_t pairs = std::min(toBytes, fromBytes - 1);
    joinAll<kLowFirst>(to, from, pairs, static_cast<uint32_t>(shift));
    if (pairs < toBytes) to[pairs] = join<kLowFirst>(from[pairs], 0, static_cast<uint32_t>(shift));
}

// The bits of a byte from `first` up to `end`; all from `first` on when the run ends with the byte.
uint8_t maskOf(uint32_t first, uint32_t end, bool lowFirst) {
    if (end == 0) end = 8;
    const uint32_t mask = lowFirst ? (0xFFu << first) & (0xFFu >> (8 - end)) : (0xFFu >> first) & (0xFFu << (8 - end));
    return static_cast<uint8_t>(mask);
}

}  // namespace

void moveBits(uint8_t* to, uint32_t toPhase, const uint8_t* from, uint32_t fromPhase, uint64_t bits, bool lowFirst) {
    assert(toPhase < 8 && fromPhase < 8);
    if (bits == 0) return;
    const auto toBytes = static_cast<size_t>((toPhase + bits + 7) >> 3);
    const auto fromBytes = static_cast<size_t>((fromPhase + bits + 7) >> 3);
    const int32_t shift = static_cast<int32_t>(fromPhase) - static_cast<int32_t>(toPhase);
    if (shift == 0) {
        std::memcpy(to, from, toBytes);
    } else if (lowFirst) {
        realign<true>(to, toBytes, from, fromBytes, shift);
    } else {
        realign<false>(to, toBytes, from, fromBytes, shift);
    }
    to[0] &= maskOf(toPhase, 0, lowFirst);
    to[toBytes - 1] &= maskOf(0, static_cast<uint32_t>((toPhase + bits) & 7), lowFirst);
}

// A short piece at a time, brought to the place of the target's bits on the stack.
void putBits(uint8_t* to, uint32_t toPhase, const uint8_t* from, uint32_t fromPhase, uint64_t bits, bool lowFirst) {
    uint8_t moved[512];
    uint64_t fromBit = fromPhase;
    while (bits != 0) {
        const uint64_t part = std::min<uint64_t>(bits, sizeof moved * 8 - toPhase);
        moveBits(moved, toPhase, from + static_cast<size_t>(fromBit >> 3), fromBit & 7, part, lowFirst);
        const auto last = static_cast<size_t>((toPhase + part - 1) >> 3);
        const uint8_t firstMask = maskOf(toPhase, 0, lowFirst);
        const uint8_t lastMask = maskOf(0, static_cast<uint32_t>((toPhase + part) & 7), lowFirst);
        const uint8_t kept[] = {static_cast<uint8_t>(to[0] & ~firstMask),
                                static_cast<uint8_t>(to[last] & ~(last == 0 ? firstMask & lastMask : lastMask))};
        if (last == 0) {
            to[0] = static_cast<uint8_t>(kept[1] | moved[0]);
        } else {
            std::memcpy(to, moved, last + 1);
            to[0] |= kept[0];
            to[last] |= kept[1];
        }
        to += static_cast<size_t>((toPhase + part) >> 3);
        toPhase = (toPhase + part) & 7;
        fromBit += part;
        bits -= part;
    }
}

}  // namespace tnk
