// Device contexts of the toolkit.
#include "base/entry_rule.h"
#include "palette/palette.h"
#include "platform/platform.h"

using namespace tnk;

namespace {

constexpr EntryRule kOptionalBitmap = {SUCCESS, 0, ERROR_STRUCT_SIZE};

}  // namespace

extern "C" T_HANDLE TNK_CALL T_CreateTarnDC(const BitmapHandle* Bitmap) {
    if (!checkEntry(kOptionalBitmap, Bitmap).ok()) return 0;
    if (Bitmap == nullptr || Bitmap->Palette == nullptr) return platform->createDeviceContext(0);
    const T_HANDLE palette = logicalPaletteOf(*Bitmap);
    return palette != 0 ? platform->createDeviceContext(palette) : 0;
}

extern "C" int32_t TNK_CALL T_DeleteTarnDC(T_HANDLE DC) {
    return DC == 0 || platform->deleteDeviceContext(DC) ? SUCCESS : FAILURE;
}
