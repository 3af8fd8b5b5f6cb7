// Runs of pixels of one bitmap's format combined with runs of another's.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "base/scratch.h"
#include "convert/row_converter.h"
#include "geometry/combine/combine_modes.h"
#include "palette/nearest.h"
#include "tnkrn.h"

namespace tnk {

// The entries of a bitmap of up to 8 bits for conversions: its own, with black for indexes that have none, or the fixed ones
// of its depth.
const PaletteEntry* entriesOf(const BitmapHandle& bitmap, PaletteEntry (&entries)[256]);

// Prepared once for two formats, a mode and channels. Works on short blocks that stay in the cache.
class RunCombiner {
  public:
    // The records must live as long, and so must their palettes and tables. -13 for what cannot be converted.
    Result prepare(const BitmapHandle& target, const BitmapHandle& source, uint32_t flags);
    // Nothing is ever written.
    bool isIdle() const { return idle_; }

    // Pixels of two rows, from their columns on; the rows do not overlap.
    Result run(uint8_t* target, int32_t targetColumn, const uint8_t* source, int32_t sourceColumn, int32_t pixels);

  private:
    // What is combined: bits as they are stored, samples, or colours of 24 bits that are matched to the palette again.
    enum class Work { bits, samples, colors };

    void settleMask();
    Result prepareConversion();
    Result prepareColors();
    Result combineBlock(uint8_t* target, const uint8_t* source, size_t pixels);
    Result combineColors(uint8_t* target, const uint8_t* colors, size_t pixels);
    void combineStored(uint8_t* target, const uint8_t* source, size_t pixels);
    void combineSamples(uint8_t* target, const uint8_t* source, size_t pixels);
    void combineOver(uint8_t* target, const uint8_t* source, size_t pixels);

    const BitmapHandle* target_ = nullptr;
    const BitmapHandle* source_ = nullptr;
    uint32_t mode_ = 0;
    uint32_t channels_ = 0;
    uint32_t targetBits_ = 0;
    uint32_t sourceBits_ = 0;
    Work work_ = Work::bits;
    SampleShape shape_;
    bool idle_ = false;
    bool masked_ = false;
    bool converts_ = false;
    bool matches_ = false;       // converted to colours, and these to indexes
    bool carriesAlpha_ = false;  // conversions drop the alpha bit of 5-5-5 pixels on one of the sides
    bool toMatrix_ = false;
    bool readsAlpha_ = false;
    bool direct_ = false;  // the rows need nothing but the routine, and no blocks
    BitRoutine bits_ = nullptr;
    SampleRoutine samples_ = nullptr;
    uint8_t mask_[kMaskBytes] = {};

    RowConverter fromSource_;
    RowConverter second_;  // of a target's indexes to colours, or of converted colours to the matrix space
    NearestMatcher matcher_;
    PaletteEntry sourcePalette_[256];
    PaletteEntry targetPalette_[256];

    // Blocks of the longest pixels, one behind the other.
    Scratch<uint8_t> buffers_;
    uint8_t* packedTarget_ = nullptr;
    uint8_t* packedSource_ = nullptr;
    uint8_t* converted_ = nullptr;
    uint8_t* old_ = nullptr;
    uint8_t* targetSamples_ = nullptr;
    uint8_t* sourceSamples_ = nullptr;
    uint8_t* sampleAlpha_ = nullptr;
    uint16_t* alpha_ = nullptr;
};

}  // namespace tnk
