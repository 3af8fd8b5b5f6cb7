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
    static constexpr uint32_t kTableBits = 8;  // of values that are looked up

    // One channel: its bits are brought together, then scaled.
    struct Channel {
        uint32_t mask = 0;
        uint32_t shift = 0;  // of the lowest bit
        bool contiguous = true;
        uint32_t bits = 0;
        uint32_t top = 0;    // the greatest value that comes out
        uint32_t place = 0;  // in the pixel that is made
        uint32_t levels[1u << kTableBits] = {};
    };
    static Channel describe(uint32_t mask, uint32_t top, uint32_t place);
    static uint32_t valueOf(const Channel& channel, uint32_t pixel);
    static uint32_t scale(uint32_t value, uint32_t bits, uint32_t top);

    template <typename Pixel>
    void decode(const uint8_t* source, uint8_t* row, uint32_t width) const;

    int32_t bits_;
    Channel channels_[4];
};

}  // namespace tnk
