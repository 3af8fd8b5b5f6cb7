#include "reference/dither.h"

#include <algorithm>
#include <cstring>

namespace tnk::test {
namespace {

struct MethodShape {
    size_t rows;
    size_t pad;
};
constexpr MethodShape kShapes[9] = {{0, 0}, {1, 1}, {2, 2}, {1, 2}, {2, 2}, {3, 3}, {2, 2}, {0, 0}, {0, 0}};

constexpr int32_t kMatrixA[8][8] = {
    {0, 128, 32, 160, 8, 136, 40, 168},   {192, 64, 224, 96, 200, 72, 232, 104},
    {48, 176, 16, 144, 56, 184, 24, 152}, {236, 112, 208, 80, 244, 120, 216, 88},
    {12, 140, 44, 172, 4, 132, 36, 164},  {204, 76, 232, 108, 196, 68, 228, 100},
    {60, 188, 28, 156, 52, 180, 20, 148}, {248, 124, 220, 92, 240, 116, 212, 84},
};
constexpr int32_t kMatrixB[8][8] = {
    {112, 40, 72, 104, 144, 176, 208, 136}, {88, 8, 16, 48, 192, 232, 240, 168},
    {56, 24, 0, 80, 160, 224, 248, 200},    {96, 64, 32, 120, 128, 216, 184, 152},
    {148, 180, 212, 140, 116, 44, 76, 108}, {196, 236, 244, 172, 92, 12, 20, 52},
    {164, 228, 252, 204, 60, 28, 4, 84},    {132, 220, 188, 156, 100, 68, 36, 124},
};

// The depth of the smallest fixed table that holds `count` entries.
int32_t bandBits(uint32_t count) {
    int32_t bits = 1;
    while ((1u << bits) < count) ++bits;
    return bits;
}

uint32_t keyOf(int32_t red, int32_t green, int32_t blue) {
    return static_cast<uint32_t>(red >> 3 << 10 | green >> 3 << 5 | blue >> 3);
}

bool sameEntries(const ReferenceColor* a, const ReferenceColor* b, uint32_t count) {
    return std::memcmp(a, b, count * sizeof(ReferenceColor)) == 0;
}

int32_t clampByte(int32_t v) { return std::clamp(v, 0, 255); }

// What an ordered threshold adds to a channel of a palette of `bits`.
int32_t orderedOffset(int32_t t, int32_t bits) {
    switch (bits) {
        case 1:
            return t - 128;
        case 2:
            return t / 2 - 64;
        case 3:
            return t / 3 - 42;
        case 4:
            return t / 4 - 32;
        case 5:
            return t / 5 - 25;
        case 6:
            return t / 6 - 21;
        case 7:
            return t / 7 - 18;
        case 8:
            return t / 8 - 16;
        default:
            return 0;
    }
}

bool sourceDepthAccepted(int32_t bits) {
    return (bits >= 1 && bits <= 8) || bits == 12 || bits == 16 || bits == 24 || bits == 32 || bits == 48 || bits == 64;
}

// Indexes have no order, and 12 bits are gray whatever it says.
bool orderAccepted(int32_t bits, int32_t order) {
    if (bits <= 12 || order == kOrderRgb || order == kOrderBgr) return true;
    return order == kOrderGray ? bits == 16 || bits == 32 : order == kOrderMatrix && (bits == 24 || bits == 48);
}

uint32_t get16(const uint8_t* p) { return p[0] | static_cast<uint32_t>(p[1]) << 8; }

}  // namespace

std::vector<uint32_t> referenceMatchTable(const ReferenceColor* palette, uint32_t count) {
    std::vector<uint32_t> table(kReferenceMatchTableSize);
    for (uint32_t k = 0; k < kReferenceMatchTableSize; ++k) {
        const int32_t key = static_cast<int32_t>(k);
        table[k] = referenceFindPaletteIndex(palette, count, (key >> 10) * 8, (key >> 5 & 31) * 8, (key & 31) * 8) + 1;
    }
    return table;
}

int32_t ReferenceDither::start(const ReferenceDitherSource& source, const ReferenceDitherTarget& target) {
    *this = ReferenceDither{};
    if (!sourceDepthAccepted(source.bits)) return kReferenceInvalidParameter;
    if (target.count == 0 || target.count > 256) return kReferenceInvalidParameter;
    source_ = source;
    outputBits_ = target.outputBits;
    method_ = target.method;

    const uint32_t count = target.count;
    const int32_t band = bandBits(count);
    const ReferenceColor* fixed = referenceFixedPalette(band);
    const ReferenceColor* palette = target.palette != nullptr ? target.palette : fixed;
    if (target.userMatchTable != nullptr) {
        mode_ = 1;
        table_ = target.userMatchTable;
    } else if (sameEntries(palette, fixed, count)) {
        mode_ = static_cast<uint32_t>(band) + 1;
    } else if (band == 8 && sameEntries(palette, referenceWebPalette(), count)) {
        mode_ = 10;
    } else {
        mode_ = 0;
        ownTable_.assign(kReferenceMatchTableSize, 0);
        table_ = ownTable_.data();
    }

    if (mode_ <= 1) {
        for (uint32_t i = 0; i < count; ++i) {
            if ((palette[i].reserved & 3) != 0) continue;
            ReferenceColor entry = palette[i];
            entry.reserved = static_cast<uint8_t>(i);
            matchList_.push_back(entry);
        }
        if (matchList_.empty()) return kReferenceInvalidParameter;
    }
    if (method_ > 8) return kReferenceInvalidParameter;

    if (source.bits <= 8 && source.palette != nullptr)
        std::copy_n(source.palette, std::min(source.paletteCount, 256u), sourcePalette_.begin());
    std::copy_n(palette, count, palette_.begin());

    const MethodShape shape = kShapes[method_];
    for (Channel& channel : channels_)
        for (size_t i = 0; i < shape.rows; ++i)
            channel.rows[i].assign(static_cast<size_t>(source.width) + 2 * shape.pad, 0);

    for (uint32_t i = 0; i < matchList_.size(); ++i) {
        uint32_t& known = table_[keyOf(matchList_[i].red, matchList_[i].green, matchList_[i].blue)];
        if (known == 0) known = i + 1;
    }

    if (source.order == kOrderGray || source.bits == 12) {
        const bool byLut = source.lut != nullptr && source.window;
        gray_ = referenceGrayParams(source.bits, byLut ? source.bits : 8, source.lowBit, source.highBit);
    }
    started_ = true;
    return kReferenceSuccess;
}

int32_t ReferenceDither::line(uint8_t* in, uint8_t* out) {
    if (!started_ || in == nullptr || out == nullptr) return kReferenceInvalidParameter;
    if (source_.signedData) return kReferenceSignedNotSupported;
    if (!orderAccepted(source_.bits, source_.order)) return kReferenceInvalidParameter;
    if (source_.width == 0) return kReferenceSuccess;

    int32_t bits = source_.bits, order = source_.order;
    if ((bits == 24 || bits == 48) && order != kOrderRgb && order != kOrderBgr) {
        const int32_t result =
            referenceConvert(in, source_.width, bits, 24, order, kOrderBgr, nullptr, nullptr, 0, -1, -1);
        if (result != kReferenceSuccess) return result;
        bits = 24;
        order = kOrderBgr;
    }

    const bool diffuses = method_ >= 1 && method_ <= 6;
    const int32_t(*matrix)[8] = method_ == 7 ? kMatrixA : method_ == 8 ? kMatrixB : nullptr;
    const int32_t* thresholds = nullptr;
    if (diffuses)
        for (Channel& channel : channels_) beginRow(channel);
    if (matrix != nullptr) thresholds = matrix[lineCounter_++ % 8];

    for (int32_t x = 0; x < source_.width; ++x) {
        Rgb color = fetch(in, order, bits, x);
        if (diffuses)
            for (size_t i = 0; i < 3; ++i) color.c[i] = clampByte(color.c[i] + channels_[i].carry);

        const uint32_t index = thresholds != nullptr ? quantizeOrdered(color, thresholds[x % 8]) : quantize(color);

        if (diffuses) {
            const ReferenceColor& chosen = palette_[index];
            spread(channels_[0], x, color.c[0] - chosen.red);
            spread(channels_[1], x, color.c[1] - chosen.green);
            spread(channels_[2], x, color.c[2] - chosen.blue);
        }
        if (outputBits_ >= 1 && outputBits_ <= 8) referenceSetPacked(out, x, outputBits_, index);
    }
    return kReferenceSuccess;
}

ReferenceDither::Rgb ReferenceDither::fetchGray(uint32_t sample) const {
    const uint32_t value = gray_.read(sample);
    if (source_.lut != nullptr && source_.window) {
        if (value >= source_.lutLength) return {};
        const ReferenceColor& entry = source_.lut[value];
        return {{entry.red, entry.green, entry.blue}};
    }
    const bool narrow = gray_.mask != 0 && gray_.mask < 255;
    const int32_t level = static_cast<int32_t>(narrow ? value * 255 / gray_.mask : value);
    return {{level, level, level}};
}

ReferenceDither::Rgb ReferenceDither::fetch(const uint8_t* in, int32_t order, int32_t bits, int32_t x) const {
    const bool bgr = order == kOrderBgr;
    if (bits <= 8) {
        const ReferenceColor& entry = sourcePalette_[referenceGetPacked(in, x, bits)];
        return {{entry.red, entry.green, entry.blue}};
    }
    if (bits == 12) return fetchGray(referenceGet12(in, x));
    const uint8_t* at = in + static_cast<size_t>(x) * static_cast<size_t>(bits / 8);
    if (bits == 16) {
        const uint32_t word = get16(at);
        if (order == kOrderGray) return fetchGray(word);
        const auto widen = [](uint32_t v) { return static_cast<int32_t>(v * 8 | v >> 2); };
        const int32_t low = widen(word & 31), green = widen(word >> 5 & 31), high = widen(word >> 10 & 31);
        return bgr ? Rgb{{high, green, low}} : Rgb{{low, green, high}};
    }
    if (bits == 32 && order == kOrderGray) return fetchGray(get16(at) | get16(at + 2) << 16);
    if (bits <= 32) return bgr ? Rgb{{at[2], at[1], at[0]}} : Rgb{{at[0], at[1], at[2]}};
    return bgr ? Rgb{{at[5], at[3], at[1]}} : Rgb{{at[1], at[3], at[5]}};
}

void ReferenceDither::beginRow(Channel& channel) const {
    std::vector<int32_t>&e0 = channel.rows[0], &e1 = channel.rows[1], &e2 = channel.rows[2];
    switch (method_) {
        case 1:
            channel.carry = e0[1] / 16;
            e0[1] = 0;
            break;
        case 2:
        case 4:
        case 6:
            channel.carry = e0[2] / (method_ == 2 ? 42 : method_ == 4 ? 32 : 48);
            channel.next = e0[3];
            e0[2] = e1[2];
            e0[3] = e1[3];
            e1[2] = e1[3] = 0;
            break;
        case 3:
            channel.carry = e0[2] / 32;
            channel.next = e0[3];
            e0[2] = e0[3] = 0;
            break;
        case 5:
            channel.carry = e0[3] / 200;
            channel.next = e0[4];
            channel.next2 = e0[5];
            for (size_t i = 3; i <= 5; ++i) {
                e0[i] = e1[i];
                e1[i] = e2[i];
                e2[i] = 0;
            }
            break;
        default:
            break;
    }
}

void ReferenceDither::spread(Channel& channel, int32_t x, int32_t err) const {
    std::vector<int32_t>&e0 = channel.rows[0], &e1 = channel.rows[1], &e2 = channel.rows[2];
    const size_t p = static_cast<size_t>(x) + kShapes[method_].pad;
    int32_t &carry = channel.carry, &next = channel.next, &next2 = channel.next2;
    switch (method_) {
        case 1:
            carry = (e0[p + 1] + 7 * err) / 16;
            e0[p + 1] = err;
            e0[p] += 5 * err;
            e0[p - 1] += 3 * err;
            break;
        case 2:
            carry = (next + 8 * err) / 42;
            next = e0[p + 2] + 4 * err;
            e0[p + 2] = e1[p + 2] + 2 * err;
            e0[p + 1] += 4 * err;
            e0[p] += 8 * err;
            e0[p - 1] += 4 * err;
            e0[p - 2] += 2 * err;
            // KEEP: the weights of the second row below fall into the first one, and replace what was just stored at
            // p + 2. Writing them to e1 would be the textbook method and another picture.
            e0[p + 2] = err;
            e0[p + 1] += 2 * err;
            e0[p] += 4 * err;
            e0[p - 1] += 2 * err;
            e0[p - 2] += err;
            break;
        case 3:
            carry = (next + 8 * err) / 32;
            next = e0[p + 2] + 4 * err;
            e0[p + 2] = 2 * err;
            e0[p + 1] += 4 * err;
            e0[p] += 8 * err;
            e0[p - 1] += 4 * err;
            e0[p - 2] += 2 * err;
            break;
        case 4:
            carry = (next + 5 * err) / 32;
            next = e0[p + 2] + 3 * err;
            e0[p + 2] = e1[p + 2] + 2 * err;
            e0[p + 1] += 4 * err;
            e0[p] += 5 * err;
            e0[p - 1] += 4 * err;
            e0[p - 2] += 2 * err;
            e1[p + 2] = 0;
            e1[p + 1] += 2 * err;
            e1[p] += 3 * err;
            e1[p - 1] += 2 * err;
            break;
        case 5:
            carry = next / 200;
            next = next2 + 32 * err;
            next2 = e0[p + 3];
            e0[p + 3] = e1[p + 3] + 16 * err;
            e0[p + 1] += 30 * err;
            e0[p - 1] += 26 * err;
            e0[p - 3] += 12 * err;
            e1[p + 3] = e2[p + 3];
            e1[p + 2] += 12 * err;
            e1[p] += 26 * err;
            e1[p - 2] += 12 * err;
            e2[p + 3] = 5 * err;
            e2[p + 1] += 12 * err;
            e2[p - 1] += 12 * err;
            e2[p - 3] += 5 * err;
            break;
        case 6:
            carry = (next + 7 * err) / 48;
            next = e0[p + 2] + 5 * err;
            e0[p + 2] = e1[p + 2] + 3 * err;
            e0[p + 1] += 5 * err;
            e0[p] += 7 * err;
            e0[p - 1] += 5 * err;
            e0[p - 2] += 3 * err;
            e1[p + 2] = err;
            e1[p + 1] += 3 * err;
            e1[p] += 5 * err;
            e1[p - 1] += 3 * err;
            e1[p - 2] += err;
            break;
        default:
            break;
    }
}

uint32_t ReferenceDither::match(const Rgb& color) {
    const auto& [red, green, blue] = color.c;
    uint32_t& known = table_[keyOf(red, green, blue)];
    if (known == 0) {
        known = referenceFindPaletteIndex(matchList_.data(), static_cast<uint32_t>(matchList_.size()), red & 248,
                                          green & 248, blue & 248) +
                1;
    }
    // A caller's table may name positions that the list does not have; such entries are empty.
    return known <= matchList_.size() ? matchList_[known - 1].reserved : 0;
}

uint32_t ReferenceDither::quantize(const Rgb& color) { return mode_ <= 1 ? match(color) : quantizeFixed(color); }

uint32_t ReferenceDither::quantizeFixed(const Rgb& color) const {
    const uint32_t red = static_cast<uint32_t>(color.c[0]);
    const uint32_t green = static_cast<uint32_t>(color.c[1]);
    const uint32_t blue = static_cast<uint32_t>(color.c[2]);
    const int32_t level = referenceGrayLevel(color.c[0], color.c[1], color.c[2]);
    switch (mode_) {
        case 2:
            return level >= 128 ? 1 : 0;
        case 3:
            return static_cast<uint32_t>(level) >> 6;
        case 4:
            return red >> 7 << 2 | green >> 7 << 1 | blue >> 7;
        case 5: {
            const uint32_t bits = red >> 7 | green >> 7 << 1 | blue >> 7 << 2;
            return bits != 0 ? bits + 8 : 0;
        }
        case 6:
            return red >> 6 << 3 | green >> 6 << 1 | blue >> 7;
        case 7:
            return red >> 6 << 4 | green >> 6 << 2 | blue >> 6;
        case 8:
            return red >> 6 << 5 | green >> 5 << 2 | blue >> 6;
        case 9:
            return red >> 5 << 5 | green >> 5 << 2 | blue >> 6;
        default:
            return red / 51 * 36 + green / 51 * 6 + blue / 51;
    }
}

uint32_t ReferenceDither::quantizeOrdered(const Rgb& color, int32_t threshold) {
    if (mode_ == 2) return referenceGrayLevel(color.c[0], color.c[1], color.c[2]) > threshold ? 1 : 0;
    if (mode_ == 5) {
        uint32_t bits = 0;
        for (size_t i = 0; i < 3; ++i)
            if (color.c[i] > threshold) bits |= 1u << i;
        return bits != 0 ? bits + 8 : 0;
    }
    // Fixed modes have the offset of their own palette depth, a matched palette that of the output depth.
    const int32_t depth = mode_ <= 1 ? outputBits_ : mode_ == 10 ? 6 : static_cast<int32_t>(mode_) - 1;
    const int32_t offset = orderedOffset(threshold, depth);
    Rgb moved;
    for (size_t i = 0; i < 3; ++i) moved.c[i] = clampByte(color.c[i] + offset);
    return quantize(moved);
}

}  // namespace tnk::test
