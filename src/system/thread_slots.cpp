// Thread slots for callers. The platform's own indices are handed out; those of others, the library's among them, are
// refused, since freeing or setting one of them would break whoever owns it.
#include <atomic>

#include "base/result.h"
#include "platform/platform.h"

namespace tnk {

namespace {

// Above what the systems give: 1088 and 1024.
constexpr uint32_t kMaxSlots = 2048;

std::atomic<uint32_t> owned[kMaxSlots / 32];  // one bit a slot

constexpr uint32_t bitOf(uint32_t slot) { return uint32_t{1} << slot % 32; }

bool isOwned(int32_t index) {
    const auto slot = static_cast<uint32_t>(index);
    return slot < kMaxSlots && (owned[slot / 32].load(std::memory_order_acquire) & bitOf(slot)) != 0;
}

}  // namespace

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_TlsAlloc(void) {
    const uint32_t slot = platform->allocateSlot();
    if (slot == kNoSlot) return -1;
    if (slot >= kMaxSlots) {
        platform->freeSlot(slot);
        return -1;
    }
    owned[slot / 32].fetch_or(bitOf(slot), std::memory_order_acq_rel);
    return static_cast<int32_t>(slot);
}

extern "C" int32_t TNK_CALL T_TlsFree(int32_t Index) {
    if (!isOwned(Index)) return ERROR_INVALID_PARAMETER;
    const auto slot = static_cast<uint32_t>(Index);
    // Of two threads that free the same slot one comes too late.
    const uint32_t before = owned[slot / 32].fetch_and(~bitOf(slot), std::memory_order_acq_rel);
    if ((before & bitOf(slot)) == 0) return ERROR_INVALID_PARAMETER;
    return platform->freeSlot(slot) ? SUCCESS : FAILURE;
}

extern "C" void* TNK_CALL T_TlsGetValue(int32_t Index) {
    return isOwned(Index) ? platform->slotValue(static_cast<uint32_t>(Index)) : nullptr;
}

extern "C" int32_t TNK_CALL T_TlsSetValue(int32_t Index, void* Value) {
    if (!isOwned(Index)) return ERROR_INVALID_PARAMETER;
    return platform->setSlotValue(static_cast<uint32_t>(Index), Value) ? SUCCESS : FAILURE;
}
