#include "convert/conversion_cache.h"

#include <new>
#include <utility>

#include "base/object.h"
#include "convert/prepared_conversion.h"
#include "system/settings.h"

namespace tnk {
namespace {

constexpr uint32_t kMostKept = 4;
// Beyond this the least recently used ones go when a new one comes. A matcher takes one or two megabytes for a photograph,
// up to thirty for noise.
constexpr size_t kMostBytes = size_t{16} << 20;

// A thread's conversions are a chain, the last used first.
struct Kept {
    Kept* next;
    PreparedConversion conversion;
};

void dropFrom(Kept*& first) {
    for (Kept* kept = std::exchange(first, nullptr); kept != nullptr;) {
        Kept* const gone = std::exchange(kept, kept->next);
        gone->~Kept();
        platform->freeLocal(gone);
    }
}

void dropChain(void* object) {
    auto* first = static_cast<Kept*>(object);
    dropFrom(first);
}

// Makes room for one more.
void trim(Kept*& first) {
    uint32_t count = 0;
    size_t bytes = 0;
    for (Kept** at = &first; *at != nullptr; at = &(*at)->next) {
        bytes += sizeof(Kept) + (*at)->conversion.converter().heapBytes();
        if (++count < kMostKept && bytes <= kMostBytes) continue;
        dropFrom(*at);
        return;
    }
}

// Takes the conversion for the arguments out of the chain; null when it has none.
Kept* take(Kept*& first, const Conversion& conversion) {
    for (Kept** at = &first; *at != nullptr; at = &(*at)->next)
        if ((*at)->conversion.isFor(conversion)) return std::exchange(*at, (*at)->next);
    return nullptr;
}

Kept* make(const Conversion& conversion) {
    static_assert(alignof(Kept) <= kHeapAlignment);
    void* const memory = platform->allocateLocal(sizeof(Kept), false);
    if (memory == nullptr) return nullptr;
    auto* kept = new (memory) Kept;
    kept->conversion.prepare(conversion);
    return kept;
}

}  // namespace

RowConverter* keptConverter(const Conversion& conversion) {
    ThreadObject* const own = threadObject();
    if (own == nullptr) return nullptr;
    auto* first = static_cast<Kept*>(own->object);
    Kept* found = take(first, conversion);
    if (found == nullptr) {
        trim(first);
        found = make(conversion);
    }
    if (found != nullptr) {
        found->next = first;
        first = found;
    }
    *own = {first, dropChain};
    return found != nullptr ? &found->conversion.converter() : nullptr;
}

void dropKeptConversions() {
    if (platform->threadValue() == nullptr) return;  // asking for the object would make the thread a block
    dropChain(std::exchange(threadObject()->object, nullptr));
}

}  // namespace tnk
