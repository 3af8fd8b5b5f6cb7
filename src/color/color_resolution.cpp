// Colour resolution: a bitmap at another depth, dithered to a palette or converted row by row.
#include <algorithm>
#include <cstring>

#include "bitmap/lifecycle.h"
#include "bitmap/rows.h"
#include "color/dither.h"
#include "color/palette.h"
#include "format/convert.h"
#include "format/pixel_format.h"
#include "system/dispatch.h"
#include "system/memory.h"
#include "system/progress.h"
#include "system/settings.h"
#include "tnkrn.h"

namespace tnk {
namespace {

constexpr EntryRule kColorResRule{.onNull = ERROR_INVALID_PARAMETER,
                                  .onUnallocated = 0,  // asked for after the sign of the samples
                                  .onSize = ERROR_STRUCT_SIZE};

constexpr uint32_t kSelectionMask = 0x3FF & ~(CRF_BGR | CRF_GRAY);  // these two say nothing about a palette
constexpr uint32_t kOrderFlags = CRF_BGR | CRF_GRAY | CRF_MATRIXRGB;

// One call, its arguments settled.
struct ColorResJob {
    int32_t bits;
    uint32_t flags;
    uint32_t selection;  // palette choice, for 8 bits or fewer
    const PaletteEntry* palette;
    T_HANDLE paletteHandle;
    uint32_t colorCount;
    ColorResRowCallback rowCallback;
    void* userData;
    bool wanted;  // there is a destination to write

    uint32_t ditherMethod() const { return (flags >> 16) & 0xFF; }
    bool reducesToPalette() const { return bits <= 8; }
};

Result settleDepth(ColorResJob& job) {
    if (findPixelFormat(job.bits) == nullptr) return ERROR_INVALID_PARAMETER;
    if (job.reducesToPalette()) {
        const uint32_t most = 1u << job.bits;
        job.colorCount = job.colorCount == 0 ? most : std::min(job.colorCount, most);
    }
    // KEEP: 12 bits are gray whatever else is asked for; every other flag is dropped, not refused.
    if (job.bits == 12) job.flags = (job.flags & CRF_BGR) | CRF_GRAY;
    return SUCCESS;
}

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

// What the engine dithers to.
struct PaletteChoice {
    PaletteEntry entries[kMaxPaletteEntries] = {};
    uint32_t* matchTable = nullptr;  // the thread's, or none
};

Result readUserPalette(const ColorResJob& job, PaletteChoice& choice) {
    if (job.paletteHandle != 0) {
        // Entries that the handle lacks are black.
        const uint32_t read = platform->getPaletteEntries(job.paletteHandle, 0, job.colorCount, choice.entries);
        return read > 0 ? SUCCESS : ERROR_INVALID_PARAMETER;
    }
    if (job.palette == nullptr) return ERROR_INVALID_PARAMETER;
    std::copy_n(job.palette, job.colorCount, choice.entries);
    return SUCCESS;
}

Result choosePalette(const ColorResJob& job, PaletteChoice& choice) {
    const PaletteEntry* table = nullptr;
    switch (job.selection) {
        case CRF_USERPALETTE | CRF_USERMATCHTABLE:
            choice.matchTable = currentSettings().userMatchTable;
            [[fallthrough]];
        case CRF_USERPALETTE:
            return readUserPalette(job, choice);
        case CRF_WEBPALETTE:
            if (job.bits != 8) return ERROR_INVALID_PARAMETER;
            table = webPalette();
            break;
        case CRF_FIXEDPALETTE | CRF_WEBPALETTE:
            table = job.bits == 8 ? webPalette() : fixedPalette(job.bits);
            break;
        case CRF_FIXEDPALETTE:
            table = fixedPalette(job.bits);
            break;
        default:
            return ERROR_INVALID_PARAMETER;
    }
    std::copy_n(table, job.colorCount, choice.entries);
    return SUCCESS;
}

// Hands finished rows on: to the callback, then to the destination, then the report.
class RowSink {
  public:
    RowSink(const ColorResJob& job, BitmapHandle& destination, Progress& progress)
        : job_(job), destination_(destination), writer_(destination), progress_(progress) {}

    Result prepare(int32_t window) {
        if (job_.wanted) return writer_.prepare(window);
        const uint64_t bytes = uint64_t{destination_.BytesPerLine} * static_cast<uint32_t>(window);
        return scratch_.allocate(bytes, true) ? SUCCESS : FAILURE;
    }

    Result lend(int32_t first, int32_t count, uint8_t** rows) {
        if (job_.wanted) return writer_.lend(first, count, rows);
        for (int32_t i = 0; i < count; ++i) {
            rows[i] = scratch_.data() + size_t{destination_.BytesPerLine} * static_cast<uint32_t>(i);
        }
        return SUCCESS;
    }

    Result put(uint8_t* const* rows, int32_t count) {
        for (int32_t i = 0; i < count; ++i) {
            if (job_.rowCallback != nullptr) TRY(job_.rowCallback(&destination_, rows[i], 1, job_.userData));
            if (job_.wanted) TRY(writer_.put(1));
            TRY(progress_.step());
        }
        return SUCCESS;
    }

  private:
    const ColorResJob& job_;
    BitmapHandle& destination_;
    RowWriter writer_;
    Scratch<uint8_t> scratch_;
    Progress& progress_;
};

Result ditherAllRows(const ColorResJob& job, BitmapHandle& source, const BitmapHandle& destination,
                     const PaletteChoice& choice, RowSink& sink, Progress& progress) {
    source.DitherMethod = job.ditherMethod();
    TRY(startDithering(source, choice.entries, destination.ColorCount, static_cast<uint32_t>(job.bits),
                       choice.matchTable));
    const DitherRun run(source);
    const int32_t band = std::min(kDitherBandRows, source.Height);
    RowReader reader(source);
    TRY(reader.prepare(band, ditherChangesInput(source)));
    TRY(sink.prepare(band));
    TRY(progress.begin());
    for (int32_t first = 0; first < source.Height; first += band) {
        const int32_t count = std::min(band, source.Height - first);
        uint8_t* input[kDitherBandRows];
        uint8_t* output[kDitherBandRows];
        TRY(reader.read(first, count, input));
        TRY(sink.lend(first, count, output));
        TRY(ditherRows(source, input, output, count));
        TRY(sink.put(output, count));
    }
    return SUCCESS;
}

Result convertAllRows(const ColorResJob& job, BitmapHandle& source, const BitmapHandle& destination, RowSink& sink,
                      Progress& progress) {
    PaletteEntry sourcePalette[kMaxPaletteEntries];
    ConvertSpec spec{.bitsSrc = source.BitsPerPixel,
                     .bitsDst = destination.BitsPerPixel,
                     .orderSrc = source.Order,
                     .orderDst = destination.Order};
    spec.lowBit = source.LowBit;
    spec.highBit = source.HighBit;
    if ((job.flags & CRF_OPAQUEALPHA) != 0) spec.flags |= CONVERT_ALPHA_OPAQUE;
    if (isGray(source)) {
        spec.flags |= CONVERT_SRC_BIT_RANGE;
        if (hasGrayTable(source)) spec.paletteSrc = source.pLUT;
    } else if (source.BitsPerPixel <= 8) {
        readBitmapPalette(source, sourcePalette);
        spec.paletteSrc = sourcePalette;
    }
    RowConverter converter;
    TRY(converter.prepare(spec));
    RowReader reader(source);
    TRY(reader.prepare());
    TRY(sink.prepare(1));
    TRY(progress.begin());
    for (int32_t row = 0; row < source.Height; ++row) {
        uint8_t* input;
        uint8_t* output;
        TRY(reader.read(row, 1, &input));
        TRY(sink.lend(row, 1, &output));
        TRY(converter.run(input, output, source.Width));
        TRY(sink.put(&output, 1));
    }
    return SUCCESS;
}

// What the destination is going to be, settled before anything is attached to it.
Result describeDestination(const ColorResJob& job, const BitmapHandle& source, BitmapHandle& destination,
                           PaletteChoice& choice) {
    TRY(initBitmap(destination, source.Width, source.Height, job.bits));
    destination.ViewPerspective = source.ViewPerspective;
    destination.XResolution = source.XResolution;
    destination.YResolution = source.YResolution;
    destination.ColorCount = job.colorCount;
    TRY(checkGrayTable(source));
    return job.reducesToPalette() ? choosePalette(job, choice) : chooseOrder(job, destination.Order);
}

// Fills the described destination from the source. After a failure what was attached to it is the caller's to free.
Result fillDestination(const ColorResJob& job, BitmapHandle& source, BitmapHandle& destination,
                       const PaletteChoice& choice) {
    TRY(copyRegion(destination, source, 0, 0));
    if (job.reducesToPalette() && T_SetBitmapNewPalette(&destination, choice.entries, job.colorCount) != 1) {
        return FAILURE;
    }
    if (job.wanted) {
        TRY(allocateBitmap(destination, (source.Flags & BMF_DISK) != 0 ? MEM_NOCONVENTIONAL : MEM_CONVENTIONAL));
    }
    T_CopyPlaybackParms(&destination, &source);

    const Locked sourceLock(source);
    const Locked destinationLock(destination);
    const ThreadSettings& settings = currentSettings();
    Progress progress(settings.statusCallback, settings.statusUserData, source.Height);
    RowSink sink(job, destination, progress);
    if (job.reducesToPalette()) {
        TRY(ditherAllRows(job, source, destination, choice, sink, progress));
    } else {
        TRY(convertAllRows(job, source, destination, sink, progress));
    }
    return copyOverlays(destination, source);
}

Result colorResBitmap(const ColorResJob& job, BitmapHandle& source, BitmapHandle* destination) {
    PaletteChoice choice;
    BitmapHandle described{};
    const bool inPlace = destination == &source;
    if (const Result settled = describeDestination(job, source, described, choice); !settled.ok()) {
        // The caller's record may never have been initialised, and its size says by now that it can be freed.
        if (destination != nullptr && !inPlace) *destination = described;
        return settled;
    }

    // The source is worked on through a copy of its record: an in-place run overwrites the record itself, and a
    // dithering run that the caller has on it must survive.
    const BitmapHandle saved = source;
    BitmapHandle original = source;
    original.pDitherState = nullptr;
    BitmapHandle temporary;
    BitmapHandle& target = destination != nullptr ? *destination : temporary;

    target = described;
    Result result = fillDestination(job, original, target, choice);
    if (result.ok() && job.wanted) result = T_IntGetMinMaxValGray(&target, &target.MinVal, &target.MaxVal);
    if (!result.ok() || !job.wanted) freeBitmap(target);
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

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_ColorResBitmap(BitmapHandle* Source, BitmapHandle* Destination, uint32_t StructSize,
                                             int32_t BitsPerPixel, uint32_t Flags, const PaletteEntry* Palette,
                                             T_HANDLE PaletteHandle, uint32_t ColorCount,
                                             ColorResRowCallback RowCallback, void* UserData) {
    if (const Result entry = checkEntry(kColorResRule, Source); !entry.ok()) return entry.code;
    if (StructSize != sizeof(BitmapHandle)) return ERROR_STRUCT_SIZE;
    if (Destination != nullptr) Destination->StructSize = sizeof(BitmapHandle);
    if ((Source->Flags & BMF_SIGNED) != 0 && (Source->Flags & BMF_WINDOW) == 0) return ERROR_SIGNED_DATA;
    if (!isAllocated(*Source)) return ERROR_INVALID_PARAMETER;
    if (Palette != nullptr && PaletteHandle != 0) return ERROR_INVALID_PARAMETER;
    // A handle is a user palette, whatever else was chosen; only the match table is still a choice then.
    uint32_t selection = Flags & kSelectionMask;
    if (PaletteHandle != 0) selection = CRF_USERPALETTE | (selection & CRF_USERMATCHTABLE);
    ColorResJob job{.bits = BitsPerPixel,
                    .flags = Flags,
                    .selection = selection,
                    .palette = Palette,
                    .paletteHandle = PaletteHandle,
                    .colorCount = ColorCount,
                    .rowCallback = RowCallback,
                    .userData = UserData,
                    .wanted = Destination != nullptr};
    if (const Result depth = settleDepth(job); !depth.ok()) return depth.code;
    return colorResBitmap(job, *Source, Destination).code;
}
