// Overlays whose storage records of callers have too. Who frees it first takes it from the overlay, which would else be left
// with what is gone.
#pragma once

#include <utility>

#include "base/result.h"
#include "platform/platform.h"
#include "tnkrn.h"

namespace tnk {

// Whether freeing one bitmap takes from the other what it needs.
bool shareMemory(const BitmapHandle& a, const BitmapHandle& b);

// That an overlay's record is shared. Made before anything else that can fail; put where it counts until the record, which
// stays where it is, is freed.
class SharedNote {
  public:
    SharedNote() = default;
    ~SharedNote() {
        if (note_ != nullptr) platform->freeLocal(note_);
    }
    SharedNote(const SharedNote&) = delete;
    SharedNote& operator=(const SharedNote&) = delete;

    Result make();
    void put(BitmapHandle& overlay);

    struct Note {
        Note* next;
        BitmapHandle* overlay;
    };

  private:
    Note* note_ = nullptr;
};

// What hooks call before a bitmap is freed: see bitmap/hooks.h.
void leaveSharedOverlays(const BitmapHandle& bitmap);

}  // namespace tnk
