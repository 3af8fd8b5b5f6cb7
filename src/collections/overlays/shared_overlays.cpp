#include "collections/overlays/shared_overlays.h"

#include <atomic>

#include "base/entry_rule.h"
#include "system/settings.h"

namespace tnk {
namespace {

using Note = SharedNote::Note;

// Changed under the library lock; null is seen without it, which is what nearly every bitmap that is freed finds.
std::atomic<Note*> notes = nullptr;

// Drops the notes of overlays that `drops` takes.
template <typename Drops>
void dropNotes(Drops drops) {
    if (notes.load(std::memory_order_acquire) == nullptr) return;
    const LibraryLock lock;
    Note* first = notes.load(std::memory_order_relaxed);
    for (Note** link = &first; *link != nullptr;) {
        Note* const note = *link;
        if (drops(*note->overlay)) {
            *link = note->next;
            platform->freeLocal(note);
        } else {
            link = &note->next;
        }
    }
    notes.store(first, std::memory_order_release);
}

bool shareStorage(const BitmapHandle& a, const BitmapHandle& b) {
    const auto same = [](const auto x, const auto y) { return x == y && x != decltype(x){}; };
    return same(a.pData, b.pData) || same(a.DataHandle, b.DataHandle);
}

// Its description stays.
void loseStorage(BitmapHandle& overlay) {
    overlay.Flags = 0;
    overlay.pData = nullptr;
    overlay.DataHandle = 0;
    overlay.DataOffset = 0;
    overlay.Palette = nullptr;
    overlay.Region = 0;
    overlay.pLUT = nullptr;
    overlay.LUTLength = 0;
    overlay.pByteMap = nullptr;
    overlay.pOverlays = nullptr;
    overlay.pDitherState = nullptr;
}

}  // namespace

bool shareMemory(const BitmapHandle& a, const BitmapHandle& b) {
    const bool samePalette = a.Palette == b.Palette && a.Palette != nullptr;
    const bool sameOverlays = a.pOverlays == b.pOverlays && a.pOverlays != nullptr;
    return &a == &b || shareStorage(a, b) || samePalette || sameOverlays;
}

Result SharedNote::make() {
    note_ = static_cast<Note*>(platform->allocateLocal(sizeof(Note), false));
    return note_ != nullptr ? SUCCESS : FAILURE;
}

void SharedNote::put(BitmapHandle& overlay) {
    dropNotes([&](const BitmapHandle& noted) { return &noted == &overlay; });
    const LibraryLock lock;
    *note_ = {notes.load(std::memory_order_relaxed), &overlay};
    notes.store(std::exchange(note_, nullptr), std::memory_order_release);
}

void leaveSharedOverlays(const BitmapHandle& bitmap) {
    dropNotes([&](BitmapHandle& overlay) {
        if (&overlay == &bitmap) return true;
        if (!isAllocated(bitmap) || !shareStorage(overlay, bitmap)) return false;
        loseStorage(overlay);
        return true;
    });
}

}  // namespace tnk
