#include "format/dib/dib_bit_fields.h"

#include <bit>

#include "base/pixel_values.h"

namespace tnk {

bool isBitFieldForm(const DibHeader& header) {
    if (header.bits != 16 && header.bits != 32) return false;
    const ChannelMasks& masks = header.masks;
    const uint32_t all = masks.red | masks.green | masks.blue;
    return (header.bits == 16 ? all & 0xFFFF : all) != 0;
}

// round(value * top / (2^bits - 1)), halves up. From 8 bits on without a division: for v below 2^(2 bits), v / (2^bits - 1)
// is (v + 1 + ((v + 1) >> bits)) >> bits, rounded down.
uint32_t BitFieldDecoder::scale(uint32_t value, uint32_t bits, uint32_t top) {
    const uint64_t greatest = (uint64_t{1} << bits) - 1;
    const uint64_t product = uint64_t{value} * top + greatest / 2;
    if (bits < 8) return static_cast<uint32_t>(product / greatest);
    return static_cast<uint32_t>((product + 1 + ((product + 1) >> bits)) >> bits);
}

BitFieldDecoder::Channel BitFieldDecoder::describe(uint32_t mask, uint32_t top, uint32_t place) {
    Channel channel;
    channel.mask = mask;
    channel.top = top;
    channel.place = place;
    channel.bits = static_cast<uint32_t>(std::popcount(mask));
    if (mask == 0) return channel;
    channel.shift = static_cast<uint32_t>(std::countr_zero(mask));
    const uint32_t field = mask >> channel.shift;
    channel.contiguous = (field & (field + 1)) == 0;
    if (channel.bits > kTableBits) return channel;
    for (uint32_t value = 0; value < 1u << channel.bits; ++value)
        channel.levels[value] = scale(value, channel.bits, top) << place;
    return channel;
}

uint32_t BitFieldDecoder::valueOf(const Channel& channel, uint32_t pixel) {
    uint32_t value = (pixel & channel.mask) >> channel.shift;
    if (!channel.contiguous) {
        // Bit by bit: nobody but a test writes such masks.
        uint32_t together = 0;
        uint32_t next = 0;
        for (uint32_t field = channel.mask >> channel.shift; field != 0; field &= field - 1)
            together |= (value >> std::countr_zero(field) & 1) << next++;
        value = together;
    }
    if (channel.bits <= kTableBits) return channel.levels[value];
    return scale(value, channel.bits, channel.top) << channel.place;
}

BitFieldDecoder::BitFieldDecoder(int32_t bits, const ChannelMasks& masks) : bits_(bits) {
    const uint32_t used = bits == 16 ? 0xFFFF : 0xFFFFFFFF;
    const uint32_t step = bits == 16 ? 5 : 8;
    const uint32_t top = (1u << step) - 1;
    channels_[0] = describe(masks.blue & used, top, 0);
    channels_[1] = describe(masks.green & used, top, step);
    channels_[2] = describe(masks.red & used, top, 2 * step);
    channels_[3] = describe(masks.alpha & used, bits == 16 ? 1 : top, 3 * step);
}

template <typename Pixel>
void BitFieldDecoder::decode(const uint8_t* source, uint8_t* row, uint32_t width) const {
    for (uint32_t x = 0; x < width; ++x) {
        const uint32_t pixel = loadAs<Pixel>(source + sizeof(Pixel) * x);
        uint32_t made = 0;
        for (const Channel& channel : channels_) made |= valueOf(channel, pixel);
        storeAs(row + sizeof(Pixel) * x, static_cast<Pixel>(made));
    }
}

void BitFieldDecoder::decodeRow(const uint8_t* source, uint8_t* row, int32_t width) const {
    const auto pixels = static_cast<uint32_t>(width);
    bits_ == 16 ? decode<uint16_t>(source, row, pixels) : decode<uint32_t>(source, row, pixels);
}

}  // namespace tnk
