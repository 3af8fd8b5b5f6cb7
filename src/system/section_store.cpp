#include "system/section_store.h"

#include <algorithm>
#include <cstring>

#include "system/settings.h"
#include "tnkrn.h"

// Memory sanitizers see nothing in the kept sections that anybody may touch.
#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/asan_interface.h>
#endif
#endif
#ifndef ASAN_POISON_MEMORY_REGION
#define ASAN_POISON_MEMORY_REGION(address, bytes) ((void)(address), (void)(bytes))
#define ASAN_UNPOISON_MEMORY_REGION(address, bytes) ((void)(address), (void)(bytes))
#endif

namespace tnk {
namespace {

constexpr uint32_t kMostKept = (sizeof(void*) == 4 ? 64u : 128u) << 20;
constexpr uint32_t kShareOfMemory = 8;     // no more than an eighth of the machine's, and no less left available
constexpr size_t kLeastSection = 1 << 16;  // the system's price of smaller ones is in the calls, not in the pages
constexpr uint32_t kMostSections = 32;

struct Kept {
    Section section;
    size_t bytes = 0;
};

// Oldest first; guarded by the library lock, under which nothing is allocated.
struct Store {
    Kept kept[kMostSections] = {};
    uint32_t count = 0;
    size_t bytes = 0;
    uint32_t limit = kMostKept;
};
constinit Store store;

Kept detach(uint32_t index) {
    const Kept found = store.kept[index];
    std::copy(store.kept + index + 1, store.kept + store.count, store.kept + index);
    --store.count;
    store.bytes -= found.bytes;
    ASAN_UNPOISON_MEMORY_REGION(found.section.view, found.bytes);
    return found;
}

// Takes out the oldest while more than `room` bytes or no free place are there; false when there is nothing to take.
bool detachBeyond(size_t room, Kept* found) {
    const LibraryLock lock;
    if (store.count == 0 || (store.count < kMostSections && store.bytes <= room)) return false;
    *found = detach(0);
    return true;
}

// Records may share a section, and more than one of them be freed.
bool isKept(T_HANDLE section) {
    const LibraryLock lock;
    return std::any_of(store.kept, store.kept + store.count,
                       [&](const Kept& kept) { return kept.section.handle == section; });
}

// False when there is no room, or other threads have filled it.
bool keep(const Section& section, size_t bytes, size_t limit) {
    const LibraryLock lock;
    if (store.count == kMostSections || store.bytes + bytes > limit) return false;
    store.kept[store.count++] = {section, bytes};
    store.bytes += bytes;
    ASAN_POISON_MEMORY_REGION(section.view, bytes);
    return true;
}

// The smallest that is large enough, unless it is so large that much of it would lie idle.
bool detachFitting(uint64_t bytes, Kept* found) {
    const LibraryLock lock;
    uint32_t best = kMostSections;
    for (uint32_t i = store.count; i-- != 0;) {
        const size_t has = store.kept[i].bytes;
        if (has < bytes || has - bytes > bytes / 4) continue;
        if (best == kMostSections || has < store.kept[best].bytes) best = i;
    }
    if (best == kMostSections) return false;
    *found = detach(best);
    return true;
}

// Nothing while memory is short.
size_t currentLimit() {
    MemoryStatus status{};
    if (!platform->memoryStatus(&status)) return 0;
    const uint64_t share = status.totalPhysical / kShareOfMemory;
    if (status.availablePhysical < share) return 0;
    const LibraryLock lock;
    return static_cast<size_t>(std::min<uint64_t>(store.limit, share));
}

void shrinkTo(size_t room) {
    Kept found;
    while (detachBeyond(room, &found)) platform->closeSection(found.section);
}

}  // namespace

bool takeSection(uint64_t bytes, Content content, Section* section) {
    Kept found;
    if (!detachFitting(bytes, &found)) return platform->createSection(bytes, section);
    const size_t used = content == Content::zero ? 0 : static_cast<size_t>(bytes);
    std::memset(found.section.view + used, 0, found.bytes - used);
    *section = found.section;
    return true;
}

void giveSection(const Section& section) {
    if (isKept(section.handle)) return;
    const size_t bytes = platform->sizeOfSection(section);
    if (bytes >= kLeastSection) {
        const size_t limit = currentLimit();
        shrinkTo(bytes <= limit ? limit - bytes : limit);
        if (keep(section, bytes, limit)) return;
    }
    platform->closeSection(section);
}

bool emptySectionStore() {
    Kept found;
    bool kept = false;
    for (; detachBeyond(0, &found); kept = true) platform->closeSection(found.section);
    return kept;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_GetKeptMemory(uint32_t* Limit, uint32_t* Kept) {
    const LibraryLock lock;
    if (Limit != nullptr) *Limit = store.limit;
    if (Kept != nullptr) *Kept = static_cast<uint32_t>(store.bytes);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_SetKeptMemory(uint32_t Limit) {
    const uint32_t limit = std::min(Limit, kMostKept);
    {
        const LibraryLock lock;
        store.limit = limit;
    }
    shrinkTo(limit);
    return SUCCESS;
}
