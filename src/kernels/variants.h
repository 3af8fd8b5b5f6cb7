// The kernel tables of the instruction-set variants.
#pragma once

#include "kernels/kernels.h"

namespace tnk {

#if defined(__x86_64__) || defined(__i386__)
extern const Kernels kSsse3Kernels;
extern const Kernels kAvx2Kernels;
extern const Kernels kAvx2ExtractKernels;  // for processors that gather bits (PEXT) fast

void lookUp555Bmi2(const uint8_t* source, uint8_t* target, size_t count, const Table555& table);
#endif

}  // namespace tnk
