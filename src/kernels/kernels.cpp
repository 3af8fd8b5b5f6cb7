#include "kernels/kernels.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "kernels/variants.h"

namespace tnk {
namespace {

struct NamedSet {
    const char* name;
    InstructionSet set;
};
constexpr NamedSet kNamedSets[] = {
    {"scalar", InstructionSet::scalar},
    {"sse2", InstructionSet::sse2},
    {"ssse3", InstructionSet::ssse3},
    {"avx2", InstructionSet::avx2},
};

InstructionSet processorSet() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2")) return InstructionSet::avx2;
    if (__builtin_cpu_supports("ssse3")) return InstructionSet::ssse3;
    if (__builtin_cpu_supports("sse2")) return InstructionSet::sse2;
#endif
    return InstructionSet::scalar;
}

#if defined(__x86_64__) || defined(__i386__)
// AMD's processors before Zen 3 extract bits one by one.
bool extractsFast() {
    if (!__builtin_cpu_supports("bmi2")) return false;
    if (__builtin_cpu_is("intel")) return true;
    return __builtin_cpu_is("amd") && !__builtin_cpu_is("amdfam15h") && !__builtin_cpu_is("amdfam17h");
}
#endif

// Threads that come first at the same time find the same answer, so a plain store is enough.
constinit std::atomic<int> chosenSet{-1};
constinit std::atomic<const Kernels*> chosenKernels{nullptr};

}  // namespace

InstructionSet capInstructionSet(InstructionSet best, const char* wanted) {
    if (wanted == nullptr) return best;
    for (const NamedSet& named : kNamedSets)
        if (std::strcmp(wanted, named.name) == 0) return named.set < best ? named.set : best;
    return best;
}

InstructionSet instructionSet() {
    int set = chosenSet.load(std::memory_order_relaxed);
    if (set < 0) {
        set = static_cast<int>(capInstructionSet(processorSet(), std::getenv("TNK_KERNELS")));
        chosenSet.store(set, std::memory_order_relaxed);
    }
    return static_cast<InstructionSet>(set);
}

const Kernels& kernelsFor(InstructionSet set) {
#if defined(__x86_64__) || defined(__i386__)
    if (set == InstructionSet::avx2) return extractsFast() ? kAvx2ExtractKernels : kAvx2Kernels;
    if (set == InstructionSet::ssse3) return kSsse3Kernels;
#endif
    return kScalarKernels;
}

const Kernels& kernels() {
    const Kernels* table = chosenKernels.load(std::memory_order_relaxed);
    if (table == nullptr) {
        table = &kernelsFor(instructionSet());
        chosenKernels.store(table, std::memory_order_relaxed);
    }
    return *table;
}

}  // namespace tnk
