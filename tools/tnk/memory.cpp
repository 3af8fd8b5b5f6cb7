#include "memory.h"

#include <cstdio>

namespace tool {

uint32_t memoryRequest(const std::string& kind) {
    if (kind == "disk") return MEM_NOCONVENTIONAL;
    if (kind == "compressed") return MEM_COMPRESSED | MEM_CONVENTIONAL;
    if (kind == "super") return MEM_SUPERCOMPRESSED | MEM_CONVENTIONAL;
    // Each tile that is not in memory has an open file; many small ones would leave none for the results.
    constexpr int32_t kMegabyte = 1 << 20, kLarge = (sizeof(void*) > 4 ? 256 : 64) * kMegabyte;
    constexpr uint32_t kWhich = 1u << 1 | 1u << 2 | 1u << 3;
    if (kind == "tiled") {
        // Nothing is small enough for one block, and few tiles are in memory at a time: larger pictures are paged.
        T_SetMemoryThresholds(0, 0, kMegabyte, 2 * kMegabyte, 0, kWhich);
    } else {
        // Tiles of the library's own size for what is large.
        T_SetMemoryThresholds(0, kLarge, 0, kLarge, 0, kWhich);
    }
    return MEM_CONVENTIONAL;
}

Bitmap copyTo(uint32_t request, Bitmap& source, const std::string& file) {
    Bitmap copy;
    require(T_CopyBitmap2(copy.get(), source.get(), request, sizeof(BitmapHandle)), file);
    return copy;
}

MemoryUse memoryUse(Bitmap& bitmap) {
    MemoryUse use;
    uint32_t kind = 0;
    if (T_GetBitmapMemoryInfo(bitmap.get(), &kind, &use.tileBytes, &use.tiles, &use.tilesInMemory,
                              &use.mostBytesInMemory, &use.leastTilesInMemory) != T_SUCCESS ||
        T_UpdateBitmapSize(bitmap.get()) != T_SUCCESS) {
        return {};
    }
    use.bytes = bitmap->Size;
    use.kind = kind == MEMKIND_MEMORY       ? "plain"
               : kind == MEMKIND_DISK       ? "disk"
               : kind == MEMKIND_TILED      ? "tiled"
               : kind == MEMKIND_COMPRESSED ? "compressed"
                                            : "super";
    return use;
}

std::string describeMemory(Bitmap& bitmap) {
    const MemoryUse use = memoryUse(bitmap);
    const std::string kind = use.kind, bytes = std::to_string(use.bytes) + " bytes ";
    if (kind.empty()) return "nowhere";
    if (kind == "plain") return bytes + "in memory";
    if (kind == "disk") return bytes + "in a temporary file";
    if (kind == "tiled") {
        return bytes + "in tiles: " + std::to_string(use.tiles) + " of " + std::to_string(use.tileBytes) + " bytes, " +
               std::to_string(use.tilesInMemory) + " in memory (at most " + std::to_string(use.mostBytesInMemory) +
               " bytes, at least " + std::to_string(use.leastTilesInMemory) + ")";
    }
    const double plain = static_cast<double>(bitmap->BytesPerLine) * bitmap->Height;
    char share[32];
    std::snprintf(share, sizeof share, ", %.1f %% of plain rows", 100 * static_cast<double>(use.bytes) / plain);
    return bytes + (kind == "compressed" ? kind : "super-compressed") + share;
}

}  // namespace tool
