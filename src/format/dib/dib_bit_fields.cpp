#include "format/dib/dib_bit_fields.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>

#include "base/pixel_values.h"

namespace tnk {
namespace {

// round(value * top / (2^bits - 1)), halves up. From 8 bits on without a division: for v below 2^(2 bits), v / (2^bits - 1)
// is (v + 1 + ((v + 1) >> bits)) >> bits, rounded down.
uint32_t scaled(uint32_t value, uint32_t bits, uint32_t top) {
    const uint64_t greatest = (uint64_t{1} << bits) - 1;
    const uint64_t product = uint64_t{value} * top + greatest / 2;
    if (bits < 8) return static_cast<uint32_t>(product / greatest);
    return static_cast<uint32_t>((product + 1 + ((product + 1) >> bits)) >> bits);
}

// As many pixels as fit 16 bytes. Written out, since compilers widen the shifts of small words to 32 bits.
template <typename Pixel>
struct VectorOf {
    using Type __attribute__((vector_size(16))) = Pixel;
};

template <typename Pixel, typename Make>
void makePixels(const uint8_t* source, uint8_t* row, uint32_t width, Make make) {
    using Vector = typename VectorOf<Pixel>::Type;
    const size_t bytes = sizeof(Pixel) * width;
    size_t at = 0;
    for (; at + sizeof(Vector) <= bytes; at += sizeof(Vector)) storeAs(row + at, make(loadAs<Vector>(source + at)));
    if (at == bytes) return;
    Vector rest{};
    std::memcpy(&rest, source + at, bytes - at);
    rest = make(rest);
    std::memcpy(row + at, &rest, bytes - at);
}

// A channel in words of the pixel's size.
template <typename Pixel>
struct Field {
    template <typename Channel>
    explicit Field(const Channel& c)
        : mask(static_cast<Pixel>(c.mask)),
          factor(static_cast<Pixel>(c.factor)),
          rounding(static_cast<Pixel>(c.rounding)),
          shift(static_cast<Pixel>(c.shift)),
          down(static_cast<Pixel>(c.down)),
          place(static_cast<Pixel>(c.place)) {}

    template <typename Vector>
    Vector moved(Vector pixels) const {
        return ((pixels & mask) >> shift) << place;
    }
    template <typename Vector>
    Vector scaled(Vector pixels) const {
        return ((((pixels & mask) >> shift) * factor + rounding) >> down) << place;
    }

    Pixel mask, factor, rounding, shift, down, place;
};

}  // namespace

bool isBitFieldForm(const DibHeader& header) {
    if (header.bits != 16 && header.bits != 32) return false;
    const ChannelMasks& masks = header.masks;
    const uint32_t all = masks.red | masks.green | masks.blue;
    return (header.bits == 16 ? all & 0xFFFF : all) != 0;
}

// The first factor and rounding that give every value its own, with no product beyond `limit`.
bool BitFieldDecoder::settleFactor(Channel& channel, uint64_t limit) {
    constexpr uint32_t kMostBits = 10;  // of values that are tried one by one
    if (channel.bits > kMostBits) return false;
    const uint64_t greatest = (uint64_t{1} << channel.bits) - 1;
    for (uint32_t down = 0; down < 32; ++down) {
        // What is added must lie between bounds that each value gives.
        const uint64_t factor = ((uint64_t{channel.top} << down) + greatest / 2) / greatest;
        int64_t low = 0;
        int64_t high = (int64_t{1} << down) - 1;
        for (uint32_t value = 0; value <= greatest; ++value) {
            const int64_t wanted = int64_t{scaled(value, channel.bits, channel.top)} << down;
            const auto product = static_cast<int64_t>(value * factor);
            low = std::max(low, wanted - product);
            high = std::min(high, wanted + (int64_t{1} << down) - 1 - product);
        }
        if (greatest * factor + static_cast<uint64_t>(low) > limit) return false;
        if (low > high) continue;
        channel.factor = static_cast<uint32_t>(factor);
        channel.rounding = static_cast<uint32_t>(low);
        channel.down = down;
        return true;
    }
    return false;
}

BitFieldDecoder::Channel BitFieldDecoder::describe(uint32_t mask, uint32_t top, uint32_t place) const {
    Channel channel{.mask = mask, .bits = static_cast<uint32_t>(std::popcount(mask)), .top = top, .place = place};
    if (mask == 0) return channel;
    channel.shift = static_cast<uint32_t>(std::countr_zero(mask));
    const uint32_t field = mask >> channel.shift;
    channel.linear = (field & (field + 1)) == 0 && settleFactor(channel, bits_ == 16 ? 0xFFFF : 0xFFFFFFFF);
    return channel;
}

uint32_t BitFieldDecoder::valueOf(const Channel& channel, uint32_t pixel) {
    uint32_t value = 0;
    uint32_t next = 0;
    if (channel.mask == 0) return 0;
    for (uint32_t left = channel.mask; left != 0;) {
        // Run by run of bits that stand side by side.
        const auto first = static_cast<uint32_t>(std::countr_zero(left));
        const auto count = static_cast<uint32_t>(std::countr_one(left >> first));
        const uint32_t run = count == 32 ? 0xFFFFFFFF : (1u << count) - 1;
        value |= (pixel >> first & run) << next;
        next += count;
        left &= ~(run << first);
    }
    return scaled(value, channel.bits, channel.top) << channel.place;
}

BitFieldDecoder::BitFieldDecoder(int32_t bits, const ChannelMasks& masks) : bits_(bits) {
    const uint32_t used = bits == 16 ? 0xFFFF : 0xFFFFFFFF;
    const uint32_t step = bits == 16 ? 5 : 8;
    const uint32_t top = (1u << step) - 1;
    channels_[0] = describe(masks.blue & used, top, 0);
    channels_[1] = describe(masks.green & used, top, step);
    channels_[2] = describe(masks.red & used, top, 2 * step);
    channels_[3] = describe(masks.alpha & used, bits == 16 ? 1 : top, 3 * step);
    const auto all = [&](bool (Channel::*is)() const) {
        return std::all_of(std::begin(channels_), std::end(channels_), [&](const Channel& c) { return (c.*is)(); });
    };
    for (const Channel& channel : channels_) kept_ |= channel.mask;
    if (all(&Channel::stays)) {
        way_ = Way::keepBits;
    } else if (all(&Channel::keepsWidth)) {
        way_ = Way::moveBits;
    } else if (std::all_of(std::begin(channels_), std::end(channels_), [](const Channel& c) { return c.linear; })) {
        way_ = Way::scale;
    }
}

template <typename Pixel>
void BitFieldDecoder::decode(const uint8_t* source, uint8_t* row, uint32_t width) const {
    const Field<Pixel> blue(channels_[0]), green(channels_[1]), red(channels_[2]), alpha(channels_[3]);
    switch (way_) {
        case Way::keepBits:
            return makePixels<Pixel>(source, row, width,
                                     [kept = static_cast<Pixel>(kept_)](auto pixels) { return pixels & kept; });
        case Way::moveBits:
            return makePixels<Pixel>(source, row, width, [=](auto p) {
                return blue.moved(p) | green.moved(p) | red.moved(p) | alpha.moved(p);
            });
        case Way::scale:
            return makePixels<Pixel>(source, row, width, [=](auto p) {
                return blue.scaled(p) | green.scaled(p) | red.scaled(p) | alpha.scaled(p);
            });
        case Way::anyBits:
            for (size_t at = 0; at < sizeof(Pixel) * width; at += sizeof(Pixel)) {
                const uint32_t pixel = loadAs<Pixel>(source + at);
                uint32_t made = 0;
                for (const Channel& channel : channels_) made |= valueOf(channel, pixel);
                storeAs(row + at, static_cast<Pixel>(made));
            }
    }
}

void BitFieldDecoder::decodeRow(const uint8_t* source, uint8_t* row, int32_t width) const {
    const auto pixels = static_cast<uint32_t>(width);
    bits_ == 16 ? decode<uint16_t>(source, row, pixels) : decode<uint32_t>(source, row, pixels);
}

}  // namespace tnk
