// A quadrilateral of one bitmap combined with one of another.
#include <algorithm>
#include <cstring>
#include <span>

#include "base/pixel_format.h"
#include "base/shape.h"
#include "bitmap/lifecycle.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "convert/packed_pixels.h"
#include "geometry/combine/combine_modes.h"
#include "geometry/combine/combine_source.h"
#include "geometry/combine/region_rows.h"
#include "geometry/combine/run_combiner.h"
#include "geometry/combine/warp_fetch.h"
#include "geometry/combine/warp_map.h"
#include "geometry/size/samples.h"
#include "geometry/turn/source_window.h"
#include "geometry/turn/turn_map.h"
#include "geometry/view.h"
#include "palette/palette.h"
#include "system/status.h"

namespace tnk {
namespace {

using Corners = BitmapPoint[4];

// The pixels of the picture as it is seen around corners, `margin` pixels more to each side.
BitmapRect boxAround(const Corners& corners, int32_t margin, const BitmapHandle& bitmap) {
    const auto range = [&](int32_t BitmapPoint::*axis, int32_t extent) {
        const auto [low, high] = std::minmax({corners[0].*axis, corners[1].*axis, corners[2].*axis, corners[3].*axis});
        return std::pair(std::clamp(low - margin, 0, extent), std::clamp(high + margin, 0, extent));
    };
    const auto [left, right] = range(&BitmapPoint::x, visibleWidth(bitmap));
    const auto [top, bottom] = range(&BitmapPoint::y, visibleHeight(bitmap));
    return {left, top, right, bottom};
}
bool isEmpty(const BitmapRect& rect) { return rect.Left >= rect.Right || rect.Top >= rect.Bottom; }

// The part of a source that a warp may need, in memory, in a format that it can take pixels from.
class WarpSource {
  public:
    WarpSource(BitmapHandle& bitmap, bool linear) : bitmap_(bitmap), window_(bitmap) {
        asColors_ = linear && bitmap.BitsPerPixel <= 8 && sampleFormatOf(bitmap).asColors;
        format_ = bitmap;
        if (asColors_) (void)initBitmap(format_, 1, 1, 24);
        routine_ = linear ? linearWarp(format_) : nearestWarp(Shape(format_).bits);
    }

    // `box` is seen. With `copies` the pixels stay as they are now.
    Result load(const BitmapRect& box, bool copies) {
        const BitmapRect part = storedRect(bitmap_, box);
        seen_ = box;
        frame_ = storedFrame(bitmap_);
        if (asColors_) return loadColors({part.Left & ~7, part.Top, part.Right, part.Bottom});
        TRY(window_.prepare(copies));
        TRY(window_.load({part.Left, part.Top, part.Right, part.Bottom}));
        startAt(window_.box().left, window_.box().top, window_.pixels(), window_.stride());
        return SUCCESS;
    }

    // What describes the pixels that fetch() gives.
    const BitmapHandle& format() const { return format_; }
    const BitmapRect& seen() const { return seen_; }

    // The places of the run are set; the rest is done here. Pixels from the first bit of `target` on.
    void fetch(WarpRun run, uint8_t* target, uint8_t* spread, size_t count) const {
        run.pixels = pixels_;
        run.stride = stride_;
        run.stored = frame_;
        run.left = seen_.Left;
        run.top = seen_.Top;
        run.right = seen_.Right;
        run.bottom = seen_.Bottom;
        const uint32_t bits = Shape(format_).bits;
        routine_(run, bits < 8 || bits == 12 ? spread : target, count);
        if (bits == 12) {
            pack12(reinterpret_cast<const uint32_t*>(spread), target, count);
        } else if (bits < 8) {
            packPixels(bits, spread, target, count);
        }
    }

  private:
    void startAt(int32_t column, int32_t row, const uint8_t* pixels, ptrdiff_t stride) {
        frame_.x -= column;
        frame_.y -= row;
        pixels_ = pixels;
        stride_ = stride;
    }

    // The left column is a multiple of 8, where a byte begins.
    Result loadColors(const BitmapRect& part) {
        const int32_t width = part.Right - part.Left, height = part.Bottom - part.Top;
        const uint64_t line = uint64_t{3} * static_cast<uint32_t>(width);
        if (!colors_.allocate(line * static_cast<uint32_t>(height))) return FAILURE;
        RowConverter converter;
        PaletteEntry entries[kMaxPaletteEntries];
        ConvertSpec spec{.bitsSrc = bitmap_.BitsPerPixel, .bitsDst = 24, .orderSrc = 0, .orderDst = ORDER_BGR};
        spec.paletteSrc = entriesOf(bitmap_, entries);
        TRY(converter.prepare(spec));
        RowReader reader(bitmap_);
        TRY(reader.prepare());
        uint8_t* to = colors_.data();
        const auto offset = static_cast<size_t>(columnOffset(static_cast<uint32_t>(part.Left), Shape(bitmap_).bits));
        for (int32_t row = part.Top; row < part.Bottom; ++row, to += static_cast<size_t>(line)) {
            uint8_t* pixels;
            TRY(reader.read(row, 1, &pixels));
            TRY(converter.run(pixels + offset, to, width));
        }
        startAt(part.Left, part.Top, colors_.data(), static_cast<ptrdiff_t>(line));
        return SUCCESS;
    }

    BitmapHandle& bitmap_;
    BitmapHandle format_;
    SourceWindow window_;
    bool asColors_;
    WarpRoutine routine_;
    Scratch<uint8_t> colors_;
    BitmapRect seen_{};
    PixelFrame frame_{};
    const uint8_t* pixels_ = nullptr;
    ptrdiff_t stride_ = 0;
};

class Warp {
  public:
    Warp(const WarpMap& map, BitmapHandle& destination, const Corners& to, const Corners& from)
        : map_(map), destination_(destination), frame_(seenFrame(destination)), corner_(to[0]), from_(from[0]) {
        std::copy_n(from, 4, sourceCorners_);
    }

    // `box` is where the quadrilateral may lie in the destination, as it is seen.
    Result run(const BitmapRect& box, const WarpSource& source, uint32_t flags) {
        RunCombiner combiner;
        TRY(combiner.prepare(destination_, source.format(), flags));
        if (combiner.isIdle()) return SUCCESS;
        RegionRows rows(destination_);
        TRY(rows.prepare());
        if (!pixels_.allocate(2 * kBlockBytes)) return FAILURE;
        settleBounds(sourceCorners_, source.seen());
        const BitmapRect part = storedRect(destination_, box);
        const int32_t first = std::max(part.Top, rows.top()), end = std::min(part.Bottom, rows.bottom());
        if (first >= end) return SUCCESS;
        Progress progress = statusProgress(end - first);
        return forBands(end - first, kMostBandRows, progress, [&](int32_t done, int32_t count) {
            for (int32_t row = first + done; row < first + done + count; ++row) {
                const PixelSpan span = spanOf(row, part.Left, part.Right);
                if (span.first == span.end) continue;
                TRY(rows.change(row, [&](uint8_t* bytes) { return warpRow(row, span, source, combiner, bytes); }));
            }
            return Result(SUCCESS);
        });
    }

  private:
    static constexpr int32_t kBlock = 512;  // pixels
    static constexpr size_t kBlockBytes = size_t{kBlock} * 8;

    // What holds where a pixel is written, as numbers of 0 and more: the edges, a depth, and positions on this side of the
    // source's ends where corners lie beyond them. Elsewhere positions lie inside but for what rounding adds, which must
    // not leave out a pixel of the edge.
    void settleBounds(const Corners& corners, const BitmapRect& seen) {
        std::copy_n(map_.edges, 4, bounds_);
        bounds_[4] = {map_.depth.x, map_.depth.y, map_.depth.constant - 1};
        boundCount_ = 5;
        const auto bound = [&](const Plane& a, int64_t end, int64_t sign, int64_t more) {
            const Plane& w = map_.depth;
            bounds_[boundCount_++] = {sign * (a.x - end * w.x), sign * (a.y - end * w.y),
                                      sign * (a.constant - end * w.constant) + more};
        };
        const auto ends = [&](const Plane& a, int32_t BitmapPoint::*axis, int32_t low, int32_t end) {
            const auto [least, most] =
                std::minmax({corners[0].*axis, corners[1].*axis, corners[2].*axis, corners[3].*axis});
            if (least < low) bound(a, int64_t{low} - from_.*axis, 1, 0);
            if (most > end) bound(a, int64_t{end} - from_.*axis, -1, -1);
        };
        ends(map_.across, &BitmapPoint::x, seen.Left, seen.Right);
        ends(map_.down, &BitmapPoint::y, seen.Top, seen.Bottom);
    }

    int64_t halfColumn(int32_t column, int32_t row) const { return 2 * (frame_.xAt(column, row) - corner_.x) + 1; }
    int64_t halfRow(int32_t column, int32_t row) const { return 2 * (frame_.yAt(column, row) - corner_.y) + 1; }

    // The columns of a stored row that are written, counted from `left`.
    PixelSpan spanOf(int32_t row, int32_t left, int32_t right) const {
        constexpr int64_t kMost = int64_t{1} << 62;
        PixelSpan span = {0, right - left};
        for (const Plane& bound : std::span(bounds_, boundCount_)) {
            const int64_t start = bound.at(halfColumn(left, row), halfRow(left, row));
            span = spanWithin(span, start, bound.step(frame_), 0, kMost);
        }
        return {span.first + left, span.end + left};
    }

    Result warpRow(int32_t row, const PixelSpan& span, const WarpSource& source, RunCombiner& combiner,
                   uint8_t* bytes) {
        for (int32_t column = span.first; column < span.end; column += kBlock) {
            const int32_t count = std::min(kBlock, span.end - column);
            const int64_t x = halfColumn(column, row), y = halfRow(column, row);
            WarpRun run{};
            run.across = map_.across.at(x, y);
            run.down = map_.down.at(x, y);
            run.depth = map_.depth.at(x, y);
            run.acrossStep = map_.across.step(frame_);
            run.downStep = map_.down.step(frame_);
            run.depthStep = map_.depth.step(frame_);
            run.x = from_.x;
            run.y = from_.y;
            source.fetch(run, pixels_.data(), pixels_.data() + kBlockBytes, static_cast<size_t>(count));
            TRY(combiner.run(bytes, column, pixels_.data(), 0, count));
        }
        return SUCCESS;
    }

    const WarpMap& map_;
    BitmapHandle& destination_;
    PixelFrame frame_;
    BitmapPoint corner_;
    BitmapPoint from_;
    Corners sourceCorners_;
    Plane bounds_[9];
    size_t boundCount_ = 0;
    Scratch<uint8_t> pixels_;
};

Result warp(BitmapHandle& destination, const Corners& to, BitmapHandle& source, const Corners& from, uint32_t flags) {
    WarpMap map;
    TRY(map.settle(to, from));
    constexpr int32_t kMargin = 2;  // for neighbours, and for positions that are rounded
    const BitmapRect target = boxAround(to, 0, destination), needed = boxAround(from, kMargin, source);
    if (isEmpty(target) || isEmpty(needed)) return SUCCESS;
    const Locked targetLock(destination);
    const Locked sourceLock(source);
    WarpSource pixels(source, (flags & COMBINE_LINEAR) != 0);
    TRY(pixels.load(needed, sharesPixels(destination, source)));
    return Warp(map, destination, to, from).run(target, pixels, flags);
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_CombineBitmapWarp(BitmapHandle* Destination, const BitmapPoint* Corners,
                                                BitmapHandle* Source, const BitmapPoint* SourceCorners,
                                                uint32_t Flags) {
    if (const Result entry = checkCombination(Destination, Source); !entry.ok()) return entry.code;
    const uint32_t known = kModeMask | kChannelMask | COMBINE_LINEAR;
    if (Corners == nullptr || (Flags & ~known) != 0 || (Flags & kModeMask) > COMBINE_ALPHA)
        return ERROR_INVALID_PARAMETER;
    const int32_t width = visibleWidth(*Source), height = visibleHeight(*Source);
    BitmapPoint to[4], from[4] = {{0, 0}, {width, 0}, {width, height}, {0, height}};
    std::copy_n(Corners, 4, to);
    if (SourceCorners != nullptr) std::copy_n(SourceCorners, 4, from);
    return warp(*Destination, to, *Source, from, Flags).code;
}
