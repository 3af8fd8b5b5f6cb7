#include "geometry/size/nearest_rows.h"

#include <cstring>

#include "base/pixel_format.h"
#include "base/shape.h"
#include "convert/packed_pixels.h"

namespace tnk {
namespace {

template <uint32_t kBytes>
void pickBytes(const uint8_t* row, const uint32_t* columns, size_t count, uint8_t* target) {
    for (size_t i = 0; i < count; ++i) std::memcpy(target + kBytes * i, row + columns[i], kBytes);
}

void pickPixels(uint32_t bytes, const uint8_t* row, const uint32_t* columns, size_t count, uint8_t* target) {
    switch (bytes) {
        case 1:
            return pickBytes<1>(row, columns, count, target);
        case 2:
            return pickBytes<2>(row, columns, count, target);
        case 3:
            return pickBytes<3>(row, columns, count, target);
        case 4:
            return pickBytes<4>(row, columns, count, target);
        case 6:
            return pickBytes<6>(row, columns, count, target);
        default:
            return pickBytes<8>(row, columns, count, target);
    }
}

// Pixels that share bytes are picked from bytes, or from words when they have 12 bits.
constexpr uint32_t bytesWhenPicked(uint32_t bits) { return bits < 8 ? 1 : bits == 12 ? 4 : bits / 8; }

}  // namespace

Result NearestRows::prepare(const Dimensions& size) {
    size_ = size;
    const Shape shape(source_);
    const auto width = static_cast<uint32_t>(size.width);
    pickedBytes_ = bytesWhenPicked(shape.bits);
    rowBytes_ = static_cast<size_t>(pixelBytes(width, shape.bits));
    if (size.height > source_.Height && !kept_.allocate(rowBytes_)) return FAILURE;
    if (size.width != source_.Width) {
        if (!columns_.allocate(width)) return FAILURE;
        for (uint32_t i = 0; i < width; ++i) {
            columns_[i] = static_cast<uint32_t>(uint64_t{i} * shape.width / width) * pickedBytes_;
        }
        if (pickedBytes_ * 8 != shape.bits) {
            if (!unpacked_.allocate(uint64_t{shape.width} * pickedBytes_)) return FAILURE;
            if (!picked_.allocate(uint64_t{width} * pickedBytes_)) return FAILURE;
        }
    }
    return reader_.prepare();
}

Result NearestRows::make(int32_t row, uint8_t* target) {
    const auto from = static_cast<int32_t>(int64_t{row} * source_.Height / size_.height);
    if (!kept_) return scale(from, target);
    if (keptRow_ != from) {
        keptRow_ = -1;
        TRY(scale(from, kept_.data()));
        keptRow_ = from;
    }
    std::memcpy(target, kept_.data(), rowBytes_);
    return SUCCESS;
}

Result NearestRows::scale(int32_t from, uint8_t* target) {
    uint8_t* row;
    TRY(reader_.read(from, 1, &row));
    if (columns_) {
        pick(row, target);
        return SUCCESS;
    }
    std::memmove(target, row, rowBytes_);
    // Bits of the last byte that no pixel has: the first 12-bit pixel of a pair has the low half of the shared byte.
    const auto used = static_cast<uint32_t>(Shape(source_).width % 8 * Shape(source_).bits % 8);
    if (used != 0) target[rowBytes_ - 1] &= static_cast<uint8_t>(pickedBytes_ == 4 ? 0x0F : 0xFF00 >> used);
    return SUCCESS;
}

void NearestRows::pick(const uint8_t* row, uint8_t* target) {
    const Shape shape(source_);
    const auto width = static_cast<size_t>(size_.width);
    if (!unpacked_) {
        pickPixels(pickedBytes_, row, columns_.data(), width, target);
        return;
    }
    if (shape.bits == 12) {
        auto* const samples = reinterpret_cast<uint32_t*>(unpacked_.data());
        unpack12(row, samples, shape.width);
        pickPixels(pickedBytes_, unpacked_.data(), columns_.data(), width, picked_.data());
        pack12(reinterpret_cast<const uint32_t*>(picked_.data()), target, width);
        return;
    }
    unpackPixels(shape.bits, row, unpacked_.data(), shape.width);
    pickPixels(pickedBytes_, unpacked_.data(), columns_.data(), width, picked_.data());
    packPixels(shape.bits, picked_.data(), target, width);
}

}  // namespace tnk
