// Memory bitmaps: one section a bitmap, mapped from allocation to release.
#include <algorithm>
#include <cstring>

#include "bitmap/storage/storage.h"
#include "platform/platform.h"

namespace tnk {
namespace {

constexpr uintptr_t kDataAlignment = 32;

Section sectionOf(const BitmapHandle& bitmap) { return {bitmap.DataHandle, bitmap.pData - bitmap.DataOffset}; }

// Sections begin at a page, so the offset is 0 on every platform that has pages; the record carries it all the same.
void attach(BitmapHandle& bitmap, const Section& section, uint32_t offset) {
    bitmap.DataHandle = section.handle;
    bitmap.DataOffset = offset;
    bitmap.pData = section.view + offset;
}

Result allocateSection(BitmapHandle& bitmap) {
    Section section;
    if (!platform->createSection(bitmap.Size, &section)) return FAILURE;
    static_assert(kDataAlignment <= 4096);
    attach(bitmap, section, 0);
    bitmap.Flags |= BMF_ALLOCATED | BMF_MEMORY;
    return SUCCESS;
}

void releaseSection(BitmapHandle& bitmap) {
    if (bitmap.pData != nullptr) platform->closeSection(sectionOf(bitmap));
    bitmap.pData = nullptr;
    bitmap.DataHandle = 0;
    bitmap.DataOffset = 0;
}

Result resizeSection(BitmapHandle& bitmap, int32_t height) {
    if (bitmap.pData == nullptr) return ERROR_NOT_ALLOCATED;
    const uint32_t bytes = bytesWithOffset(bitmap, height);
    Section section;
    if (!platform->createSection(bytes, &section)) return FAILURE;
    uint32_t oldBytes = 0;
    dataBytes(bitmap, bitmap.Height, &oldBytes);
    const Section old = sectionOf(bitmap);
    const uint32_t offset = bitmap.DataOffset;
    std::memcpy(section.view + offset, old.view + offset, std::min(oldBytes, bytes - offset));
    attach(bitmap, section, offset);
    platform->closeSection(old);
    bitmap.Size = bytes;
    return SUCCESS;
}

}  // namespace

const StorageKind kSectionStorage = {MEMKIND_MEMORY, allocateSection, releaseSection, readMemory,
                                     writeMemory,    lendMemory,      resizeSection,  measureRows};

}  // namespace tnk
