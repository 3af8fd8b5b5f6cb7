// What tests draw at random and fuzzers make: bytes from which operations and their arguments are taken.
#pragma once

#include <cstdint>
#include <vector>

#include "tnkrn.h"

namespace tnk::test {

class Script {
  public:
    Script(const uint8_t* bytes, size_t size) : at_(bytes), end_(bytes + size) {}

    bool more() const { return at_ != end_; }

    // 0 .. limit - 1; 0 at the end of the script.
    uint32_t next(uint32_t limit) {
        uint32_t value = 0;
        for (int i = 0; i < 2 && more(); ++i) value = value << 8 | *at_++;
        return value % limit;
    }
    int32_t nextSigned(uint32_t limit) { return static_cast<int32_t>(next(limit)); }

    // Runs or noise, as the script says; the bits after the last pixel are 0, since not every storage keeps them.
    std::vector<uint8_t> pixels(size_t bytes, uint64_t bits) {
        uint32_t state = next(1u << 16) * 2654435761u + 1;
        const bool runs = next(2) != 0;
        std::vector<uint8_t> all(bytes);
        for (uint8_t& byte : all) {
            state = state * 1664525 + 1013904223;
            byte = static_cast<uint8_t>(runs ? (state >> 28 != 0 ? 0 : 0xFF) : state >> 24);
        }
        for (uint64_t bit = bits; bit < bytes * 8; ++bit) all[bit / 8] &= static_cast<uint8_t>(~(0x80u >> (bit & 7)));
        return all;
    }

    // 256 colours, on a coarse grid at times, where ties and twins are likely; some may not be chosen.
    std::vector<PaletteEntry> palette() {
        const std::vector<uint8_t> bytes = pixels(1024, 1 << 13);
        const uint32_t step = next(2) != 0 ? 51 : 1;
        std::vector<PaletteEntry> colors(256);
        for (size_t i = 0; i < 256; ++i) {
            const auto channel = [&](size_t c) { return static_cast<uint8_t>(bytes[4 * i + c] / step * step); };
            colors[i] = {channel(0), channel(1), channel(2), static_cast<uint8_t>(bytes[4 * i + 3] % 37 == 1)};
        }
        colors[0].Reserved = 0;
        return colors;
    }

  private:
    const uint8_t* at_;
    const uint8_t* end_;
};

}  // namespace tnk::test
