// Failure is a value. A Result is a number and no enumeration, since a callback's value may become one.
#pragma once

#include <cstdint>

#include "tnkrn.h"

namespace tnk {

struct [[nodiscard]] Result {
    int32_t code;
    constexpr Result(int32_t value) : code(value) {}  // NOLINT: codes convert freely
    constexpr bool ok() const { return code == SUCCESS; }
    constexpr bool operator==(const Result&) const = default;
};

// Leaves the function with the result of `expression` unless it is 1.
#define TRY(expression)                                                                         \
    do {                                                                                        \
        if (const ::tnk::Result tryResult_ = (expression); !tryResult_.ok()) return tryResult_; \
    } while (false)

}  // namespace tnk
