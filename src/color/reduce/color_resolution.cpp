// Colour resolution: a bitmap at another depth, dithered to a palette or converted row by row.
#include "color/reduce/color_resolution.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/pixel_format.h"
#include "base/sample_rules.h"
#include "base/scratch.h"
#include "base/shape.h"
#include "bitmap/hooks.h"
#include "bitmap/lifecycle.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "color/dither/dither.h"
#include "convert/row_converter.h"
#include "system/dispatch.h"
#include "system/status.h"
#include "tnkrn.h"

namespace tnk {
namespace {

constexpr EntryRule kColorResRule{.onNull = ERROR_INVALID_PARAMETER,
                                  .onUnallocated = 0,  // asked for after the sign of the samples
                                  .onSize = ERROR_STRUCT_SIZE};

constexpr uint32_t kOrderFlags = CRF_BGR | CRF_GRAY | CRF_MATRIXRGB;

// The order of a destination of more than 8 bits.
Result chooseOrder(const ColorResJob& job, uint32_t& order) {
    switch (job.flags & kOrderFlags) {
        case 0:
            order = ORDER_RGB;
            return SUCCESS;
        case CRF_BGR:
            order = ORDER_BGR;
            return SUCCESS;
        case CRF_GRAY:
            if (job.bits > 23 && job.bits != 32) return ERROR_BPP_NOT_SUPPORTED;
            order = ORDER_GRAY;
            return SUCCESS;
        case CRF_GRAY | CRF_BGR:
            order = job.bits < 24 ? ORDER_GRAY : ORDER_BGR;
            return SUCCESS;
        case CRF_MATRIXRGB:
            if (job.bits != 24 && job.bits != 48) return ERROR_BPP_NOT_SUPPORTED;
            order = ORDER_MATRIX_RGB;
            return SUCCESS;
        default:
            return ERROR_INVALID_PARAMETER;
    }
}

// Takes finished rows: shows each to the callback, then stores it.
class RowSink {
  public:
    // Not `wanted`: there is no destination to write.
    RowSink(const ColorResJob& job, BitmapHandle& destination, bool wanted)
        : job_(job), destination_(destination), wanted_(wanted), writer_(destination) {}

    Result prepare(int32_t window) {
        if (wanted_) return writer_.prepare(window);
        const uint64_t bytes = Shape(destination_).bytes(window);
        return scratch_.allocate(bytes, true) ? SUCCESS : FAILURE;
    }

    Result lend(int32_t first, int32_t count, uint8_t** rows) {
        next_ = rows;
        if (wanted_) return writer_.lend(first, count, rows);
        for (int32_t i = 0; i < count; ++i) {
            rows[i] = scratch_.data() + Shape(destination_).offset(i);
        }
        return SUCCESS;
    }

    Result put(int32_t count) {
        for (int32_t i = 0; i < count; ++i, ++next_) {
            if (job_.rowCallback != nullptr) TRY(job_.rowCallback(&destination_, *next_, 1, job_.userData));
            if (wanted_) TRY(writer_.put(1));
        }
        return SUCCESS;
    }

  private:
    const ColorResJob& job_;
    BitmapHandle& destination_;
    bool wanted_;
    RowWriter writer_;
    Scratch<uint8_t> scratch_;
    uint8_t** next_ = nullptr;  // of the lent rows
};

// Whether nobody else sees the match table while rows are dithered: one made here; or a list's, which is the thread's
// current one, where no code of the caller's runs. Tables beside it take as long to make as some ten thousand pixels, and
// a list may hold many icons.
bool ownsMatchTable(const ColorResJob& job, const BitmapHandle& source, const PaletteChoice& choice) {
    constexpr int64_t kManyPixels = 32'768;
    if (choice.ownTable) return true;
    const bool ofList = job.listTable != nullptr && choice.matchTable == job.listTable;
    const bool seen = job.rowCallback != nullptr || isWatched();
    return ofList && !seen && int64_t{source.Width} * source.Height >= kManyPixels;
}

Result ditherAllRows(const ColorResJob& job, BitmapHandle& source, const BitmapHandle& destination,
                     const PaletteChoice& choice, RowSink& sink, Progress& progress) {
    source.DitherMethod = job.ditherMethod();
    TRY(startDithering(source, choice.entries, destination.ColorCount, static_cast<uint32_t>(job.bits),
                       choice.matchTable, ownsMatchTable(job, source, choice)));
    const DitherRun run(source);
    RowReader reader(source, ditherChangesInput(source));
    const RowLoop loop{.rows = source.Height, .band = kDitherBandRows, .wholeBands = true};
    return mapRows(reader, sink, loop, progress, [&](uint8_t** input, uint8_t** output, int32_t count) {
        return ditherRows(source, input, output, count);
    });
}

Result convertAllRows(const ColorResJob& job, BitmapHandle& source, const BitmapHandle& destination,
                      const PaletteChoice& choice, RowSink& sink, Progress& progress) {
    PaletteEntry sourcePalette[kMaxPaletteEntries];
    if (source.BitsPerPixel <= 8) readBitmapPalette(source, sourcePalette);
    ConvertSpec spec = conversionFrom(source, sourcePalette);
    spec.bitsDst = destination.BitsPerPixel;
    spec.orderDst = destination.Order;
    if ((job.flags & CRF_OPAQUEALPHA) != 0) spec.flags |= CONVERT_ALPHA_OPAQUE;
    if (job.reducesToPalette()) spec.paletteDst = choice.entries;
    RowConverter converter;
    TRY(converter.prepare(spec));
    RowReader reader(source);
    return mapRows(reader, sink, {.rows = source.Height}, progress, [&](uint8_t** input, uint8_t** output, int32_t) {
        return converter.run(*input, *output, source.Width);
    });
}

// What the destination is going to be, settled before anything is attached to it.
Result describeDestination(const ColorResJob& job, BitmapHandle& source, BitmapHandle& destination,
                           PaletteChoice& choice) {
    TRY(initBitmap(destination, source.Width, source.Height, job.bits));
    destination.ViewPerspective = source.ViewPerspective;
    destination.XResolution = source.XResolution;
    destination.YResolution = source.YResolution;
    destination.ColorCount = job.palette.count;
    TRY(checkSampleTable(source));
    if (!job.reducesToPalette()) return chooseOrder(job, destination.Order);
    TRY(choosePalette(job.palette, source, choice));
    destination.ColorCount = choice.count;
    return SUCCESS;
}

// Fills the described destination from the source. After a failure what was attached to it is the caller's to free.
Result fillDestination(const ColorResJob& job, BitmapHandle& source, BitmapHandle& destination, bool wanted,
                       const PaletteChoice& choice) {
    TRY(copyRegion(destination, source, 0, 0));
    if (job.reducesToPalette() && !replacePalette(destination, choice.entries, choice.count).ok()) {
        return FAILURE;
    }
    if (wanted) {
        const uint32_t request = (source.Flags & BMF_DISK) != 0 ? MEM_NOCONVENTIONAL : MEM_CONVENTIONAL;
        TRY(allocateBitmap(destination, request, job.rowCallback == nullptr ? contentToFill() : Content::zero));
    }
    copyPlayback(destination, source);

    const Locked sourceLock(source);
    const Locked destinationLock(destination);
    Progress progress = statusProgress(source.Height);
    RowSink sink(job, destination, wanted);
    if (job.reducesToPalette() && choice.dithers) {
        TRY(ditherAllRows(job, source, destination, choice, sink, progress));
    } else {
        TRY(convertAllRows(job, source, destination, choice, sink, progress));
    }
    return copyOverlays(destination, source);
}

}  // namespace

Result checkColorResSource(const BitmapHandle& source) {
    if ((source.Flags & BMF_SIGNED) != 0 && (source.Flags & BMF_WINDOW) == 0) return ERROR_SIGNED_DATA;
    return isAllocated(source) ? SUCCESS : ERROR_INVALID_PARAMETER;
}

ConvertSpec conversionFrom(const BitmapHandle& source, const PaletteEntry (&palette)[kMaxPaletteEntries]) {
    ConvertSpec spec{.bitsSrc = source.BitsPerPixel, .bitsDst = 0, .orderSrc = pixelOrder(source), .orderDst = 0};
    spec.lowBit = source.LowBit;
    spec.highBit = source.HighBit;
    if (hasGraySamples(source)) {
        spec.flags = CONVERT_SRC_BIT_RANGE;
        spec.paletteSrc = sampleTable(source).data();
    } else if (source.BitsPerPixel <= 8) {
        spec.paletteSrc = palette;
    }
    return spec;
}

Result settleColorRes(int32_t bits, uint32_t flags, const PaletteEntry* palette, T_HANDLE paletteHandle,
                      uint32_t colorCount, ColorResJob& job) {
    if (palette != nullptr && paletteHandle != 0) return ERROR_INVALID_PARAMETER;
    if (findPixelFormat(bits) == nullptr) return ERROR_INVALID_PARAMETER;
    job.bits = bits;
    job.flags = flags;
    // KEEP: 12 bits are gray whatever else is asked for; every other flag is dropped, not refused.
    if (bits == 12) job.flags = (flags & CRF_BGR) | CRF_GRAY;
    // A handle is a user palette, whatever else was chosen; only the match table is still a choice then.
    uint32_t selection = paletteSelection(flags);
    if (paletteHandle != 0) selection = CRF_USERPALETTE | (selection & CRF_USERMATCHTABLE);
    if (job.reducesToPalette()) {
        const uint32_t most = 1u << bits;
        colorCount = colorCount == 0 ? most : std::min(colorCount, most);
    }
    job.palette = {.bits = bits,
                   .selection = selection,
                   .peelsOn = (flags & CRF_PEELDOMINANT) != 0,
                   .fullPrecision = (flags & CRF_FULLPRECISION) != 0,
                   .matchesAll = job.ditherMethod() != 0,
                   .entries = palette,
                   .handle = paletteHandle,
                   .count = colorCount};
    return SUCCESS;
}

Result colorResBitmap(const ColorResJob& job, BitmapHandle& source, BitmapHandle* destination) {
    assert(isAllocated(source) && findPixelFormat(job.bits) != nullptr);
    PaletteChoice choice;
    BitmapHandle described{};
    const bool inPlace = destination == &source;
    const bool wanted = destination != nullptr;
    const BitmapHandle saved = source;
    if (const Result settled = describeDestination(job, source, described, choice); !settled.ok()) {
        if (inPlace) source = saved;  // rows that were counted have moved its place in a file
        // The caller's record may never have been initialised, and its size says by now that it can be freed.
        if (wanted && !inPlace) *destination = described;
        return settled;
    }

    // The source is worked on through a copy of its record: an in-place run overwrites the record itself, and a
    // dithering run that the caller has on it must survive.
    BitmapHandle original = source;
    original.pDitherState = nullptr;
    BitmapHandle temporary;
    BitmapHandle& target = wanted ? *destination : temporary;

    target = described;
    Result result = fillDestination(job, original, target, wanted, choice);
    if (result.ok() && wanted) result = scanGrayRange(target, target.MinVal, target.MaxVal);
    if (!result.ok() || !wanted) freeBitmap(target);
    if (!inPlace) return result;
    if (!result.ok()) {
        source = saved;
        return result;
    }
    original.pDitherState = saved.pDitherState;
    stopDithering(original);
    freeBitmap(original);
    return SUCCESS;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_ColorResBitmap(BitmapHandle* Source, BitmapHandle* Destination, uint32_t StructSize,
                                             int32_t BitsPerPixel, uint32_t Flags, const PaletteEntry* Palette,
                                             T_HANDLE PaletteHandle, uint32_t ColorCount,
                                             ColorResRowCallback RowCallback, void* UserData) {
    if (const Result entry = checkEntry(kColorResRule, Source); !entry.ok()) return entry.code;
    if (StructSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    if (Destination != nullptr) Destination->StructSize = sizeof(BitmapHandle);
    if (const Result source = checkColorResSource(*Source); !source.ok()) return source.code;
    ColorResJob job{};
    const Result settled = settleColorRes(BitsPerPixel, Flags, Palette, PaletteHandle, ColorCount, job);
    if (!settled.ok()) return settled.code;
    job.rowCallback = RowCallback;
    job.userData = UserData;
    return colorResBitmap(job, *Source, Destination).code;
}
