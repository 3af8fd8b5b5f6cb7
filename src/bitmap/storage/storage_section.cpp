// Memory bitmaps: one section a bitmap, mapped from allocation to release.
#include <algorithm>
#include <cstring>

#include "base/shape.h"
#include "bitmap/storage/storage.h"
#include "platform/platform.h"
#include "system/section_store.h"
#include "system/settings.h"

namespace tnk {
namespace {

constexpr uintptr_t kDataAlignment = 32;

// A section whose record points at other pixels for the time being: the record alone no longer tells where its view is.
struct Replaced {
    Section section;
    Replaced* next;
};
Replaced* replaced = nullptr;  // guarded by the library lock

Replaced** findReplaced(T_HANDLE section) {
    Replaced** link = &replaced;
    while (*link != nullptr && (*link)->section.handle != section) link = &(*link)->next;
    return link;
}

// The section as it was made; a null view when the record tells nothing of one.
Section sectionOf(const BitmapHandle& bitmap) {
    const LibraryLock lock;
    if (const Replaced* found = *findReplaced(bitmap.DataHandle); found != nullptr) return found->section;
    return {bitmap.DataHandle, bitmap.pData != nullptr ? bitmap.pData - bitmap.DataOffset : nullptr};
}

void forgetReplaced(T_HANDLE section) {
    const LibraryLock lock;
    Replaced** const link = findReplaced(section);
    if (*link == nullptr) return;
    Replaced* const found = *link;
    *link = found->next;
    platform->freeLocal(found);
}

// Sections begin at a page, so the offset is 0 on every platform that has pages; the record carries it all the same.
void attach(BitmapHandle& bitmap, const Section& section, uint32_t offset) {
    bitmap.DataHandle = section.handle;
    bitmap.DataOffset = offset;
    bitmap.pData = section.view + offset;
}

void releaseSection(BitmapHandle& bitmap) {
    const Section section = sectionOf(bitmap);
    forgetReplaced(bitmap.DataHandle);
    if (section.view != nullptr) giveSection(section);
    bitmap.pData = nullptr;
    bitmap.DataHandle = 0;
    bitmap.DataOffset = 0;
}

Result resizeSection(BitmapHandle& bitmap, int32_t height) {
    if (bitmap.pData == nullptr) return ERROR_NOT_ALLOCATED;
    const uint32_t bytes = bytesWithOffset(bitmap, height);
    const uint32_t offset = bitmap.DataOffset;
    uint32_t oldBytes = 0;
    dataBytes(bitmap, bitmap.Height, &oldBytes);
    Section section = sectionOf(bitmap);
    const bool elsewhere = section.view + offset != bitmap.pData;
    if (!platform->resizeSection(&section, uint64_t{offset} + oldBytes, bytes)) return FAILURE;
    // The rows are those that the record points at.
    if (elsewhere) std::memcpy(section.view + offset, bitmap.pData, std::min(oldBytes, bytes - offset));
    forgetReplaced(bitmap.DataHandle);
    attach(bitmap, section, offset);
    bitmap.Size = bytes;
    return SUCCESS;
}

}  // namespace

Result allocateSection(BitmapHandle& bitmap, Content content) {
    Section section;
    if (!takeSection(bitmap.Size, content, &section)) return FAILURE;
    static_assert(kDataAlignment <= 4096);
    attach(bitmap, section, 0);
    bitmap.Flags |= BMF_ALLOCATED | BMF_MEMORY;
    return SUCCESS;
}

Result keepOwnPixels(const BitmapHandle& bitmap, const void* replacement) {
    const Section own = sectionOf(bitmap);
    if (own.view != nullptr && own.view + bitmap.DataOffset == replacement) {
        forgetReplaced(own.handle);
        return SUCCESS;
    }
    const LibraryLock lock;
    if (own.view == nullptr || *findReplaced(own.handle) != nullptr) return SUCCESS;
    auto* const added = static_cast<Replaced*>(platform->allocateLocal(sizeof(Replaced), false));
    if (added == nullptr) return FAILURE;
    *added = {own, replaced};
    replaced = added;
    return SUCCESS;
}

void forgetRows(const BitmapHandle& bitmap, int32_t first, int32_t count) {
    if (&storageOf(bitmap) != &kSectionStorage) return;
    const Section own = sectionOf(bitmap);
    if (own.view == nullptr || own.view + bitmap.DataOffset != bitmap.pData) return;
    const Shape shape(bitmap);
    platform->forgetPages(bitmap.pData + shape.offset(first), shape.offset(count));
}

const StorageKind kSectionStorage = {MEMKIND_MEMORY, kPlainRows, releaseSection, readMemory,
                                     writeMemory,    lendMemory, resizeSection,  measureRows};

}  // namespace tnk
