// A rectangle of one bitmap combined with one of another.
#include <algorithm>

#include "bitmap/lifecycle.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "geometry/change_view.h"
#include "geometry/combine/combine_modes.h"
#include "geometry/combine/combine_source.h"
#include "geometry/combine/region_rows.h"
#include "geometry/combine/run_combiner.h"
#include "geometry/view.h"
#include "system/status.h"

namespace tnk {
namespace {

// Two rectangles of one size, as the pictures are seen.
struct Overlap {
    int64_t left;
    int64_t top;
    int64_t width;
    int64_t height;
    int64_t sourceLeft;
    int64_t sourceTop;

    // Keeps what lies in both pictures.
    void clip(const BitmapHandle& destination, const BitmapHandle& source) {
        const auto cut = [](int64_t& at, int64_t& other, int64_t& extent, int64_t end, int64_t otherEnd) {
            const int64_t before = std::max({int64_t{0}, -at, -other});
            at += before;
            other += before;
            extent = std::min({extent - before, end - at, otherEnd - other});
        };
        cut(left, sourceLeft, width, visibleWidth(destination), visibleWidth(source));
        cut(top, sourceTop, height, visibleHeight(destination), visibleHeight(source));
    }
    bool empty() const { return width < 1 || height < 1; }
};

BitmapRect rectAt(int64_t left, int64_t top, int64_t width, int64_t height) {
    return {static_cast<int32_t>(left), static_cast<int32_t>(top), static_cast<int32_t>(left + width),
            static_cast<int32_t>(top + height)};
}

// Rows of the source's rectangle for rows of the destination's: views are the same.
Result combineRows(BitmapHandle& destination, const BitmapRect& to, BitmapHandle& source, const BitmapRect& from,
                   uint32_t flags) {
    RunCombiner combiner;
    TRY(combiner.prepare(destination, source, flags));
    if (combiner.isIdle()) return SUCCESS;
    RegionRows target(destination);
    TRY(target.prepare());
    RowReader reader(source);
    TRY(reader.prepare());
    const int32_t first = std::max(to.Top, target.top()), end = std::min(to.Bottom, target.bottom());
    if (first >= end) return SUCCESS;
    Progress progress = statusProgress(end - first);
    return forBands(end - first, kMostBandRows, progress, [&](int32_t done, int32_t count) {
        for (int32_t row = first + done; row < first + done + count; ++row) {
            uint8_t* pixels;
            TRY(reader.read(from.Top + (row - to.Top), 1, &pixels));
            TRY(target.change(row, [&](uint8_t* bytes) {
                return combiner.run(bytes, to.Left, pixels, from.Left, to.Right - to.Left);
            }));
        }
        return Result(SUCCESS);
    });
}

Result combine(BitmapHandle& destination, BitmapHandle& source, Overlap overlap, uint32_t flags) {
    overlap.clip(destination, source);
    if (overlap.empty()) return SUCCESS;
    const BitmapRect to = storedRect(destination, rectAt(overlap.left, overlap.top, overlap.width, overlap.height));
    const BitmapRect from =
        storedRect(source, rectAt(overlap.sourceLeft, overlap.sourceTop, overlap.width, overlap.height));
    const Locked targetLock(destination);
    const Locked sourceLock(source);
    const int32_t view = viewOf(destination);
    if (viewOf(source) == view && !sharesPixels(destination, source))
        return combineRows(destination, to, source, from, flags);
    TempBitmap copy;
    TRY(copyPart(copy.record, source, from));
    TRY(changeView(copy.record, view));
    const Locked copyLock(copy.record);
    return combineRows(destination, to, copy.record, {0, 0, copy.record.Width, copy.record.Height}, flags);
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_CombineBitmapKrn(BitmapHandle* Destination, int32_t Left, int32_t Top, int32_t Width,
                                               int32_t Height, BitmapHandle* Source, int32_t SourceLeft,
                                               int32_t SourceTop, uint32_t Flags) {
    if (const Result entry = checkCombination(Destination, Source); !entry.ok()) return entry.code;
    if ((Flags & ~(kModeMask | kChannelMask)) != 0 || (Flags & kModeMask) > COMBINE_ALPHA)
        return ERROR_INVALID_PARAMETER;
    if (Width < 0 || Height < 0) return ERROR_INVALID_SIZE;
    return combine(*Destination, *Source, {Left, Top, Width, Height, SourceLeft, SourceTop}, Flags).code;
}
