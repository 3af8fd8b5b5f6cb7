// Dithering to a palette in its plainest form: pixel by pixel, one row a call, every error cell where the method puts it.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "reference/convert.h"
#include "reference/palette.h"

namespace tnk::test {

inline constexpr int32_t kReferenceSignedNotSupported = -1360;
inline constexpr uint32_t kReferenceMatchTableSize = 32768;

struct ReferenceDitherSource {
    int32_t bits = 24;
    int32_t order = kOrderBgr;
    int32_t width = 0;
    const ReferenceColor* palette = nullptr;  // used up to 8 bits; indexes at or past the count are black
    uint32_t paletteCount = 0;
    int32_t lowBit = 0, highBit = -1;
    bool window = false;                  // the display window is in force
    bool signedData = false;              // rows are refused
    const ReferenceColor* lut = nullptr;  // used only with `window`; indexes at or past the length are black
    uint32_t lutLength = 0;
};

struct ReferenceDitherTarget {
    const ReferenceColor* palette = nullptr;  // null: the fixed table that the count asks for
    uint32_t count = 0;
    int32_t outputBits = 8;
    uint32_t method = 0;
    uint32_t* userMatchTable = nullptr;  // written where it holds 0; must outlive the run
};

// Every key's nearest entry plus 1, as a table for `userMatchTable`.
std::vector<uint32_t> referenceMatchTable(const ReferenceColor* palette, uint32_t count);

class ReferenceDither {
  public:
    ReferenceDither() = default;
    ReferenceDither(ReferenceDither&&) = default;  // never copied: a run may point into its own match table
    ReferenceDither& operator=(ReferenceDither&&) = default;

    // Result code; a failed start leaves an object that refuses rows.
    int32_t start(const ReferenceDitherSource& source, const ReferenceDitherTarget& target);

    // `in` is modified for 24- and 48-bit orders other than RGB and BGR. Bits of `out` after the last pixel are kept.
    int32_t line(uint8_t* in, uint8_t* out);

    uint32_t mode() const { return mode_; }

  private:
    struct Rgb {
        std::array<int32_t, 3> c{};  // red, green, blue
    };
    struct Channel {
        std::array<std::vector<int32_t>, 3> rows;  // pending sums, scaled by the divisor: this row, the next, the third
        int32_t carry = 0, next = 0, next2 = 0;
    };

    Rgb fetch(const uint8_t* in, int32_t order, int32_t bits, int32_t x) const;
    Rgb fetchGray(uint32_t sample) const;
    void beginRow(Channel& channel) const;
    void spread(Channel& channel, int32_t x, int32_t err) const;
    uint32_t quantize(const Rgb& color);
    uint32_t quantizeOrdered(const Rgb& color, int32_t threshold);
    uint32_t quantizeFixed(const Rgb& color) const;
    uint32_t match(const Rgb& color);

    bool started_ = false;
    ReferenceDitherSource source_;
    ReferenceGrayParams gray_;
    std::array<ReferenceColor, 256> sourcePalette_{};
    std::array<ReferenceColor, 256> palette_{};  // black past the count
    int32_t outputBits_ = 0;
    uint32_t method_ = 0;
    uint32_t mode_ = 0;
    uint32_t lineCounter_ = 0;
    std::vector<ReferenceColor> matchList_;  // the reserved byte is the index in the palette
    std::vector<uint32_t> ownTable_;
    uint32_t* table_ = nullptr;
    std::array<Channel, 3> channels_;
};

}  // namespace tnk::test
