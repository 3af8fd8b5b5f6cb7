// Conversion of single rows in place.
#include <algorithm>

#include "base/pixel_format.h"
#include "convert/conversion_cache.h"

namespace tnk {
namespace {

uint64_t rowBytesAt(int32_t width, int32_t bits) {
    if (width < 0 || bits < 0) return 0;
    return rowBytes(static_cast<uint64_t>(width), bits != 0 ? static_cast<uint32_t>(bits) : 8);
}

}  // namespace

Result convertBuffer(uint8_t* buffer, int32_t width, const ConvertSpec& spec) {
    if (buffer == nullptr || width <= 0) return ERROR_INVALID_PARAMETER;
    Conversion conversion;
    TRY(checkConversion(spec, conversion));
    if (RowConverter* const kept = keptConverter(conversion)) return kept->run(buffer, buffer, width);
    RowConverter converter;
    converter.prepare(conversion);
    return converter.run(buffer, buffer, width);
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_ConvertBuffer(uint8_t* Buffer, int32_t Width, int32_t BitsSrc, int32_t BitsDst,
                                            uint32_t OrderSrc, uint32_t OrderDst, const PaletteEntry* PaletteSrc,
                                            const PaletteEntry* PaletteDst) {
    return convertBuffer(Buffer, Width, {BitsSrc, BitsDst, OrderSrc, OrderDst, PaletteSrc, PaletteDst}).code;
}

extern "C" int32_t TNK_CALL T_ConvertBufferExt(uint8_t* Buffer, int32_t Width, int32_t BitsSrc, int32_t BitsDst,
                                               uint32_t OrderSrc, uint32_t OrderDst, const PaletteEntry* PaletteSrc,
                                               const PaletteEntry* PaletteDst, uint32_t Flags, int32_t LowBit,
                                               int32_t HighBit) {
    return convertBuffer(Buffer, Width,
                         {BitsSrc, BitsDst, OrderSrc, OrderDst, PaletteSrc, PaletteDst, Flags, LowBit, HighBit})
        .code;
}

extern "C" uint32_t TNK_CALL T_CalcConvertSize(int32_t Width, int32_t Bits, int32_t NewWidth, int32_t NewBits) {
    if (Width < 0 || Bits < 0 || NewWidth < 0 || NewBits < 0) return 0;
    const uint64_t bytes =
        std::max({rowBytesAt(Width, Bits), rowBytesAt(NewWidth, Bits), rowBytesAt(NewWidth, NewBits)});
    return bytes <= UINT32_MAX ? static_cast<uint32_t>(bytes) : 0;
}
