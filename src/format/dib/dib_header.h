// Headers of device-independent bitmaps: what they say, and where colour table and rows lie behind them.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "tnkrn.h"

namespace tnk {

// Values of the compression field; others are the four letters of a coding.
constexpr uint32_t kDibPlain = 0;
constexpr uint32_t kDibRle8 = 1;
constexpr uint32_t kDibRle4 = 2;
constexpr uint32_t kDibBitFields = 3;

// Which bits of a pixel a channel has.
struct ChannelMasks {
    uint32_t red;
    uint32_t green;
    uint32_t blue;
    uint32_t alpha;  // 0: none
};

struct DibHeader {
    int32_t width = 0;
    int32_t height = 0;  // of the rows, whichever comes first
    bool topDown = false;
    int32_t bits = 0;
    uint32_t compression = 0;
    uint32_t imageBytes = 0;  // as the header has it; 0: not told
    int32_t xPelsPerMeter = 0;
    int32_t yPelsPerMeter = 0;
    ChannelMasks masks = {};   // with kDibBitFields
    uint32_t entryBytes = 0;   // of a colour
    uint32_t colors = 0;       // entries of the colour table
    uint64_t tableOffset = 0;  // from the header's start
    uint64_t tableBytes() const { return uint64_t{colors} * entryBytes; }
};

// Reads the header at `info`, of which `available` bytes can be read. -16 for one that is none or reaches beyond them.
// Whatever it says is read once: memory that others write to as well may change meanwhile.
Result readDibHeader(const uint8_t* info, uint64_t available, DibHeader& header);

// Bytes of a header that T_ConvertToDIB writes, by DIB_HEADER_*.
uint32_t dibHeaderBytes(uint32_t type);

// What is written of a bitmap.
struct DibShape {
    int32_t width;
    int32_t height;
    int32_t bits;
    uint32_t imageBytes;
    uint32_t colors;
    int32_t xResolution;  // dots per inch
    int32_t yResolution;
};
// Writes a header of `type` into bytes that are zero.
void writeDibHeader(uint32_t type, const DibShape& shape, uint8_t* bytes);

// Dots per inch from pixels per metre.
int32_t dotsPerInch(int32_t pelsPerMeter);

}  // namespace tnk
