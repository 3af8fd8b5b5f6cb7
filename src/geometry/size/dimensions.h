// The size that a resize is asked for.
#pragma once

#include <cstdint>

#include "base/result.h"

namespace tnk {

struct Dimensions {
    int32_t width;
    int32_t height;
};

// Completes a dimension of 0 by the other one and the current size; -13 for what gives none.
Result completeDimensions(Dimensions& wanted, const Dimensions& current);

}  // namespace tnk
