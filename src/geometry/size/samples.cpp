#include "geometry/size/samples.h"

#include <algorithm>

#include "base/pixel_values.h"
#include "base/sample_rules.h"
#include "base/shape.h"
#include "palette/palette.h"

namespace tnk {
namespace {

constexpr uint32_t kFields555 = 4;  // the three channels and the top bit

// Indexes that are gray levels, or their negative: blending them blends the colours.
bool indexesAreLevels(const BitmapHandle& bitmap) {
    if (bitmap.BitsPerPixel != 8) return false;
    const uint32_t length = paletteLength(bitmap);
    if (length == 0) return bitmap.Order == ORDER_GRAY;
    if (length != kMaxPaletteEntries) return false;
    const int32_t kind = classifyPalette(bitmap.Palette, length);
    return kind == GRAYSCALE_NORMAL || kind == GRAYSCALE_INVERTED;
}

template <typename T>
void turnSamples(const uint8_t* from, uint8_t* to, size_t count, uint32_t turn) {
    for (size_t i = 0; i < count; ++i) {
        storeAs(to + sizeof(T) * i, static_cast<T>(loadAs<T>(from + sizeof(T) * i) ^ turn));
    }
}

void turnAll(const SampleFormat& format, const uint8_t* from, uint8_t* to, size_t pixels) {
    const size_t count = pixels * format.channels;
    return format.bytes == 2 ? turnSamples<uint16_t>(from, to, count, format.turn)
                             : turnSamples<uint32_t>(from, to, count, format.turn);
}

void load12(const uint8_t* row, uint8_t* samples, uint32_t width, uint32_t turn) {
    for (uint32_t x = 0; x < width; ++x) store16(samples + size_t{2} * x, loadSample<12>(row, x) ^ turn);
}

void store12(const uint8_t* samples, uint8_t* row, uint32_t width, uint32_t turn) {
    if (width % 2 != 0) row[width / 2 * 3 + 1] = 0;  // half of it is nobody's
    for (uint32_t x = 0; x < width; ++x) {
        uint8_t* const word = row + x / 2 * 3 + x % 2;
        store16(word, put12(load16(word), x % 2, load16(samples + size_t{2} * x) ^ turn));
    }
}

void load555(const uint8_t* row, uint8_t* samples, uint32_t width) {
    for (uint32_t x = 0; x < width; ++x) {
        const uint32_t word = load16(row + size_t{2} * x);
        uint8_t* const fields = samples + size_t{kFields555} * x;
        for (uint32_t i = 0; i < kFields555; ++i) fields[i] = static_cast<uint8_t>(word >> 5 * i & 31);
    }
}

void store555(const uint8_t* samples, uint8_t* row, uint32_t width) {
    for (uint32_t x = 0; x < width; ++x) {
        const uint8_t* const fields = samples + size_t{kFields555} * x;
        const uint32_t top = std::min<uint32_t>(fields[3], 1);  // a spline may leave 0 and 1
        store16(row + size_t{2} * x, fields[0] | fields[1] << 5 | fields[2] << 10 | top << 15);
    }
}

}  // namespace

SampleFormat sampleFormatOf(const BitmapHandle& bitmap) {
    SampleFormat format;
    const auto bits = static_cast<uint32_t>(bitmap.BitsPerPixel);
    const bool gray = hasGraySamples(bitmap);
    if (bits <= 8) {
        format.asColors = !indexesAreLevels(bitmap);
        format.channels = format.asColors ? 3 : 1;
    } else if (bits == 16 && !gray) {
        format.channels = kFields555;
        format.most = 31;
    } else if (gray) {
        format.bytes = bits == 32 ? 4 : 2;
        format.most = bits == 32 ? UINT32_MAX : (1u << bits) - 1;
    } else {
        format.bytes = bits >= 48 ? 2 : 1;
        format.channels = bits / (8 * format.bytes);
        format.most = (1u << 8 * format.bytes) - 1;
    }
    if ((flagsOf(bitmap) & BMF_SIGNED) != 0 && format.bytes > 1) format.turn = format.most / 2 + 1;
    format.asStored = !format.asColors && format.turn == 0 && bits == 8 * format.bytes * format.channels;
    return format;
}

void storeSamples(const BitmapHandle& bitmap, const SampleFormat& format, const uint8_t* samples, int32_t width,
                  uint8_t* row) {
    const auto count = static_cast<uint32_t>(width);
    if (bitmap.BitsPerPixel == 12) {
        store12(samples, row, count, format.turn);
    } else if (format.most == 31) {
        store555(samples, row, count);
    } else {
        turnAll(format, samples, row, count);
    }
}

Result SampleReader::prepare() {
    format_ = sampleFormatOf(source_);
    TRY(reader_.prepare(format_.asStored ? 2 : 1));
    if (format_.asStored) return SUCCESS;
    if (!samples_.allocate(format_.rowBytes(Shape(source_).width))) return FAILURE;
    if (!format_.asColors) return SUCCESS;
    ConvertSpec spec{.bitsSrc = source_.BitsPerPixel, .bitsDst = 24, .orderSrc = source_.Order, .orderDst = ORDER_BGR};
    spec.paletteSrc = fixedPalette(source_.BitsPerPixel);
    if (paletteLength(source_) != 0) {
        readBitmapPalette(source_, palette_);
        spec.paletteSrc = palette_;
    }
    return toColors_.prepare(spec);
}

Result SampleReader::read(int32_t row, const uint8_t** samples) {
    uint8_t* pixels;
    TRY(reader_.read(row, 1, &pixels));
    *samples = format_.asStored ? pixels : samples_.data();
    if (format_.asStored) return SUCCESS;
    const Shape shape(source_);
    if (format_.asColors) return toColors_.run(pixels, samples_.data(), source_.Width);
    if (shape.bits == 12) {
        load12(pixels, samples_.data(), shape.width, format_.turn);
    } else if (format_.most == 31) {
        load555(pixels, samples_.data(), shape.width);
    } else {
        turnAll(format_, pixels, samples_.data(), shape.width);
    }
    return SUCCESS;
}

}  // namespace tnk
