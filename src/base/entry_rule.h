// What an export answers to a null, an unallocated and a wrongly sized record, as data: the export names its rule,
// one function applies it, and one table-driven test tries every export against it.
#pragma once

#include <atomic>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

struct EntryRule {
    int32_t onNull;
    int32_t onUnallocated;   // 0: storage is not asked for
    int32_t onSize;          // 0: the size is not checked
    bool sizeFirst = false;  // the size is checked before the storage
};

// Flags while other threads may access the bitmap, which changes BMF_LOCKED in the word.
inline uint32_t flagsOf(const BitmapHandle& bitmap) {
    return std::atomic_ref(const_cast<uint32_t&>(bitmap.Flags)).load(std::memory_order_relaxed);
}
inline void setFlags(BitmapHandle& bitmap, uint32_t flags) {
    std::atomic_ref(bitmap.Flags).store(flags, std::memory_order_relaxed);
}

inline bool isAllocated(const BitmapHandle& bitmap) { return (flagsOf(bitmap) & BMF_ALLOCATED) != 0; }

inline Result checkEntry(const EntryRule& rule, const BitmapHandle* bitmap) {
    if (bitmap == nullptr) return rule.onNull;
    const bool unallocated = rule.onUnallocated != 0 && !isAllocated(*bitmap);
    const bool wrongSize = rule.onSize != 0 && bitmap->StructSize != sizeof(BitmapHandle);
    if (wrongSize && (rule.sizeFirst || !unallocated)) return rule.onSize;
    if (unallocated) return rule.onUnallocated;
    return SUCCESS;
}

}  // namespace tnk
