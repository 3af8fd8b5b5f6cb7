// Lists of bitmaps: whole records in one array. A record in a list owns its pixels.
#include "collections/bitmap_list.h"

#include <algorithm>
#include <cstring>

#include "bitmap/copy/copy.h"
#include "platform/platform.h"

namespace tnk {
namespace {

constexpr EntryRule kItemEntry = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};

constexpr EntryRule kCopiedEntry = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, ERROR_STRUCT_SIZE};

constexpr uint32_t kLastItem = UINT32_MAX;

constexpr BitmapHandle emptyRecord() {
    BitmapHandle record{};
    record.StructSize = sizeof record;
    return record;
}

// A constant, so that the padding between fields is 0 too and whole records compare.
constexpr BitmapHandle kEmptyRecord = emptyRecord();

bool isEmpty(const BitmapHandle& record) { return std::memcmp(&record, &kEmptyRecord, sizeof record) == 0; }

void freeRecord(BitmapHandle& record) {
    if (record.StructSize == sizeof record) freeBitmap(record);
}

// An array of `room` records; null when there is no memory for it.
BitmapHandle* allocateRecords(uint32_t room) {
    const uint64_t bytes = uint64_t{room} * sizeof(BitmapHandle);
    if (bytes > SIZE_MAX / 2) return nullptr;
    return static_cast<BitmapHandle*>(platform->allocateGlobal(static_cast<size_t>(bytes), false));
}

void moveRecords(BitmapHandle* to, const BitmapHandle* from, uint32_t count) {
    if (count > 0) std::memmove(to, from, size_t{count} * sizeof(BitmapHandle));
}

// Moves what the list holds, the spare included, into an array of `room` records.
Result changeRoom(BitmapList& list, uint32_t room) {
    BitmapHandle* items = allocateRecords(room);
    if (items == nullptr) return FAILURE;
    if (list.items != nullptr) {
        moveRecords(items, list.items, list.count + 1);
        platform->freeGlobal(list.items);
    } else {
        items[0] = kEmptyRecord;
    }
    list.items = items;
    list.room = room;
    return SUCCESS;
}

// Room for one item more. It grows by halves, so that appending n items moves no more than about 3 n records.
Result growRoom(BitmapList& list) {
    constexpr uint32_t kMostItems = UINT32_MAX - 1;
    if (list.count == kMostItems) return FAILURE;
    const uint32_t needed = list.count + 2;  // with the spare
    if (needed <= list.room) return SUCCESS;
    const uint32_t wanted = static_cast<uint32_t>(std::min<uint64_t>(needed + uint64_t{list.count} / 2, UINT32_MAX));
    if (changeRoom(list, wanted).ok()) return SUCCESS;
    return changeRoom(list, needed);
}

Result checkItems(const BitmapList& list) {
    if (list.count == 0) return SUCCESS;
    if (list.items == nullptr) return ERROR_NULL_POINTER;
    return list.items[0].StructSize == sizeof(BitmapHandle) ? SUCCESS : ERROR_STRUCT_SIZE;
}

// A run of items that begins inside the list, cut at its end.
Result checkRun(const BitmapList* list, uint32_t index, uint32_t& count) {
    if (list == nullptr || index >= list->count || count == 0) return ERROR_INVALID_PARAMETER;
    count = std::min(list->count - index, count);
    return checkItems(*list);
}

Result checkRunChange(const BitmapList* list, uint32_t index, uint32_t& count) {
    TRY(checkChange(list));
    return checkRun(list, index, count);
}

Result createList(BitmapList*& list) {
    list = static_cast<BitmapList*>(platform->allocateGlobal(sizeof(BitmapList), true));
    return list != nullptr ? SUCCESS : FAILURE;
}

void destroyList(BitmapList* list) {
    if (list->items != nullptr) {
        for (uint32_t i = 0; i <= list->count; ++i) freeRecord(list->items[i]);
        platform->freeGlobal(list->items);
    }
    platform->freeGlobal(list);
}

Result insertItem(BitmapList& list, uint32_t index, const BitmapHandle& record) {
    const uint32_t slot = std::min(index, list.count);
    TRY(growRoom(list));
    moveRecords(list.items + slot + 1, list.items + slot, list.count - slot + 1);
    list.items[slot] = record;
    ++list.count;
    return SUCCESS;
}

// Takes out records that the caller has dealt with. The array shrinks when less than half of it is used; without memory
// for a shorter one the old one stays.
void dropItems(BitmapList& list, uint32_t index, uint32_t count) {
    const uint32_t left = list.count - count;
    moveRecords(list.items + index, list.items + index + count, left - index + 1);  // with the spare
    list.count = left;
    if (left == 0 && isEmpty(list.items[0])) {
        platform->freeGlobal(list.items);
        list.items = nullptr;
        list.room = 0;
    } else if (left + 1 < list.room / 2) {
        (void)changeRoom(list, left + 1);
    }
}

void replaceItem(BitmapList& list, uint32_t index, const BitmapHandle& record, BitmapHandle* old) {
    BitmapHandle taken = list.items[index];
    list.items[index] = record;
    if (old != nullptr) {
        *old = taken;
    } else {
        freeRecord(taken);
    }
}

// A new list with room for `count` items, and none in it yet.
Result createListFor(uint32_t count, BitmapList*& list) {
    TRY(createList(list));
    const Result made = changeRoom(*list, count + 1);
    if (!made.ok()) destroyList(list);
    return made;
}

void append(BitmapList& list, const BitmapHandle& record) {
    list.items[list.count++] = record;
    list.items[list.count] = kEmptyRecord;
}

Result moveItems(BitmapList& list, uint32_t index, uint32_t count, BitmapList*& moved) {
    TRY(createListFor(count, moved));
    for (uint32_t i = 0; i < count; ++i) append(*moved, list.items[index + i]);
    dropItems(list, index, count);
    return SUCCESS;
}

Result copyItems(BitmapList& list, uint32_t index, uint32_t count, BitmapList*& copied) {
    TRY(createListFor(count, copied));
    const ListUse use(list);
    for (uint32_t i = 0; i < count; ++i) {
        BitmapHandle record;
        Result result = checkEntry(kCopiedEntry, &list.items[index + i]);
        if (result.ok()) result = copyBitmap(record, list.items[index + i], nullptr);
        if (!result.ok()) {
            destroyList(copied);
            return result;
        }
        append(*copied, record);
    }
    return SUCCESS;
}

int32_t handOut(Result result, BitmapList* list, T_HANDLE* handle) {
    if (result.ok()) *handle = reinterpret_cast<T_HANDLE>(list);
    return result.code;
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_CreateBitmapList(T_HANDLE* List) {
    if (List == nullptr) return ERROR_INVALID_PARAMETER;
    BitmapList* list;
    const Result result = createList(list);
    return handOut(result, list, List);
}

extern "C" int32_t TNK_CALL T_DestroyBitmapList(T_HANDLE List) {
    if (const Result change = checkChange(listOf(List)); !change.ok()) return change.code;
    destroyList(listOf(List));
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_GetBitmapListCount(T_HANDLE List, uint32_t* Count) {
    if (List == 0 || Count == nullptr) return ERROR_INVALID_PARAMETER;
    *Count = listOf(List)->count;
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_InsertBitmapListItem(T_HANDLE List, uint32_t Index, const BitmapHandle* Bitmap) {
    Result result = checkChange(listOf(List));
    if (result.ok()) result = checkItems(*listOf(List));
    if (result.ok()) result = checkEntry(kItemEntry, Bitmap);
    if (result.ok()) result = insertItem(*listOf(List), Index, *Bitmap);
    return result.code;
}

extern "C" int32_t TNK_CALL T_RemoveBitmapListItem(T_HANDLE List, uint32_t Index, BitmapHandle* Bitmap) {
    uint32_t count = 1;
    const Result run = checkRunChange(listOf(List), Index, count);
    if (!run.ok()) return run.code;
    if (Bitmap != nullptr) *Bitmap = listOf(List)->items[Index];
    dropItems(*listOf(List), Index, 1);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_GetBitmapListItem(T_HANDLE List, uint32_t Index, BitmapHandle* Bitmap,
                                                uint32_t StructSize) {
    if (List == 0 || Index >= listOf(List)->count || Bitmap == nullptr) return ERROR_INVALID_PARAMETER;
    if (StructSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    if (listOf(List)->items == nullptr) return ERROR_NULL_POINTER;
    *Bitmap = listOf(List)->items[Index];
    Bitmap->StructSize = StructSize;
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_SetBitmapListItem(T_HANDLE List, uint32_t Index, const BitmapHandle* Bitmap) {
    if (const Result change = checkChange(listOf(List)); !change.ok()) return change.code;
    if (Index >= listOf(List)->count) return ERROR_INVALID_PARAMETER;
    if (listOf(List)->items == nullptr) return ERROR_NULL_POINTER;
    BitmapHandle& item = listOf(List)->items[Index];
    // KEEP: emptied before the record is looked at; a refusal that leaves the item alone would be the tempting repair.
    item = kEmptyRecord;
    if (Bitmap == nullptr) return SUCCESS;
    if (Bitmap->StructSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    item = *Bitmap;
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_ReplaceBitmapListItem(T_HANDLE List, uint32_t Index, const BitmapHandle* Bitmap,
                                                    BitmapHandle* OldBitmap, uint32_t OldStructSize) {
    if (const Result change = checkChange(listOf(List)); !change.ok()) return change.code;
    if (listOf(List)->count == 0) return ERROR_INVALID_PARAMETER;
    BitmapList& list = *listOf(List);
    if (Index == kLastItem) Index = list.count - 1;
    // KEEP: an index equal to the count is taken and means the spare record; refusing it would be the tempting repair.
    if (Index > list.count) return ERROR_INVALID_PARAMETER;
    Result result = checkItems(list);
    if (result.ok()) result = checkEntry(kItemEntry, Bitmap);
    if (!result.ok()) return result.code;
    if (OldBitmap != nullptr && OldStructSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    replaceItem(list, Index, *Bitmap, OldBitmap);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_DeleteBitmapListItems(T_HANDLE List, uint32_t Index, uint32_t Count) {
    const Result run = checkRunChange(listOf(List), Index, Count);
    if (!run.ok()) return run.code;
    BitmapList& list = *listOf(List);
    for (uint32_t i = 0; i < Count; ++i) freeRecord(list.items[Index + i]);
    dropItems(list, Index, Count);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_MoveBitmapListItems(T_HANDLE* NewList, T_HANDLE List, uint32_t Index, uint32_t Count) {
    if (NewList == nullptr) return ERROR_INVALID_PARAMETER;
    Result result = checkRunChange(listOf(List), Index, Count);
    BitmapList* moved = nullptr;
    if (result.ok()) result = moveItems(*listOf(List), Index, Count, moved);
    return handOut(result, moved, NewList);
}

extern "C" int32_t TNK_CALL T_CopyBitmapListItems(T_HANDLE* NewList, T_HANDLE List, uint32_t Index, uint32_t Count) {
    if (NewList == nullptr) return ERROR_INVALID_PARAMETER;
    Result result = checkRun(listOf(List), Index, Count);
    BitmapList* copied = nullptr;
    if (result.ok()) result = copyItems(*listOf(List), Index, Count, copied);
    return handOut(result, copied, NewList);
}
