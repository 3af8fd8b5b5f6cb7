#include "geometry/mirror_line.h"

#include <bit>
#include <cstddef>
#include <cstring>
#include <utility>

#include "base/pixel_format.h"
#include "base/pixel_values.h"
#include "base/result.h"
#include "kernels/kernels.h"
#include "kernels/turn/mirror_kernels.h"
#include "tnkrn.h"

namespace tnk {
namespace {

constexpr uint64_t swapBytes(uint64_t word) { return __builtin_bswap64(word); }

// Exchanges what vectors can, at both ends; the row shrinks to what is left between them.
void mirrorEnds(uint8_t*& row, size_t& bytes, int32_t pixelBits) {
#if defined(__x86_64__) || defined(__i386__)
    if (instructionSet() < InstructionSet::ssse3) return;
    const size_t done = mirrorEndsSsse3(row, bytes, pixelBits);
    row += done;
    bytes -= 2 * done;
#else
    (void)row, (void)bytes, (void)pixelBits;
#endif
}

// Eight bytes in reverse order, and in each of them the pixels of kBits.
template <uint32_t kBits>
uint64_t reversed(uint64_t word) {
    word = swapBytes(word);
    if constexpr (kBits <= 4) word = (word >> 4 & 0x0F0F0F0F0F0F0F0F) | (word & 0x0F0F0F0F0F0F0F0F) << 4;
    if constexpr (kBits <= 2) word = (word >> 2 & 0x3333333333333333) | (word & 0x3333333333333333) << 2;
    if constexpr (kBits == 1) word = (word >> 1 & 0x5555555555555555) | (word & 0x5555555555555555) << 1;
    return word;
}

// Bytes, from both ends towards the middle.
template <uint32_t kBits>
void mirrorBytes(uint8_t* row, size_t bytes) {
    mirrorEnds(row, bytes, kBits);
    uint8_t* left = row;
    uint8_t* right = row + bytes;
    for (; right - left >= 16; left += 8) {
        right -= 8;
        const auto first = loadAs<uint64_t>(left);
        storeAs(left, reversed<kBits>(loadAs<uint64_t>(right)));
        storeAs(right, reversed<kBits>(first));
    }
    const auto one = [](uint8_t byte) { return static_cast<uint8_t>(reversed<kBits>(byte) >> 56); };
    while (left < right) {
        const uint8_t first = one(*left);
        *left++ = one(*--right);
        *right = first;
    }
}

// Moves a row of `bytes` bytes towards its first bit; what comes in at the end is 0.
void shiftLeft(uint8_t* row, size_t bytes, uint32_t shift) {
    size_t i = 0;
    for (; i + 9 <= bytes; i += 8) {
        const uint64_t word = swapBytes(loadAs<uint64_t>(row + i)) << shift | row[i + 8] >> (8 - shift);
        storeAs(row + i, swapBytes(word));
    }
    for (; i < bytes; ++i) {
        const uint32_t next = i + 1 < bytes ? row[i + 1] : 0u;
        row[i] = static_cast<uint8_t>(row[i] << shift | next >> (8 - shift));
    }
}

template <uint32_t kBits>
void mirrorPacked(uint8_t* row, uint32_t width) {
    const auto bytes = static_cast<size_t>(pixelBytes(width, kBits));
    mirrorBytes<kBits>(row, bytes);
    const uint32_t padding = -width * kBits & 7;
    if (padding != 0) shiftLeft(row, bytes, padding);
}

// A pixel of 3, 5, 6 or 7 bits, which may lie in two bytes.
class StraddlingPixel {
  public:
    StraddlingPixel(uint8_t* row, uint32_t index, uint32_t bits) : mask_((1u << bits) - 1) {
        const uint64_t first = uint64_t{index} * bits;
        bytes_ = row + static_cast<size_t>(first / 8);
        const auto end = static_cast<uint32_t>(first % 8) + bits;
        two_ = end > 8;
        shift_ = (two_ ? 16 : 8) - end;
    }

    uint32_t get() const { return load() >> shift_ & mask_; }
    void put(uint32_t value) {
        const uint32_t word = (load() & ~(mask_ << shift_)) | value << shift_;
        if (two_) bytes_[1] = static_cast<uint8_t>(word);
        bytes_[0] = static_cast<uint8_t>(two_ ? word >> 8 : word);
    }

  private:
    uint32_t load() const { return two_ ? uint32_t{bytes_[0]} << 8 | bytes_[1] : bytes_[0]; }

    uint8_t* bytes_;
    uint32_t mask_;
    uint32_t shift_;
    bool two_;
};

void mirrorStraddling(uint8_t* row, uint32_t width, uint32_t bits) {
    for (uint32_t left = 0, right = width; left + 1 < right; ++left) {
        StraddlingPixel first(row, left, bits);
        StraddlingPixel last(row, --right, bits);
        const uint32_t value = first.get();
        first.put(last.get());
        last.put(value);
    }
}

uint8_t* wordOf12(uint8_t* row, uint32_t column) { return row + size_t{column / 2} * 3 + column % 2; }

// A pair of 12-bit pixels as a number, and exchanged.
uint32_t exchangedPair(const uint8_t* pair) {
    const uint32_t pixels = load16(pair) | uint32_t{pair[2]} << 16;
    return pixels >> 12 | (pixels & 0xFFF) << 12;
}
void storePair(uint8_t* pair, uint32_t pixels) {
    store16(pair, pixels);
    pair[2] = static_cast<uint8_t>(pixels >> 16);
}

// Pairs are exchanged whole where both ends have them: an odd width goes pixel by pixel. The nibble that a lone last pixel
// shares its byte with stays.
void mirror12(uint8_t* row, uint32_t width) {
    if (width % 2 == 0) {
        uint8_t* right = row + size_t{width / 2} * 3;
        for (uint8_t* left = row; left < right; left += 3) {
            right -= 3;
            const uint32_t first = exchangedPair(left);
            storePair(left, exchangedPair(right));
            storePair(right, first);
        }
        return;
    }
    for (uint32_t left = 0, right = width; left + 1 < right; ++left) {
        uint8_t* const first = wordOf12(row, left);
        uint8_t* const last = wordOf12(row, --right);
        const uint32_t value = sample12(load16(first), left);
        store16(first, put12(load16(first), left, sample12(load16(last), right)));
        store16(last, put12(load16(last), right, value));
    }
}

// Pixels of kBytes bytes, which are not turned themselves.
template <size_t kBytes>
void mirrorUnits(uint8_t* row, uint32_t width) {
    size_t bytes = width * kBytes;
    mirrorEnds(row, bytes, 8 * kBytes);
    uint8_t* left = row;
    uint8_t* right = row + bytes;
    uint8_t pixel[kBytes];
    while (right - left >= static_cast<ptrdiff_t>(2 * kBytes)) {
        right -= kBytes;
        std::memcpy(pixel, left, kBytes);
        std::memcpy(left, right, kBytes);
        std::memcpy(right, pixel, kBytes);
        left += kBytes;
    }
}

}  // namespace

void mirrorPixels(uint8_t* row, uint32_t width, int32_t bits) {
    switch (bits) {
        case 1:
            return mirrorPacked<1>(row, width);
        case 2:
            return mirrorPacked<2>(row, width);
        case 4:
            return mirrorPacked<4>(row, width);
        case 3:
        case 5:
        case 6:
        case 7:
            return mirrorStraddling(row, width, static_cast<uint32_t>(bits));
        case 8:
            return mirrorBytes<8>(row, width);
        case 12:
            return mirror12(row, width);
        case 16:
            return mirrorUnits<2>(row, width);
        case 24:
            return mirrorUnits<3>(row, width);
        case 32:
            return mirrorUnits<4>(row, width);
        case 48:
            return mirrorUnits<6>(row, width);
        case 64:
            return mirrorUnits<8>(row, width);
        default:
            return;
    }
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_MirrorLine(uint8_t* Row, uint32_t Width, int32_t BitsPerPixel) {
    if (Row == nullptr) return ERROR_INVALID_PARAMETER;
    mirrorPixels(Row, Width, BitsPerPixel);
    return SUCCESS;
}
