// Who works on the pixels of movable storage, whose address is valid only while its block is locked. The record has one
// flag for it and no count, and several threads may read one bitmap: operations that are under way stand in a list.
#include "bitmap/lifecycle.h"
#include "bitmap/storage/storage.h"
#include "platform/platform.h"
#include "system/settings.h"

namespace tnk {
namespace {

constexpr uint32_t kUnaddressable = BMF_COMPRESSED | BMF_TILED | BMF_SUPERCOMPRESSED;

// Guarded by the library lock, as are flag and pointer of movable storage.
Locked* operations = nullptr;

bool isMovable(const BitmapHandle& bitmap) {
    return (flagsOf(bitmap) & (BMF_MEMORY | BMF_MOVABLE | kUnaddressable)) == (BMF_MEMORY | BMF_MOVABLE);
}

void lockPixels(BitmapHandle& bitmap) {
    if ((flagsOf(bitmap) & BMF_LOCKED) != 0) return;
    auto* data = static_cast<uint8_t*>(platform->lockMovable(bitmap.DataHandle));
    if (data == nullptr) return;  // pData stays null, and rows answer that there is no data
    bitmap.pData = data + bitmap.DataOffset;
    setFlags(bitmap, flagsOf(bitmap) | BMF_LOCKED);
}

void unlockPixels(BitmapHandle& bitmap) {
    if ((flagsOf(bitmap) & BMF_LOCKED) == 0) return;
    platform->unlockMovable(bitmap.DataHandle);
    bitmap.pData = nullptr;
    setFlags(bitmap, flagsOf(bitmap) & ~BMF_LOCKED);
}

}  // namespace

Locked* Locked::find(const BitmapHandle& bitmap) {
    Locked* found = operations;
    while (found != nullptr && found->bitmap_ != &bitmap) found = found->next_;
    return found;
}

// Settles for all operations on the record whether the last of them ends the access.
void Locked::setReleases(const BitmapHandle& bitmap, bool releases) {
    for (Locked* each = operations; each != nullptr; each = each->next_) {
        if (each->bitmap_ == &bitmap) each->releases_ = releases;
    }
}

Locked::Locked(BitmapHandle& bitmap) {
    if (!isMovable(bitmap)) return;
    const LibraryLock lock;
    const Locked* other = find(bitmap);
    releases_ = other != nullptr ? other->releases_ : (flagsOf(bitmap) & BMF_LOCKED) == 0;
    lockPixels(bitmap);
    if ((flagsOf(bitmap) & BMF_LOCKED) == 0) return;
    bitmap_ = &bitmap;
    next_ = operations;
    operations = this;
}

Locked::~Locked() {
    if (bitmap_ == nullptr) return;
    const LibraryLock lock;
    Locked** link = &operations;
    while (*link != this) link = &(*link)->next_;
    *link = next_;
    if (releases_ && find(*bitmap_) == nullptr && isMovable(*bitmap_)) unlockPixels(*bitmap_);
}

bool accessBitmap(BitmapHandle& bitmap) {
    if (!isMovable(bitmap)) return (flagsOf(bitmap) & BMF_LOCKED) != 0;
    const LibraryLock lock;
    const Locked* operation = Locked::find(bitmap);
    const bool accessed = operation != nullptr ? !operation->releases_ : (flagsOf(bitmap) & BMF_LOCKED) != 0;
    lockPixels(bitmap);
    Locked::setReleases(bitmap, false);
    return accessed;
}

void releaseBitmap(BitmapHandle& bitmap) {
    if (!isMovable(bitmap)) return;
    const LibraryLock lock;
    if (Locked::find(bitmap) == nullptr) return unlockPixels(bitmap);
    Locked::setReleases(bitmap, true);
}

void endAccess(BitmapHandle& bitmap) {
    if (!isMovable(bitmap)) return;
    const LibraryLock lock;
    unlockPixels(bitmap);
}

}  // namespace tnk
