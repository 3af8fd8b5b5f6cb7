#include "formats/exif.h"

#include <cstring>

#include "bytes.h"

namespace tool {

namespace {

constexpr size_t kHeader = 8;  // byte order, version, place of the first directory
constexpr size_t kEntry = 12;  // tag, type, count, value
constexpr uint32_t kOrientation = 0x0112, kShort = 3;

}  // namespace

int exifOrientation(const uint8_t* data, size_t bytes) {
    if (bytes < kHeader) return 0;
    const bool little = std::memcmp(data, "II*\0", 4) == 0;
    if (!little && std::memcmp(data, "MM\0*", 4) != 0) return 0;
    const auto get16 = little ? little16 : big16;
    const auto get32 = little ? little32 : big32;

    const size_t start = get32(data + 4);
    if (start > bytes || bytes - start < 2) return 0;
    const uint32_t count = get16(data + start);
    const uint8_t* entry = data + start + 2;
    if ((bytes - start - 2) / kEntry < count) return 0;
    for (uint32_t i = 0; i < count; i++, entry += kEntry) {
        if (get16(entry) != kOrientation) continue;
        const uint32_t value = get16(entry + 8);
        const bool sound = get16(entry + 2) == kShort && get32(entry + 4) == 1 && value >= 1 && value <= 8;
        return sound ? static_cast<int>(value) : 0;
    }
    return 0;
}

std::vector<uint8_t> exifOf(int orientation) {
    std::vector<uint8_t> out = {'M', 'M', 0, '*'};
    putBig32(out, kHeader);
    out.insert(out.end(), {0, 1});  // one entry
    putBig32(out, kOrientation << 16 | kShort);
    putBig32(out, 1);
    putBig32(out, static_cast<uint32_t>(orientation) << 16);
    putBig32(out, 0);  // no further directory
    return out;
}

}  // namespace tool
