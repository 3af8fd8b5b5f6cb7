// Run-compressed rows of 1-bit bitmaps. pData is a table of row groups; each has a table of its rows, a work buffer and a
// heap that holds the runs of its rows. Padding is not kept and reads as 0.
#include "bitmap/storage/storage_compressed.h"

#include <algorithm>

#include "base/pixel_format.h"
#include "base/scratch.h"
#include "base/shape.h"
#include "bitmap/storage/storage.h"
#include "platform/platform.h"

namespace tnk {

// Offsets and sizes of the heap count runs of 16 bits. The work buffer and the row table follow this header.
struct RowGroup {
    uint16_t* heap;
    uint32_t capacity;
    uint32_t used;  // below it lie the rows and what they left behind
    uint32_t live;  // runs of all rows, with those that a row never written stands for
};
static_assert(sizeof(void*) != 4 || sizeof(RowGroup) == 16);

namespace {

constexpr uint32_t kGroupShift = 15;
constexpr uint32_t kGroupRows = 1u << kGroupShift;
constexpr uint64_t kMostRuns = 0xFF000000;  // leaves `live` room for rows never written

// Where a row's runs lie; no runs: never written, all pixels 0.
struct RowPlace {
    uint32_t offset;
    uint32_t count;
};
static_assert(sizeof(RowPlace) == 8);

RowGroup** groupTable(const BitmapHandle& bitmap) { return reinterpret_cast<RowGroup**>(bitmap.pData); }

uint32_t groupCount(int32_t height) { return (static_cast<uint32_t>(height) + kGroupRows - 1) >> kGroupShift; }

uint32_t rowsInGroup(uint32_t group, int32_t height) {
    return std::min(kGroupRows, static_cast<uint32_t>(height) - (group << kGroupShift));
}

uint64_t workBytes(const BitmapHandle& bitmap) {
    static_assert(maxEncodedBytes(0) <= 8);
    return (2 * uint64_t{Shape(bitmap).width} + 8 + 7) & ~uint64_t{7};
}

uint8_t* workOf(RowGroup& group) { return reinterpret_cast<uint8_t*>(&group + 1); }

RowPlace* placesOf(RowGroup& group, const BitmapHandle& bitmap) {
    return reinterpret_cast<RowPlace*>(workOf(group) + static_cast<size_t>(workBytes(bitmap)));
}

// Runs of a row without 1 bits: each piece but the last is followed by an empty run.
uint32_t emptyRowRuns(const BitmapHandle& bitmap) {
    constexpr uint32_t kPiece = kLongestRun & ~7u;
    const uint32_t width = Shape(bitmap).width;
    return width <= kLongestRun ? 1 : 1 + 2 * ((width - kLongestRun + kPiece - 1) / kPiece);
}

uint64_t startingRuns(const BitmapHandle& bitmap, uint32_t rows) {
    return uint64_t{rows} * Shape(bitmap).width / 64 / kRunBytes;
}

uint32_t runsOf(const RowPlace& place, const BitmapHandle& bitmap) {
    return place.count != 0 ? place.count : emptyRowRuns(bitmap);
}

void freeGroup(RowGroup* group) {
    if (group == nullptr) return;
    if (group->heap != nullptr) platform->freeLocal(group->heap);
    platform->freeLocal(group);
}

// A group's block for `rows` rows, all of them never written, without a heap.
RowGroup* makeBareGroup(const BitmapHandle& bitmap, uint32_t rows) {
    Scratch<uint8_t> block;
    if (!block.allocate(sizeof(RowGroup) + workBytes(bitmap) + uint64_t{rows} * sizeof(RowPlace), true)) return nullptr;
    auto* group = reinterpret_cast<RowGroup*>(block.detach());
    group->live = rows * emptyRowRuns(bitmap);
    return group;
}

RowGroup* makeGroup(const BitmapHandle& bitmap, uint32_t rows) {
    RowGroup* group = makeBareGroup(bitmap, rows);
    const uint64_t runs = std::min(startingRuns(bitmap, rows), kMostRuns);
    if (group == nullptr || runs == 0) return group;
    Scratch<uint16_t> heap;
    if (!heap.allocate(runs)) {
        freeGroup(group);
        return nullptr;
    }
    group->heap = heap.detach();
    group->capacity = static_cast<uint32_t>(runs);
    return group;
}

// Moves the rows close together into a heap of another size: room for `extra` runs more and for half of all again, so
// that moving them does not become a habit.
Result rebuildHeap(RowGroup& group, const BitmapHandle& bitmap, uint32_t rows, uint32_t extra) {
    RowPlace* places = placesOf(group, bitmap);
    uint64_t runs = extra;
    for (uint32_t i = 0; i < rows; ++i) runs += places[i].count;
    if (runs > kMostRuns) return FAILURE;
    runs = std::min(std::max(runs + runs / 2, startingRuns(bitmap, rows)), kMostRuns);
    Scratch<uint16_t> heap;
    if (!heap.allocate(runs)) return FAILURE;
    uint32_t used = 0;
    for (uint32_t i = 0; i < rows; ++i) {
        if (places[i].count == 0) continue;
        std::memcpy(heap.data() + used, group.heap + places[i].offset, size_t{places[i].count} * kRunBytes);
        places[i].offset = used;
        used += places[i].count;
    }
    if (group.heap != nullptr) platform->freeLocal(group.heap);
    group.heap = heap.detach();
    group.capacity = static_cast<uint32_t>(runs);
    group.used = used;
    return SUCCESS;
}

// Gives memory back when the rows have become much smaller. Without memory for the move all stays where it is.
void shrinkHeap(RowGroup& group, const BitmapHandle& bitmap, uint32_t rows) {
    if (group.live >= group.capacity / 4 || group.capacity <= startingRuns(bitmap, rows)) return;
    if (!rebuildHeap(group, bitmap, rows, 0).ok()) return;
}

Result checkGroups(const BitmapHandle& bitmap) {
    if (bitmap.pData == nullptr || bitmap.BitsPerPixel != 1) return ERROR_NOT_ALLOCATED;
    for (uint32_t i = 0; i < groupCount(bitmap.Height); ++i) {
        if (groupTable(bitmap)[i] == nullptr) return ERROR_NOT_ALLOCATED;
    }
    return SUCCESS;
}

// Bytes of all encoded rows, as far as Size can tell.
uint32_t totalBytes(const BitmapHandle& bitmap, int32_t height) {
    uint64_t bytes = uint64_t{static_cast<uint32_t>(height)} * kCountBytes;
    for (uint32_t i = 0; i < groupCount(height); ++i) bytes += uint64_t{groupTable(bitmap)[i]->live} * kRunBytes;
    return static_cast<uint32_t>(std::min(bytes, kSizeLimit - 1));
}

void freeGroups(RowGroup** groups, uint32_t first, uint32_t count) {
    while (count > first) freeGroup(groups[--count]);
}

bool makeGroups(RowGroup** groups, const BitmapHandle& bitmap, uint32_t first, int32_t height) {
    const uint32_t count = groupCount(height);
    for (uint32_t i = first; i < count; ++i) {
        groups[i] = makeGroup(bitmap, rowsInGroup(i, height));
        if (groups[i] != nullptr) continue;
        freeGroups(groups, first, i);
        return false;
    }
    return true;
}

void releaseCompressed(BitmapHandle& bitmap) {
    if (bitmap.pData == nullptr) return;
    freeGroups(groupTable(bitmap), 0, groupCount(bitmap.Height));
    platform->freeLocal(bitmap.pData);
    bitmap.pData = nullptr;
    // The record can be allocated again, by a kind that takes Size for that of plain rows.
    dataBytes(bitmap, bitmap.Height, &bitmap.Size);
}

// The bytes from a row's column on may run over several rows; visit(row, offset in the row, bytes) gets each part.
template <typename Visit>
int64_t forEachRow(const BitmapHandle& bitmap, int32_t row, uint32_t column, uint32_t bytes, Visit visit) {
    const Result groups = checkGroups(bitmap);
    if (!groups.ok()) return groups.code;
    if (row < 0 || row >= bitmap.Height) return FAILURE;
    const uint64_t line = bitmap.BytesPerLine;
    const uint64_t end = line * Shape(bitmap).height;
    const uint64_t position = line * static_cast<uint32_t>(row) + column / 8;
    if (position > end || bytes > end - position) return FAILURE;
    for (uint32_t done = 0; done < bytes;) {
        const auto at = static_cast<int32_t>((position + done) / line);
        const auto offset = static_cast<uint32_t>((position + done) % line);
        const uint32_t part = std::min(bytes - done, bitmap.BytesPerLine - offset);
        const Result visited = visit(at, offset, part, done);
        if (!visited.ok()) return visited.code;
        done += part;
    }
    return bytes;
}

uint32_t usedBytes(const BitmapHandle& bitmap) { return static_cast<uint32_t>(pixelBytes(Shape(bitmap).width, 1)); }

void readPart(const BitmapHandle& bitmap, const Runs& runs, uint32_t offset, uint8_t* buffer, uint32_t bytes) {
    uint32_t used = 0;
    if (offset < usedBytes(bitmap)) {
        used = std::min(bytes, usedBytes(bitmap) - offset);
        const auto pixels =
            static_cast<uint32_t>(std::min(uint64_t{used} * 8, Shape(bitmap).width - uint64_t{offset} * 8));
        expandRuns(runs, buffer, 0, offset * 8, pixels);
    }
    std::memset(buffer + used, 0, bytes - used);
}

int64_t readCompressed(BitmapHandle& bitmap, int32_t row, uint32_t column, uint8_t* buffer, uint32_t bytes) {
    return forEachRow(bitmap, row, column, bytes, [&](int32_t at, uint32_t offset, uint32_t part, uint32_t done) {
        CompressedRow stored;
        TRY(stored.open(bitmap, at));
        readPart(bitmap, stored.runs(), offset, buffer + done, part);
        return Result(SUCCESS);
    });
}

Result writePart(BitmapHandle& bitmap, int32_t row, uint32_t offset, const uint8_t* buffer, uint32_t bytes,
                 Scratch<uint8_t>& scratch) {
    const uint32_t used = usedBytes(bitmap);
    if (offset >= used || bytes == 0) return SUCCESS;
    CompressedRow stored;
    TRY(stored.open(bitmap, row));
    if (offset != 0 || bytes < used) {
        if (!scratch && !scratch.allocate(used)) return FAILURE;
        readPart(bitmap, stored.runs(), 0, scratch.data(), used);
        std::memcpy(scratch.data() + offset, buffer, std::min(bytes, used - offset));
        buffer = scratch.data();
    }
    encodeRow(stored.work(), buffer, 0, Shape(bitmap).width);
    return stored.store();
}

int64_t writeCompressed(BitmapHandle& bitmap, int32_t row, uint32_t column, const uint8_t* buffer, uint32_t bytes) {
    Scratch<uint8_t> scratch;
    return forEachRow(bitmap, row, column, bytes, [&](int32_t at, uint32_t offset, uint32_t part, uint32_t done) {
        return writePart(bitmap, at, offset, buffer + done, part, scratch);
    });
}

Result lendNothing(BitmapHandle& bitmap, int32_t, int32_t, uint8_t** rows) {
    *rows = nullptr;
    return checkGroups(bitmap);
}

Result measureCompressed(const BitmapHandle& bitmap, uint32_t* bytes) {
    TRY(checkGroups(bitmap));
    *bytes = totalBytes(bitmap, bitmap.Height);
    return SUCCESS;
}

// Surplus groups go, the last one left forgets its surplus rows; blocks keep their size.
void dropRows(BitmapHandle& bitmap, int32_t height) {
    RowGroup** groups = groupTable(bitmap);
    const uint32_t last = groupCount(height) - 1;
    freeGroups(groups, last + 1, groupCount(bitmap.Height));
    const uint32_t rows = rowsInGroup(last, height);
    RowPlace* places = placesOf(*groups[last], bitmap);
    for (uint32_t i = rows; i < rowsInGroup(last, bitmap.Height); ++i) groups[last]->live -= runsOf(places[i], bitmap);
    shrinkHeap(*groups[last], bitmap, rows);
}

// The old groups but the last move to a new table as they are; the last one's rows and heap move to a longer block.
Result addRows(BitmapHandle& bitmap, int32_t height) {
    const uint32_t last = groupCount(bitmap.Height) - 1;
    const uint32_t oldRows = rowsInGroup(last, bitmap.Height);
    const uint32_t newRows = rowsInGroup(last, height);
    Scratch<RowGroup*> table;
    if (!table.allocate(groupCount(height), true)) return FAILURE;
    RowGroup* longer = makeBareGroup(bitmap, newRows);
    if (longer == nullptr || !makeGroups(table.data(), bitmap, last + 1, height)) {
        freeGroup(longer);
        return FAILURE;
    }
    RowGroup* old = groupTable(bitmap)[last];
    std::memcpy(placesOf(*longer, bitmap), placesOf(*old, bitmap), size_t{oldRows} * sizeof(RowPlace));
    const uint32_t added = (newRows - oldRows) * emptyRowRuns(bitmap);
    *longer = *old;
    longer->live += added;
    platform->freeLocal(old);
    std::copy_n(groupTable(bitmap), last, table.data());
    table[last] = longer;
    platform->freeLocal(bitmap.pData);
    bitmap.pData = reinterpret_cast<uint8_t*>(table.detach());
    return SUCCESS;
}

Result resizeCompressed(BitmapHandle& bitmap, int32_t height) {
    TRY(checkGroups(bitmap));
    if (height < bitmap.Height) {
        dropRows(bitmap, height);
    } else {
        TRY(addRows(bitmap, height));
    }
    bitmap.Size = totalBytes(bitmap, height);
    return SUCCESS;
}

}  // namespace

Result CompressedRow::open(BitmapHandle& bitmap, int32_t row) {
    if (bitmap.pData == nullptr || bitmap.BitsPerPixel != 1) return ERROR_NOT_ALLOCATED;
    if (row < 0 || row >= bitmap.Height) return FAILURE;
    bitmap_ = &bitmap;
    group_ = groupTable(bitmap)[row >> kGroupShift];
    index_ = static_cast<uint32_t>(row) & (kGroupRows - 1);
    rows_ = rowsInGroup(static_cast<uint32_t>(row) >> kGroupShift, bitmap.Height);
    return group_ != nullptr ? SUCCESS : ERROR_NOT_ALLOCATED;
}

Runs CompressedRow::runs() const {
    const RowPlace& place = placesOf(*group_, *bitmap_)[index_];
    return {reinterpret_cast<const uint8_t*>(group_->heap + place.offset), place.count};
}

uint8_t* CompressedRow::work() const { return workOf(*group_); }

Result CompressedRow::store() {
    const Runs built = Runs::ofRow(work());
    // One run of 0 bits is what a row without runs stands for.
    const uint32_t count = built.count() != 1 ? built.count() : 0;
    RowPlace& place = placesOf(*group_, *bitmap_)[index_];
    if (count > place.count) {
        if (group_->capacity - group_->used < count) TRY(rebuildHeap(*group_, *bitmap_, rows_, count));
        group_->live -= runsOf(place, *bitmap_);
        place.offset = group_->used;
        group_->used += count;
    } else {
        group_->live -= runsOf(place, *bitmap_);
    }
    place.count = count;
    group_->live += runsOf(place, *bitmap_);
    if (count != 0) std::memcpy(group_->heap + place.offset, built.data(), size_t{count} * kRunBytes);
    shrinkHeap(*group_, *bitmap_, rows_);
    bitmap_->Size = totalBytes(*bitmap_, bitmap_->Height);
    return SUCCESS;
}

Result allocateCompressed(BitmapHandle& bitmap) {
    Scratch<RowGroup*> table;
    if (!table.allocate(groupCount(bitmap.Height), true) || !makeGroups(table.data(), bitmap, 0, bitmap.Height)) {
        return FAILURE;
    }
    bitmap.DataHandle = 0;
    bitmap.DataOffset = 0;
    bitmap.pData = reinterpret_cast<uint8_t*>(table.detach());
    bitmap.Flags |= BMF_ALLOCATED | BMF_MEMORY | BMF_COMPRESSED;
    bitmap.Size = totalBytes(bitmap, bitmap.Height);
    return SUCCESS;
}

const StorageKind kCompressedStorage = {MEMKIND_COMPRESSED, kTable | kPacked, releaseCompressed, readCompressed,
                                        writeCompressed,    lendNothing,      resizeCompressed,  measureCompressed};

}  // namespace tnk
