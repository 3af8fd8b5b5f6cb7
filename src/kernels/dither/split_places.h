// Where the channels of 3-byte pixels lie, for byte shuffles. Data alone: this is included where other instructions may be
// used than the processor has.
#pragma once

#include <cstdint>

namespace tnk {

// Byte i of a channel is byte 3 * i + channel of three vectors of 16 bytes: its place in each, 0x80 where it is in another.
struct SplitPlaces {
    alignas(16) uint8_t of[3][3][16];  // channel, vector
};

consteval SplitPlaces splitPlaces() {
    SplitPlaces places{};
    for (uint32_t channel = 0; channel < 3; ++channel) {
        for (uint32_t i = 0; i < 48; ++i) {
            const uint32_t byte = 3 * (i % 16) + channel;
            places.of[channel][i / 16][i % 16] = byte / 16 == i / 16 ? byte % 16 : 0x80;
        }
    }
    return places;
}
inline constexpr SplitPlaces kSplitPlaces = splitPlaces();

}  // namespace tnk
