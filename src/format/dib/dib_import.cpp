// Bitmaps made from device-independent bitmaps.
#include <algorithm>
#include <cstring>

#include "base/pixel_format.h"
#include "base/shape.h"
#include "bitmap/lifecycle.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "format/dib/dib_bit_fields.h"
#include "format/dib/dib_codec.h"
#include "format/dib/dib_header.h"
#include "format/dib/dib_rle.h"
#include "format/dib/yuv_rows.h"
#include "palette/palette.h"
#include "platform/platform.h"
#include "system/settings.h"
#include "tnkrn.h"

namespace tnk {
namespace {

constexpr uint64_t kUnbounded = UINT64_MAX / 2;  // what a caller gives by address is as long as its header says

enum class Rows { asStored, mirrored };

// A DIB whose header was found good.
struct Dib {
    DibHeader header{};
    const YuvForm* yuv = nullptr;   // null: no luma and chroma
    bool coded = false;             // an image for the codec module
    const uint8_t* info = nullptr;  // header and colour table
    const uint8_t* bits = nullptr;
    uint64_t bitsBytes = 0;  // that can be read there
};

uint64_t plainBytes(const DibHeader& header) {
    return rowBytes(static_cast<uint32_t>(header.width), static_cast<uint32_t>(header.bits)) *
           static_cast<uint32_t>(header.height);
}

// ---- what is accepted ----

bool isRunCoded(const DibHeader& header) { return header.compression == kDibRle8 || header.compression == kDibRle4; }

bool hasPlainDepth(const DibHeader& header) {
    constexpr int32_t kDepths[] = {1, 4, 8, 16, 24, 32};
    return std::find(std::begin(kDepths), std::end(kDepths), header.bits) != std::end(kDepths);
}

Result checkForm(Dib& dib) {
    const DibHeader& header = dib.header;
    if (header.width < 0) return ERROR_INVALID_PARAMETER;
    dib.yuv = findYuvForm(header.compression);
    dib.coded = isCodedImage(header.compression);
    if (dib.coded) return SUCCESS;
    if (dib.yuv != nullptr) return checkYuvForm(*dib.yuv, header.bits, header.width, header.height);
    bool good = false;
    switch (header.compression) {
        case kDibPlain:
            good = hasPlainDepth(header);
            break;
        case kDibRle8:
            good = header.bits == 8;
            break;
        case kDibRle4:
            good = header.bits == 4;
            break;
        case kDibBitFields:
            good = isBitFieldForm(header);
            break;
        default:
            break;
    }
    return good ? SUCCESS : ERROR_INVALID_DIB;
}

// Bytes that the rows take at least.
uint64_t leastBytes(const Dib& dib) {
    if (dib.yuv != nullptr) return yuvBytes(*dib.yuv, dib.header.width, dib.header.height);
    if (dib.coded) return dib.header.imageBytes;
    return isRunCoded(dib.header) ? 0 : plainBytes(dib.header);
}

bool hasIndexes(const Dib& dib) { return dib.header.bits <= 8 && dib.yuv == nullptr && !dib.coded; }

// Where the rows of a packed DIB are, and that they are there. Only indexes need the colours of a table; where it is but a
// hint for displays, nobody but the block's size tells whether it has been written.
Result placeBits(Dib& dib, const uint8_t* block, uint64_t bytes) {
    const uint64_t least = leastBytes(dib);
    uint64_t offset = dib.header.tableOffset;
    const uint64_t table = dib.header.tableBytes();
    if (hasIndexes(dib) || offset + table + least <= bytes) offset += table;
    if (offset > bytes || bytes - offset < least) return ERROR_INVALID_DIB;
    dib.bits = block + static_cast<size_t>(offset);
    dib.bitsBytes = bytes - offset;
    return SUCCESS;
}

// ---- the record ----

void setResolution(BitmapHandle& bitmap, const DibHeader& header) {
    int32_t x = header.xPelsPerMeter;
    int32_t y = header.yPelsPerMeter;
    if (x <= 0 || y <= 0) {
        int32_t screenX = 0;
        int32_t screenY = 0;
        if (platform->screenResolution(&screenX, &screenY)) {
            if (x <= 0) x = screenX;
            if (y <= 0) y = screenY;
        }
    }
    if (x > 0) bitmap.XResolution = dotsPerInch(x);
    if (y > 0) bitmap.YResolution = dotsPerInch(y);
}

Result describe(BitmapHandle& bitmap, const Dib& dib, Rows rows) {
    const DibHeader& header = dib.header;
    TRY(initBitmap(bitmap, header.width, header.height, dib.yuv != nullptr || dib.coded ? 24 : header.bits));
    setResolution(bitmap, header);
    // Planes begin with the row that is the last one elsewhere.
    const bool planar = dib.yuv != nullptr && isPlanar(*dib.yuv);
    const bool topFirst = (header.topDown != (rows == Rows::mirrored)) != planar;
    bitmap.ViewPerspective = topFirst ? TOP_LEFT : BOTTOM_LEFT;
    return SUCCESS;
}

Result attachColors(BitmapHandle& bitmap, const Dib& dib) {
    if (bitmap.BitsPerPixel > 8) return SUCCESS;
    PaletteEntry entries[kMaxPaletteEntries] = {};
    const DibHeader& header = dib.header;
    const uint8_t* table = dib.info + static_cast<size_t>(header.tableOffset);
    for (uint32_t i = 0; i < header.colors; ++i)
        std::memcpy(&entries[i], table + size_t{i} * header.entryBytes, header.entryBytes);
    return replacePalette(bitmap, entries, header.colors).ok() ? SUCCESS : FAILURE;
}

// ---- rows ----

// make(row, pixels) fills the rows of the DIB in their order.
template <typename Make>
Result fillRows(BitmapHandle& bitmap, Rows rows, Make make) {
    const Locked lock(bitmap);
    const int32_t band = bandRows(bitmap);
    RowWriter writer(bitmap);
    TRY(writer.prepare(band));
    const size_t line = bitmap.BytesPerLine;
    for (int32_t first = 0; first < bitmap.Height; first += band) {
        const int32_t count = std::min(band, bitmap.Height - first);
        const bool mirrored = rows == Rows::mirrored;
        uint8_t* block;
        TRY(writer.lendBlock(mirrored ? bitmap.Height - first - count : first, count, &block));
        for (int32_t i = 0; i < count; ++i)
            make(first + i, block + line * static_cast<uint32_t>(mirrored ? count - 1 - i : i));
        TRY(writer.put(count));
    }
    return SUCCESS;
}

// The row's pixels without what lies behind them.
void copyPixels(const uint8_t* from, uint8_t* to, uint64_t pixelBits) {
    const auto whole = static_cast<size_t>(pixelBits / 8);
    std::memcpy(to, from, whole);
    const auto rest = static_cast<uint32_t>(pixelBits % 8);
    if (rest != 0) to[whole] = static_cast<uint8_t>(from[whole] & 0xFF00 >> rest);
}

// Rows without padding in memory, which come in at once.
Result fillAtOnce(BitmapHandle& bitmap, const Dib& dib) {
    const Locked lock(bitmap);
    RowWriter writer(bitmap);
    uint8_t* block;
    TRY(writer.prepare());
    TRY(writer.lendBlock(0, bitmap.Height, &block));
    std::memcpy(block, dib.bits, Shape(bitmap).offset(bitmap.Height));
    return writer.put(bitmap.Height);
}

Result fillFromRuns(BitmapHandle& bitmap, const Dib& dib, Rows rows) {
    RunDecoder decoder(dib.bits, dib.bitsBytes, dib.header.bits, bitmap.Width);
    return fillRows(bitmap, rows, [&](int32_t, uint8_t* row) { decoder.decodeRow(row); });
}

Result fillFromPixels(BitmapHandle& bitmap, const Dib& dib, Rows rows) {
    const auto line = static_cast<size_t>(plainBytes(dib.header) / static_cast<uint32_t>(dib.header.height));
    const uint64_t pixelBits = uint64_t{Shape(bitmap).width} * Shape(bitmap).bits;
    bool direct = false;
    TRY(lendsRows(bitmap, &direct));
    const bool atOnce = direct && rows == Rows::asStored && pixelBits == uint64_t{line} * 8;
    if (dib.header.compression == kDibPlain && atOnce) return fillAtOnce(bitmap, dib);
    if (dib.header.compression == kDibPlain)
        return fillRows(bitmap, rows, [&](int32_t i, uint8_t* row) {
            copyPixels(dib.bits + line * static_cast<uint32_t>(i), row, pixelBits);
        });
    BitFieldDecoder decoder(dib.header.bits, dib.header.masks);
    return fillRows(bitmap, rows, [&](int32_t i, uint8_t* row) {
        decoder.decodeRow(dib.bits + line * static_cast<uint32_t>(i), row, bitmap.Width);
    });
}

Result fillFromYuv(BitmapHandle& bitmap, const Dib& dib, Rows rows) {
    return fillRows(bitmap, rows, [&](int32_t i, uint8_t* row) {
        yuvRowToBgr(*dib.yuv, dib.bits, bitmap.Width, bitmap.Height, i, row);
    });
}

// The image goes by the bitmap's view, whichever way its rows are stored. By address only the header tells its size.
Result fillFromImage(BitmapHandle& bitmap, const Dib& dib) {
    const uint64_t told = dib.header.imageBytes;
    if (told == 0 && dib.bitsBytes == kUnbounded) return ERROR_INVALID_DIB;
    const Locked lock(bitmap);
    return decodeImage(dib.bits, told != 0 ? told : dib.bitsBytes, bitmap);
}

Result fillBitmap(BitmapHandle& bitmap, const Dib& dib, Rows rows) {
    TRY(allocateBitmap(bitmap, currentSettings().memoryType, Content::unset));
    TRY(attachColors(bitmap, dib));
    if (dib.coded) return fillFromImage(bitmap, dib);
    if (dib.yuv != nullptr) return fillFromYuv(bitmap, dib, rows);
    return isRunCoded(dib.header) ? fillFromRuns(bitmap, dib, rows) : fillFromPixels(bitmap, dib, rows);
}

// ---- both ways in ----

Result importAt(BitmapHandle& bitmap, const uint8_t* info, const uint8_t* bits) {
    Dib dib{.info = info, .bits = bits};
    TRY(readDibHeader(info, kUnbounded, dib.header));
    TRY(checkForm(dib));
    TRY(describe(bitmap, dib, Rows::asStored));
    if (bits == nullptr) return SUCCESS;
    // Runs end where their own mark is when the header does not tell.
    dib.bitsBytes = dib.header.imageBytes != 0 ? dib.header.imageBytes : kUnbounded;
    return fillBitmap(bitmap, dib, Rows::asStored);
}

Result importPacked(BitmapHandle& bitmap, const uint8_t* block, uint64_t bytes, Rows rows) {
    Dib dib{.info = block};
    TRY(readDibHeader(block, bytes, dib.header));
    TRY(checkForm(dib));
    TRY(describe(bitmap, dib, rows));
    TRY(placeBits(dib, block, bytes));
    return fillBitmap(bitmap, dib, rows);
}

Result importBlock(BitmapHandle& bitmap, T_HANDLE handle, Rows rows) {
    const uint64_t bytes = platform->sizeOfMovable(handle);
    if (bytes == 0) return ERROR_INVALID_PARAMETER;
    const auto* block = static_cast<const uint8_t*>(platform->lockMovable(handle));
    if (block == nullptr) return FAILURE;
    const Result result = importPacked(bitmap, block, bytes, rows);
    platform->unlockMovable(handle);
    return result;
}

// Whatever the caller's record was, after a failure it is an empty one that can be freed.
int32_t finish(BitmapHandle& bitmap, const Result& result) {
    if (result.ok()) return SUCCESS;
    (void)initBitmap(bitmap, 0, 0, 0);
    return result.code;
}

int32_t takeBlock(BitmapHandle* bitmap, uint32_t structSize, T_HANDLE dib, Rows rows) {
    if (bitmap == nullptr || dib == 0) return ERROR_INVALID_PARAMETER;
    if (structSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    TempBitmap made;
    const Result result = importBlock(made.record, dib, rows);
    if (result.ok()) made.moveTo(*bitmap);
    return finish(*bitmap, result);
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_ConvertFromDIB(BitmapHandle* Bitmap, uint32_t StructSize, const void* BitmapInfo,
                                             const void* Bits) {
    if (Bitmap == nullptr || BitmapInfo == nullptr) return ERROR_INVALID_PARAMETER;
    if (StructSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    TempBitmap made;
    const Result result =
        importAt(made.record, static_cast<const uint8_t*>(BitmapInfo), static_cast<const uint8_t*>(Bits));
    if (result.ok()) made.moveTo(*Bitmap);
    return finish(*Bitmap, result);
}

extern "C" int32_t TNK_CALL T_ChangeFromDIB(BitmapHandle* Bitmap, uint32_t StructSize, T_HANDLE Dib) {
    return takeBlock(Bitmap, StructSize, Dib, Rows::asStored);
}

extern "C" int32_t TNK_CALL T_MirrorFromDIB(BitmapHandle* Bitmap, uint32_t StructSize, T_HANDLE Dib) {
    return takeBlock(Bitmap, StructSize, Dib, Rows::mirrored);
}
