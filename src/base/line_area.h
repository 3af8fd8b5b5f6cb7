// Rows that callers give by the address of the first one and a stride.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "base/result.h"

namespace tnk {

struct LineArea {
    const uint8_t* first;
    int32_t stride;     // negative: the next row lies below
    uint64_t rowBytes;  // 0: the area is not touched

    int64_t step(int32_t rows) const { return int64_t{stride} * (rows - 1); }
    bool strideFits(uint64_t bytes, int32_t rows) const {
        return rows == 1 || static_cast<uint64_t>(std::abs(int64_t{stride})) >= bytes;
    }
    int64_t begin(int32_t rows) const {
        return static_cast<int64_t>(reinterpret_cast<uintptr_t>(first)) + std::min<int64_t>(step(rows), 0);
    }
    int64_t end(int32_t rows) const {
        return static_cast<int64_t>(reinterpret_cast<uintptr_t>(first)) + std::max<int64_t>(step(rows), 0) +
               static_cast<int64_t>(rowBytes);
    }
};

// -13 unless the rows (1 or more) of each area lie apart, and the two areas are disjoint or the same rows. The same rows
// are never overwritten by the results of others.
inline Result checkAreas(const LineArea& source, const LineArea& target, int32_t rows) {
    const bool inPlace = source.first == target.first;
    const uint64_t longer = std::max(source.rowBytes, target.rowBytes);
    if (!source.strideFits(inPlace ? longer : source.rowBytes, rows) || !target.strideFits(target.rowBytes, rows))
        return ERROR_INVALID_PARAMETER;
    if (inPlace) return rows == 1 || source.stride == target.stride ? SUCCESS : ERROR_INVALID_PARAMETER;
    if (source.rowBytes == 0 || target.rowBytes == 0) return SUCCESS;
    const bool apart = source.end(rows) <= target.begin(rows) || target.end(rows) <= source.begin(rows);
    return apart ? SUCCESS : ERROR_INVALID_PARAMETER;
}

}  // namespace tnk
