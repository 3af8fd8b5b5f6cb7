#include "geometry/shear.h"

#include <cstdint>

#include "base/shape.h"
#include "bitmap/fill.h"
#include "bitmap/hooks.h"
#include "bitmap/lifecycle.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "geometry/replacement.h"
#include "geometry/sine.h"
#include "geometry/turn/quarter_turn.h"
#include "geometry/view.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kShearRule = {ERROR_NOT_ALLOCATED, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};

// How far each row moves: floor(row * sine / cosine), by whole steps and an error sum, which cannot drift.
class Slant {
  public:
    explicit Slant(int32_t angle) : sine_(sine(angle)), cosine_(cosine(angle)) {}

    // Also of rows that a picture does not have.
    int64_t at(int64_t row) const {
        const int64_t steps = row * sine_;
        return steps / cosine_ - (steps % cosine_ < 0);
    }

  private:
    int32_t sine_;
    int32_t cosine_;
};

// Where the picture is reversed before and after the shear, so that a negative angle gives the mirror image of a positive
// one: from side to side in the direction in which rows move, or across it.
enum class Mirroring { none, alongRows, acrossRows };

int64_t shiftOf(const Slant& slant, Mirroring mirroring, int64_t row, int64_t rows) {
    switch (mirroring) {
        case Mirroring::alongRows:
            return slant.at(rows) - slant.at(row);
        case Mirroring::acrossRows:
            return slant.at(rows - 1 - row);
        default:
            return slant.at(row);
    }
}

// Rows move to the right. `made` is to be a bitmap like `source` with room for all of it.
Result shearRows(BitmapHandle& source, Replacement& made, const Slant& slant, Mirroring mirroring, uint32_t color,
                 ProgressRange range) {
    const int64_t width = source.Width + slant.at(source.Height);
    if (width > INT32_MAX) return ERROR_SIZE_TOO_LARGE;
    TRY(made.make(static_cast<int32_t>(width), source.Height));
    BitmapHandle& sheared = made.bitmap();
    {
        const CallbackOff silent;
        TRY(fillBitmap(sheared, color));
    }
    const Locked sourceLock(source);
    const Locked madeLock(sheared);
    RowReader reader(source);
    const int32_t band = bandRows(source);
    TRY(reader.prepare(band));
    const uint32_t wholeRow[] = {0, Shape(source).width};
    Progress progress = statusProgress(source.Height, range);
    return forBands(source.Height, band, progress, [&](int32_t first, int32_t count) {
        uint8_t* rows[kMostBandRows];
        TRY(reader.read(first, count, rows));
        for (int32_t i = 0; i < count; ++i) {
            const auto column = static_cast<uint32_t>(shiftOf(slant, mirroring, first + i, source.Height));
            TRY(putRowSegments(sheared, rows[i], first + i, column, wholeRow, 2, false));
        }
        return Result(SUCCESS);
    });
}

// Columns are the rows of the picture turned counter-clockwise: those further to the left move further down.
Result shearColumns(BitmapHandle& source, Replacement& made, const Slant& slant, Mirroring mirroring, uint32_t color) {
    const uint32_t view = source.ViewPerspective;
    TRY(turnQuarterInto(made, source, false, view, {0, 33}));
    {
        Replacement sheared(made.bitmap());
        TRY(shearRows(made.bitmap(), sheared, slant, mirroring, color, {33, 67}));
        sheared.take();
    }
    return quarterTurn(made.bitmap(), true, view, {67, 100});
}

// What a shear of the picture is to its stored rows.
struct StoredShear {
    StoredShear(const BitmapHandle& bitmap, int32_t angle, bool horizontal)
        : slant(angle < 0 ? -angle : angle), rows(horizontal != isRotatedView(bitmap)) {
        // A picture is reversed as it is seen: on its side that turns the stored rows upside down.
        if (angle < 0) mirroring = rows != isRotatedView(bitmap) ? Mirroring::alongRows : Mirroring::acrossRows;
    }

    Slant slant;
    bool rows;  // move; else columns
    Mirroring mirroring = Mirroring::none;
};

}  // namespace

Result shearBitmap(BitmapHandle& bitmap, int32_t angle, bool horizontal, uint32_t color) {
    const StoredShear shear(bitmap, angle, horizontal);
    MovedOverlays overlays;
    TRY(overlays.make(&BitmapHooks::shearOverlays, bitmap, angle, horizontal));
    Replacement made(bitmap);
    TRY(shear.rows ? shearRows(bitmap, made, shear.slant, shear.mirroring, color, {})
                   : shearColumns(bitmap, made, shear.slant, shear.mirroring, color));
    made.take();
    overlays.takePlaceIn(bitmap);
    return SUCCESS;
}

// A part moves as its first row does in the picture, less what that row moves by in the part. Columns are the rows of the
// picture turned counter-clockwise.
PartOfShear shearPart(const BitmapHandle& bitmap, const BitmapRect& part, int32_t angle, bool horizontal) {
    const StoredShear shear(bitmap, angle, horizontal);
    const int64_t rows = shear.rows ? bitmap.Height : bitmap.Width;
    const int64_t first = shear.rows ? part.Top : rows - part.Right;
    const int64_t extent = shear.rows ? int64_t{part.Bottom} - part.Top : int64_t{part.Right} - part.Left;
    const auto shift = [&](int64_t row, int64_t of) { return shiftOf(shear.slant, shear.mirroring, row, of); };
    return {.alongRows = shear.rows, .shift = shift(first, rows) - shift(0, extent), .growth = shear.slant.at(rows)};
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_ShearBitmap(BitmapHandle* Bitmap, int32_t Angle, int32_t Horizontal, uint32_t Color) {
    if (const Result entry = checkEntry(kShearRule, Bitmap); !entry.ok()) return entry.code;
    if (Angle >= kQuarterTurn || Angle <= -kQuarterTurn) return ERROR_INVALID_PARAMETER;
    return shearBitmap(*Bitmap, Angle, Horizontal != 0, Color).code;
}
