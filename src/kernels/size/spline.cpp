// Splines by the instructions that every processor has.
#include "kernels/size/spline_loops.h"

namespace tnk {

const SplineKernels kPlainSplineKernels = {sumRows, sumColumns, interpolateColumns, interpolateRows<uint8_t>,
                                           interpolateRows<uint16_t>};

const SplineKernels& splineKernelsFor(InstructionSet set) {
#if defined(__x86_64__) || defined(__i386__)
    if (set == InstructionSet::avx2) return kAvx2SplineKernels;
#endif
    (void)set;
    return kPlainSplineKernels;
}

}  // namespace tnk
