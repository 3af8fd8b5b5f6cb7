// What a list handle points at, for operations that work through its items.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

struct BitmapList {
    uint32_t count;
    // `count` records and behind them a spare one: no item, but T_ReplaceBitmapListItem reaches it. What was put there
    // moves along with the array and is freed with the list. Null while there are no items and the spare is empty.
    BitmapHandle* items;
    uint32_t room;  // records that `items` holds; more than `count`, or 0 without an array
    uint32_t uses;  // operations that are working through the items; see ListUse
};
// Other modules may read count and address, the words that a list has always had.
static_assert(offsetof(BitmapList, count) == 0 && offsetof(BitmapList, items) == sizeof(void*));

inline BitmapList* listOf(T_HANDLE handle) { return reinterpret_cast<BitmapList*>(handle); }

// The items of a list that is there. -814 for a list that counts items and has none.
inline Result readItems(const BitmapList& list, std::span<const BitmapHandle>& items) {
    if (list.count > 0 && list.items == nullptr) return ERROR_NULL_POINTER;
    items = {list.items, list.count};
    return SUCCESS;
}

// Whether the list is there and may be changed now.
inline Result checkChange(const BitmapList* list) {
    return list != nullptr && list->uses == 0 ? SUCCESS : ERROR_INVALID_PARAMETER;
}

// Keeps the list as it is while an operation works through its items: the callbacks of that operation are the caller's
// code, and an array that they move or records that they free would be used on.
class ListUse {
  public:
    explicit ListUse(BitmapList& list) : list_(list) { ++list_.uses; }
    ~ListUse() { --list_.uses; }
    ListUse(const ListUse&) = delete;
    ListUse& operator=(const ListUse&) = delete;

  private:
    BitmapList& list_;
};

}  // namespace tnk
