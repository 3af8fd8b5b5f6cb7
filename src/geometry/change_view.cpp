#include "geometry/change_view.h"

#include <cassert>

#include "base/entry_rule.h"
#include "bitmap/copy/copy.h"
#include "bitmap/hooks.h"
#include "bitmap/lifecycle.h"
#include "geometry/flip.h"
#include "geometry/turn/rotate.h"
#include "geometry/view.h"
#include "palette/palette.h"
#include "system/dispatch.h"
#include "system/settings.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kChangeRule = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, ERROR_STRUCT_SIZE};
constexpr EntryRule kIntRule = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, 0};

constexpr uint32_t kDupEverything = DUP_ALLOCATE | DUP_PALETTE | DUP_REGION | DUP_OVERLAYS;

// What the flags do not have copied is the source's.
void shareTheRest(BitmapHandle& destination, const BitmapHandle& source, uint32_t dupFlags) {
    if ((dupFlags & DUP_PALETTE) == 0) {
        freeBitmapPalette(destination);
        destination.Palette = source.Palette;
    }
    if ((dupFlags & DUP_REGION) == 0) {
        deleteRegion(destination);
        destination.Region = source.Region;
    }
    if ((dupFlags & DUP_OVERLAYS) == 0) {
        releaseOverlays(destination);
        destination.pOverlays = source.pOverlays;
    }
}

int32_t checkAndChange(const EntryRule& rule, BitmapHandle* destination, BitmapHandle* source, uint32_t structSize,
                       int32_t view, uint32_t dupFlags) {
    if (const Result entry = checkEntry(rule, source); !entry.ok()) return entry.code;
    if (destination != nullptr && structSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    if (!isView(view)) return ERROR_INVALID_PARAMETER;
    if (destination == nullptr || destination == source) return changeView(*source, view).code;
    return copyWithView(*destination, *source, view, dupFlags).code;
}

}  // namespace

Result changeView(BitmapHandle& bitmap, int32_t view) {
    assert(isAllocated(bitmap) && isView(view));
    if (viewOf(bitmap) == view) return SUCCESS;
    ViewChange change;
    TRY(viewChange(viewOf(bitmap), view, change));
    const CallbackOff silence;
    if (change.flip) TRY(flipRows(bitmap));
    bitmap.ViewPerspective = TOP_LEFT;
    if (change.rotation != 0) TRY(rotatePixels(bitmap, change.rotation * 100, ROTATE_RESIZE, 0));
    bitmap.ViewPerspective = static_cast<uint32_t>(view);
    return SUCCESS;
}

// The record gets all that hangs on a bitmap for as long as it may be replaced, which frees it.
Result copyWithView(BitmapHandle& destination, BitmapHandle& source, int32_t view, uint32_t dupFlags) {
    if ((dupFlags & DUP_ALLOCATE) == 0) return ERROR_NOT_ALLOCATED;  // nothing to put the pixels into
    TRY(duplicateBitmap(destination, source, source.Width, source.Height, source.BitsPerPixel, kDupEverything,
                        contentToFill()));
    Result result = copyData(destination, source);
    if (result.ok()) result = changeView(destination, view);
    if (result.ok()) {
        shareTheRest(destination, source, dupFlags);
    } else {
        freeBitmap(destination);
    }
    return result;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_ChangeBitmapViewPerspective(BitmapHandle* Destination, BitmapHandle* Source,
                                                          uint32_t StructSize, int32_t View) {
    return checkAndChange(kChangeRule, Destination, Source, StructSize, View, kDupEverything);
}

extern "C" int32_t TNK_CALL T_IntChangeBitmapViewPerspective(BitmapHandle* Destination, BitmapHandle* Source,
                                                             uint32_t StructSize, int32_t View, uint32_t DupFlags) {
    return checkAndChange(kIntRule, Destination, Source, StructSize, View, DupFlags);
}
