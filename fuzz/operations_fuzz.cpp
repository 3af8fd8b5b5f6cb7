// Operations on a bitmap in every kind of storage, held against the same in plain memory.
#include <cstdlib>

#include "tests/support/bitmap_operations.h"

namespace {

constexpr int32_t kDepths[] = {1, 1, 1, 2, 3, 4, 5, 6, 7, 8, 8, 12, 16, 24, 24, 32, 48, 64};
constexpr uint32_t kRequests[] = {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL, MEM_TILED, MEM_COMPRESSED, MEM_SUPERCOMPRESSED};

// With `tiles` no bitmap is served from one block of memory, and tiles hold a few rows.
void setThresholds(bool tiles) {
    T_SetMemoryThresholds(0, tiles ? 0 : INT32_MAX, tiles ? 512 : 0, tiles ? 1024 : -100, 1, 31);
}

bool make(BitmapHandle& bitmap, uint32_t request, int32_t width, int32_t bits, uint32_t order) {
    setThresholds(request == MEM_TILED);
    const int32_t result =
        T_CreateBitmap(&bitmap, sizeof bitmap, request, width, 41, bits, order, nullptr, 1, nullptr, 0);
    setThresholds(false);
    return result == T_SUCCESS;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace tnk::test;
    if (size > 2000) return 0;
    Script script(data, size);
    const int32_t bits = kDepths[script.next(std::size(kDepths))];
    const uint32_t request = kRequests[script.next(std::size(kRequests))];
    const int32_t width = 1 + script.nextSigned(150);
    const uint32_t order = bits <= 8 ? 0 : bits == 12 ? 2 : script.next(2);
    BitmapHandle subject{}, model{};
    if (make(model, MEM_CONVENTIONAL, width, bits, order)) {
        // Super-compression needs its module.
        if (make(subject, request, width, bits, order) && OperationPair(subject, model, script).run() != nullptr) {
            std::abort();
        }
    }
    T_FreeBitmap(&subject);
    T_FreeBitmap(&model);
    return 0;
}
