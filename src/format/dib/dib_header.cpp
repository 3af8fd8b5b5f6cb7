#include "format/dib/dib_header.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "base/pixel_values.h"

namespace tnk {
namespace {

// Fields of the headers: BITMAPCOREHEADER, then those that begin as BITMAPINFOHEADER does.
enum CoreField : uint32_t { kCoreWidth = 4, kCoreHeight = 6, kCorePlanes = 8, kCoreBits = 10, kCoreBytes = 12 };
enum InfoField : uint32_t {
    kWidth = 4,
    kHeight = 8,
    kPlanes = 12,
    kBits = 14,
    kCompression = 16,
    kImageBytes = 20,
    kXPels = 24,
    kYPels = 28,
    kColors = 32,
    kInfoBytes = 40,
    kMasks = 40,  // in longer headers
    kColorMasksEnd = 52,
    kAlphaMaskEnd = 56,
    kColorSpace = 56,
    kV4Bytes = 108,
    kV5Bytes = 124,
};
constexpr uint32_t kStandardRgb = 0x73524742;  // 'sRGB'
constexpr uint32_t kMaskBytes = 12;

int32_t loadSigned(const uint8_t* bytes) { return loadAs<int32_t>(bytes); }

// A height below 0 says that the top row is the first one.
Result readHeight(int32_t height, DibHeader& header) {
    if (height == INT32_MIN) return ERROR_INVALID_PARAMETER;
    header.topDown = height < 0;
    header.height = height < 0 ? -height : height;
    return SUCCESS;
}

uint32_t colorsOf(const DibHeader& header, uint32_t used) {
    if (header.bits < 1 || header.bits > 8) return used;
    const uint32_t most = 1u << header.bits;
    return used == 0 ? most : std::min(used, most);
}

Result readCore(const uint8_t* bytes, DibHeader& header) {
    if (load16(bytes + kCorePlanes) != 1) return ERROR_INVALID_DIB;
    header = {.width = static_cast<int32_t>(load16(bytes + kCoreWidth)),
              .height = static_cast<int32_t>(load16(bytes + kCoreHeight)),
              .bits = static_cast<int32_t>(load16(bytes + kCoreBits)),
              .compression = kDibPlain,
              .entryBytes = 3,
              .tableOffset = kCoreBytes};
    header.colors = colorsOf(header, 0);
    return SUCCESS;
}

// `bytes` are those of the longest header, zero behind the one that there is.
Result readInfo(const uint8_t* bytes, uint32_t headerBytes, DibHeader& header) {
    if (load16(bytes + kPlanes) != 1) return ERROR_INVALID_DIB;
    header = {.width = loadSigned(bytes + kWidth),
              .bits = static_cast<int32_t>(load16(bytes + kBits)),
              .compression = load32(bytes + kCompression),
              .imageBytes = load32(bytes + kImageBytes),
              .xPelsPerMeter = loadSigned(bytes + kXPels),
              .yPelsPerMeter = loadSigned(bytes + kYPels),
              .entryBytes = 4,
              .tableOffset = headerBytes};
    header.colors = colorsOf(header, load32(bytes + kColors));
    if (header.compression == kDibBitFields) {
        header.masks = loadAs<ChannelMasks>(bytes + kMasks);
        if (headerBytes < kAlphaMaskEnd) header.masks.alpha = 0;
    }
    return readHeight(loadSigned(bytes + kHeight), header);
}

}  // namespace

Result readDibHeader(const uint8_t* info, uint64_t available, DibHeader& header) {
    if (available < 4) return ERROR_INVALID_DIB;
    const uint32_t size = load32(info);
    if (size > available || (size != kCoreBytes && size < kInfoBytes)) return ERROR_INVALID_DIB;
    uint8_t bytes[kV5Bytes] = {};
    std::memcpy(bytes, info, std::min<size_t>(size, sizeof bytes));
    if (size == kCoreBytes) {
        TRY(readCore(bytes, header));
    } else {
        TRY(readInfo(bytes, size, header));
    }
    if (header.compression == kDibBitFields && size < kColorMasksEnd) {
        if (available - size < kMaskBytes) return ERROR_INVALID_DIB;
        std::memcpy(&header.masks, info + size, kMaskBytes);
        header.tableOffset += kMaskBytes;
    }
    return SUCCESS;
}

uint32_t dibHeaderBytes(uint32_t type) {
    return type == DIB_HEADER_V4 ? kV4Bytes : type == DIB_HEADER_V5 ? kV5Bytes : kInfoBytes;
}

void writeDibHeader(uint32_t type, const DibShape& shape, uint8_t* bytes) {
    const auto pelsPerMeter = [](int32_t dots) {
        const int64_t pels = (int64_t{dots} * 10'000 + 127) / 254;
        return static_cast<int32_t>(
            std::clamp<int64_t>(pels, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
    };
    storeAs(bytes, dibHeaderBytes(type));
    storeAs(bytes + kWidth, shape.width);
    storeAs(bytes + kHeight, shape.height);
    store16(bytes + kPlanes, 1);
    store16(bytes + kBits, static_cast<uint32_t>(shape.bits));
    storeAs(bytes + kCompression, kDibPlain);
    storeAs(bytes + kImageBytes, shape.imageBytes);
    storeAs(bytes + kXPels, pelsPerMeter(shape.xResolution));
    storeAs(bytes + kYPels, pelsPerMeter(shape.yResolution));
    storeAs(bytes + kColors, shape.colors);
    if (type == DIB_HEADER_V5) storeAs(bytes + kColorSpace, kStandardRgb);
}

int32_t dotsPerInch(int32_t pelsPerMeter) {
    return static_cast<int32_t>((int64_t{pelsPerMeter} * 254 + 5000) / 10'000);
}

}  // namespace tnk
