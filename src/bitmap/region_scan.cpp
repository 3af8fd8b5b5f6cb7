#include "bitmap/region_scan.h"

#include <algorithm>

#include "system/dispatch.h"

namespace tnk {

Result RegionScan::prepare() {
    BitmapRect bounds;
    TRY(regionBounds(bitmap_, &bounds));
    top_ = bounds.Top;
    bottom_ = bounds.Bottom;
    uint32_t values = 0;
    TRY(segmentCount(bitmap_, &values));
    return segments_.allocate(std::max(values, 2u) / 2) ? SUCCESS : FAILURE;
}

Result RegionScan::readRow(int32_t row) {
    auto values = static_cast<uint32_t>(segments_.size() * 2);
    TRY(rowSegments(bitmap_, row, &segments_.data()->start, &values));
    // What a routine says is kept inside the row.
    const auto width = static_cast<uint32_t>(bitmap_.Width);
    count_ = std::min<size_t>(values / 2, segments_.size());
    for (RowSegment& segment : std::span(segments_.data(), count_)) {
        segment.end = std::min(segment.end, width);
        segment.start = std::min(segment.start, segment.end);
    }
    return SUCCESS;
}

}  // namespace tnk
