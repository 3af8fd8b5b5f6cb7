// The dithering engine: start and stop. Rows: dither_rows.cpp.
#include "color/dither/dither.h"

#include <algorithm>
#include <new>

#include "base/pixel_format.h"
#include "bitmap/lifecycle.h"
#include "color/dither/color_fetch.h"
#include "color/dither/dither_state.h"
#include "kernels/dither/dither_methods.h"
#include "platform/platform.h"

namespace tnk {
namespace {

constexpr EntryRule kStartRule{.onNull = ERROR_INVALID_PARAMETER, .onUnallocated = 0, .onSize = ERROR_STRUCT_SIZE};

template <typename Method>
constexpr ErrorShape kShape{Method::kRows, Method::kReach};

// By method.
constexpr ErrorShape kErrorShapes[kMaxDitherMethod + 1] = {{0, 0},
                                                           kShape<FloydSteinberg<int32_t>>,
                                                           kShape<Stucki<int32_t>>,
                                                           kShape<Burkes<int32_t>>,
                                                           kShape<Sierra<int32_t>>,
                                                           kShape<StevensonArce<int32_t>>,
                                                           kShape<Jarvis<int32_t>>,
                                                           {0, 0},
                                                           {0, 0}};

DitherStatePtr makeState() {
    void* const block = platform->allocateLocal(sizeof(DitherState), false);
    return DitherStatePtr(block != nullptr ? new (block) DitherState : nullptr);
}

}  // namespace

ErrorShape errorShape(uint32_t method) { return kErrorShapes[method]; }

void DitherStateDeleter::operator()(DitherState* state) const {
    state->~DitherState();
    platform->freeLocal(state);
}

Result startDithering(BitmapHandle& bitmap, const PaletteEntry* palette, uint32_t count, uint32_t outputBits,
                      uint32_t* matchTable, bool ownsTable) {
    DitherStatePtr state = makeState();
    if (state == nullptr) return FAILURE;
    if (findPixelFormat(bitmap.BitsPerPixel) == nullptr || bitmap.Width < 0) return ERROR_INVALID_PARAMETER;
    if (count == 0 || count > kMaxPaletteEntries) return ERROR_INVALID_PARAMETER;
    state->count = count;
    state->sourceBits = bitmap.BitsPerPixel;
    state->outputBits = outputBits <= 8 ? outputBits : 0;  // nothing is written at either
    state->method = bitmap.DitherMethod;
    state->ownsTable = ownsTable;
    TRY(prepareMatching(*state, palette, matchTable));
    if (state->method > kMaxDitherMethod) return ERROR_INVALID_PARAMETER;
    state->shape = errorShape(state->method);
    state->columns = bitmap.Width;
    state->grayErrors = isGrayPalette(state->palette);
    readSourceColors(bitmap, state->source);
    if (state->isOrdered()) prepareOrdered(*state);
    if (state->diffuses()) {
        const uint64_t cells = uint64_t{state->cells()} * kChannels * static_cast<uint32_t>(state->shape.rows);
        if (!state->errors.allocate(cells, true)) return FAILURE;
    }
    if (state->usesTable()) seedMatchTable(*state);
    // KEEP: a state that is already there is not freed; a copy of the record may still use it.
    bitmap.pDitherState = state.release();
    return SUCCESS;
}

void stopDithering(BitmapHandle& bitmap) {
    DitherStatePtr(static_cast<DitherState*>(bitmap.pDitherState));
    bitmap.pDitherState = nullptr;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_StartDithering(BitmapHandle* Bitmap, const PaletteEntry* Palette, uint32_t Count) {
    if (const Result entry = checkEntry(kStartRule, Bitmap); !entry.ok()) return entry.code;
    if (Count == 0 || Count > kMaxPaletteEntries) return ERROR_INVALID_PARAMETER;
    uint32_t bits = 1;
    while ((1u << bits) < Count) ++bits;
    return startDithering(*Bitmap, Palette, Count, bits, nullptr).code;
}

extern "C" int32_t TNK_CALL T_StartDitheringExt(BitmapHandle* Bitmap, const PaletteEntry* Palette, uint32_t Count,
                                                uint32_t OutputBits, uint32_t* MatchTable) {
    if (const Result entry = checkEntry(kStartRule, Bitmap); !entry.ok()) return entry.code;
    return startDithering(*Bitmap, Palette, Count, OutputBits, MatchTable).code;
}

extern "C" int32_t TNK_CALL T_StopDithering(BitmapHandle* Bitmap) {
    if (Bitmap == nullptr) return ERROR_INVALID_PARAMETER;
    stopDithering(*Bitmap);
    return SUCCESS;
}
