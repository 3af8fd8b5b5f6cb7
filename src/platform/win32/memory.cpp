// Heap blocks, global blocks, movable blocks and sections.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/system_hooks.h"
#include "platform/used_blocks.h"
#include "platform/win32/windows_api.h"

namespace tnk::native {

namespace {

// A block of no bytes still needs an address: a movable one would count as discarded.
SIZE_T atLeastOne(size_t bytes) { return bytes != 0 ? bytes : 1; }

}  // namespace

constinit const MemoryTable memoryTable = {
    .allocateLocal = [](size_t bytes, bool zero) -> void* {
        if (bytes > kLargestBlock) return nullptr;
        return allocateOrGiveBack(
            [&] { return zero ? std::calloc(1, atLeastOne(bytes)) : std::malloc(atLeastOne(bytes)); });
    },

    .reallocateLocal = [](void* block, size_t bytes) -> void* {
        if (bytes > kLargestBlock) return nullptr;
        return allocateOrGiveBack([&] { return std::realloc(block, atLeastOne(bytes)); });
    },

    .freeLocal = [](void* block) { std::free(block); },

    .allocateGlobal = [](size_t bytes, bool zero) -> void* {
        if (bytes > kLargestBlock) return nullptr;
        return allocateOrGiveBack([&] { return GlobalAlloc(zero ? GPTR : GMEM_FIXED, atLeastOne(bytes)); });
    },

    .reallocateGlobal = [](void* block, size_t bytes) -> void* {
        if (bytes > kLargestBlock) return nullptr;
        // A fixed block may move only when it is asked for as if it were movable; it stays a fixed one.
        auto* moved = static_cast<char*>(
            allocateOrGiveBack([&] { return GlobalReAlloc(block, atLeastOne(bytes), GMEM_MOVEABLE | GMEM_ZEROINIT); }));
        // The one byte that stays must not come back when the block grows again.
        if (moved != nullptr && bytes == 0) *moved = 0;
        return moved;
    },

    .sizeOfGlobal = [](const void* block) -> size_t { return GlobalSize(const_cast<void*>(block)); },
    .freeGlobal = [](void* block) { GlobalFree(block); },

    .allocateMovable = [](size_t bytes, bool zero) -> T_HANDLE {
        if (bytes > kLargestBlock) return 0;
        return handleOf(
            allocateOrGiveBack([&] { return GlobalAlloc(zero ? GHND : GMEM_MOVEABLE, atLeastOne(bytes)); }));
    },

    .reallocateMovable = [](T_HANDLE block, size_t bytes) -> T_HANDLE {
        const HGLOBAL handle = systemHandle(block);
        if (bytes > kLargestBlock || (GlobalFlags(handle) & GMEM_LOCKCOUNT) != 0) return 0;
        const HGLOBAL moved = allocateOrGiveBack([&] { return GlobalReAlloc(handle, atLeastOne(bytes), GHND); });
        if (moved != nullptr && bytes == 0) {
            // The one byte that stays must not come back when the block grows again.
            *static_cast<char*>(GlobalLock(moved)) = 0;
            GlobalUnlock(moved);
        }
        return handleOf(moved);
    },

    .lockMovable = [](T_HANDLE block) -> void* { return GlobalLock(systemHandle(block)); },
    .unlockMovable = [](T_HANDLE block) { GlobalUnlock(systemHandle(block)); },
    .sizeOfMovable = [](T_HANDLE block) -> size_t { return GlobalSize(systemHandle(block)); },
    .freeMovable = [](T_HANDLE block) { GlobalFree(systemHandle(block)); },

    .createSection = [](uint64_t bytes, Section* section) -> bool {
        if (bytes == 0 || bytes > SIZE_MAX / 2) return false;
        const HANDLE mapping = allocateOrGiveBack([&] {
            return CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, static_cast<DWORD>(bytes >> 32),
                                      static_cast<DWORD>(bytes), nullptr);
        });
        if (mapping == nullptr) return false;
        void* view = allocateOrGiveBack(
            [&] { return MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, static_cast<SIZE_T>(bytes)); });
        if (view == nullptr) {
            CloseHandle(mapping);
            return false;
        }
        section->handle = handleOf(mapping);
        section->view = static_cast<uint8_t*>(view);
        return true;
    },

    .closeSection =
        [](const Section& section) {
            UnmapViewOfFile(section.view);
            CloseHandle(systemHandle(section.handle));
        },

    .sizeOfSection = [](const Section& section) -> size_t {
        MEMORY_BASIC_INFORMATION region;
        if (VirtualQuery(section.view, &region, sizeof region) == 0) return 0;
        return region.State == MEM_COMMIT && region.AllocationBase == section.view ? region.RegionSize : 0;
    },

    // They need not go to the page file then; only whole pages are taken.
    .forgetPages =
        [](uint8_t* start, size_t bytes) {
            constexpr uintptr_t kPage = 4096;
            const auto from = reinterpret_cast<uintptr_t>(start);
            const uintptr_t first = (from + kPage - 1) / kPage * kPage;
            const uintptr_t end = (from + bytes) / kPage * kPage;
            if (first < end) VirtualAlloc(reinterpret_cast<void*>(first), end - first, MEM_RESET, PAGE_READWRITE);
        },

    // A section cannot grow here. Blocks that hold nothing are looked at, and take no pages in the new one.
    .resizeSection = [](Section* section, uint64_t oldBytes, uint64_t bytes) -> bool {
        Section resized;
        if (!memoryTable.createSection(bytes, &resized)) return false;
        const auto both = static_cast<size_t>(std::min(oldBytes, bytes));
        forEachUsedBlock(section->view, both, [&](size_t offset, size_t count) {
            std::memcpy(resized.view + offset, section->view + offset, count);
            return true;
        });
        memoryTable.closeSection(*section);
        *section = resized;
        return true;
    },
};

}  // namespace tnk::native
