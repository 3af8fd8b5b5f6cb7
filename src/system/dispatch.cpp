#include "system/dispatch.h"

#include <algorithm>
#include <atomic>

#include "base/shape.h"
#include "platform/platform.h"

namespace tnk {

namespace {

// Words are read one at a time while other threads may install a table: each is whole, the set need not be.
std::atomic<uintptr_t> words[DISPATCH_WORDS];

template <typename Routine>
Routine routine(int word) {
    return reinterpret_cast<Routine>(words[word].load(std::memory_order_acquire));
}

}  // namespace

void deleteRegion(BitmapHandle& bitmap) {
    if (bitmap.Region != 0) platform->deleteRegion(bitmap.Region);
    bitmap.Region = 0;
}

Result copyRegion(BitmapHandle& destination, BitmapHandle& source, int32_t dx, int32_t dy) {
    destination.Region = 0;
    const auto copy = routine<CopyRegionRoutine>(DISPATCH_COPY_REGION);
    if (copy == nullptr) return SUCCESS;
    // The routine sees the source twice, since the destination need not have the source's size; the copy that it attaches
    // is then moved over.
    const T_HANDLE own = source.Region;
    const Result result = copy(&source, &source, dx, dy);
    if (result.ok()) destination.Region = source.Region;
    source.Region = own;
    return result;
}

Result moveRegion(BitmapHandle& destination, BitmapHandle& source, int32_t dx, int32_t dy) {
    const auto copy = routine<CopyRegionRoutine>(DISPATCH_COPY_REGION);
    if (copy == nullptr) return SUCCESS;
    deleteRegion(destination);
    const Result result = copy(&destination, &source, dx, dy);
    if (!result.ok()) destination.Region = 0;
    return result;
}

bool positionWritable(BitmapHandle& bitmap, int32_t row, int32_t column) {
    const auto check = routine<WritableRoutine>(DISPATCH_WRITABLE);
    const bool allowed = check == nullptr || check(&bitmap, row, column) != 0;
    return allowed && isInside(bitmap, row, column);
}

bool hasRegionRoutines() {
    return routine<BoundsRoutine>(DISPATCH_BOUNDS) != nullptr ||
           routine<SegmentCountRoutine>(DISPATCH_SEGMENT_COUNT) != nullptr ||
           routine<RowSegmentsRoutine>(DISPATCH_ROW_SEGMENTS) != nullptr;
}

Result regionBounds(BitmapHandle& bitmap, BitmapRect* bounds) {
    const BitmapRect whole{0, 0, bitmap.Width, bitmap.Height};
    *bounds = whole;
    const auto ask = routine<BoundsRoutine>(DISPATCH_BOUNDS);
    if (ask == nullptr) return SUCCESS;
    TRY(ask(&bitmap, bounds));
    bounds->Left = std::clamp(bounds->Left, 0, whole.Right);
    bounds->Top = std::clamp(bounds->Top, 0, whole.Bottom);
    bounds->Right = std::clamp(bounds->Right, bounds->Left, whole.Right);
    bounds->Bottom = std::clamp(bounds->Bottom, bounds->Top, whole.Bottom);
    return SUCCESS;
}

Result segmentCount(BitmapHandle& bitmap, uint32_t* count) {
    *count = 2;
    const auto ask = routine<SegmentCountRoutine>(DISPATCH_SEGMENT_COUNT);
    return ask != nullptr ? ask(&bitmap, count) : SUCCESS;
}

Result rowSegments(BitmapHandle& bitmap, int32_t row, uint32_t* segments, uint32_t* count) {
    segments[0] = 0;
    segments[1] = Shape(bitmap).width;
    *count = 2;
    const auto ask = routine<RowSegmentsRoutine>(DISPATCH_ROW_SEGMENTS);
    return ask != nullptr ? ask(&bitmap, row, segments, count) : SUCCESS;
}

Result tellFlip(BitmapHandle& bitmap) {
    const auto tell = routine<FlipRoutine>(DISPATCH_FLIP);
    return tell != nullptr ? tell(&bitmap) : SUCCESS;
}

Result tellReversal(BitmapHandle& bitmap) {
    const auto tell = routine<FlipRoutine>(DISPATCH_REVERSE);
    return tell != nullptr ? tell(&bitmap) : SUCCESS;
}

Result tellResize(BitmapHandle& bitmap, int32_t width, int32_t height) {
    const auto tell = routine<ResizeRoutine>(DISPATCH_RESIZE);
    return tell != nullptr ? tell(&bitmap, width, height) : SUCCESS;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_SetDisDispatch(const uintptr_t* Table) {
    if (Table == nullptr) return ERROR_INVALID_PARAMETER;
    for (int i = 0; i < DISPATCH_WORDS; ++i) words[i].store(Table[i], std::memory_order_release);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_GetDisDispatch(uintptr_t* Table) {
    if (Table == nullptr) return ERROR_INVALID_PARAMETER;
    if (words[0].load(std::memory_order_acquire) == 0) return ERROR_NOT_INITIALIZED;
    for (int i = 0; i < DISPATCH_WORDS; ++i) Table[i] = words[i].load(std::memory_order_acquire);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_ResetDisDispatch(void) {
    for (auto& word : words) word.store(0, std::memory_order_release);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_DeleteTarnRgn(T_HANDLE Region) {
    return Region == 0 || platform->deleteRegion(Region) ? SUCCESS : FAILURE;
}
