// What whole copies and rectangles share.
#pragma once

#include <algorithm>
#include <cstdint>

#include "base/progress.h"
#include "base/result.h"
#include "bitmap/lifecycle.h"
#include "system/settings.h"
#include "tnkrn.h"

namespace tnk {

// The record of a copy with its storage, of the source's kind or, with a request, of that. A failure frees it.
Result makeCopyRecord(BitmapHandle& destination, BitmapHandle& source, int32_t width, int32_t height,
                      const uint32_t* request);

// A whole copy; see T_CopyBitmap, and with a request T_CopyBitmap2.
Result copyBitmap(BitmapHandle& destination, BitmapHandle& source, const uint32_t* request);

// The progress of copying `rows` rows, for the thread's copy-status callback.
inline Progress copyProgress(int32_t rows) {
    const ThreadSettings& settings = currentSettings();
    return Progress(settings.copyStatusCallback, settings.copyStatusUserData, rows);
}

// Rows that are moved at a time: enough to make what is done once a band not count, few enough to stay in the cache.
constexpr int32_t kMostBandRows = 64;
inline int32_t bandRows(const BitmapHandle& bitmap) {
    constexpr uint32_t kBandBytes = 1u << 18;
    const uint32_t rows = kBandBytes / std::max(bitmap.BytesPerLine, 1u);
    return std::clamp(static_cast<int32_t>(rows), 1, kMostBandRows);
}

}  // namespace tnk
