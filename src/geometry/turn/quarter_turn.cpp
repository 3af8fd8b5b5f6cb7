#include "geometry/turn/quarter_turn.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "base/pixel_format.h"
#include "base/shape.h"
#include "bitmap/hooks.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "geometry/replacement.h"
#include "geometry/sine.h"
#include "geometry/turn/source_window.h"
#include "geometry/turn/transpose.h"
#include "geometry/view.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kTurnRule = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, 0};

// Packed pixels begin on bytes at multiples of this, in source rows as in target rows.
constexpr int32_t kUnit = 8;

// Target rows that are collected at a time where rows have no address. All source rows are gone through for each band of
// them, in pieces: the more rows, the fewer and the longer these are, and tiles are paged in again for each band.
constexpr uint64_t kBandBytes = 48u << 20;

// As many rows, a multiple of kUnit, as there is room for.
int32_t rowsWithin(uint64_t room, uint64_t rowBytes) {
    const uint64_t rows = room / std::max<uint64_t>(rowBytes, 1) & ~uint64_t{kUnit - 1};
    return static_cast<int32_t>(std::clamp<uint64_t>(rows, kUnit, INT32_MAX & ~(kUnit - 1)));
}

// Bands of target rows are columns of the source, which come in strips of source rows where they have no address. Every
// byte of the source is read once.
class QuarterTurn {
  public:
    QuarterTurn(BitmapHandle& source, BitmapHandle& target, bool clockwise)
        : source_(source), target_(target), clockwise_(clockwise), window_(source), writer_(target) {}

    Result run(ProgressRange range) {
        TRY(window_.prepare());
        bool direct = false;
        TRY(lendsRows(target_, &direct));
        int32_t band = window_.lent() && direct ? kMemoryBand : rowsWithin(kBandBytes, Shape(target_).lineBytes);
        band = std::min(band, (target_.Height + kUnit - 1) & ~(kUnit - 1));
        TRY(writer_.prepare(band));
        Progress progress = statusProgress(target_.Height, range);
        return writeBlocks(
            writer_, target_.Height, progress, [&](int32_t done) { return bandFrom(done, band); },
            [&](int32_t first, int32_t count, uint8_t* rows) { return turnBand(first, count, rows); });
    }

  private:
    // Counter-clockwise the bands begin at the last column, and all but the last band at a multiple of kUnit.
    int32_t bandFrom(int32_t done, int32_t band) const {
        const int32_t left = target_.Height - done;
        if (clockwise_ || left <= band) return std::min(left, band);
        return left - ((left - band + kUnit - 1) & ~(kUnit - 1));
    }

    Result turnBand(int32_t first, int32_t count, uint8_t* rows) {
        const int32_t left = clockwise_ ? first : target_.Height - first - count;
        const Shape shape(source_);
        const int32_t strip =
            window_.lent() ? source_.Height : rowsWithin(kWindowBytes, pixelBytes(uint32_t(count), shape.bits));
        for (int32_t done = 0; done < source_.Height; done += strip) {
            const int32_t height = std::min(strip, source_.Height - done);
            // Clockwise the last source row comes first.
            const int32_t top = clockwise_ ? source_.Height - done - height : done;
            TRY(window_.load({left, top, left + count, top + height}));
            turnStrip({left, top, left + count, top + height}, rows + columnOffset(uint32_t(done), shape.bits));
        }
        return SUCCESS;
    }

    void turnStrip(const PixelBox& box, uint8_t* target) const {
        const uint32_t bits = Shape(source_).bits;
        const auto line = static_cast<ptrdiff_t>(target_.BytesPerLine);
        const PixelBox& window = window_.box();
        const uint8_t* const pixels = window_.pixels() + (box.top - window.top) * window_.stride() +
                                      columnOffset(static_cast<uint32_t>(box.left - window.left), bits);
        TransposeArea area = {pixels,
                              window_.stride(),
                              target,
                              line,
                              static_cast<uint32_t>(box.width()),
                              static_cast<uint32_t>(box.height())};
        if (clockwise_) {
            area.source += (box.height() - 1) * window_.stride();
            area.sourceStride = -window_.stride();
        } else {
            area.target += (box.width() - 1) * line;
            area.targetStride = -line;
        }
        transpose(bits, area);
    }

    static constexpr int32_t kMemoryBand = 256;

    BitmapHandle& source_;
    BitmapHandle& target_;
    bool clockwise_;
    SourceWindow window_;
    RowWriter writer_;
};

Result turnPicture(BitmapHandle& bitmap, bool clockwise, ProgressRange range) {
    MovedOverlays overlays;
    const int32_t angle = clockwise ? kQuarterTurn : -kQuarterTurn;
    TRY(overlays.make(&BitmapHooks::rotateOverlays, bitmap, angle, ROTATE_RESIZE));
    TRY(quarterTurn(bitmap, clockwise != isMirroredView(viewOf(bitmap)), bitmap.ViewPerspective, range));
    overlays.takePlaceIn(bitmap);
    return SUCCESS;
}

}  // namespace

Result turnQuarterInto(Replacement& made, BitmapHandle& source, bool clockwise, uint32_t view, ProgressRange range) {
    assert(isAllocated(source));
    TRY(made.make(source.Height, source.Width));
    BitmapHandle& turned = made.bitmap();
    const Locked sourceLock(source);
    const Locked targetLock(turned);
    TRY(QuarterTurn(source, turned, clockwise).run(range));
    turned.ViewPerspective = view;
    std::swap(turned.XResolution, turned.YResolution);
    return SUCCESS;
}

Result quarterTurn(BitmapHandle& bitmap, bool clockwise, uint32_t view, ProgressRange range) {
    Replacement turned(bitmap);
    TRY(turnQuarterInto(turned, bitmap, clockwise, view, range));
    turned.take();
    return SUCCESS;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_RotateBitmap90(BitmapHandle* Bitmap, int32_t Direction, int32_t ProgressStart,
                                             int32_t ProgressEnd) {
    if (const Result entry = checkEntry(kTurnRule, Bitmap); !entry.ok()) return entry.code;
    return turnPicture(*Bitmap, Direction != 0, {ProgressStart, ProgressEnd}).code;
}
