#include "color/dither/dither_modes.h"

namespace tnk {
namespace {

struct ModeLevels {
    Quantising quantising;
    uint32_t colors;  // that the mode can give
    DitherLevels levels;
};

// A channel's number of levels as scale and step.
constexpr uint16_t kTwo[] = {512, 4080};
constexpr uint16_t kFour[] = {1024, 1360};
constexpr uint16_t kSix[] = {1286, 816};
constexpr uint16_t kEight[] = {2048, 583};

constexpr ModeLevels modeLevels(Quantising quantising, uint32_t colors, const uint16_t (&red)[2],
                                const uint16_t (&green)[2], const uint16_t (&blue)[2], uint16_t redWeight,
                                uint16_t greenWeight, uint16_t blueWeight, uint16_t bright = 0) {
    return {quantising,
            colors,
            {{red[0], green[0], blue[0]}, {red[1], green[1], blue[1]}, {redWeight, greenWeight, blueWeight}, bright}};
}

// By match mode.
constexpr ModeLevels kModeLevels[kMatchModes] = {
    {Quantising::table, 0, {}},
    {Quantising::table, 0, {}},
    modeLevels(Quantising::gray, 2, kTwo, kTwo, kTwo, 1, 0, 0),
    modeLevels(Quantising::gray, 4, kFour, kFour, kFour, 1, 0, 0),
    modeLevels(Quantising::upperBits, 8, kTwo, kTwo, kTwo, 4, 2, 1),
    modeLevels(Quantising::upperBits, 16, kTwo, kTwo, kTwo, 1, 2, 4, 8),
    modeLevels(Quantising::upperBits, 32, kFour, kFour, kTwo, 8, 2, 1),
    modeLevels(Quantising::upperBits, 64, kFour, kFour, kFour, 16, 4, 1),
    modeLevels(Quantising::upperBits, 128, kFour, kEight, kFour, 32, 4, 1),
    modeLevels(Quantising::upperBits, 256, kEight, kEight, kFour, 32, 4, 1),
    modeLevels(Quantising::levels, 216, kSix, kSix, kSix, 36, 6, 1),
};

const ModeLevels& modeLevelsOf(const DitherState& state) { return kModeLevels[static_cast<uint32_t>(state.mode)]; }

}  // namespace

const DitherKernels* ditherKernelsFor(InstructionSet set) {
    switch (set) {
        case InstructionSet::avx2:
            return &kDitherKernelsAvx2;
        case InstructionSet::ssse3:
            return &kDitherKernelsSsse3;
        case InstructionSet::sse2:
            return &kDitherKernelsSse2;
        case InstructionSet::scalar:
            break;
    }
    return nullptr;
}

Quantising quantisingOf(const DitherState& state) {
    if (state.isOrdered() && state.mode == MatchMode::black1White1) return Quantising::grayThreshold;
    if (state.isOrdered() && state.mode == MatchMode::display16) return Quantising::channelThreshold;
    return modeLevelsOf(state).quantising;
}

DitherMatch ditherMatchOf(const DitherState& state) {
    if (!state.colorTable) return {&state, state.matchTable, state.choices, 0, modeLevelsOf(state).levels};
    return {&state, state.colorTable.data(), nullptr, state.unknownColor, modeLevelsOf(state).levels};
}

uint32_t colorsOf(const DitherState& state) { return modeLevelsOf(state).colors; }

}  // namespace tnk
