// The kernel tables of the instruction-set variants.
#pragma once

#include "kernels/kernels.h"

namespace tnk {

#if defined(__x86_64__) || defined(__i386__)
extern const Kernels kSsse3Kernels;
extern const Kernels kAvx2Kernels;
#endif

}  // namespace tnk
