// Splines with AVX2.
#include "kernels/size/spline_loops.h"

namespace tnk {

const SplineKernels kAvx2SplineKernels = {sumRows, sumColumns, interpolateColumns, interpolateRows<uint8_t>,
                                          interpolateRows<uint16_t>};

}  // namespace tnk
