// Sine and cosine in hundredths of a degree.
#pragma once

#include <cstdint>

namespace tnk {

constexpr int32_t kSineUnit = 16384;  // what stands for 1
constexpr int32_t kFullTurn = 36000;  // hundredths of a degree
constexpr int32_t kQuarterTurn = 9000;

// Of any angle.
int32_t sine(int32_t angle);
int32_t cosine(int32_t angle);

// The angle in 0 to 35999 that turns alike.
constexpr int32_t reduceAngle(int64_t angle) {
    const auto rest = static_cast<int32_t>(angle % kFullTurn);
    return rest < 0 ? rest + kFullTurn : rest;
}

}  // namespace tnk
