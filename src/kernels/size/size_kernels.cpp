#include "kernels/size/size_kernels.h"

namespace tnk {
namespace {

constexpr SizeKernels kPlain = {};
#if defined(__x86_64__) || defined(__i386__)
constexpr SizeKernels kSsse3 = {pickRunsSsse3, blendColumnsSsse3, blendRowsSsse3, halveSsse3};
constexpr SizeKernels kAvx2 = {pickRunsSsse3, blendColumnsAvx2, blendRowsAvx2, halveSsse3};
#endif

}  // namespace

const SizeKernels& sizeKernelsFor(InstructionSet set) {
#if defined(__x86_64__) || defined(__i386__)
    if (set == InstructionSet::avx2) return kAvx2;
    if (set == InstructionSet::ssse3) return kSsse3;
#endif
    (void)set;
    return kPlain;
}

}  // namespace tnk
