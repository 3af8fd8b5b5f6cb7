#include "reference/convert.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <vector>

namespace tnk::test {
namespace {

struct Format {
    int32_t bits;
    int32_t order;

    // The order means nothing up to 8 bits.
    bool isLevel() const { return bits == 0; }
    bool isIndex() const { return bits >= 1 && bits <= 8; }
    bool isGray() const { return bits == 12 || ((bits == 16 || bits == 32) && order == kOrderGray); }
    bool isColor() const { return bits > 8 && !isGray(); }
    bool isWide() const { return bits == 48 || bits == 64; }
};

// One conversion with its flags as normalised.
struct Job {
    Format src, dst;
    const ReferenceColor* srcPalette;
    const ReferenceColor* dstPalette;
    bool srcRange, dstRange;
    uint16_t alphaFill;
    int32_t lowBit, highBit;
};

// A source pixel. Levels, indexes, gray samples and 5-5-5 words are kept in `sample`; colours also in the channels.
struct Pixel {
    uint32_t sample = 0;
    int32_t red = 0, green = 0, blue = 0;              // 8 bits
    int32_t wideRed = 0, wideGreen = 0, wideBlue = 0;  // 16 bits
    uint16_t alpha = 0;                                // 16 bits
};

bool isDepth(int32_t bits) {
    return (bits >= 0 && bits <= 8) || bits == 12 || bits == 16 || bits == 24 || bits == 32 || bits == 48 || bits == 64;
}

bool sourceOrderAccepted(const Format& src) {
    const int32_t order = src.order;
    switch (src.bits) {
        case 12:
            return order == kOrderGray;
        case 16:
        case 32:
            return order == kOrderRgb || order == kOrderBgr || order == kOrderGray;
        case 24:
        case 48:
            return order == kOrderRgb || order == kOrderBgr || order == kOrderMatrix;
        case 64:
            return order == kOrderRgb || order == kOrderBgr;
        default:
            return true;
    }
}

bool destinationOrderAccepted(const Format& src, const Format& dst) {
    const int32_t order = dst.order;
    switch (dst.bits) {
        case 12:
            return order == kOrderGray;
        case 16:
        case 32:
            return order == kOrderRgb || order == kOrderBgr || order == kOrderGray;
        case 24:
        case 48:
            if (order == kOrderMatrix) return src.bits == 24 || src.bits == 48;
            return order == kOrderRgb || order == kOrderBgr;
        case 64:
            return order == kOrderRgb || order == kOrderBgr;
        default:
            return true;
    }
}

// ---- numbers -------------------------------------------------------------------------------------------------------

uint32_t get16(const uint8_t* p) { return p[0] | static_cast<uint32_t>(p[1]) << 8; }

uint32_t get32(const uint8_t* p) { return get16(p) | get16(p + 2) << 16; }

void put16(uint8_t* p, uint32_t value) {
    p[0] = static_cast<uint8_t>(value);
    p[1] = static_cast<uint8_t>(value >> 8);
}

int32_t from5To8(uint32_t c) { return static_cast<int32_t>(c << 3 | c >> 2); }

// A gray value of `from` bits over the full scale of `to` bits, truncated.
uint32_t scaleUp(uint32_t value, int32_t from, int32_t to) {
    if (from <= 0) return 0;
    if (from >= to) return value;
    return static_cast<uint32_t>(value * ((uint64_t{1} << to) - 1) / ((uint64_t{1} << from) - 1));
}

// The most significant `to` bits of a sample of `from` bits; a wider value is scaled.
uint32_t topBits(uint32_t sample, int32_t from, int32_t to) {
    return to <= from ? static_cast<uint32_t>(uint64_t{sample} >> (from - to)) : scaleUp(sample, from, to);
}

uint32_t expandLevel(uint32_t level, int32_t bits) {
    if (bits < 9) return level >> (8 - bits);
    return static_cast<uint32_t>(((uint64_t{level} << bits) - level) / 255);
}

// ---- matrix colour space, on components in memory order --------------------------------------------------------------

using Components = std::array<int32_t, 3>;

Components forwardMatrix(const Components& c, int32_t limit) {
    const auto row = [&](int64_t a, int64_t b, int64_t d) {
        return static_cast<int32_t>((a * c[0] + b * c[1] + d * c[2] + 4095) >> 13) & limit;  // wraps, never clamped
    };
    return {row(7151, 897, 145), row(394, 7067, 731), row(1067, 2841, 4284)};
}

Components inverseMatrix(const Components& c, int32_t limit) {
    const auto row = [&](int64_t a, int64_t b, int64_t d) {
        const int64_t value = (a * c[0] + b * c[1] + d * c[2] + 4095) / 8192;  // truncates toward zero
        return static_cast<int32_t>(std::clamp<int64_t>(value, 0, limit));
    };
    return {row(9467, -1151, -125), row(-305, 10232, -1735), row(-2156, -6498, 16846)};
}

void applyForwardMatrix(uint8_t* buffer, int32_t width, int32_t bits) {
    for (int32_t x = 0; x < width; ++x) {
        if (bits == 24) {
            uint8_t* p = buffer + size_t{3} * static_cast<size_t>(x);
            const Components out = forwardMatrix({p[0], p[1], p[2]}, 0xFF);
            for (size_t i = 0; i < 3; ++i) p[i] = static_cast<uint8_t>(out[i]);
        } else {
            uint8_t* p = buffer + size_t{6} * static_cast<size_t>(x);
            const Components in = {static_cast<int32_t>(get16(p)), static_cast<int32_t>(get16(p + 2)),
                                   static_cast<int32_t>(get16(p + 4))};
            const Components out = forwardMatrix(in, 0xFFFF);
            for (size_t i = 0; i < 3; ++i) put16(p + 2 * i, static_cast<uint32_t>(out[i]));
        }
    }
}

// ---- decoding ------------------------------------------------------------------------------------------------------

void setRgb(Pixel& p, int32_t red, int32_t green, int32_t blue) {
    p.red = red;
    p.green = green;
    p.blue = blue;
    p.wideRed = red * 257;
    p.wideGreen = green * 257;
    p.wideBlue = blue * 257;
}

void setRgb(Pixel& p, const ReferenceColor& c) { setRgb(p, c.red, c.green, c.blue); }

void setGray(Pixel& p, uint32_t level) {
    const int32_t v = static_cast<int32_t>(level);
    setRgb(p, v, v, v);
}

void setWideRgb(Pixel& p, int32_t red, int32_t green, int32_t blue) {
    p.red = red >> 8;
    p.green = green >> 8;
    p.blue = blue >> 8;
    p.wideRed = red;
    p.wideGreen = green;
    p.wideBlue = blue;
}

// Depth 16 and above, not gray.
Pixel decodeColor(const uint8_t* row, int32_t x, const Format& src) {
    Pixel p;
    const uint8_t* at = row + static_cast<size_t>(x) * static_cast<size_t>(src.bits / 8);
    const bool rgb = src.order == kOrderRgb;
    if (src.bits == 16) {
        p.sample = get16(at);
        const int32_t low = from5To8(p.sample & 31), middle = from5To8(p.sample >> 5 & 31);
        const int32_t high = from5To8(p.sample >> 10 & 31);
        setRgb(p, rgb ? low : high, middle, rgb ? high : low);
        return p;
    }
    Components c;
    for (size_t i = 0; i < 3; ++i) c[i] = src.isWide() ? static_cast<int32_t>(get16(at + 2 * i)) : at[i];
    if (src.order == kOrderMatrix) c = inverseMatrix(c, src.isWide() ? 65535 : 255);
    const int32_t red = rgb ? c[0] : c[2], blue = rgb ? c[2] : c[0];
    if (src.isWide())
        setWideRgb(p, red, c[1], blue);
    else
        setRgb(p, red, c[1], blue);
    if (src.bits == 32) p.alpha = static_cast<uint16_t>(at[3] * 257);
    if (src.bits == 64) p.alpha = static_cast<uint16_t>(get16(at + 6));
    return p;
}

// A gray sample without a lookup table, seen as a colour, a level or a palette's candidate.
void grayToColor(Pixel& p, const Job& job) {
    int32_t limit = job.dst.isWide() ? 16 : 8;
    if (job.srcRange && job.dst.isIndex()) limit = job.dst.bits;  // a range keeps no more bits than the index has
    const ReferenceGrayParams params =
        referenceGrayParams(job.src.bits, limit, job.srcRange ? job.lowBit : -1, job.srcRange ? job.highBit : -1);
    const uint32_t value = params.read(p.sample);
    if (job.dst.isWide())
        p.wideRed = p.wideGreen = p.wideBlue = static_cast<int32_t>(scaleUp(value, params.bits, 16));
    else
        setGray(p, scaleUp(value, params.bits, 8));
}

Pixel decode(const uint8_t* row, int32_t x, const Job& job) {
    const Format& src = job.src;
    if (src.isColor()) return decodeColor(row, x, src);
    Pixel p;
    if (src.isLevel()) {
        p.sample = row[x];
        setGray(p, p.sample);
    } else if (src.isIndex()) {
        p.sample = referenceGetPacked(row, x, src.bits);
        setRgb(p, job.srcPalette[p.sample]);
    } else {
        p.sample = src.bits == 12   ? referenceGet12(row, x)
                   : src.bits == 16 ? get16(row + size_t{2} * static_cast<size_t>(x))
                                    : get32(row + size_t{4} * static_cast<size_t>(x));
        if (job.srcPalette != nullptr) {  // a lookup table over the bits in the range
            const ReferenceGrayParams params = referenceGrayParams(src.bits, src.bits, job.srcRange ? job.lowBit : -1,
                                                                   job.srcRange ? job.highBit : -1);
            setRgb(p, job.srcPalette[params.read(p.sample)]);
        } else if (!job.dst.isGray()) {
            grayToColor(p, job);
        }
    }
    return p;
}

// ---- encoding ------------------------------------------------------------------------------------------------------

// The gray sample of a pixel that is a colour, or became one through a palette.
uint64_t colorToGraySample(const Pixel& p, const Job& job) {
    const Format &src = job.src, &dst = job.dst;
    const uint32_t level = static_cast<uint32_t>(referenceGrayLevel(p.red, p.green, p.blue));
    if (job.dstRange) {
        const int32_t depth = src.isWide() ? 16 : dst.bits;  // KEEP: wide sources count a missing high bit as bit 15
        const bool byPalette = (src.bits == 16 || src.bits == 32) && job.srcPalette != nullptr;
        const ReferenceGrayParams params =
            referenceGrayParams(depth, byPalette ? 8 : dst.bits, job.lowBit, job.highBit);
        return params.write(expandLevel(level, params.bits));
    }
    // KEEP: 32-bit colour, 48 and 64 bits reach only 65535 in a 32-bit gray sample; other sources spread over all of it.
    const bool deepColor = src.isColor() && src.bits >= 32;
    if (deepColor && dst.bits == 32) return level * 257u;
    return expandLevel(level, dst.bits);
}

uint64_t toGraySample(const Pixel& p, const Job& job) {
    const Format &src = job.src, &dst = job.dst;
    if (!src.isGray() || job.srcPalette != nullptr) return colorToGraySample(p, job);
    if (job.dstRange) {
        const ReferenceGrayParams params = referenceGrayParams(dst.bits, dst.bits, job.lowBit, job.highBit);
        return params.write(topBits(p.sample, src.bits, params.bits));
    }
    const ReferenceGrayParams params =
        referenceGrayParams(src.bits, dst.bits, job.srcRange ? job.lowBit : -1, job.srcRange ? job.highBit : -1);
    return scaleUp(params.read(p.sample), params.bits, dst.bits);
}

uint32_t to555(const Pixel& p, const Job& job) {
    const Format &src = job.src, &dst = job.dst;
    if (src.isColor() && src.bits == 16 && src.order == dst.order) return p.sample;  // bit 15 too
    const bool rgb = dst.order == kOrderRgb;
    const int32_t high = rgb ? p.blue : p.red, low = rgb ? p.red : p.blue;
    uint32_t word = static_cast<uint32_t>(high >> 3 << 10 | p.green >> 3 << 5 | low >> 3);
    if (src.isColor() && src.bits == 32 && p.alpha >> 8 >= 128) word |= 0x8000;
    return word;
}

// The index map of sources of up to 8 bits; whole palettes decide, so that equal entries keep their own index.
std::vector<uint32_t> makeIndexMap(const Job& job) {
    const uint32_t srcCount = job.src.isLevel() ? 256u : 1u << job.src.bits, dstCount = 1u << job.dst.bits;
    const bool identity = job.src.isIndex() && dstCount >= srcCount &&
                          std::memcmp(job.srcPalette, job.dstPalette, srcCount * sizeof(ReferenceColor)) == 0;
    std::vector<uint32_t> map(srcCount);
    for (uint32_t i = 0; i < srcCount; ++i) {
        const uint8_t level = static_cast<uint8_t>(i);
        const ReferenceColor c = job.src.isIndex() ? job.srcPalette[i] : ReferenceColor{level, level, level, 0};
        map[i] = identity ? i : referenceFindPaletteIndex(job.dstPalette, dstCount, c.red, c.green, c.blue);
    }
    return map;
}

void encode(uint8_t* row, int32_t x, const Pixel& p, const Job& job, const std::vector<uint32_t>& indexMap) {
    const Format &src = job.src, &dst = job.dst;
    if (dst.isLevel()) {
        row[x] = static_cast<uint8_t>(referenceGrayLevel(p.red, p.green, p.blue));
        return;
    }
    if (dst.isIndex()) {
        const uint32_t index = indexMap.empty()
                                   ? referenceFindPaletteIndex(job.dstPalette, 1u << dst.bits, p.red, p.green, p.blue)
                                   : indexMap[p.sample];
        referenceSetPacked(row, x, dst.bits, index);
        return;
    }
    if (dst.bits == 12) {
        referenceSet12(row, x, static_cast<uint32_t>(toGraySample(p, job) & 0xFFF));
        return;
    }
    uint8_t* at = row + static_cast<size_t>(x) * static_cast<size_t>(dst.bits / 8);
    if (dst.isGray()) {
        const uint64_t sample = toGraySample(p, job);
        put16(at, static_cast<uint32_t>(sample & 0xFFFF));
        if (dst.bits == 32) put16(at + 2, static_cast<uint32_t>(sample >> 16 & 0xFFFF));
        return;
    }
    if (dst.bits == 16) {
        put16(at, to555(p, job));
        return;
    }
    const bool rgb = dst.order == kOrderRgb;
    const uint16_t alpha = src.isColor() && (src.bits == 32 || src.bits == 64) ? p.alpha : job.alphaFill;
    if (dst.isWide()) {
        put16(at, static_cast<uint32_t>(rgb ? p.wideRed : p.wideBlue));
        put16(at + 2, static_cast<uint32_t>(p.wideGreen));
        put16(at + 4, static_cast<uint32_t>(rgb ? p.wideBlue : p.wideRed));
        if (dst.bits == 64) put16(at + 6, alpha);
    } else {
        at[0] = static_cast<uint8_t>(rgb ? p.red : p.blue);
        at[1] = static_cast<uint8_t>(p.green);
        at[2] = static_cast<uint8_t>(rgb ? p.blue : p.red);
        if (dst.bits == 32) at[3] = static_cast<uint8_t>(alpha >> 8);
    }
}

// A range without bits, on gray samples that would be read or written through it.
bool windowIsEmpty(const Job& job) {
    const bool read = job.srcRange && job.src.isGray();
    const bool written = job.dstRange && job.dst.isGray();
    const int32_t depth = read ? job.src.bits : job.src.isWide() ? 16 : job.dst.bits;
    return (read || written) && referenceGrayParams(depth, 32, job.lowBit, job.highBit).bits == 0;
}

bool rangeCoversAll(int32_t depth, int32_t lowBit, int32_t highBit) {
    return lowBit <= 0 && (highBit == depth - 1 || highBit < 0);
}

}  // namespace

ReferenceGrayParams referenceGrayParams(int32_t depth, int32_t maxBits, int32_t lowBit, int32_t highBit) {
    const int64_t low = lowBit < 0 ? 0 : lowBit;
    const int64_t high = highBit < 0 ? depth - 1 : highBit;
    const int64_t bits = std::max<int64_t>(0, std::min<int64_t>(high - low + 1, maxBits));  // low above high: none
    ReferenceGrayParams params;
    params.bits = static_cast<int32_t>(bits);
    params.mask = bits >= 32 ? 0xFFFFFFFFu : (1u << bits) - 1;
    params.shift = high - bits + 1;
    return params;
}

uint32_t referenceGetPacked(const uint8_t* row, int32_t x, int32_t bits) {
    uint32_t value = 0;
    for (int32_t i = 0; i < bits; ++i) {
        const size_t at = static_cast<size_t>(x) * static_cast<size_t>(bits) + static_cast<size_t>(i);
        value = value << 1 | (row[at / 8] >> (7 - at % 8) & 1u);
    }
    return value;
}

void referenceSetPacked(uint8_t* row, int32_t x, int32_t bits, uint32_t value) {
    for (int32_t i = 0; i < bits; ++i) {
        const size_t at = static_cast<size_t>(x) * static_cast<size_t>(bits) + static_cast<size_t>(i);
        const uint32_t place = 0x80u >> at % 8;
        const bool set = (value >> (bits - 1 - i) & 1u) != 0;
        row[at / 8] = static_cast<uint8_t>(set ? row[at / 8] | place : row[at / 8] & ~place);
    }
}

uint32_t referenceGet12(const uint8_t* row, int32_t x) {
    const uint8_t* pair = row + size_t{3} * static_cast<size_t>(x / 2);
    return x % 2 == 0 ? pair[0] | (pair[1] & 0x0Fu) << 8 : static_cast<uint32_t>(pair[1] >> 4 | pair[2] << 4);
}

void referenceSet12(uint8_t* row, int32_t x, uint32_t value) {
    uint8_t* pair = row + size_t{3} * static_cast<size_t>(x / 2);
    if (x % 2 == 0) {
        pair[0] = static_cast<uint8_t>(value);
        pair[1] = static_cast<uint8_t>((pair[1] & 0xF0u) | (value >> 8 & 0x0Fu));
    } else {
        pair[1] = static_cast<uint8_t>((pair[1] & 0x0Fu) | (value & 0x0Fu) << 4);
        pair[2] = static_cast<uint8_t>(value >> 4);
    }
}

int32_t referenceConvert(uint8_t* buffer, int32_t width, int32_t srcBits, int32_t dstBits, int32_t srcOrder,
                         int32_t dstOrder, const ReferenceColor* srcPalette, const ReferenceColor* dstPalette,
                         uint32_t flags, int32_t lowBit, int32_t highBit) {
    if (buffer == nullptr || width <= 0) return kReferenceInvalidParameter;
    if (!isDepth(srcBits) || !isDepth(dstBits)) return kReferenceInvalidParameter;
    // A row must be countable in bits by a signed 32-bit number.
    if (int64_t{width} * std::max({srcBits, dstBits, 8}) > std::numeric_limits<int32_t>::max() - 31)
        return kReferenceInvalidParameter;

    flags &= ~(kConvertSrcGray | kConvertDstGray);
    if (srcOrder == kOrderGray)
        flags |= kConvertSrcGray;
    else
        flags &= ~kConvertSrcBitRange;  // dropped in silence; the destination's range is not
    if (dstOrder == kOrderGray) flags |= kConvertDstGray;

    const bool bothRanges = (flags & kConvertSrcBitRange) != 0 && (flags & kConvertDstBitRange) != 0;
    const bool rangeOnColor = (flags & kConvertDstBitRange) != 0 && (flags & kConvertDstGray) == 0;
    if (bothRanges || rangeOnColor) return kReferenceInvalidParameter;
    if (rangeCoversAll(srcBits, lowBit, highBit)) flags &= ~kConvertSrcBitRange;
    if (rangeCoversAll(dstBits, lowBit, highBit)) flags &= ~kConvertDstBitRange;

    Job job{};
    job.src = {srcBits, srcOrder};
    job.dst = {dstBits, dstOrder};
    if (!sourceOrderAccepted(job.src) || !destinationOrderAccepted(job.src, job.dst)) return kReferenceInvalidParameter;
    job.srcPalette = srcPalette == nullptr && job.src.isIndex() ? referenceFixedPalette(8) : srcPalette;
    job.dstPalette = dstPalette == nullptr && job.dst.isIndex() ? referenceFixedPalette(dstBits) : dstPalette;
    job.srcRange = (flags & kConvertSrcBitRange) != 0;
    job.dstRange = (flags & kConvertDstBitRange) != 0;
    job.alphaFill = (flags & (kConvertAlphaFromValue | kConvertAlphaOpaque)) != 0 ? 0xFFFF : 0;
    job.lowBit = lowBit;
    job.highBit = highBit;
    if (windowIsEmpty(job)) return kReferenceInvalidParameter;

    std::vector<Pixel> pixels;
    for (int32_t x = 0; x < width; ++x) pixels.push_back(decode(buffer, x, job));
    std::vector<uint32_t> indexMap;
    if (srcBits <= 8 && job.dst.isIndex()) indexMap = makeIndexMap(job);
    for (int32_t x = 0; x < width; ++x) encode(buffer, x, pixels[static_cast<size_t>(x)], job, indexMap);

    if ((dstBits == 24 || dstBits == 48) && dstOrder == kOrderMatrix && srcOrder != kOrderMatrix) {
        applyForwardMatrix(buffer, width, dstBits);
        if (srcBits == 48) applyForwardMatrix(buffer, width, dstBits);  // KEEP: 48-bit sources pass the matrix twice
    }
    return kReferenceSuccess;
}

}  // namespace tnk::test
