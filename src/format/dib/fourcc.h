// Four-character codes.
#pragma once

#include <cstdint>

namespace tnk {

constexpr uint32_t fourcc(const char (&name)[5]) {
    uint32_t code = 0;
    for (uint32_t i = 0; i < 4; ++i) code |= static_cast<uint32_t>(static_cast<uint8_t>(name[i])) << 8 * i;
    return code;
}

}  // namespace tnk
