#include "geometry/turn/general_turn.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/pixel_format.h"
#include "base/shape.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "convert/fill_run.h"
#include "convert/packed_pixels.h"
#include "geometry/replacement.h"
#include "geometry/turn/source_window.h"
#include "geometry/turn/turn_map.h"
#include "system/status.h"

namespace tnk {
namespace {

// Target pixels are made in tiles, a multiple of 8 wide, so that packed pixels begin on bytes. In memory a tile is what
// touches few enough source rows to find them in the cache again; else what needs a window of some megabytes.
constexpr int32_t kMostTileColumns = 1024;
constexpr TurnSize kMemoryTile = {256, 64};
constexpr TurnSize kWindowTile = {1024, 1024};
constexpr TurnSize kDeepWindowTile = {512, 512};

class GeneralTurn {
  public:
    GeneralTurn(BitmapHandle& source, BitmapHandle& target, const GeneralTurnRequest& request)
        : source_(source),
          target_(target),
          map_({source.Width, source.Height}, {target.Width, target.Height}, request.angle),
          rows_(turnRowsFor(source, request.filter)),
          window_(source),
          writer_(target) {}

    Result run(uint32_t color, ProgressRange range) {
        TRY(prepareFill(color));
        TRY(window_.prepare());
        tile_ = window_.lent() ? kMemoryTile : rows_.bits <= 24 ? kWindowTile : kDeepWindowTile;
        const uint64_t fitting = std::max<uint64_t>(kWindowBytes / std::max(target_.BytesPerLine, 1u), 1);
        const auto band = static_cast<int32_t>(
            std::min<uint64_t>(fitting, static_cast<uint32_t>(std::min(tile_.height, target_.Height))));
        TRY(writer_.prepare(std::max(band, 1)));
        Progress progress = statusProgress(target_.Height, range);
        return writeBlocks(
            writer_, target_.Height, progress, [&](int32_t done) { return std::min(band, target_.Height - done); },
            [&](int32_t first, int32_t count, uint8_t* rows) { return turnBand(first, count, rows); });
    }

  private:
    // A run of the colour as long as a tile, spread.
    Result prepareFill(uint32_t color) {
        constexpr size_t kLongestRun = size_t{kMostTileColumns} * 8;
        if (!buffers_.allocate(3 * kLongestRun, true)) return FAILURE;
        fill_ = buffers_.data();
        spread_ = fill_ + kLongestRun;
        uint8_t* const packed = spread_ + kLongestRun;
        TRY(fillPixelRun(target_, packed, kMostTileColumns, color));
        spread(packed, fill_, kMostTileColumns);
        return SUCCESS;
    }

    void spread(const uint8_t* packed, uint8_t* pixels, int32_t count) const {
        const auto pixelCount = static_cast<size_t>(count);
        if (rows_.bits == 12) {
            unpack12(packed, reinterpret_cast<uint32_t*>(pixels), pixelCount);
        } else if (rows_.bits < 8) {
            unpackPixels(rows_.bits, packed, pixels, pixelCount);
        } else {
            std::memcpy(pixels, packed, pixelCount * spreadBytes(rows_.bits));
        }
    }

    Result turnBand(int32_t first, int32_t count, uint8_t* rows) {
        for (int32_t column = 0; column < target_.Width; column += tile_.width) {
            const int32_t end = std::min(column + tile_.width, target_.Width);
            const PixelBox tile = {column, first, end, first + count};
            const PixelBox needed = sourceOf(tile);
            const bool touched = needed.width() > 0 && needed.height() > 0;
            if (touched) TRY(window_.load(needed));
            uint8_t* to = rows + columnOffset(static_cast<uint32_t>(column), rows_.bits);
            for (int32_t row = first; row < first + count; ++row, to += target_.BytesPerLine) {
                turnStretch(column, row, tile.width(), touched, to);
            }
        }
        return SUCCESS;
    }

    // The source pixels that a tile may need: positions are linear, so that its corners bound them.
    PixelBox sourceOf(const PixelBox& tile) const {
        const TurnPoint corners[] = {map_.at(tile.left, tile.top), map_.at(tile.right - 1, tile.top),
                                     map_.at(tile.left, tile.bottom - 1), map_.at(tile.right - 1, tile.bottom - 1)};
        const auto range = [&](int64_t TurnPoint::*axis, int32_t extent) {
            const auto [low, high] =
                std::minmax({corners[0].*axis, corners[1].*axis, corners[2].*axis, corners[3].*axis});
            constexpr int64_t kMargin = 3;  // of the widest filter
            const auto inside = [&](int64_t at) { return static_cast<int32_t>(std::clamp<int64_t>(at, 0, extent)); };
            return std::pair(inside((low >> kStepBits) - kMargin), inside((high >> kStepBits) + kMargin + 1));
        };
        const auto [left, right] = range(&TurnPoint::x, source_.Width);
        const auto [top, bottom] = range(&TurnPoint::y, source_.Height);
        return {left, top, right, bottom};
    }

    void turnStretch(int32_t column, int32_t row, int32_t count, bool touched, uint8_t* to) {
        const uint32_t bytes = spreadBytes(rows_.bits);
        uint8_t* const pixels = isPacked(rows_.bits) ? spread_ : to;
        TurnStretch stretch{};
        if (touched) {
            stretch = stretchAt(column, row);
            rows_.settleSpans(stretch, count);
        }
        const auto [first, end] = stretch.covered;
        std::memcpy(pixels, fill_, static_cast<size_t>(first) * bytes);
        if (first < end) rows_.routine(stretch, pixels);
        std::memcpy(pixels + static_cast<size_t>(end) * bytes, fill_, static_cast<size_t>(count - end) * bytes);
        if (rows_.bits == 12) {
            pack12(reinterpret_cast<const uint32_t*>(pixels), to, static_cast<size_t>(count));
        } else if (rows_.bits < 8) {
            packPixels(rows_.bits, pixels, to, static_cast<size_t>(count));
        }
    }

    TurnStretch stretchAt(int32_t column, int32_t row) const {
        const PixelBox& box = window_.box();
        const TurnPoint centre = map_.at(column, row);
        return {.pixels = window_.pixels(),
                .stride = window_.stride(),
                .left = -int64_t{box.left},
                .top = -int64_t{box.top},
                .right = int64_t{source_.Width} - box.left,
                .bottom = int64_t{source_.Height} - box.top,
                .start = {centre.x - box.left * kStep, centre.y - box.top * kStep},
                .step = map_.step(),
                .covered = {},
                .inner = {},
                .fill = fill_};
    }

    BitmapHandle& source_;
    BitmapHandle& target_;
    TurnMap map_;
    TurnRows rows_;
    SourceWindow window_;
    RowWriter writer_;
    TurnSize tile_{};
    Scratch<uint8_t> buffers_;
    uint8_t* fill_ = nullptr;
    uint8_t* spread_ = nullptr;
};

}  // namespace

Result wholeSize(const BitmapHandle& bitmap, int32_t angle, TurnSize& size) {
    const int64_t across = std::abs(cosine(angle)), down = std::abs(sine(angle));
    const auto rounded = [](int64_t steps) { return std::max<int64_t>((steps + kSineUnit - 1) / kSineUnit, 1); };
    const int64_t width = rounded(bitmap.Width * across + bitmap.Height * down);
    const int64_t height = rounded(bitmap.Width * down + bitmap.Height * across);
    if (width > INT32_MAX || height > INT32_MAX) return ERROR_SIZE_TOO_LARGE;
    size = {static_cast<int32_t>(width), static_cast<int32_t>(height)};
    return SUCCESS;
}

Result generalTurn(BitmapHandle& bitmap, const GeneralTurnRequest& request, ProgressRange range) {
    assert(isAllocated(bitmap));
    TurnSize size = {bitmap.Width, bitmap.Height};
    if (request.wholePicture) TRY(wholeSize(bitmap, request.angle, size));
    Replacement replacement(bitmap);
    TRY(replacement.make(size.width, size.height));
    BitmapHandle& turned = replacement.bitmap();
    {
        const Locked sourceLock(bitmap);
        const Locked targetLock(turned);
        TRY(GeneralTurn(bitmap, turned, request).run(request.color, range));
    }
    turned.ViewPerspective = request.view;
    if (request.angle % (2 * kQuarterTurn) == kQuarterTurn) std::swap(turned.XResolution, turned.YResolution);
    replacement.take();
    return SUCCESS;
}

}  // namespace tnk
