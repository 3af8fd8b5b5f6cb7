// Rows in and out by kind of storage. The copies beside go row by row too: a copy of 12 KB goes another way through the C
// library than one of 37 MB.
#include <cstring>

#include "contest.h"

namespace tnk::bench {
namespace {

struct StoredAs {
    const char* name;
    uint32_t request;
    int32_t tileMemory;  // bytes that tiles may hold; 0: no tiles
};

bool create(const StoredAs& kind, int32_t bits, BitmapHandle* bitmap) {
    if (kind.tileMemory != 0) T_SetMemoryThresholds(0, 0, 1 << 20, kind.tileMemory, 1, 31);
    const int32_t made =
        T_CreateBitmap(bitmap, sizeof *bitmap, kind.request, kWidth, kHeight, bits, ORDER_BGR, nullptr, 1, nullptr, 0);
    T_SetMemoryThresholds(0, INT32_MAX, 0, -100, 1, 31);
    return made == SUCCESS;
}

void rows(const StoredAs& kind, const std::vector<uint8_t>& pixels, int32_t bits) {
    auto* bitmap = new BitmapHandle;  // lives as long as the program
    if (!create(kind, bits, bitmap)) return;
    const uint8_t* from = pixels.data();
    const uint32_t bytes = bitmap->BytesPerLine;
    // Filled at once: rows that were never written would be no measure for getting them.
    for (int32_t y = 0; y < kHeight; ++y) T_PutBitmapRow(bitmap, from + static_cast<size_t>(y) * bytes, y, bytes);
    const std::string job = "all rows of " + std::to_string(bits) + (bits == 1 ? " bit" : " bits");
    contender("Put " + job, kind.name, [=] {
        for (int32_t y = 0; y < kHeight; ++y) T_PutBitmapRow(bitmap, from + static_cast<size_t>(y) * bytes, y, bytes);
    });
    contender("Get " + job, kind.name, [=] {
        uint8_t* to = output(kPixels * 3);
        for (int32_t y = 0; y < kHeight; ++y) T_GetBitmapRow(bitmap, to + static_cast<size_t>(y) * bytes, y, bytes);
    });
}

void contest(int32_t bits, const std::vector<uint8_t>& pixels, std::initializer_list<StoredAs> kinds) {
    const uint8_t* from = pixels.data();
    const size_t bytes = size_t{kWidth} * static_cast<size_t>(bits) / 8;
    for (const char* job : {"Put", "Get"}) {
        contender(std::string(job) + " all rows of " + std::to_string(bits) + (bits == 1 ? " bit" : " bits"),
                  "memory copy", [=] {
                      for (size_t y = 0; y < kHeight; ++y) {
                          std::memcpy(output(kPixels * 3) + y * bytes, from + y * bytes, bytes);
                      }
                  });
    }
    for (const StoredAs& kind : kinds) rows(kind, pixels, bits);
}

}  // namespace

void registerStorage() {
    contest(24, pictures().bgr24,
            {{"Tarnkit, memory", MEM_CONVENTIONAL, 0},
             {"Tarnkit, tiles in memory", MEM_TILED, 1 << 30},
             {"Tarnkit, tiles in files but for 8 MB", MEM_TILED, 8 << 20},
             {"Tarnkit, disk", MEM_NOCONVENTIONAL, 0},
             {"Tarnkit, super-compressed", MEM_SUPERCOMPRESSED, 0}});
    contest(1, pictures().mono1,
            {{"Tarnkit, memory", MEM_CONVENTIONAL, 0},
             {"Tarnkit, run-compressed", MEM_COMPRESSED, 0},
             {"Tarnkit, super-compressed", MEM_SUPERCOMPRESSED, 0}});
}

}  // namespace tnk::bench
