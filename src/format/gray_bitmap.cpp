#include "format/gray_bitmap.h"

#include <algorithm>

#include "base/pixel_values.h"
#include "base/sample_rules.h"
#include "bitmap/lifecycle.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "convert/row_converter.h"
#include "palette/palette.h"
#include "system/status.h"
#include "tnkrn.h"

namespace tnk {
namespace {

constexpr EntryRule kGrayScaleEntry = {ERROR_INVALID_PARAMETER, ERROR_NOT_ALLOCATED, ERROR_STRUCT_SIZE};

// ---- windows and signs ----

struct BitWindow {
    int32_t low;
    int32_t high;  // below 0: up to the top
};

BitWindow windowOf(const BitmapHandle& bitmap) {
    if ((bitmap.Flags & BMF_WINDOW) != 0) return {bitmap.LowBit, bitmap.HighBit};
    return {bitmap.DataLowBit, bitmap.DataHighBit};
}

int32_t topBit(const BitmapHandle& bitmap, int32_t high) {
    const int32_t top = bitmap.BitsPerPixel - 1;
    return high < 0 ? top : std::min(high, top);
}

// The bit of signed samples that is turned over so that the window's values rise from the least sample to the greatest;
// 0 where they do already. A window below the sign has plain values, one at or above it the sign in its top bit.
// Lookup tables are laid out for the bits as they are.
uint32_t signToTurn(const BitmapHandle& bitmap) {
    if (!hasGraySamples(bitmap) || (bitmap.Flags & BMF_SIGNED) == 0 || hasSampleTable(bitmap)) return 0;
    const int32_t top = topBit(bitmap, windowOf(bitmap).high);
    return top >= topBit(bitmap, bitmap.DataHighBit) ? 1u << top : 0;
}

// Turns one bit of every sample over. Bytes repeat after a sample of 16 or 32 bits, and after two of 12.
void turnBit(uint8_t* row, uint32_t bytes, int32_t bits, uint32_t bit) {
    constexpr uint32_t kPeriod = 12;  // fits all three
    const uint32_t period = bits == 12 ? 3 : static_cast<uint32_t>(bits) / 8;
    const uint32_t pair = bits == 12 ? bit | bit << 12 : bit;
    uint8_t pattern[kPeriod];
    for (uint32_t i = 0; i < kPeriod; ++i) pattern[i] = static_cast<uint8_t>(pair >> i % period * 8);
    for (uint32_t first = 0; first < bytes; first += kPeriod) {
        const uint32_t count = std::min(bytes - first, kPeriod);
        for (uint32_t i = 0; i < count; ++i) row[first + i] ^= pattern[i];
    }
}

// ---- rows ----

template <typename Convert>
Result fillRows(BitmapHandle& source, BitmapHandle& target, bool changesInput, Convert convert) {
    const Locked sourceLock(source);
    const Locked targetLock(target);
    RowReader reader(source, changesInput);
    RowWriter writer(target);
    Progress progress = statusProgress(source.Height);
    return mapRows(reader, writer, {.rows = source.Height}, progress,
                   [&](uint8_t** input, uint8_t** output, int32_t) { return convert(*input, *output); });
}

Result convertRows(BitmapHandle& source, BitmapHandle& target) {
    PaletteEntry palette[kMaxPaletteEntries];
    const bool samples = hasGraySamples(source);
    ConvertSpec spec{.bitsSrc = source.BitsPerPixel,
                     .bitsDst = target.BitsPerPixel == 8 ? 0 : target.BitsPerPixel,  // indexes are levels
                     .orderSrc = pixelOrder(source),
                     .orderDst = ORDER_GRAY};
    if (source.BitsPerPixel <= 8) {
        readBitmapPalette(source, palette);
        spec.paletteSrc = palette;
    } else if (samples) {
        spec.flags = CONVERT_SRC_BIT_RANGE;
        spec.lowBit = windowOf(source).low;
        spec.highBit = windowOf(source).high;
        if (hasSampleTable(source)) spec.paletteSrc = source.pLUT;
    }
    RowConverter converter;
    TRY(converter.prepare(spec));
    const uint32_t sign = signToTurn(source);
    return fillRows(source, target, sign != 0, [&](uint8_t* input, uint8_t* output) {
        if (sign != 0) turnBit(input, source.BytesPerLine, source.BitsPerPixel, sign);
        return converter.run(input, output, source.Width);
    });
}

// How 32-bit samples become levels 0 to `top`: v = ((sample ^ turn) >> shift & mask) - low runs from 0 to `range`.
struct RangeScale {
    uint32_t turn;
    uint32_t shift;
    uint32_t mask;
    uint32_t low;
    uint32_t range;
};

Result settleWindowScale(const BitmapHandle& bitmap, RangeScale& scale) {
    const GrayParams window = sampleWindow(bitmap);
    if (window.bits < 1) return ERROR_INVALID_PARAMETER;
    const bool outside = window.shift > 31;
    scale = {.turn = signToTurn(bitmap),
             .shift = outside ? 0 : static_cast<uint32_t>(window.shift),
             .mask = outside ? 0 : window.mask,
             .low = 0,
             .range = window.mask};
    return SUCCESS;
}

Result settleDataScale(BitmapHandle& bitmap, RangeScale& scale) {
    int32_t least = 0;
    int32_t greatest = 0;
    TRY(scanGrayRange(bitmap, least, greatest));
    const uint32_t turn = (bitmap.Flags & BMF_SIGNED) != 0 ? 0x80000000 : 0;
    const uint32_t low = static_cast<uint32_t>(least) ^ turn;
    scale = {.turn = turn,
             .shift = 0,
             .mask = 0xFFFFFFFF,
             .low = low,
             .range = (static_cast<uint32_t>(greatest) ^ turn) - low};
    return SUCCESS;
}

// Levels round(v * top / range), halves up, which is (v * top + range / 2) / range in integers. The half that is added
// to the numerator keeps the product with the reciprocal at least 2^-33 away from integers; its error, at most 2^-36,
// then changes no level. Numerators have 50 bits and are exact.
template <typename Level>
void scaleSamples(const RangeScale& scale, const uint8_t* input, uint8_t* output, int32_t width) {
    constexpr double kTop = static_cast<Level>(~0u);
    // Values enter as signed numbers 2^31 lower, the only integers that SSE2 turns into floating numbers.
    const double half = scale.range / 2 + 0.5 + 0x1p31 * kTop;
    const double reciprocal = scale.range != 0 ? 1.0 / scale.range : 0;  // a flat picture is black
    for (size_t x = 0; x < static_cast<size_t>(width); ++x) {
        const uint32_t value = ((load32(input + 4 * x) ^ scale.turn) >> scale.shift & scale.mask) - scale.low;
        const auto centred = static_cast<int32_t>(value ^ 0x80000000);
        const auto level = static_cast<Level>(static_cast<int32_t>((centred * kTop + half) * reciprocal));
        storeAs(output + sizeof level * x, level);
    }
}

Result scaleRows(BitmapHandle& source, BitmapHandle& target) {
    if (hasSampleTable(source)) return convertRows(source, target);
    RangeScale scale;
    const bool windowed = (source.Flags & BMF_WINDOW) != 0;
    TRY(windowed ? settleWindowScale(source, scale) : settleDataScale(source, scale));
    const auto run = target.BitsPerPixel == 8 ? scaleSamples<uint8_t> : scaleSamples<uint16_t>;
    return fillRows(source, target, false, [&](const uint8_t* input, uint8_t* output) {
        run(scale, input, output, source.Width);
        return Result(SUCCESS);
    });
}

// ---- bitmaps ----

using FillTarget = Result (*)(BitmapHandle& source, BitmapHandle& target);

// Plain unsigned samples over all bits, or indexes of a gray ramp.
Result describeGray(BitmapHandle& target, const BitmapHandle& source) {
    const bool indexed = target.BitsPerPixel <= 8;
    freeGrayTable(target);
    target.Flags &= ~(BMF_SIGNED | BMF_WINDOW);
    target.LowBit = target.DataLowBit = 0;
    target.HighBit = target.DataHighBit = target.BitsPerPixel - 1;
    target.DitherMethod = source.DitherMethod;
    target.Order = indexed ? ORDER_RGB : ORDER_GRAY;
    target.ColorCount = 0;
    if (indexed) TRY(attachGrayPalette(target));
    copyPlayback(target, source);  // once more: its colours depend on palette and order
    return SUCCESS;
}

// Makes `target` of all but the items that `dupFlags` leave shared. A failure leaves nothing attached to it.
Result buildGray(const BitmapHandle& bitmap, BitmapHandle& target, int32_t bits, uint32_t dupFlags, FillTarget fill) {
    // Rows are read through a copy of the record, whose notes of rows read are then not the caller's.
    BitmapHandle source = bitmap;
    TRY(duplicateBitmap(target, source, source.Width, source.Height, bits, dupFlags));
    target.Palette = nullptr;
    Result result = describeGray(target, source);
    if (result.ok()) result = fill(source, target);
    if (result.ok()) result = scanGrayRange(target, target.MinVal, target.MaxVal);
    if (!result.ok()) freeDuplicateBitmap(target, dupFlags | DUP_PALETTE);
    return result;
}

// Region and overlays go over as they are.
Result replaceByGray(BitmapHandle& bitmap, int32_t bits, FillTarget fill) {
    BitmapHandle target;
    TRY(buildGray(bitmap, target, bits, DUP_ALLOCATE, fill));
    freeDuplicateBitmap(bitmap, DUP_ALLOCATE | DUP_PALETTE);
    bitmap = target;
    return SUCCESS;
}

Result checkGrayScale(const BitmapHandle& bitmap, int32_t bits) {
    if (bits != 8 && bits != 12 && bits != 16) return ERROR_BPP_NOT_SUPPORTED;
    if ((bitmap.Flags & (BMF_SIGNED | BMF_WINDOW)) == BMF_SIGNED) return ERROR_SIGNED_DATA;
    return checkSampleTable(bitmap);
}

Result scaleGray32(BitmapHandle* bitmap, int32_t bits) {
    TRY(checkEntry(kGrayScaleEntry, bitmap));
    if (bitmap->BitsPerPixel != 32 || !hasGraySamples(*bitmap)) return ERROR_BPP_NOT_SUPPORTED;
    TRY(checkSampleTable(*bitmap));
    return replaceByGray(*bitmap, bits, scaleRows);
}

}  // namespace

bool hasGrayForm(const BitmapHandle& bitmap, int32_t bits) {
    if (bitmap.BitsPerPixel != bits) return false;
    if (bits == 8)
        return bitmap.Palette != nullptr && bitmap.ColorCount == kMaxPaletteEntries &&
               classifyPalette(bitmap.Palette, kMaxPaletteEntries) == GRAYSCALE_NORMAL;
    const BitWindow window = windowOf(bitmap);
    const bool whole = window.low <= 0 && topBit(bitmap, window.high) == bits - 1;
    return bitmap.Order == ORDER_GRAY && whole && !hasSampleTable(bitmap) && (bitmap.Flags & BMF_SIGNED) == 0;
}

Result createGray(BitmapHandle& destination, BitmapHandle& source, int32_t bits) {
    constexpr uint32_t kOwn = DUP_ALLOCATE | DUP_REGION | DUP_OVERLAYS;
    Result result = checkGrayScale(source, bits);
    if (result.ok()) result = buildGray(source, destination, bits, kOwn, convertRows);
    // The caller's record may never have been initialised: from here on it can be freed.
    if (!result.ok()) (void)initBitmap(destination, 0, 0, 0);
    return result;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_GrayScaleBitmap(BitmapHandle* Bitmap, int32_t BitsPerPixel) {
    Result result = checkEntry(kGrayScaleEntry, Bitmap);
    if (result.ok()) result = checkGrayScale(*Bitmap, BitsPerPixel);
    if (!result.ok() || hasGrayForm(*Bitmap, BitsPerPixel)) return result.code;
    return replaceByGray(*Bitmap, BitsPerPixel, convertRows).code;
}

extern "C" int32_t TNK_CALL T_CreateGrayScaleBitmap(BitmapHandle* Destination, BitmapHandle* Source,
                                                    uint32_t StructSize, int32_t BitsPerPixel) {
    if (Destination == nullptr) return ERROR_INVALID_PARAMETER;
    if (const Result entry = checkEntry(kGrayScaleEntry, Source); !entry.ok()) return entry.code;
    if (StructSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    if (Destination == Source) return ERROR_INVALID_PARAMETER;
    return createGray(*Destination, *Source, BitsPerPixel).code;
}

extern "C" int32_t TNK_CALL T_Gray32To16(BitmapHandle* Bitmap) { return scaleGray32(Bitmap, 16).code; }

extern "C" int32_t TNK_CALL T_Gray32To8(BitmapHandle* Bitmap) { return scaleGray32(Bitmap, 8).code; }
