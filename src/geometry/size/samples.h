// Rows as samples that can be blended.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "base/scratch.h"
#include "bitmap/rows.h"
#include "convert/row_converter.h"
#include "tnkrn.h"

namespace tnk {

// What a pixel is in samples. Signed ones are turned at the top bit, so that samples always ascend from 0 to `most`.
struct SampleFormat {
    uint32_t bytes = 1;     // of a sample: 1, 2 or 4
    uint32_t channels = 1;  // of a pixel
    uint32_t most = 255;    // the largest sample
    uint32_t turn = 0;      // the top bit of signed samples
    bool asStored = false;  // samples are the bytes of the row
    bool asColors = false;  // pixels are indexes: their samples are colours of 24 bits, and have to be matched again

    size_t rowBytes(uint64_t width) const { return static_cast<size_t>(width * channels * bytes); }
};

SampleFormat sampleFormatOf(const BitmapHandle& bitmap);

// Calls work(T{}) with the type of samples.
template <typename Work>
auto withSampleType(const SampleFormat& format, Work work) {
    switch (format.bytes) {
        case 1:
            return work(uint8_t{});
        case 2:
            return work(uint16_t{});
        default:
            return work(uint32_t{});
    }
}

// Puts samples into the pixels of a row that is not stored as samples and not of indexes.
void storeSamples(const BitmapHandle& bitmap, const SampleFormat& format, const uint8_t* samples, int32_t width,
                  uint8_t* row);

// The rows of a bitmap as samples.
class SampleReader {
  public:
    explicit SampleReader(BitmapHandle& source) : source_(source), reader_(source) {}

    Result prepare();
    // Valid until the next call.
    Result read(int32_t row, const uint8_t** samples);
    // Two rows at a time, where samples are the bytes of the rows.
    Result readPair(int32_t row, uint8_t* (&samples)[2]) { return reader_.read(row, 2, samples); }

    const SampleFormat& format() const { return format_; }
    const BitmapHandle& bitmap() const { return source_; }
    size_t samplesInRow() const { return static_cast<size_t>(source_.Width) * format_.channels; }

  private:
    BitmapHandle& source_;
    RowReader reader_;
    SampleFormat format_;
    Scratch<uint8_t> samples_;
    PaletteEntry palette_[256];
    RowConverter toColors_;
};

}  // namespace tnk
