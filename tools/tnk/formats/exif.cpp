#include "formats/exif.h"

#include <cstring>

#include "bytes.h"

namespace tool {

namespace {

constexpr size_t kHeader = 8;  // byte order, version, place of the first directory
constexpr size_t kEntry = 12;  // tag, type, count, value
constexpr uint32_t kOrientation = 0x0112, kXResolution = 0x011A, kYResolution = 0x011B, kResolutionUnit = 0x0128;
constexpr uint32_t kShort = 3, kRational = 5;

// The first directory; without entries where it is not sound.
class Directory {
  public:
    explicit Directory(const std::vector<uint8_t>& exif) : exif_(exif) {
        if (exif.size() < kHeader) return;
        little_ = std::memcmp(exif.data(), "II*\0", 4) == 0;
        if (!little_ && std::memcmp(exif.data(), "MM\0*", 4) != 0) return;
        const size_t start = get32(4);
        if (start > exif.size() || exif.size() - start < 2) return;
        const uint32_t count = get16(start);
        if ((exif.size() - start - 2) / kEntry < count) return;
        count_ = count;
        entries_ = start + 2;
    }

    bool isLittle() const { return little_; }
    uint32_t count() const { return count_; }

    // Where the entry of a tag is; 0: nowhere.
    size_t find(uint32_t tag) const {
        for (uint32_t i = 0; i < count_; i++) {
            if (get16(entries_ + i * kEntry) == tag) return entries_ + i * kEntry;
        }
        return 0;
    }

    // The one value of a tag; 0 where it has none.
    uint32_t getShort(uint32_t tag) const {
        const size_t at = find(tag);
        return at && get16(at + 2) == kShort && get32(at + 4) == 1 ? get16(at + 8) : 0;
    }

    double getRational(uint32_t tag) const {
        const size_t at = find(tag);
        if (!at || get16(at + 2) != kRational || get32(at + 4) != 1) return 0;
        const size_t value = get32(at + 8);
        if (value > exif_.size() || exif_.size() - value < 8 || get32(value + 4) == 0) return 0;
        return static_cast<double>(get32(value)) / get32(value + 4);
    }

  private:
    uint32_t get16(size_t at) const { return (little_ ? little16 : big16)(&exif_[at]); }
    uint32_t get32(size_t at) const { return (little_ ? little32 : big32)(&exif_[at]); }

    const std::vector<uint8_t>& exif_;
    bool little_ = false;
    uint32_t count_ = 0;
    size_t entries_ = 0;
};

}  // namespace

int exifOrientation(const std::vector<uint8_t>& exif) {
    const uint32_t value = Directory(exif).getShort(kOrientation);
    return value <= 8 ? static_cast<int>(value) : 0;
}

DotsPerInch exifResolution(const std::vector<uint8_t>& exif) {
    constexpr uint32_t kCentimetres = 3;
    const Directory directory(exif);
    const double scale = directory.getShort(kResolutionUnit) == kCentimetres ? 2.54 : 1;
    return {directory.getRational(kXResolution) * scale, directory.getRational(kYResolution) * scale};
}

bool setExifOrientation(std::vector<uint8_t>& exif, int orientation) {
    const Directory directory(exif);
    const size_t entry = directory.find(kOrientation);
    if (entry == 0) return orientation == 1;
    if (exifOrientation(exif) == 0) return false;
    exif[entry + (directory.isLittle() ? 8 : 9)] = static_cast<uint8_t>(orientation);
    return true;
}

bool isOrientationAlone(const std::vector<uint8_t>& exif) {
    const Directory directory(exif);
    return directory.count() == 1 && directory.find(kOrientation) != 0;
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
