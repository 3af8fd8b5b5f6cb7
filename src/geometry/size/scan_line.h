// Pixels of a row picked at even steps.
#pragma once

#include <cstdint>

namespace tnk {

// Pixel i of the picked ones is pixel first + i * step + (error + i * remainder) / divisor of the row.
struct PixelSteps {
    int64_t first = 0;
    int64_t step = 0;
    int64_t error = 0;
    int64_t remainder = 0;
    int64_t divisor = 1;  // above 0

    // `from` pixels brought to `to`.
    static constexpr PixelSteps between(int32_t from, int32_t to) {
        return {.step = from / to, .remainder = from % to, .divisor = to};
    }
    constexpr int64_t at(int64_t i) const { return first + i * step + (error + i * remainder) / divisor; }
};

// Brings a row of `from` pixels to `to`, in place, at any depth; see T_Resize.
void resizeLine(uint8_t* row, int32_t from, int32_t to, int32_t bits);

}  // namespace tnk
