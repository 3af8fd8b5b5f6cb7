// Pixels of 16 and 32 bits whose channels lie at any bits of them.
#pragma once

#include <cstdint>

#include "format/dib/dib_header.h"

namespace tnk {

// Whether a header with kDibBitFields has a depth, and bits for a colour.
bool isBitFieldForm(const DibHeader& header);

// To pixels of the same depth in BGR order: 5-5-5 with alpha in the top bit, or 8-8-8 with alpha. Values of other widths are
// scaled to these, rounded. Alpha is 0 where there is none.
class BitFieldDecoder {
  public:
    BitFieldDecoder(int32_t bits, const ChannelMasks& masks);

    void decodeRow(const uint8_t* source, uint8_t* row, int32_t width) const;

  private:
    // One channel: its bits are brought together, then scaled from 0 .. 2^bits - 1 to 0 .. top.
    struct Channel {
        uint32_t mask = 0;
        uint32_t shift = 0;  // of the lowest bit
        uint32_t bits = 0;
        uint32_t top = 0;
        uint32_t place = 0;  // in the pixel that is made
        // Where the bits stand side by side and the numbers fit a pixel's word: (value * factor + rounding) >> down.
        bool linear = true;
        uint32_t factor = 0;
        uint32_t rounding = 0;
        uint32_t down = 0;

        bool stays() const { return mask == top << place || mask == 0; }
        bool keepsWidth() const { return linear && (factor == 1 || mask == 0) && down == 0; }
    };
    Channel describe(uint32_t mask, uint32_t top, uint32_t place) const;
    static bool settleFactor(Channel& channel, uint64_t limit);
    static uint32_t valueOf(const Channel& channel, uint32_t pixel);

    template <typename Pixel>
    void decode(const uint8_t* source, uint8_t* row, uint32_t width) const;

    // How pixels can be made, from the fastest way on.
    enum class Way { keepBits, moveBits, scale, anyBits };

    int32_t bits_;
    Channel channels_[4];
    uint32_t kept_ = 0;
    Way way_ = Way::anyBits;
};

}  // namespace tnk
