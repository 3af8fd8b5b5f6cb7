// The rows of a bitmap at another size, made one after another and never as a whole.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "base/scratch.h"
#include "bitmap/lifecycle.h"
#include "color/dither/dither.h"
#include "geometry/size/black_rows.h"
#include "geometry/size/dimensions.h"
#include "geometry/size/linear_rows.h"
#include "geometry/size/nearest_rows.h"
#include "geometry/size/samples.h"
#include "geometry/size/spline_rows.h"
#include "tnkrn.h"

namespace tnk {

enum class ResizeMethod { nearest, black, linear, spline };

// Brings rows of samples back to pixels: colours by the dithering method and the palette of the bitmap.
class PixelRows {
  public:
    explicit PixelRows(BitmapHandle& bitmap) : bitmap_(bitmap) {}
    ~PixelRows() { stopDithering(colors_); }
    PixelRows(const PixelRows&) = delete;
    PixelRows& operator=(const PixelRows&) = delete;

    Result prepare(const SampleFormat& format, int32_t width);
    // Begins with the first row, or again with it.
    Result restart();
    // Where samples of row `i` of those at hand go; the row itself where pixels are samples.
    uint8_t* samplesOf(int32_t i, uint8_t* row) const { return samples_ ? samples_.data() + size_t(i) * bytes_ : row; }
    Result store(int32_t count, uint8_t* const* rows);

  private:
    BitmapHandle& bitmap_;
    SampleFormat format_;
    int32_t width_ = 0;
    size_t bytes_ = 0;       // of a row of samples
    BitmapHandle colors_{};  // what the dithering engine takes for its source
    Scratch<uint8_t> samples_;
};

class ResizedRows {
  public:
    // The source must be accessed whenever a function is called.
    explicit ResizedRows(BitmapHandle& source)
        : nearest_(source), black_(source), source_(source), linear_(source_), spline_(source_), pixels_(source) {}

    Result prepare(const Dimensions& size, ResizeMethod method);
    // Whether rows depend on the rows before them: others may be made in any order.
    bool dithers() const { return blends() && source_.format().asColors; }
    // Writes the pixels of rows first .. first + count - 1, of at most kDitherBandRows when they are dithered, and zero up
    // to the end of each last byte.
    Result make(int32_t first, int32_t count, uint8_t* const* rows);

  private:
    bool blends() const { return method_ == ResizeMethod::linear || method_ == ResizeMethod::spline; }
    Result makeSamples(int32_t row, uint8_t* samples);

    ResizeMethod method_ = ResizeMethod::nearest;
    NearestRows nearest_;
    BlackRows black_;
    SampleReader source_;
    LinearRows linear_;
    SplineRows spline_;
    PixelRows pixels_;
};

}  // namespace tnk
