// The matrices of the ordered methods.
#include "color/dither/dither_state.h"

namespace tnk {
namespace {

using Matrix = uint8_t[8][8];

// Dispersed dots. KEEP: 236, 244, 232, 248 and 240 in the rows 3, 5 and 7 are not what the construction of the matrix
// gives; pictures are compared with those made by these values.
constexpr Matrix kDispersed = {
    {0, 128, 32, 160, 8, 136, 40, 168},      //
    {192, 64, 224, 96, 200, 72, 232, 104},   //
    {48, 176, 16, 144, 56, 184, 24, 152},    //
    {236, 112, 208, 80, 244, 120, 216, 88},  //
    {12, 140, 44, 172, 4, 132, 36, 164},     //
    {204, 76, 232, 108, 196, 68, 228, 100},  //
    {60, 188, 28, 156, 52, 180, 20, 148},    //
    {248, 124, 220, 92, 240, 116, 212, 84},
};

constexpr Matrix kClustered = {
    {112, 40, 72, 104, 144, 176, 208, 136},  //
    {88, 8, 16, 48, 192, 232, 240, 168},     //
    {56, 24, 0, 80, 160, 224, 248, 200},     //
    {96, 64, 32, 120, 128, 216, 184, 152},   //
    {148, 180, 212, 140, 116, 44, 76, 108},  //
    {196, 236, 244, 172, 92, 12, 20, 52},    //
    {164, 228, 252, 204, 60, 28, 4, 84},     //
    {132, 220, 188, 156, 100, 68, 36, 124},
};

// t / divisor - shift spreads the thresholds around 0 over about one step of the levels.
struct OffsetRule {
    int32_t divisor;
    int32_t shift;
};

// By output bits, for palettes of any kind.
constexpr OffsetRule kOffsetByBits[9] = {{256, 0}, {1, 128}, {2, 64}, {3, 42}, {4, 32},
                                         {5, 25},  {6, 21},  {7, 18}, {8, 16}};

OffsetRule offsetRule(const DitherState& state) {
    constexpr OffsetRule kThreshold{1, 0};
    switch (state.mode) {
        case MatchMode::ownTable:
        case MatchMode::userTable:
            return kOffsetByBits[state.outputBits <= 8 ? state.outputBits : 0];
        case MatchMode::black1White1:
        case MatchMode::display16:
            return kThreshold;
        case MatchMode::gray2:
            return kOffsetByBits[2];
        case MatchMode::rgb111:
            return kOffsetByBits[3];
        case MatchMode::rgb221:
            return kOffsetByBits[5];
        case MatchMode::rgb222:
            return kOffsetByBits[6];
        case MatchMode::rgb232:
            return kOffsetByBits[7];
        case MatchMode::rgb332:
            return kOffsetByBits[8];
        case MatchMode::web:
            return kOffsetByBits[6];
    }
    return kThreshold;
}

}  // namespace

void prepareOrdered(DitherState& state) {
    const Matrix& matrix = state.method == DITHER_ORDERED ? kDispersed : kClustered;
    const OffsetRule rule = offsetRule(state);
    for (int32_t line = 0; line < 8; ++line) {
        for (int32_t column = 0; column < 8; ++column) {
            state.ordered[line][column] = static_cast<int16_t>(matrix[line][column] / rule.divisor - rule.shift);
        }
    }
}

}  // namespace tnk
