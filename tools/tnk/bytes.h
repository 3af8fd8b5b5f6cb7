// Numbers in the byte orders of files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tool {

inline uint32_t little16(const uint8_t* p) { return p[0] | static_cast<uint32_t>(p[1]) << 8; }
inline uint32_t little32(const uint8_t* p) { return little16(p) | little16(p + 2) << 16; }
inline uint32_t big16(const uint8_t* p) { return static_cast<uint32_t>(p[0]) << 8 | p[1]; }
inline uint32_t big32(const uint8_t* p) { return big16(p) << 16 | big16(p + 2); }

inline void putLittle(std::vector<uint8_t>& out, uint32_t value, int bytes) {
    for (int i = 0; i < bytes; i++) out.push_back(static_cast<uint8_t>(value >> 8 * i));
}
// A row of so many bits, the first one the highest of its byte; what lies behind them becomes 0.
inline void clearBehind(uint8_t* row, size_t bits) {
    if (bits % 8) row[bits / 8] &= static_cast<uint8_t>(0xFF00 >> bits % 8);
}
inline void invertBits(uint8_t* row, size_t bits) {
    for (size_t i = 0; i < (bits + 7) / 8; i++) row[i] = static_cast<uint8_t>(~row[i]);
    clearBehind(row, bits);
}
inline void putBig32(std::vector<uint8_t>& out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<uint8_t>(value >> shift));
}

}  // namespace tool
