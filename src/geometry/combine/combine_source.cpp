#include "geometry/combine/combine_source.h"

#include "base/pixel_format.h"
#include "base/shape.h"
#include "bitmap/copy/bit_run.h"
#include "bitmap/lifecycle.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "bitmap/storage/storage.h"
#include "geometry/view.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kCombineRule = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, ERROR_STRUCT_SIZE};

}  // namespace

Result checkCombination(const BitmapHandle* destination, const BitmapHandle* source) {
    TRY(checkEntry(kCombineRule, destination));
    TRY(checkEntry(kCombineRule, source));
    if (((flagsOf(*destination) | flagsOf(*source)) & BMF_SIGNED) != 0) return ERROR_SIGNED_DATA;
    return isView(viewOf(*destination)) && isView(viewOf(*source)) ? SUCCESS : ERROR_INVALID_PARAMETER;
}

bool sharesPixels(BitmapHandle& a, BitmapHandle& b) {
    if (&a == &b) return true;
    uint8_t* rowsOfA = nullptr;
    uint8_t* rowsOfB = nullptr;
    // What cannot be lent will tell its failure when it is read.
    const bool lent = a.Height > 0 && b.Height > 0 && storageOf(a).lend(a, 0, a.Height, &rowsOfA).ok() &&
                      storageOf(b).lend(b, 0, b.Height, &rowsOfB).ok();
    if (lent && rowsOfA != nullptr && rowsOfB != nullptr) {
        const auto startOfA = reinterpret_cast<uintptr_t>(rowsOfA), startOfB = reinterpret_cast<uintptr_t>(rowsOfB);
        return startOfA < startOfB ? startOfB - startOfA < Shape(a).bytes(a.Height)
                                   : startOfA - startOfB < Shape(b).bytes(b.Height);
    }
    // Tables, chunks and encoded rows hang on pData, files on the handle.
    return (a.pData != nullptr && a.pData == b.pData) || (a.DataHandle != 0 && a.DataHandle == b.DataHandle);
}

Result copyPart(BitmapHandle& destination, BitmapHandle& source, const BitmapRect& part) {
    const int32_t width = part.Right - part.Left, height = part.Bottom - part.Top;
    TRY(duplicateBitmap(destination, source, width, height, source.BitsPerPixel, DUP_ALLOCATE | DUP_PALETTE,
                        Content::unset));
    destination.Region = 0;  // the source's, like the overlays
    destination.pOverlays = nullptr;
    const Locked lock(destination);
    RowReader reader(source);
    RowWriter writer(destination);
    Progress silent(nullptr, nullptr, height);
    const uint64_t bit = uint64_t{static_cast<uint32_t>(part.Left)} * Shape(source).bits;
    const uint64_t bits = uint64_t{static_cast<uint32_t>(width)} * Shape(source).bits;
    const RowLoop loop{.rows = height, .band = bandRows(source), .from = part.Top};
    return mapRows(reader, writer, loop, silent, [&](uint8_t** input, uint8_t** output, int32_t count) {
        for (int32_t i = 0; i < count; ++i) {
            moveBits(output[i], 0, input[i] + static_cast<size_t>(bit >> 3), bit & 7, bits, Shape(source).bits == 12);
        }
        return Result(SUCCESS);
    });
}

}  // namespace tnk
