#include "geometry/size/resized_rows.h"

#include <cassert>

#include "palette/palette.h"

namespace tnk {

Result PixelRows::prepare(const SampleFormat& format, int32_t width) {
    format_ = format;
    width_ = width;
    bytes_ = format.rowBytes(static_cast<uint32_t>(width));
    if (format.asStored) return SUCCESS;
    const uint32_t rows = format.asColors ? uint32_t{kDitherBandRows} : 1;
    if (!samples_.allocate(uint64_t{bytes_} * rows)) return FAILURE;
    if (!format.asColors) return SUCCESS;
    TRY(initBitmap(colors_, width, 1, 24));
    colors_.DitherMethod = bitmap_.DitherMethod;
    return SUCCESS;
}

Result PixelRows::restart() {
    stopDithering(colors_);
    const auto bits = static_cast<uint32_t>(bitmap_.BitsPerPixel);
    const uint32_t length = paletteLength(bitmap_);
    return length != 0 ? startDithering(colors_, bitmap_.Palette, length, bits, nullptr)
                       : startDithering(colors_, nullptr, 1u << bits, bits, nullptr);
}

Result PixelRows::store(int32_t count, uint8_t* const* rows) {
    if (format_.asStored) return SUCCESS;
    if (!format_.asColors) {
        assert(count == 1);
        storeSamples(bitmap_, format_, samples_.data(), width_, rows[0]);
        return SUCCESS;
    }
    uint8_t* colors[kDitherBandRows];
    for (int32_t i = 0; i < count; ++i) colors[i] = samplesOf(i, nullptr);
    return ditherRows(colors_, colors, rows, count);
}

Result ResizedRows::prepare(const Dimensions& size, ResizeMethod method) {
    method_ = method;
    switch (method) {
        case ResizeMethod::nearest:
            return nearest_.prepare(size);
        case ResizeMethod::black:
            return black_.prepare(size);
        case ResizeMethod::linear:
            TRY(linear_.prepare(size));
            break;
        case ResizeMethod::spline:
            TRY(spline_.prepare(size));
            break;
    }
    return pixels_.prepare(source_.format(), size.width);
}

Result ResizedRows::makeSamples(int32_t row, uint8_t* samples) {
    return method_ == ResizeMethod::linear ? linear_.make(row, samples) : spline_.make(row, samples);
}

Result ResizedRows::make(int32_t first, int32_t count, uint8_t* const* rows) {
    if (dithers()) {
        if (first == 0) TRY(pixels_.restart());
        for (int32_t i = 0; i < count; ++i) TRY(makeSamples(first + i, pixels_.samplesOf(i, rows[i])));
        return pixels_.store(count, rows);
    }
    for (int32_t i = 0; i < count; ++i) {
        switch (method_) {
            case ResizeMethod::nearest:
                TRY(nearest_.make(first + i, rows[i]));
                break;
            case ResizeMethod::black:
                TRY(black_.make(first + i, rows[i]));
                break;
            default:
                TRY(makeSamples(first + i, pixels_.samplesOf(0, rows[i])));
                TRY(pixels_.store(1, rows + i));
        }
    }
    return SUCCESS;
}

}  // namespace tnk
