// The blocks of memory that hold anything: copying these alone leaves pages that nobody wrote to without memory or disk.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tnk {

inline bool isZero(const uint8_t* bytes, size_t count) {
    return count == 0 || (bytes[0] == 0 && std::memcmp(bytes, bytes + 1, count - 1) == 0);
}

// Calls visit(offset, count) for each block until one is refused; false then.
template <typename Visit>
bool forEachUsedBlock(const uint8_t* bytes, size_t count, Visit visit) {
    constexpr size_t kBlock = 64 * 1024;
    for (size_t offset = 0; offset < count; offset += kBlock) {
        const size_t block = std::min(kBlock, count - offset);
        if (!isZero(bytes + offset, block) && !visit(offset, block)) return false;
    }
    return true;
}

}  // namespace tnk
