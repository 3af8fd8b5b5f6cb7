// Rows in and out by kind of storage, and what a new bitmap costs.
#include <cstring>

#include "contest.h"

namespace tnk::bench {
namespace {

void rows(const std::string& kind, uint32_t memoryType) {
    auto* bitmap = new BitmapHandle;  // lives as long as the program
    if (T_CreateBitmap(bitmap, sizeof *bitmap, memoryType, kWidth, kHeight, 24, ORDER_BGR, nullptr, 1, nullptr, 0) !=
        SUCCESS) {
        return;
    }
    const size_t bytes = bitmap->BytesPerLine;
    contender("Put all rows of 24 bits", kind, [=] {
        for (int32_t y = 0; y < kHeight; ++y) {
            T_PutBitmapRow(bitmap, &pictures().bgr24[static_cast<size_t>(y) * bytes], y, static_cast<uint32_t>(bytes));
        }
    });
    contender("Get all rows of 24 bits", kind, [=] {
        for (int32_t y = 0; y < kHeight; ++y) {
            T_GetBitmapRow(bitmap, output(kPixels * 3) + static_cast<size_t>(y) * bytes, y,
                           static_cast<uint32_t>(bytes));
        }
    });
}

// Row by row, as the contenders move them: a copy of 12 KB goes another way through the C library than one of 37 MB.
void rowCopies(const std::string& job) {
    contender(job, "memory copy", [] {
        const size_t bytes = size_t{kWidth} * 3;
        for (size_t y = 0; y < kHeight; ++y)
            std::memcpy(output(kPixels * 3) + y * bytes, &pictures().bgr24[y * bytes], bytes);
    });
}

}  // namespace

void registerStorage() {
    rowCopies("Put all rows of 24 bits");
    rowCopies("Get all rows of 24 bits");
    rows("Tarnkit, memory", MEM_CONVENTIONAL);
    rows("Tarnkit, disk", MEM_NOCONVENTIONAL);
}

}  // namespace tnk::bench
