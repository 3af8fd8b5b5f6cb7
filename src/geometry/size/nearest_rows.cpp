#include "geometry/size/nearest_rows.h"

#include <algorithm>
#include <cstring>

#include "base/pixel_format.h"
#include "base/shape.h"
#include "convert/packed_pixels.h"

namespace tnk {
namespace {

template <uint32_t kBytes>
void pickBytes(const uint8_t* row, const uint32_t* columns, size_t count, uint8_t* target) {
    for (size_t i = 0; i < count; ++i) std::memcpy(target + kBytes * i, row + size_t{kBytes} * columns[i], kBytes);
}

void pickOneByOne(uint32_t bytes, const uint8_t* row, const uint32_t* columns, size_t count, uint8_t* target) {
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
            columns_[i] = static_cast<uint32_t>(uint64_t{i} * shape.width / width);
        }
        if (pickedBytes_ * 8 != shape.bits) {
            if (!unpacked_.allocate(uint64_t{shape.width} * pickedBytes_)) return FAILURE;
            if (!picked_.allocate(uint64_t{width} * pickedBytes_)) return FAILURE;
        }
        TRY(prepareRuns());
    }
    return reader_.prepare();
}

// As many runs as lie in the row with all that they read and write.
Result NearestRows::prepareRuns() {
    const uint64_t rowBytes = uint64_t{Shape(source_).width} * pickedBytes_;
    const auto width = static_cast<uint32_t>(size_.width);
    runPixels_ = 16 / pickedBytes_;
    const auto place = [&](uint32_t column) { return uint64_t{columns_[column]} * pickedBytes_; };
    uint32_t runs = (width - width % runPixels_) / runPixels_;
    if (runs != 0 && uint64_t{width} * pickedBytes_ < uint64_t{runs - 1} * runPixels_ * pickedBytes_ + 16) --runs;
    if (kernels_.pick == nullptr || runs == 0 || rowBytes < PickRun::kReach) return SUCCESS;
    for (uint32_t r = 0; r < runs; ++r) {
        const uint32_t first = r * runPixels_;
        if (place(first + runPixels_ - 1) + pickedBytes_ - place(first) > PickRun::kReach) return SUCCESS;
    }
    if (!runs_.allocate(runs)) return FAILURE;
    for (uint32_t r = 0; r < runs; ++r) {
        PickRun& run = runs_[r];
        const uint32_t first = r * runPixels_;
        run.from = std::min(place(first), rowBytes - PickRun::kReach);
        for (uint32_t i = 0; i < 16; ++i) {
            const uint32_t pixel = std::min(i / pickedBytes_, runPixels_ - 1);
            const auto at = static_cast<uint32_t>(place(first + pixel) + i % pickedBytes_ - run.from);
            run.low[i] = at < 16 ? static_cast<uint8_t>(at) : PickRun::kNowhere;
            run.high[i] = at < 16 ? PickRun::kNowhere : static_cast<uint8_t>(at - 16);
        }
    }
    return SUCCESS;
}

void NearestRows::pickPixels(const uint8_t* row, uint8_t* target) const {
    size_t done = 0;
    if (runs_) {
        kernels_.pick(row, runs_.data(), runs_.size(), runPixels_ * pickedBytes_, target);
        done = runs_.size() * runPixels_;
    }
    pickOneByOne(pickedBytes_, row, columns_.data() + done, columns_.size() - done, target + done * pickedBytes_);
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
        pickPixels(row, target);
        return;
    }
    if (shape.bits == 12) {
        auto* const samples = reinterpret_cast<uint32_t*>(unpacked_.data());
        unpack12(row, samples, shape.width);
        pickPixels(unpacked_.data(), picked_.data());
        pack12(reinterpret_cast<const uint32_t*>(picked_.data()), target, width);
        return;
    }
    unpackPixels(shape.bits, row, unpacked_.data(), shape.width);
    pickPixels(unpacked_.data(), picked_.data());
    packPixels(shape.bits, picked_.data(), target, width);
}

}  // namespace tnk
