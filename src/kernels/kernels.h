// The kernel table: row kernels chosen once, when the library is loaded, by what the processor has. Scalar code fills
// it first and is the rule; a variant for an instruction set must equal it to the bit. TNK_KERNELS=scalar in the
// environment keeps the scalar code (sse2 and avx2 cap the choice likewise).
#pragma once

namespace tnk {

enum class InstructionSet { scalar, sse2, ssse3, avx2 };

// The best set that the processor has and the environment allows; read once.
InstructionSet instructionSet();

}  // namespace tnk
