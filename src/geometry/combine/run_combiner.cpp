#include "geometry/combine/run_combiner.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/pixel_format.h"
#include "base/pixel_values.h"
#include "base/sample_rules.h"
#include "bitmap/copy/bit_run.h"
#include "convert/packed_pixels.h"
#include "palette/palette.h"

namespace tnk {
namespace {

constexpr size_t kBlock = 1024;  // pixels, a multiple of 8: blocks of packed pixels begin on bytes
constexpr size_t kBlockBytes = kBlock * 8;
constexpr uint32_t kFieldMost = 31;

bool isPackedDepth(uint32_t bits) { return bits < 8 || bits == 12; }
bool isIndexed(const BitmapHandle& bitmap) { return bitmap.BitsPerPixel <= 8; }
bool hasAlpha(const BitmapHandle& bitmap) {
    const int32_t bits = bitmap.BitsPerPixel;
    return bits == 64 || ((bits == 16 || bits == 32) && !hasGraySamples(bitmap));
}

// Indexes that are the levels they stand for: what their values give needs no palette.
bool isLevels(const BitmapHandle& bitmap) {
    if (bitmap.BitsPerPixel != 8) return false;
    const uint32_t length = paletteLength(bitmap);
    if (length == 0) return bitmap.Order == ORDER_GRAY;
    return length == kMaxPaletteEntries && classifyPalette(bitmap.Palette, length) == GRAYSCALE_NORMAL;
}

bool samePalette(const BitmapHandle& a, const BitmapHandle& b) {
    if (isLevels(a) != isLevels(b)) return false;
    const uint32_t length = paletteLength(a);
    if (isLevels(a)) return true;
    return length == paletteLength(b) && std::equal(a.Palette, a.Palette + length, b.Palette, sameColor);
}

bool sameFormat(const BitmapHandle& a, const BitmapHandle& b) {
    if (a.BitsPerPixel != b.BitsPerPixel) return false;
    return isIndexed(a) ? samePalette(a, b) : pixelOrder(a) == pixelOrder(b);
}

// The entries that pixels may be matched to.
std::span<const PaletteEntry> matchable(const BitmapHandle& bitmap) {
    const uint32_t most = 1u << bitmap.BitsPerPixel;
    const uint32_t length = std::min(paletteLength(bitmap), most);
    return length != 0 ? std::span(bitmap.Palette, length) : std::span(fixedPalette(bitmap.BitsPerPixel), most);
}

SampleShape shapeOf(const BitmapHandle& bitmap) {
    const auto bits = static_cast<uint32_t>(bitmap.BitsPerPixel);
    if (bits <= 8) return {.bytes = 1, .channels = isLevels(bitmap) ? 1u : 3u};
    if (hasGraySamples(bitmap)) {
        const auto most = static_cast<uint32_t>((uint64_t{1} << bits) - 1);
        return {.bytes = bits == 16 ? 2u : 4u, .channels = 1, .most = most};
    }
    if (bits == 16) return {.bytes = 1, .channels = 4, .most = kFieldMost, .alpha = true};
    const uint32_t bytes = bits >= 48 ? 2 : 1;
    return {.bytes = bytes, .channels = bits / (8 * bytes), .most = (1u << 8 * bytes) - 1, .alpha = hasAlpha(bitmap)};
}

// ---- samples of pixels that are not stored as such ----

// The fields of 5-5-5 pixels; the top bit counts as much as a full field, so that rules for values hold for it too.
void loadFields(const uint8_t* pixels, uint8_t* samples, size_t count) {
    for (size_t i = 0; i < count; ++i, samples += 4) {
        const uint32_t word = load16(pixels + 2 * i);
        for (uint32_t field = 0; field < 3; ++field) samples[field] = static_cast<uint8_t>(word >> 5 * field & 31);
        samples[3] = word >> 15 != 0 ? kFieldMost : 0;
    }
}

void storeFields(const uint8_t* samples, uint8_t* pixels, size_t count) {
    for (size_t i = 0; i < count; ++i, samples += 4) {
        const uint32_t top = samples[3] > kFieldMost / 2;
        store16(pixels + 2 * i, samples[0] | samples[1] << 5 | samples[2] << 10 | top << 15);
    }
}

void loadSamples(uint32_t bits, const uint8_t* pixels, uint8_t* samples, size_t count) {
    bits == 12 ? unpack12(pixels, reinterpret_cast<uint32_t*>(samples), count) : loadFields(pixels, samples, count);
}
void storeSamples(uint32_t bits, const uint8_t* samples, uint8_t* pixels, size_t count) {
    bits == 12 ? pack12(reinterpret_cast<const uint32_t*>(samples), pixels, count)
               : storeFields(samples, pixels, count);
}

void unpackIndexes(uint32_t bits, const uint8_t* pixels, uint8_t* indexes, size_t count) {
    bits == 8 ? static_cast<void>(std::memcpy(indexes, pixels, count)) : unpackPixels(bits, pixels, indexes, count);
}
void packIndexes(uint32_t bits, const uint8_t* indexes, uint8_t* pixels, size_t count) {
    bits == 8 ? static_cast<void>(std::memcpy(pixels, indexes, count)) : packPixels(bits, indexes, pixels, count);
}

// ---- alpha ----

void readAlpha(const BitmapHandle& format, const uint8_t* pixels, size_t count, uint16_t* alpha) {
    if (!hasAlpha(format)) {
        std::fill_n(alpha, count, static_cast<uint16_t>(kFullAlpha));
    } else if (format.BitsPerPixel == 16) {
        for (size_t i = 0; i < count; ++i) alpha[i] = static_cast<uint16_t>(-(load16(pixels + 2 * i) >> 15));
    } else if (format.BitsPerPixel == 32) {
        for (size_t i = 0; i < count; ++i) alpha[i] = static_cast<uint16_t>(pixels[4 * i + 3] * 257);
    } else {
        for (size_t i = 0; i < count; ++i) alpha[i] = static_cast<uint16_t>(load16(pixels + 8 * i + 6));
    }
}

void writeAlpha(uint32_t bits, uint8_t* pixels, size_t count, const uint16_t* alpha) {
    if (bits == 16) {
        for (size_t i = 0; i < count; ++i) {
            store16(pixels + 2 * i, (load16(pixels + 2 * i) & 0x7FFF) | (alpha[i] & 0x8000));
        }
    } else if (bits == 32) {
        for (size_t i = 0; i < count; ++i) pixels[4 * i + 3] = static_cast<uint8_t>(alpha[i] >> 8);
    } else {
        for (size_t i = 0; i < count; ++i) store16(pixels + 8 * i + 6, alpha[i]);
    }
}

}  // namespace

const PaletteEntry* entriesOf(const BitmapHandle& bitmap, PaletteEntry (&entries)[kMaxPaletteEntries]) {
    if (paletteLength(bitmap) == 0) return fixedPalette(bitmap.BitsPerPixel);
    readBitmapPalette(bitmap, entries);
    return entries;
}

Result RunCombiner::prepare(const BitmapHandle& target, const BitmapHandle& source, uint32_t flags) {
    target_ = &target;
    source_ = &source;
    mode_ = flags & kModeMask;
    channels_ = flags & kChannelMask;
    targetBits_ = static_cast<uint32_t>(target.BitsPerPixel);
    sourceBits_ = static_cast<uint32_t>(source.BitsPerPixel);
    if (mode_ == COMBINE_ALPHA && !hasAlpha(source)) mode_ = COMBINE_COPY;
    shape_ = shapeOf(target);
    work_ = isBitwise(mode_) ? Work::bits : isIndexed(target) && !isLevels(target) ? Work::colors : Work::samples;
    if (isBitwise(mode_)) {
        bits_ = bitRoutine(mode_);
    } else if (mode_ != COMBINE_ALPHA) {
        samples_ = sampleRoutine(mode_, shape_);
    }
    settleMask();
    if (!buffers_.allocate(kBlockBytes * 8)) return FAILURE;
    uint8_t** const blocks[] = {&packedTarget_,  &packedSource_,  &converted_,  &old_,
                                &targetSamples_, &sourceSamples_, &sampleAlpha_};
    uint8_t* at = buffers_.data();
    for (uint8_t** block : blocks) {
        *block = at;
        at += kBlockBytes;
    }
    alpha_ = reinterpret_cast<uint16_t*>(at);
    TRY(prepareConversion());
    const bool storedSamples = work_ == Work::bits || (work_ == Work::samples && shape_.most != kFieldMost);
    readsAlpha_ = carriesAlpha_ || (mode_ == COMBINE_ALPHA && (targetBits_ != 32 || !hasAlpha(target)));
    direct_ = storedSamples && !isPackedDepth(targetBits_) && !converts_ && !masked_ && !readsAlpha_;
    if (work_ == Work::colors || matches_) {
        if (!matcher_.prepare(matchable(target))) return FAILURE;
    }
    return work_ == Work::colors ? prepareColors() : Result(SUCCESS);
}

// Channels are parts of colours above 8 bits; other pixels are written whole.
void RunCombiner::settleMask() {
    const bool hasChannels = targetBits_ > 8 && !hasGraySamples(*target_);
    if (channels_ == 0 || !hasChannels) return;
    const bool redFirst = target_->Order == ORDER_RGB;
    const uint32_t flags[] = {redFirst ? COMBINE_RED : COMBINE_BLUE, COMBINE_GREEN,
                              redFirst ? COMBINE_BLUE : COMBINE_RED, COMBINE_CHANNEL_ALPHA};
    const uint32_t bytes = targetBits_ / 8;
    uint8_t pixel[8] = {};
    for (uint32_t c = 0; c < shape_.channels; ++c) {
        if ((channels_ & flags[c]) == 0) continue;
        if (targetBits_ == 16) {
            store16(pixel, load16(pixel) | (c == 3 ? 0x8000u : 31u << 5 * c));
        } else {
            std::fill_n(pixel + c * shape_.bytes, shape_.bytes, uint8_t{0xFF});
        }
    }
    for (size_t i = 0; i < kMaskBytes; ++i) mask_[i] = pixel[i % bytes];
    masked_ = std::any_of(pixel, pixel + bytes, [](uint8_t byte) { return byte != 0xFF; });
    idle_ = std::all_of(pixel, pixel + bytes, [](uint8_t byte) { return byte == 0; });
}

Result RunCombiner::prepareConversion() {
    const BitmapHandle& target = *target_;
    const BitmapHandle& source = *source_;
    converts_ = work_ == Work::colors ? sourceBits_ != 24 || source.Order != ORDER_BGR : !sameFormat(target, source);
    if (!converts_) return SUCCESS;
    matches_ = work_ == Work::bits && isIndexed(target) && !isLevels(target);
    const bool toColors = work_ == Work::colors || matches_;
    TRY(checkSampleTable(source));
    ConvertSpec spec{.bitsSrc = isLevels(source) ? 0 : source.BitsPerPixel,
                     .bitsDst = toColors           ? 24
                                : isLevels(target) ? 0
                                                   : target.BitsPerPixel,
                     .orderSrc = pixelOrder(source),
                     .orderDst = toColors ? uint32_t{ORDER_BGR} : pixelOrder(target),
                     .flags = CONVERT_ALPHA_OPAQUE};
    if (isIndexed(source)) spec.paletteSrc = entriesOf(source, sourcePalette_);
    const bool wholeSamples = source.LowBit <= 0 && (source.HighBit < 0 || source.HighBit == source.BitsPerPixel - 1);
    if (hasGraySamples(source) && (!wholeSamples || hasSampleTable(source) || !hasGraySamples(target))) {
        spec.flags |= CONVERT_SRC_BIT_RANGE;
        spec.lowBit = source.LowBit;
        spec.highBit = source.HighBit;
        spec.paletteSrc = sampleTable(source).data();
    } else if (!toColors && hasGraySamples(target)) {
        spec.flags |= CONVERT_DST_BIT_RANGE;
        spec.lowBit = target.LowBit;
        spec.highBit = target.HighBit;
    }
    // Only 24 and 48 bits are converted to the matrix space.
    toMatrix_ = spec.orderDst == ORDER_MATRIX_RGB && sourceBits_ != 24 && sourceBits_ != 48;
    if (toMatrix_) {
        spec.orderDst = ORDER_BGR;
        TRY(second_.prepare({.bitsSrc = target.BitsPerPixel,
                             .bitsDst = target.BitsPerPixel,
                             .orderSrc = ORDER_BGR,
                             .orderDst = ORDER_MATRIX_RGB}));
    }
    carriesAlpha_ =
        !toColors && hasAlpha(target) &&
        (targetBits_ == 16 ? sourceBits_ != 32 || !hasAlpha(source) : sourceBits_ == 16 && hasAlpha(source));
    return fromSource_.prepare(spec);
}

Result RunCombiner::prepareColors() {
    ConvertSpec spec{.bitsSrc = 8, .bitsDst = 24, .orderSrc = 0, .orderDst = ORDER_BGR};
    spec.paletteSrc = entriesOf(*target_, targetPalette_);
    if (spec.paletteSrc != targetPalette_) {
        std::copy_n(spec.paletteSrc, size_t{1} << targetBits_, targetPalette_);
        spec.paletteSrc = targetPalette_;
    }
    return second_.prepare(spec);
}

Result RunCombiner::run(uint8_t* target, int32_t targetColumn, const uint8_t* source, int32_t sourceColumn,
                        int32_t pixels) {
    struct Place {
        Place(int32_t column, uint32_t bits) {
            const uint64_t bit = uint64_t{static_cast<uint32_t>(column)} * bits;
            byte = static_cast<size_t>(bit >> 3);
            phase = static_cast<uint32_t>(bit & 7);
        }
        size_t byte;
        uint32_t phase;
    };
    const Place to(targetColumn, targetBits_), from(sourceColumn, sourceBits_);
    target += to.byte;
    source += from.byte;
    if (direct_) {
        combineStored(target, source, static_cast<size_t>(pixels));
        return SUCCESS;
    }
    for (auto left = static_cast<size_t>(pixels); left > 0;) {
        const size_t count = std::min(left, kBlock);
        const uint8_t* input = source;
        if (from.phase != 0) {
            moveBits(packedSource_, 0, source, from.phase, uint64_t{count} * sourceBits_, sourceBits_ == 12);
            input = packedSource_;
        }
        if (isPackedDepth(targetBits_)) {
            const uint64_t bits = uint64_t{count} * targetBits_;
            moveBits(packedTarget_, 0, target, to.phase, bits, targetBits_ == 12);
            TRY(combineBlock(packedTarget_, input, count));
            putBits(target, to.phase, packedTarget_, 0, bits, targetBits_ == 12);
        } else {
            TRY(combineBlock(target, input, count));
        }
        target += count * targetBits_ / 8;
        source += count * sourceBits_ / 8;
        left -= count;
    }
    return SUCCESS;
}

Result RunCombiner::combineBlock(uint8_t* target, const uint8_t* source, size_t pixels) {
    if (readsAlpha_) readAlpha(*source_, source, pixels, alpha_);
    if (matches_) {
        TRY(fromSource_.run(source, sourceSamples_, static_cast<int32_t>(pixels)));
        matcher_.findRow(sourceSamples_, 3, 2, 1, 0, old_, static_cast<int32_t>(pixels));
        packIndexes(targetBits_, old_, converted_, pixels);
        source = converted_;
    } else if (converts_) {
        TRY(fromSource_.run(source, converted_, static_cast<int32_t>(pixels)));
        if (toMatrix_) TRY(second_.run(converted_, converted_, static_cast<int32_t>(pixels)));
        if (carriesAlpha_) writeAlpha(targetBits_, converted_, pixels, alpha_);
        source = converted_;
    }
    if (work_ == Work::colors) return combineColors(target, source, pixels);
    const auto bytes = static_cast<size_t>(pixelBytes(pixels, targetBits_));
    if (masked_) std::memcpy(old_, target, bytes);
    if (work_ == Work::samples && (isPackedDepth(targetBits_) || shape_.most == kFieldMost)) {
        loadSamples(targetBits_, target, targetSamples_, pixels);
        loadSamples(targetBits_, source, sourceSamples_, pixels);
        combineSamples(targetSamples_, sourceSamples_, pixels);
        storeSamples(targetBits_, targetSamples_, target, pixels);
    } else {
        combineStored(target, source, pixels);
    }
    if (masked_) keepMasked(target, old_, mask_, bytes);
    return SUCCESS;
}

// Of bits, or of samples that are stored as such.
void RunCombiner::combineStored(uint8_t* target, const uint8_t* source, size_t pixels) {
    work_ == Work::bits ? bits_(target, source, static_cast<size_t>(pixelBytes(pixels, targetBits_)))
                        : combineSamples(target, source, pixels);
}

void RunCombiner::combineSamples(uint8_t* target, const uint8_t* source, size_t pixels) {
    mode_ == COMBINE_ALPHA ? combineOver(target, source, pixels)
                           : samples_(target, source, pixels * shape_.channels, shape_.most);
}

void RunCombiner::combineOver(uint8_t* target, const uint8_t* source, size_t pixels) {
    if (shape_.bytes != 1 || shape_.most == kFieldMost) return overSamples(shape_, target, source, alpha_, pixels);
    if (shape_.alpha) return overPixels32(target, source, pixels);
    for (size_t i = 0; i < pixels; ++i) {
        std::fill_n(sampleAlpha_ + i * shape_.channels, shape_.channels, static_cast<uint8_t>(alpha_[i] >> 8));
    }
    overBytes(target, source, sampleAlpha_, pixels * shape_.channels);
}

// Pixels whose colour comes out as it was keep their index: others of the palette may have the same colour.
Result RunCombiner::combineColors(uint8_t* target, const uint8_t* colors, size_t pixels) {
    uint8_t* const indexes = old_;
    uint8_t* const matched = packedSource_;  // free again
    unpackIndexes(targetBits_, target, indexes, pixels);
    TRY(second_.run(indexes, targetSamples_, static_cast<int32_t>(pixels)));
    std::memcpy(sourceSamples_, targetSamples_, 3 * pixels);
    combineSamples(targetSamples_, colors, pixels);
    matcher_.findRow(targetSamples_, 3, 2, 1, 0, matched, static_cast<int32_t>(pixels));
    for (size_t i = 0; i < pixels; ++i) {
        if (std::memcmp(targetSamples_ + 3 * i, sourceSamples_ + 3 * i, 3) == 0) matched[i] = indexes[i];
    }
    packIndexes(targetBits_, matched, target, pixels);
    return SUCCESS;
}

}  // namespace tnk
