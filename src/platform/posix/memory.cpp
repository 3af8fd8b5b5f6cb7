// Heap blocks, movable blocks and sections.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "platform/native.h"
#include "platform/posix/object.h"
#include "platform/system_hooks.h"

namespace tnk::native {

namespace {

// Behind a handle that is an odd number, which no fixed block's address is.
struct MovableBlock {
    static constexpr uint32_t kMagic = 0x4B4C424D;
    uint32_t magic;
    std::atomic<uint32_t> locks;  // readers of one bitmap lock its block from several threads
    size_t bytes;
    void* data;
};

// Releasing a mapping needs its length, which the interface does not hand back.
struct SectionObject {
    static constexpr uint32_t kMagic = 0x54434553;
    uint32_t magic;
    size_t bytes;
};

// Stands before the data of a global block. The heap's own word on the size is rounded up, and growth from there would
// leave bytes that nobody cleared.
struct alignas(16) GlobalHeader {
    static constexpr uint32_t kMagic = 0x424F4C47;
    uint32_t magic;
    size_t bytes;
};

GlobalHeader* headerOf(void* block) { return static_cast<GlobalHeader*>(block) - 1; }

constexpr T_HANDLE kMovableTag = 1;

MovableBlock* movableOf(T_HANDLE handle) {
    return (handle & kMovableTag) != 0 ? objectOf<MovableBlock>(handle - kMovableTag) : nullptr;
}

// The address of a fixed global block that stands for a movable one, or null.
void* fixedOf(T_HANDLE handle) {
    if ((handle & kMovableTag) != 0) return nullptr;
    auto* header = objectOf<GlobalHeader>(handle - static_cast<T_HANDLE>(sizeof(GlobalHeader)));
    return header != nullptr ? header + 1 : nullptr;
}

// Below this, a huge page would mostly hold nothing.
constexpr uint64_t kHugePageThreshold = 8u << 20;

void adviseHugePages([[maybe_unused]] void* view, [[maybe_unused]] size_t bytes) {
#ifdef MADV_HUGEPAGE
    // A wish only: systems without huge pages refuse it, and nothing is lost.
    if (bytes >= kHugePageThreshold) madvise(view, bytes, MADV_HUGEPAGE);
#endif
}

// Of a heap block, which begins anywhere: its whole pages.
void adviseHugePagesInside(void* block, size_t bytes) {
    if (bytes < kHugePageThreshold) return;
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t before = -reinterpret_cast<uintptr_t>(block) % page;
    adviseHugePages(static_cast<uint8_t*>(block) + before, (bytes - before) / page * page);
}

void* mapped(void* answer) { return answer != MAP_FAILED ? answer : nullptr; }

// A block of no bytes still needs an address of its own.
size_t atLeastOne(size_t bytes) { return bytes != 0 ? bytes : 1; }

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
        auto* header = static_cast<GlobalHeader*>(memoryTable.allocateLocal(sizeof(GlobalHeader) + bytes, zero));
        if (header == nullptr) return nullptr;
        header->magic = GlobalHeader::kMagic;
        header->bytes = bytes;
        return header + 1;
    },

    .reallocateGlobal = [](void* block, size_t bytes) -> void* {
        if (bytes > kLargestBlock) return nullptr;
        const size_t before = memoryTable.sizeOfGlobal(block);
        auto* header =
            static_cast<GlobalHeader*>(memoryTable.reallocateLocal(headerOf(block), sizeof(GlobalHeader) + bytes));
        if (header == nullptr) return nullptr;
        auto* data = reinterpret_cast<uint8_t*>(header + 1);
        if (bytes > before) std::memset(data + before, 0, bytes - before);
        header->bytes = bytes;
        return data;
    },

    .sizeOfGlobal = [](const void* block) -> size_t { return headerOf(const_cast<void*>(block))->bytes; },

    .freeGlobal =
        [](void* block) {
            if (block == nullptr) return;
            clearMark(headerOf(block));
            std::free(headerOf(block));
        },

    .allocateMovable = [](size_t bytes, bool zero) -> T_HANDLE {
        auto* block = makeObject<MovableBlock>();
        if (block == nullptr) return 0;
        block->data = memoryTable.allocateLocal(bytes, zero);
        if (block->data == nullptr) {
            destroyObject(block);
            return 0;
        }
        block->bytes = bytes;
        adviseHugePagesInside(block->data, bytes);
        return handleOf(block) + kMovableTag;
    },

    .reallocateMovable = [](T_HANDLE handle, size_t bytes) -> T_HANDLE {
        if (void* fixed = fixedOf(handle); fixed != nullptr)
            return handleOf(memoryTable.reallocateGlobal(fixed, bytes));
        auto* block = movableOf(handle);
        if (block == nullptr || block->locks != 0) return 0;
        void* data = memoryTable.reallocateLocal(block->data, bytes);
        if (data == nullptr) return 0;
        if (bytes > block->bytes) std::memset(static_cast<char*>(data) + block->bytes, 0, bytes - block->bytes);
        block->data = data;
        block->bytes = bytes;
        return handle;
    },

    .lockMovable = [](T_HANDLE handle) -> void* {
        auto* block = movableOf(handle);
        if (block == nullptr) return fixedOf(handle);
        ++block->locks;
        return block->data;
    },

    .unlockMovable =
        [](T_HANDLE handle) {
            auto* block = movableOf(handle);
            if (block == nullptr) return;
            uint32_t locks = block->locks.load();
            while (locks != 0 && !block->locks.compare_exchange_weak(locks, locks - 1)) {
            }
        },

    .sizeOfMovable = [](T_HANDLE handle) -> size_t {
        if (const auto* block = movableOf(handle); block != nullptr) return block->bytes;
        const void* fixed = fixedOf(handle);
        return fixed != nullptr ? memoryTable.sizeOfGlobal(fixed) : 0;
    },

    .freeMovable =
        [](T_HANDLE handle) {
            auto* block = movableOf(handle);
            if (block == nullptr) return memoryTable.freeGlobal(fixedOf(handle));
            std::free(block->data);
            destroyObject(block);
        },

    .createSection = [](uint64_t bytes, Section* section) -> bool {
        if (bytes == 0 || bytes > SIZE_MAX / 2) return false;
        auto* object = makeObject<SectionObject>();
        if (object == nullptr) return false;
        object->bytes = static_cast<size_t>(bytes);
        void* view = allocateOrGiveBack([&] {
            return mapped(mmap(nullptr, object->bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        });
        if (view == nullptr) {
            destroyObject(object);
            return false;
        }
        adviseHugePages(view, object->bytes);
        section->handle = handleOf(object);
        section->view = static_cast<uint8_t*>(view);
        return true;
    },

    .closeSection =
        [](const Section& section) {
            auto* object = objectOf<SectionObject>(section.handle);
            if (object == nullptr) return;
            munmap(section.view, object->bytes);
            destroyObject(object);
        },

    .sizeOfSection = [](const Section& section) -> size_t {
        const auto* object = objectOf<SectionObject>(section.handle);
        return object != nullptr ? object->bytes : 0;
    },

    .forgetPages =
        [](uint8_t* start, size_t bytes) {
            const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
            const auto from = reinterpret_cast<uintptr_t>(start);
            const uintptr_t first = (from + page - 1) / page * page;
            const uintptr_t end = (from + bytes) / page * page;
            if (first < end) madvise(reinterpret_cast<void*>(first), end - first, MADV_DONTNEED);
        },

    // The pages themselves move. What the last old page holds behind the section's end is cleared, as new pages are.
    .resizeSection = [](Section* section, uint64_t, uint64_t bytes) -> bool {
        auto* object = objectOf<SectionObject>(section->handle);
        if (object == nullptr || bytes == 0 || bytes > SIZE_MAX / 2) return false;
        const size_t before = object->bytes;
        void* view = allocateOrGiveBack(
            [&] { return mapped(mremap(section->view, before, static_cast<size_t>(bytes), MREMAP_MAYMOVE)); });
        if (view == nullptr) return false;
        object->bytes = static_cast<size_t>(bytes);
        section->view = static_cast<uint8_t*>(view);
        const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t cleared = std::min(object->bytes, (before + page - 1) / page * page);
        if (cleared > before) std::memset(section->view + before, 0, cleared - before);
        if (before < kHugePageThreshold) adviseHugePages(view, object->bytes);
        return true;
    },
};

}  // namespace tnk::native
