#include "geometry/size/scan_line.h"

#include <cstddef>
#include <cstring>

#include "base/pixel_values.h"
#include "tnkrn.h"

namespace tnk {
namespace {

template <int32_t kBytes>
struct WholeBytes {
    void operator()(const uint8_t* source, int64_t from, uint8_t* target, int64_t to) const {
        uint8_t pixel[kBytes];  // a row may grow or shrink in place
        std::memcpy(pixel, source + static_cast<ptrdiff_t>(from * kBytes), kBytes);
        std::memcpy(target + static_cast<ptrdiff_t>(to * kBytes), pixel, kBytes);
    }
};

// Pixels that share bytes, the most significant bit first; their neighbours in a byte stay.
struct SharedBytes {
    int32_t bits;

    void operator()(const uint8_t* source, int64_t from, uint8_t* target, int64_t to) const {
        uint64_t pixel = 0;
        eachPart(from, [&](int64_t byte, int32_t low, int32_t count) {
            pixel = pixel << count | ((source[byte] >> low) & mask(count));
        });
        int32_t left = bits;
        eachPart(to, [&](int64_t byte, int32_t low, int32_t count) {
            left -= count;
            const uint32_t part = static_cast<uint32_t>(pixel >> left) & mask(count);
            target[byte] = static_cast<uint8_t>((target[byte] & ~(mask(count) << low)) | part << low);
        });
    }

  private:
    static uint32_t mask(int32_t count) { return (1u << count) - 1; }

    // Calls part(byte, lowest bit in it, bits of it) for the bytes of a pixel.
    template <typename Part>
    void eachPart(int64_t index, Part part) const {
        const int64_t start = index * bits;
        int64_t byte = start >> 3;
        auto phase = static_cast<int32_t>(start & 7);
        for (int32_t left = bits; left > 0; ++byte, phase = 0) {
            const int32_t count = left < 8 - phase ? left : 8 - phase;
            part(byte, 8 - phase - count, count);
            left -= count;
        }
    }
};

// Samples of 12 bits, two in three bytes.
struct TwelveBits {
    void operator()(const uint8_t* source, int64_t from, uint8_t* target, int64_t to) const {
        const uint32_t sample = sample12(load16(source + offset(from)), static_cast<uint32_t>(from & 1));
        uint8_t* const word = target + offset(to);
        store16(word, put12(load16(word), static_cast<uint32_t>(to & 1), sample));
    }

  private:
    static ptrdiff_t offset(int64_t index) { return static_cast<ptrdiff_t>((index >> 1) * 3 + (index & 1)); }
};

// Calls work(copy) with what copies a pixel of the depth; not at all for depths outside 1 to 64.
template <typename Work>
void atDepth(int32_t bits, Work work) {
    switch (bits) {
        case 8:
            return work(WholeBytes<1>{});
        case 12:
            return work(TwelveBits{});
        case 16:
            return work(WholeBytes<2>{});
        case 24:
            return work(WholeBytes<3>{});
        case 32:
            return work(WholeBytes<4>{});
        case 40:
            return work(WholeBytes<5>{});
        case 48:
            return work(WholeBytes<6>{});
        case 56:
            return work(WholeBytes<7>{});
        case 64:
            return work(WholeBytes<8>{});
        default:
            if (bits >= 1 && bits < 64) work(SharedBytes{bits});
    }
}

// From the first pixel on. Returns the pixel reached.
int64_t pickForward(int32_t bits, const PixelSteps& steps, const uint8_t* source, uint8_t* target, int32_t count) {
    int64_t from = steps.first;
    int64_t error = steps.error;
    atDepth(bits, [&](auto copy) {
        for (int32_t to = 0; to < count; ++to) {
            copy(source, from, target, to);
            from += steps.step;
            error += steps.remainder;
            if (error >= steps.divisor) {
                error -= steps.divisor;
                ++from;
            }
        }
    });
    return from;
}

// From the last pixel back.
int64_t pickBackward(int32_t bits, const PixelSteps& steps, const uint8_t* source, uint8_t* target, int32_t count) {
    int64_t from = steps.at(count);
    int64_t error = (steps.error + count * steps.remainder) % steps.divisor;
    atDepth(bits, [&](auto copy) {
        for (int32_t to = count - 1; to >= 0; --to) {
            from -= steps.step;
            error -= steps.remainder;
            if (error < 0) {
                error += steps.divisor;
                --from;
            }
            copy(source, from, target, to);
        }
    });
    return from;
}

// In one buffer pixels of a row that shrinks move to the left: going back would meet what it has written already.
int64_t pickReverse(int32_t bits, const PixelSteps& steps, const uint8_t* source, uint8_t* target, int32_t count) {
    if (steps.step < 1) return pickBackward(bits, steps, source, target, count);
    pickForward(bits, steps, source, target, count);
    return steps.first;
}

bool picksAnything(int32_t bits, const uint8_t* source, const uint8_t* target, int32_t count, int32_t divisor) {
    return source != nullptr && target != nullptr && bits >= 1 && bits <= 64 && count > 0 && divisor > 0;
}

}  // namespace

void resizeLine(uint8_t* row, int32_t from, int32_t to, int32_t bits) {
    if (bits < 1 || bits > 64) return;
    pickReverse(bits, PixelSteps::between(from, to), row, row, to);
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_GetResizedScanLine(int32_t BitsPerPixel, int32_t, int32_t First, int32_t Step,
                                                 int32_t Error, int32_t Remainder, const uint8_t* Source,
                                                 uint8_t* Destination, int32_t Count, int32_t Divisor, int32_t) {
    if (!picksAnything(BitsPerPixel, Source, Destination, Count, Divisor)) return First;
    const PixelSteps steps = {First, Step, Error, Remainder, Divisor};
    return static_cast<int32_t>(pickForward(BitsPerPixel, steps, Source, Destination, Count));
}

extern "C" int32_t TNK_CALL T_ReverseGetResizedScanLine(int32_t BitsPerPixel, int32_t, int32_t First, int32_t Step,
                                                        int32_t Error, int32_t Remainder, const uint8_t* Source,
                                                        uint8_t* Destination, int32_t Count, int32_t Divisor, int32_t) {
    if (!picksAnything(BitsPerPixel, Source, Destination, Count, Divisor)) return First;
    const PixelSteps steps = {First, Step, Error, Remainder, Divisor};
    return static_cast<int32_t>(pickReverse(BitsPerPixel, steps, Source, Destination, Count));
}
