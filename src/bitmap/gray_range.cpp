// Smallest and largest sample of gray bitmaps.
#include <algorithm>
#include <cassert>

#include "base/pixel_values.h"
#include "base/sample_rules.h"
#include "bitmap/lifecycle.h"
#include "bitmap/rows.h"
#include "tnkrn.h"

namespace tnk {
namespace {

constexpr EntryRule kMinMaxRule{
    .onNull = ERROR_NOT_ALLOCATED, .onUnallocated = ERROR_NOT_ALLOCATED, .onSize = ERROR_STRUCT_SIZE};

int32_t sample12At(const uint8_t* row, int32_t x) {
    return static_cast<int32_t>(loadSample<12>(row, static_cast<uint32_t>(x)));
}

template <typename T>
struct Range {
    T low;
    T high;
    void include(T value) {
        low = std::min(low, value);
        high = std::max(high, value);
    }
};

template <typename T, typename Load>
Result scan(BitmapHandle& bitmap, Load load, int32_t& minimum, int32_t& maximum) {
    const Locked lock(bitmap);
    RowReader reader(bitmap);
    TRY(reader.prepare());
    Range<T> range{};
    for (int32_t y = 0; y < bitmap.Height; ++y) {
        uint8_t* row;
        TRY(reader.read(y, 1, &row));
        if (y == 0 && bitmap.Width > 0) range = {load(row, 0), load(row, 0)};
        for (int32_t x = 0; x < bitmap.Width; ++x) range.include(load(row, x));
    }
    minimum = static_cast<int32_t>(range.low);
    maximum = static_cast<int32_t>(range.high);
    return SUCCESS;
}

template <typename T>
Result scanWhole(BitmapHandle& bitmap, int32_t& minimum, int32_t& maximum) {
    return scan<T>(
        bitmap, [](const uint8_t* row, int32_t x) { return loadAs<T>(row + sizeof(T) * static_cast<size_t>(x)); },
        minimum, maximum);
}

}  // namespace

Result scanGrayRange(BitmapHandle& bitmap, int32_t& minimum, int32_t& maximum) {
    assert(isAllocated(bitmap));
    minimum = maximum = 0;
    if (!hasGraySamples(bitmap)) return SUCCESS;
    const bool isSigned = (bitmap.Flags & BMF_SIGNED) != 0;
    switch (bitmap.BitsPerPixel) {
        case 12:
            if (isSigned) {
                return scan<int32_t>(
                    bitmap, [](const uint8_t* row, int32_t x) { return (sample12At(row, x) ^ 0x800) - 0x800; }, minimum,
                    maximum);
            }
            return scan<int32_t>(bitmap, sample12At, minimum, maximum);
        case 16:
            return isSigned ? scanWhole<int16_t>(bitmap, minimum, maximum)
                            : scanWhole<uint16_t>(bitmap, minimum, maximum);
        case 32:
            return isSigned ? scanWhole<int32_t>(bitmap, minimum, maximum)
                            : scanWhole<uint32_t>(bitmap, minimum, maximum);
        default:
            return SUCCESS;
    }
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_IntGetMinMaxValGray(BitmapHandle* Bitmap, int32_t* MinVal, int32_t* MaxVal) {
    if (const Result entry = checkEntry(kMinMaxRule, Bitmap); !entry.ok()) return entry.code;
    if (MinVal == nullptr || MaxVal == nullptr) return ERROR_INVALID_PARAMETER;
    int32_t minimum = 0;
    int32_t maximum = 0;
    if (const Result scanned = scanGrayRange(*Bitmap, minimum, maximum); !scanned.ok()) return scanned.code;
    *MinVal = minimum;
    *MaxVal = maximum;
    return SUCCESS;
}
