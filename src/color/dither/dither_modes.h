// The match modes in numbers, for the vector kernels.
#pragma once

#include <cstdint>

#include "color/dither/dither_state.h"
#include "kernels/dither/dither_kernels.h"
#include "kernels/kernels.h"

namespace tnk {

// The kernels of an instruction set; null for scalar.
const DitherKernels* ditherKernelsFor(InstructionSet set);

// How the run quantises.
Quantising quantisingOf(const DitherState& state);
DitherMatch ditherMatchOf(const DitherState& state);
// Colours that the run's mode can give: indexes are below it.
uint32_t colorsOf(const DitherState& state);

}  // namespace tnk
