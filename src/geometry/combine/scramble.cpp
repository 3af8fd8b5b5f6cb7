// A rectangle made unrecognisable, and brought back.
#include <algorithm>
#include <cstring>

#include "base/pixel_format.h"
#include "base/scratch.h"
#include "base/shape.h"
#include "bitmap/copy/bit_run.h"
#include "bitmap/lifecycle.h"
#include "bitmap/row_loop.h"
#include "bitmap/rows.h"
#include "bitmap/storage/storage.h"
#include "convert/packed_pixels.h"
#include "geometry/view.h"
#include "system/status.h"

namespace tnk {
namespace {

constexpr EntryRule kScrambleRule = {ERROR_INVALID_PARAMETER, ERROR_INVALID_PARAMETER, ERROR_STRUCT_SIZE};

// Numbers by counting, any of them without those before it: the mixing function of Steele, Lea and Flood (2014) over a
// place in the rectangle. Pixels of up to 8 bits share one, a byte each.
class Sequence {
  public:
    explicit Sequence(uint32_t key) : seed_(mix(key + kStep)) {}

    uint64_t pixel(uint32_t x, uint32_t y) const { return mix(seed_ + (uint64_t{y} << 32 | x) * kStep); }
    uint8_t byte(uint32_t x, uint32_t y) {
        if (x / 8 != group_ || y != row_ || !known_) {
            eight_ = pixel(group_ = x / 8, row_ = y);
            known_ = true;
        }
        return static_cast<uint8_t>(eight_ >> x % 8 * 8);
    }

  private:
    static constexpr uint64_t kStep = 0x9E3779B97F4A7C15;
    static constexpr uint64_t mix(uint64_t number) {
        number = (number ^ number >> 30) * 0xBF58476D1CE4E5B9;
        number = (number ^ number >> 27) * 0x94D049BB133111EB;
        return number ^ number >> 31;
    }

    uint64_t seed_;
    uint64_t eight_ = 0;
    uint32_t group_ = 0;
    uint32_t row_ = 0;
    bool known_ = false;
};

class Scrambler {
  public:
    // `part` lies inside the stored picture; positions count from (left, top) of the one that is seen.
    Scrambler(BitmapHandle& bitmap, const BitmapRect& part, int32_t left, int32_t top, uint32_t key)
        : bitmap_(bitmap),
          part_(part),
          bits_(Shape(bitmap).bits),
          frame_(seenFrame(bitmap)),
          left_(left),
          top_(top),
          sequence_(key) {}

    Result run() {
        TRY(lendsRows(bitmap_, &direct_));
        if (!direct_ && !row_.allocate(Shape(bitmap_).bytes(1))) return FAILURE;
        if (!noise_.allocate(3 * kBlockBytes)) return FAILURE;
        const int32_t rows = part_.Bottom - part_.Top;
        Progress progress = statusProgress(rows);
        int32_t done = 0;
        const Result result = forBands(rows, kMostBandRows, progress, [&](int32_t first, int32_t count) {
            for (; done < first + count; ++done) TRY(scrambleRow(part_.Top + done));
            return Result(SUCCESS);
        });
        // What fails here as well fails for the same reason.
        for (; !result.ok() && done > 0; --done) (void)scrambleRow(part_.Top + done - 1);
        return result;
    }

  private:
    static constexpr size_t kBlock = 1024;  // pixels
    static constexpr size_t kBlockBytes = kBlock * 8;

    Result scrambleRow(int32_t row) {
        if (direct_) {
            uint8_t* pixels = nullptr;
            TRY(storageOf(bitmap_).lend(bitmap_, row, 1, &pixels));
            noteRow(bitmap_, row);
            changePixels(pixels, row);
            return SUCCESS;
        }
        const uint32_t bytes = bitmap_.BytesPerLine;
        TRY(wholeTransfer(getRow(bitmap_, row_.data(), row, bytes), bytes));
        changePixels(row_.data(), row);
        const Result written = wholeTransfer(putRow(bitmap_, row_.data(), row, bytes), bytes);
        if (!written.ok()) {  // a part of it may lie there
            changePixels(row_.data(), row);
            (void)putRow(bitmap_, row_.data(), row, bytes);
        }
        return written;
    }

    void changePixels(uint8_t* pixels, int32_t row) {
        uint8_t* const shifted = noise_.data() + kBlockBytes;
        for (int32_t column = part_.Left; column < part_.Right;) {
            const size_t count = std::min(static_cast<size_t>(part_.Right - column), kBlock);
            makeNoise(column, row, count);
            const uint64_t first = uint64_t{static_cast<uint32_t>(column)} * bits_, bits = uint64_t{count} * bits_;
            const auto phase = static_cast<uint32_t>(first & 7);
            moveBits(shifted, phase, noise_.data(), 0, bits, bits_ == 12);
            uint8_t* const at = pixels + static_cast<size_t>(first >> 3);
            const auto bytes = static_cast<size_t>((phase + bits + 7) >> 3);
            for (size_t i = 0; i < bytes; ++i) at[i] ^= shifted[i];
            column += static_cast<int32_t>(count);
        }
    }

    // As pixels of a row, from its first bit on.
    void makeNoise(int32_t column, int32_t row, size_t count) {
        uint8_t* const packed = noise_.data();
        uint8_t* const spread = packed + 2 * kBlockBytes;
        // Modulo 2^32: the rectangle may reach that far.
        auto x = static_cast<uint32_t>(frame_.xAt(column, row) - left_);
        auto y = static_cast<uint32_t>(frame_.yAt(column, row) - top_);
        const auto next = [&] {
            x += static_cast<uint32_t>(frame_.xAcross);
            y += static_cast<uint32_t>(frame_.yAcross);
        };
        if (bits_ <= 8) {
            const auto mask = static_cast<uint8_t>((1u << bits_) - 1);
            uint8_t* const bytes = bits_ == 8 ? packed : spread;
            for (size_t i = 0; i < count; ++i, next()) bytes[i] = sequence_.byte(x, y) & mask;
            if (bits_ < 8) packPixels(bits_, spread, packed, count);
        } else if (bits_ == 12) {
            auto* const samples = reinterpret_cast<uint32_t*>(spread);
            for (size_t i = 0; i < count; ++i, next()) samples[i] = sequence_.pixel(x, y) & 0xFFF;
            pack12(samples, packed, count);
        } else {
            const size_t bytes = bits_ / 8;
            uint8_t* to = packed;
            for (size_t i = 0; i < count; ++i, to += bytes, next()) {
                const uint64_t number = sequence_.pixel(x, y);
                std::memcpy(to, &number, bytes);
            }
        }
    }

    BitmapHandle& bitmap_;
    BitmapRect part_;
    uint32_t bits_;
    PixelFrame frame_;
    int64_t left_;
    int64_t top_;
    Sequence sequence_;
    bool direct_ = false;
    Scratch<uint8_t> row_;
    Scratch<uint8_t> noise_;  // pixels of it, the same at the place of their bits, and spread
};

Result scramble(BitmapHandle& bitmap, int32_t left, int32_t top, int32_t width, int32_t height, uint32_t key) {
    const auto inside = [](int64_t at, int32_t extent) {
        return static_cast<int32_t>(std::clamp<int64_t>(at, 0, extent));
    };
    const int32_t seenWidth = visibleWidth(bitmap), seenHeight = visibleHeight(bitmap);
    const BitmapRect seen = {inside(left, seenWidth), inside(top, seenHeight), inside(int64_t{left} + width, seenWidth),
                             inside(int64_t{top} + height, seenHeight)};
    if (seen.Left >= seen.Right || seen.Top >= seen.Bottom) return SUCCESS;
    const Locked lock(bitmap);
    return Scrambler(bitmap, storedRect(bitmap, seen), left, top, key).run();
}

}  // namespace
}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_ScrambleBitmap(BitmapHandle* Bitmap, int32_t Left, int32_t Top, int32_t Width,
                                             int32_t Height, uint32_t Key) {
    if (const Result entry = checkEntry(kScrambleRule, Bitmap); !entry.ok()) return entry.code;
    if (Width < 0 || Height < 0) return ERROR_INVALID_SIZE;
    return scramble(*Bitmap, Left, Top, Width, Height, Key).code;
}
