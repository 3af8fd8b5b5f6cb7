// What an export answers to a null, an unallocated and a wrongly sized record, as data: the export names its rule,
// one function applies it, and one table-driven test tries every export against it.
#pragma once

#include "system/result.h"
#include "tnkrn.h"

namespace tnk {

struct EntryRule {
    int32_t onNull;
    int32_t onUnallocated;   // 0: storage is not asked for
    int32_t onSize;          // 0: the size is not checked
    bool sizeFirst = false;  // the size is checked before the storage
};

inline bool isAllocated(const BitmapHandle& bitmap) { return (bitmap.Flags & BMF_ALLOCATED) != 0; }

inline Result checkEntry(const EntryRule& rule, const BitmapHandle* bitmap) {
    if (bitmap == nullptr) return rule.onNull;
    const bool unallocated = rule.onUnallocated != 0 && !isAllocated(*bitmap);
    const bool wrongSize = rule.onSize != 0 && bitmap->StructSize != sizeof(BitmapHandle);
    if (wrongSize && (rule.sizeFirst || !unallocated)) return rule.onSize;
    if (unallocated) return rule.onUnallocated;
    return SUCCESS;
}

}  // namespace tnk
