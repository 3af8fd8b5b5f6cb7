// Copies of bitmaps and of rectangles beside memory copies of the same bytes.
#include <cstdlib>
#include <cstring>

#include "bitmap/copy/bit_run.h"
#include "contest.h"

namespace tnk::bench {
namespace {

constexpr char kCopy[] = "memory copy";

BitmapHandle create(int32_t width, int32_t height, int32_t bits) {
    BitmapHandle bitmap;
    const int32_t made =
        T_CreateBitmap(&bitmap, sizeof bitmap, MEM_CONVENTIONAL, width, height, bits, 1, nullptr, 1, nullptr, 0);
    if (made != SUCCESS) std::abort();
    return bitmap;
}

// A bitmap of the photograph's bytes, whatever they mean at this depth; lives as long as the program.
BitmapHandle* photograph(int32_t bits) {
    auto* bitmap = new BitmapHandle(create(kWidth, kHeight, bits));
    std::memcpy(bitmap->pData, pictures().bgra64.data(), bitmap->Size);
    return bitmap;
}

void copyRows(const BitmapHandle& to, const uint8_t* from, size_t stride) {
    for (int32_t y = 0; y < to.Height; ++y) {
        std::memcpy(to.pData + size_t{to.BytesPerLine} * static_cast<uint32_t>(y), from, to.BytesPerLine);
        from += stride;
    }
}

void wholeCopies(int32_t bits) {
    BitmapHandle* source = photograph(bits);
    auto* target = new BitmapHandle(create(kWidth, kHeight, bits));
    const std::string data = "Copy " + std::to_string(bits) + " bits into a bitmap";
    contender(data, kCopy, [=] { std::memcpy(target->pData, source->pData, source->Size); });
    contender(data, kThere, [=] { T_CopyBitmapData(target, source); });

    const std::string whole = "Copy " + std::to_string(bits) + " bits, new bitmap";
    contender(whole, kCopy, [=] { std::memcpy(target->pData, source->pData, source->Size); });
    contender(whole, kNew, [=] {
        BitmapHandle copy;
        T_CopyBitmap(&copy, source, sizeof copy);
        T_FreeBitmap(&copy);
    });
}

// The memory copy moves the rectangle's bytes into a bitmap of its size that is there, from whole bytes on.
void rectangles(int32_t bits, int32_t left) {
    constexpr int32_t kCutWidth = 4000;
    constexpr int32_t kCutHeight = 3000;
    BitmapHandle* source = photograph(bits);
    const std::string job =
        "Cut 4000 x 3000 of " + std::to_string(bits) + " bits, new bitmap, from column " + std::to_string(left);
    auto* target = new BitmapHandle(create(kCutWidth, kCutHeight, bits));
    contender(job, kCopy, [=] { copyRows(*target, source->pData, source->BytesPerLine); });
    contender(job, kNew, [=] {
        BitmapHandle cut;
        T_CopyBitmapRect(&cut, source, sizeof cut, left, 5, kCutWidth, kCutHeight);
        T_FreeBitmap(&cut);
    });

    // Without the new bitmap, whose memory costs more than its pixels.
    const std::string alone = "Shift rows of " + std::to_string(bits) + " bits from column " + std::to_string(left);
    const auto phase = static_cast<uint32_t>(left * bits % 8);
    const auto pixelBits = uint64_t{kCutWidth} * static_cast<uint32_t>(bits);
    contender(alone, kCopy, [=] {
        for (size_t y = 0; y < kHeight; ++y) {
            std::memcpy(output(1) + y * source->BytesPerLine, source->pData + y * source->BytesPerLine, pixelBits / 8);
        }
    });
    contender(alone, kEngine, [=] {
        for (size_t y = 0; y < kHeight; ++y) {
            moveBits(output(1) + y * source->BytesPerLine, 0, source->pData + y * source->BytesPerLine, phase,
                     pixelBits, bits == 12);
        }
    });
}

}  // namespace

void registerCopies() {
    for (const int32_t bits : {1, 8, 24}) wholeCopies(bits);
    rectangles(24, 32);
    rectangles(1, 32);
    rectangles(1, 3);
    rectangles(4, 1);
    rectangles(12, 1);
}

}  // namespace tnk::bench
