// Conversions that callers prepare once and run over many rows.
#include "base/line_area.h"
#include "base/object.h"
#include "convert/prepared_conversion.h"

namespace tnk {
namespace {

struct LineConversion {
    static constexpr uint32_t kMagic = 0x564E4F43;
    uint32_t magic;
    PreparedConversion conversion;
};

Result startConversion(const ConvertSpec& spec, T_HANDLE* handle) {
    Conversion conversion;
    TRY(checkConversion(spec, conversion));
    auto* made = makeObject<LineConversion>();
    if (made == nullptr) return FAILURE;
    made->conversion.prepare(conversion);
    *handle = reinterpret_cast<T_HANDLE>(made);
    return SUCCESS;
}

Result convertLines(RowConverter& converter, const uint8_t* source, int32_t sourceStride, uint8_t* target,
                    int32_t targetStride, int32_t width, int32_t rows) {
    if (source == nullptr || target == nullptr || width <= 0 || rows <= 0) return ERROR_INVALID_PARAMETER;
    const LineArea from = {source, sourceStride, converter.sourceBytes(width)};
    const LineArea to = {target, targetStride, converter.targetBytes(width)};
    TRY(checkAreas(from, to, rows));
    for (int32_t row = 0; row < rows; ++row) {
        TRY(converter.run(source, target, width));  // a width that it refuses it refuses for the first row
        if (row + 1 == rows) break;                 // no address is made outside the areas
        source += sourceStride;
        target += targetStride;
    }
    return SUCCESS;
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_StartConvert(T_HANDLE* Conversion, int32_t BitsSrc, int32_t BitsDst, uint32_t OrderSrc,
                                           uint32_t OrderDst, const PaletteEntry* PaletteSrc,
                                           const PaletteEntry* PaletteDst, uint32_t Flags, int32_t LowBit,
                                           int32_t HighBit) {
    if (Conversion == nullptr) return ERROR_INVALID_PARAMETER;
    *Conversion = 0;
    return startConversion({BitsSrc, BitsDst, OrderSrc, OrderDst, PaletteSrc, PaletteDst, Flags, LowBit, HighBit},
                           Conversion)
        .code;
}

extern "C" int32_t TNK_CALL T_ConvertLines(T_HANDLE Conversion, const uint8_t* Source, int32_t SourceStride,
                                           uint8_t* Destination, int32_t DestinationStride, int32_t Width,
                                           int32_t Rows) {
    auto* started = objectOf<LineConversion>(Conversion);
    if (started == nullptr) return ERROR_INVALID_PARAMETER;
    return convertLines(started->conversion.converter(), Source, SourceStride, Destination, DestinationStride, Width,
                        Rows)
        .code;
}

extern "C" int32_t TNK_CALL T_StopConvert(T_HANDLE Conversion) {
    auto* started = objectOf<LineConversion>(Conversion);
    if (started == nullptr) return ERROR_INVALID_PARAMETER;
    destroyObject(started);
    return SUCCESS;
}
