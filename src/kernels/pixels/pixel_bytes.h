// Whole-byte pixels: the number of bytes as a constant, chosen once a row.
#pragma once

#include <cstdint>
#include <type_traits>

namespace tnk {

// Calls `body` with 1, 2, 3, 4, 6 or 8 as an integral constant. Its own copy in each file: files are compiled for
// different instruction sets, and a shared one could be the wrong file's.
template <typename Body>
static inline void withPixelBytes(uint32_t bytes, Body body) {
    switch (bytes) {
        case 1:
            return body(std::integral_constant<uint32_t, 1>());
        case 2:
            return body(std::integral_constant<uint32_t, 2>());
        case 3:
            return body(std::integral_constant<uint32_t, 3>());
        case 4:
            return body(std::integral_constant<uint32_t, 4>());
        case 6:
            return body(std::integral_constant<uint32_t, 6>());
        default:
            return body(std::integral_constant<uint32_t, 8>());
    }
}

}  // namespace tnk
