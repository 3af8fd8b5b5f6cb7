#include "reference/color_count.h"

#include <algorithm>
#include <unordered_set>

namespace tnk::test {
namespace {

uint32_t get16(const uint8_t* p) { return p[0] | static_cast<uint32_t>(p[1]) << 8; }

bool isGray(const ReferenceDitherSource& f) {
    return f.bits == 12 || ((f.bits == 16 || f.bits == 32) && f.order == kOrderGray);
}

bool usesLut(const ReferenceDitherSource& f) { return isGray(f) && f.window && f.lut != nullptr; }

uint32_t sampleAt(const ReferenceDitherSource& f, const uint8_t* row, int32_t x) {
    if (f.bits == 12) return referenceGet12(row, x);
    const uint8_t* at = row + static_cast<size_t>(x) * static_cast<size_t>(f.bits / 8);
    return f.bits == 16 ? get16(at) : get16(at) | get16(at + 2) << 16;
}

ReferenceColor grayOf(uint32_t level) {
    const auto v = static_cast<uint8_t>(level);
    return {v, v, v, 0};
}

ReferenceColor lutColor(const ReferenceDitherSource& f, uint32_t sample) {
    const uint32_t value = referenceGrayParams(f.bits, f.bits, f.lowBit, f.highBit).read(sample);
    return value < f.lutLength ? f.lut[value] : ReferenceColor{};
}

ReferenceColor indexColor(const ReferenceDitherSource& f, const uint8_t* row, int32_t x) {
    const uint32_t index = referenceGetPacked(row, x, f.bits);
    return f.palette != nullptr && index < f.paletteCount ? f.palette[index] : ReferenceColor{};
}

uint8_t from5(uint32_t v) { return static_cast<uint8_t>(v << 3 | v >> 2); }

// Depths of 16 bits and more that are not gray, as stored: ORDER_MATRIX_RGB counts as ORDER_BGR.
ReferenceColor storedColor(const ReferenceDitherSource& f, const uint8_t* row, int32_t x) {
    const uint8_t* at = row + static_cast<size_t>(x) * static_cast<size_t>(f.bits / 8);
    ReferenceColor color;
    if (f.bits == 16) {
        const uint32_t word = get16(at);
        color = {from5(word & 31), from5(word >> 5 & 31), from5(word >> 10 & 31), 0};
    } else if (f.bits <= 32) {
        color = {at[0], at[1], at[2], 0};
    } else {
        color = {at[1], at[3], at[5], 0};
    }
    const bool blueFirst = f.order == kOrderBgr || (f.order == kOrderMatrix && f.bits != 16);
    if (!blueFirst) std::swap(color.blue, color.red);
    return color;
}

struct Counted {
    uint64_t key;  // pixels of equal keys are of one colour
    ReferenceColor color;
};

uint64_t rgbKey(const ReferenceColor& c) { return uint64_t{c.red} << 16 | uint64_t{c.green} << 8 | c.blue; }

Counted countedAt(const ReferenceDitherSource& f, const uint8_t* row, int32_t x, bool collecting) {
    if (usesLut(f) && f.bits < 32) {  // KEEP: 32-bit samples count as samples, whatever colours a table gives them
        const ReferenceColor color = lutColor(f, sampleAt(f, row, x));
        return {rgbKey(color), color};
    }
    if (isGray(f)) {
        const int32_t limit = collecting && !usesLut(f) ? 8 : f.bits;
        const uint32_t key = referenceGrayParams(f.bits, limit, f.lowBit, f.highBit).read(sampleAt(f, row, x));
        return {key, grayOf(key & 0xFF)};
    }
    const ReferenceColor color = f.bits <= 8 ? indexColor(f, row, x) : storedColor(f, row, x);
    return {rgbKey(color), color};
}

}  // namespace

ReferenceColor referenceColorAt(const ReferenceDitherSource& f, const uint8_t* row, int32_t x) {
    if (f.bits <= 8) return indexColor(f, row, x);
    if (!isGray(f)) return storedColor(f, row, x);
    if (usesLut(f)) return lutColor(f, sampleAt(f, row, x));
    const ReferenceGrayParams params = referenceGrayParams(f.bits, 8, f.lowBit, f.highBit);
    const uint32_t value = params.read(sampleAt(f, row, x));
    return grayOf(params.mask != 0 && params.mask < 255 ? value * 255 / params.mask : value);
}

ReferenceCount referenceColorCount(const ReferencePicture& picture, std::optional<uint32_t> capacity,
                                   const ReferenceRegion* region) {
    const ReferenceDitherSource& f = picture.format;
    ReferenceRegion whole;
    if (region == nullptr) {
        for (size_t y = 0; y < picture.rows.size(); ++y) whole.push_back({static_cast<int32_t>(y), {{0, f.width}}});
        region = &whole;
    }
    ReferenceCount result;
    std::unordered_set<uint64_t> seen;
    for (const auto& [y, segments] : *region) {
        for (const auto& [first, end] : segments) {
            for (int32_t x = first; x < end; ++x) {
                const Counted pixel =
                    countedAt(f, picture.rows[static_cast<size_t>(y)].data(), x, capacity.has_value());
                if (!seen.insert(pixel.key).second) continue;
                ++result.count;
                if (!capacity) continue;
                if (result.count > *capacity) return result;
                // The first entry of a palette stands for all that equal it.
                const ReferenceColor* same = &pixel.color;
                if (f.bits <= 8 && f.palette != nullptr) {
                    const ReferenceColor* end256 = f.palette + f.paletteCount;
                    const ReferenceColor* found = std::find_if(
                        f.palette, end256, [&](const ReferenceColor& entry) { return rgbKey(entry) == pixel.key; });
                    if (found != end256) same = found;
                }
                result.colors.push_back(*same);
            }
        }
    }
    return result;
}

}  // namespace tnk::test
