#include "formats/exif.h"

#include <cstring>

#include "bytes.h"

namespace tool {

namespace {

constexpr size_t kHeader = 8;  // byte order, version, place of the first directory
constexpr size_t kEntry = 12;  // tag, type, count, value
constexpr uint32_t kOrientation = 0x0112, kShort = 3;

// The first directory.
struct Directory {
    bool little = false;
    uint32_t count = 0;
    size_t tag = 0;  // where the entry of the orientation is; 0: nowhere
};

// A sound one, or one without entries.
Directory directoryOf(const std::vector<uint8_t>& exif) {
    if (exif.size() < kHeader) return {};
    const uint8_t* const data = exif.data();
    Directory out = {std::memcmp(data, "II*\0", 4) == 0};
    if (!out.little && std::memcmp(data, "MM\0*", 4) != 0) return {};
    const auto get16 = out.little ? little16 : big16;
    const size_t start = (out.little ? little32 : big32)(data + 4);
    if (start > exif.size() || exif.size() - start < 2) return {};
    out.count = get16(data + start);
    if ((exif.size() - start - 2) / kEntry < out.count) return {};
    for (uint32_t i = 0; i < out.count && out.tag == 0; i++) {
        const size_t at = start + 2 + i * kEntry;
        if (get16(data + at) == kOrientation) out.tag = at;
    }
    return out;
}

}  // namespace

int exifOrientation(const std::vector<uint8_t>& exif) {
    const Directory directory = directoryOf(exif);
    if (directory.tag == 0) return 0;
    const auto get16 = directory.little ? little16 : big16;
    const uint8_t* const entry = &exif[directory.tag];
    const uint32_t value = get16(entry + 8);
    const bool sound = get16(entry + 2) == kShort && (directory.little ? little32 : big32)(entry + 4) == 1;
    return sound && value >= 1 && value <= 8 ? static_cast<int>(value) : 0;
}

bool setExifOrientation(std::vector<uint8_t>& exif, int orientation) {
    const Directory directory = directoryOf(exif);
    if (directory.tag == 0) return orientation == 1;
    if (exifOrientation(exif) == 0) return false;
    exif[directory.tag + (directory.little ? 8 : 9)] = static_cast<uint8_t>(orientation);
    return true;
}

bool isOrientationAlone(const std::vector<uint8_t>& exif) {
    const Directory directory = directoryOf(exif);
    return directory.count == 1 && directory.tag != 0;
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
