// Resizing for a caller who has one row at a time.
#include "geometry/size/dimensions.h"
#include "geometry/size/scan_line.h"
#include "platform/platform.h"
#include "tnkrn.h"

namespace tnk {
namespace {

// Callers may know these fields.
struct LineResizer {
    int32_t lastRow;
    int32_t backward;
    int32_t oldWidth;
    int32_t oldHeight;
    int32_t newWidth;
    int32_t newHeight;
    int32_t columnStep;
    int32_t columnRemainder;
    int32_t reserved1;
    int32_t reserved2;
    int32_t rowStep;
    int32_t rowRemainder;
    int32_t reserved3;
    int32_t rowError;
};
static_assert(sizeof(LineResizer) == 14 * 4);

// How often the row is written; the state goes on to it.
int32_t countRow(LineResizer& state, int32_t row) {
    const auto errorOf = [&](int32_t r) {
        return static_cast<int32_t>(int64_t{state.rowRemainder} * r % state.oldHeight);
    };
    // KEEP: a falling row starts from the error of its own number and not of the next row's, so that a row may be written
    // another number of times on the way back; r + 1 would be the tempting repair.
    const bool falling = int64_t{row} == int64_t{state.lastRow} - 1;
    const bool rising = int64_t{row} == int64_t{state.lastRow} + 1;
    int32_t count = state.rowStep;
    if (falling) {
        if (state.backward == 0) state.rowError = errorOf(row);
        state.rowError -= state.rowRemainder;
        if (state.rowError < 0) {
            ++count;
            state.rowError += state.oldHeight;
        }
    } else {
        if (!rising || state.backward != 0) state.rowError = errorOf(row);
        // KEEP: rows are counted when the error carries behind them, which keeps rows 1 and 2 of 3 where columns 0 and 1
        // are kept; to pick rows as columns are picked would be the tempting repair.
        const int64_t error = int64_t{state.rowError} + state.rowRemainder;
        if (error >= state.oldHeight) ++count;
        state.rowError = static_cast<int32_t>(error >= state.oldHeight ? error - state.oldHeight : error);
    }
    state.backward = falling ? 1 : 0;
    state.lastRow = row;
    return count;
}

int32_t scaleRow(LineResizer& state, uint8_t* row, int32_t index, int32_t bits, int32_t& width, int32_t& count) {
    width = state.newWidth;
    count = 1;
    if (state.oldWidth == state.newWidth && state.oldHeight == state.newHeight) return 1;
    count = countRow(state, index);
    if (count != 0) resizeLine(row, state.oldWidth, state.newWidth, bits);
    return count;
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_StartResize(int32_t OldWidth, int32_t OldHeight, int32_t NewWidth, int32_t NewHeight,
                                          void** State) {
    if (State == nullptr || OldWidth <= 0 || OldHeight <= 0) return ERROR_INVALID_PARAMETER;
    Dimensions size = {NewWidth, NewHeight};
    if (const Result valid = completeDimensions(size, {OldWidth, OldHeight}); !valid.ok()) return valid.code;
    auto* const state = static_cast<LineResizer*>(platform->allocateLocal(sizeof(LineResizer), true));
    if (state == nullptr) return FAILURE;
    *state = {.lastRow = -1,
              .backward = 0,
              .oldWidth = OldWidth,
              .oldHeight = OldHeight,
              .newWidth = size.width,
              .newHeight = size.height,
              .columnStep = OldWidth / size.width,
              .columnRemainder = OldWidth % size.width,
              .reserved1 = 0,
              .reserved2 = 0,
              .rowStep = size.height / OldHeight,
              .rowRemainder = size.height % OldHeight,
              .reserved3 = 0,
              .rowError = 0};
    *State = state;
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_Resize(uint8_t* Row, int32_t RowIndex, int32_t BitsPerPixel, int32_t* NewWidth,
                                     int32_t* RowCount, void* State) {
    if (Row == nullptr || NewWidth == nullptr || RowCount == nullptr || State == nullptr)
        return ERROR_INVALID_PARAMETER;
    return scaleRow(*static_cast<LineResizer*>(State), Row, RowIndex, BitsPerPixel, *NewWidth, *RowCount);
}

extern "C" int32_t TNK_CALL T_StopResize(void* State) {
    if (State == nullptr) return ERROR_INVALID_PARAMETER;
    platform->freeLocal(State);
    return SUCCESS;
}
