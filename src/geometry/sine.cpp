#include "geometry/sine.h"

#include <array>
#include <cstddef>

#include "tnkrn.h"

namespace tnk {
namespace {

// Taylor's series: 13 terms leave less than 1e-17 at a right angle, and no value comes closer than 1e-5 to a half, where
// the last bits would decide.
constexpr int32_t computeSine(int32_t hundredths) {
    const double angle = hundredths * (3.14159265358979323846 / 18000);
    double term = angle;
    double sum = angle;
    for (int n = 1; n < 14; ++n) {
        term *= -angle * angle / (2 * n * (2 * n + 1));
        sum += term;
    }
    return static_cast<int32_t>(sum * kSineUnit + 0.5);
}

constexpr std::array<int16_t, kQuarterTurn + 1> kSines = [] {
    std::array<int16_t, kQuarterTurn + 1> table{};
    for (int32_t i = 0; i <= kQuarterTurn; ++i) table[static_cast<size_t>(i)] = static_cast<int16_t>(computeSine(i));
    return table;
}();
static_assert(kSines[3000] == 8192 && kSines[4500] == 11585 && kSines[9000] == kSineUnit);

int32_t entry(int32_t index) { return kSines[static_cast<size_t>(index)]; }

}  // namespace

int32_t sine(int32_t angle) {
    angle = reduceAngle(angle);
    if (angle <= kQuarterTurn) return entry(angle);
    if (angle <= 2 * kQuarterTurn) return entry(2 * kQuarterTurn - angle);
    if (angle <= 3 * kQuarterTurn) return -entry(angle - 2 * kQuarterTurn);
    return -entry(kFullTurn - angle);
}

int32_t cosine(int32_t angle) { return sine(reduceAngle(int64_t{angle} + kQuarterTurn)); }

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_SinValue(int32_t Angle) { return sine(Angle); }

extern "C" int32_t TNK_CALL T_CosValue(int32_t Angle) { return cosine(Angle); }
