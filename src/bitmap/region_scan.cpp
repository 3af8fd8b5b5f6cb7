#include "bitmap/region_scan.h"

#include <algorithm>

#include "base/shape.h"
#include "system/dispatch.h"

namespace tnk {

Result RegionScan::prepare() {
    BitmapRect bounds{0, 0, bitmap_.Width, bitmap_.Height};
    uint32_t values = 2;
    if (asks_) {
        TRY(regionBounds(bitmap_, &bounds));
        TRY(segmentCount(bitmap_, &values));
    }
    empty_ = values == 0;
    top_ = bounds.Top;
    bottom_ = bounds.Bottom;
    return segments_.allocate(std::max(values, 2u) / 2) ? SUCCESS : FAILURE;
}

Result RegionScan::readRow(int32_t row) {
    const uint32_t width = Shape(bitmap_).width;
    if (!asks_) {
        *segments_.data() = {0, width};
        count_ = 1;
        return SUCCESS;
    }
    auto values = static_cast<uint32_t>(segments_.size() * 2);
    TRY(rowSegments(bitmap_, row, &segments_.data()->start, &values));
    // What a routine says is kept inside the row.
    count_ = std::min<size_t>(values / 2, segments_.size());
    for (RowSegment& segment : std::span(segments_.data(), count_)) {
        segment.end = std::min(segment.end, width);
        segment.start = std::min(segment.start, segment.end);
    }
    return SUCCESS;
}

}  // namespace tnk
