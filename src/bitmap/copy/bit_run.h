// Runs of bits that move to another place inside their bytes, as pixels of less than a byte do when a rectangle is cut.
#pragma once

#include <cstdint>

namespace tnk {

// Copies `bits` bits from bit `fromPhase` of `from` on to bit `toPhase` of `to` on; phases are 0 to 7. Bits count from the
// top of a byte, or from the bottom with `lowFirst`, as 12-bit pixels lie. Writes whole bytes: what shares the first and
// the last with the run becomes 0. Reads nothing but the bytes of the run. The two must not overlap.
void moveBits(uint8_t* to, uint32_t toPhase, const uint8_t* from, uint32_t fromPhase, uint64_t bits, bool lowFirst);

// The same, but what shares the first and the last byte with the run stays.
void putBits(uint8_t* to, uint32_t toPhase, const uint8_t* from, uint32_t fromPhase, uint64_t bits, bool lowFirst);

}  // namespace tnk
