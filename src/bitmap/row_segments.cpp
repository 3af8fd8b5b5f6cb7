// Runs of pixels written into a row: whole pixels change, their neighbours in shared bytes do not.
#include <algorithm>
#include <cstring>

#include "base/pixel_format.h"
#include "base/sample_rules.h"
#include "bitmap/copy/bit_run.h"
#include "bitmap/lifecycle.h"
#include "bitmap/rows.h"
#include "bitmap/storage/storage.h"

namespace tnk {
namespace {

constexpr EntryRule kSegmentsEntry = {ERROR_INVALID_PARAMETER, 0, ERROR_STRUCT_SIZE};

struct Segment {
    uint32_t start;  // pixels from the caller's column on
    uint32_t end;    // exclusive
};

struct SegmentList {
    const uint32_t* words;
    uint32_t count;  // words; one without its partner is not looked at

    template <typename Visit>
    void forEach(Visit visit) const {
        for (uint32_t i = 0; count - i >= 2; i += 2) {
            if (words[i] < words[i + 1]) visit(Segment{words[i], words[i + 1]});
        }
    }
};

void mergeByte(uint8_t& target, uint8_t source, uint32_t mask) {
    target = static_cast<uint8_t>((target & ~mask) | (source & mask));
}

// The bits from pixel `start` to the end of its byte.
uint32_t startMask(uint32_t start, uint32_t bits) {
    // KEEP: 0F, by the rule, would be the tempting repair. A run of 2-bit pixels that starts at pixel 2 of a byte leaves
    // pixel 3 of that byte as it was.
    if (bits == 2 && (start & 3) == 2) return 0x0C;
    return 0xFFu >> ((start & 7) * bits & 7);
}

// The bits before pixel `end`; all of them when it begins a byte.
uint32_t endMask(uint32_t end, uint32_t bits) {
    const uint32_t used = (end & 7) * bits & 7;
    return used == 0 ? 0xFF : 0xFF00u >> used & 0xFF;
}

// 1 to 7 bits. The masks go by start and end alone: the caller's column begins a byte.
void putPacked(uint8_t* target, const uint8_t* source, Segment segment, uint32_t bits) {
    const uint64_t endBit = uint64_t{segment.end} * bits;
    auto bytes = static_cast<size_t>(((endBit + 7) >> 3) - (uint64_t{segment.start} * bits >> 3));
    const uint32_t last = endMask(segment.end, bits);
    uint32_t first = startMask(segment.start, bits);
    if (bytes < 2) first &= last;
    if (first != 0xFF) {
        mergeByte(*target++, *source++, first);
        if (--bytes == 0) return;
    }
    if (last == 0xFF) {
        std::memmove(target, source, bytes);
        return;
    }
    std::memmove(target, source, bytes - 1);
    mergeByte(target[bytes - 1], source[bytes - 1], last);
}

// 12 bits: an even pixel is the low bits of the little-endian word at its byte, an odd one the high bits.
void put12(uint8_t* target, const uint8_t* source, Segment segment) {
    uint32_t pixel = segment.start;
    if ((pixel & 1) != 0) {
        mergeByte(target[0], source[0], 0xF0);
        target[1] = source[1];
        target += 2;
        source += 2;
        ++pixel;
    }
    const uint32_t pixels = segment.end - pixel;
    const size_t pairs = size_t{pixels / 2} * 3;
    std::memmove(target, source, pairs);
    if ((pixels & 1) != 0) {
        target[pairs] = source[pairs];
        mergeByte(target[pairs + 1], source[pairs + 1], 0x0F);
    }
}

// Takes the first kTaken bytes of each pixel and of the next byte the bits of kMask; the rest of the pixel stays.
template <size_t kPixelSize, size_t kTaken, uint32_t kMask>
void putLowPart(uint8_t* target, const uint8_t* source, uint32_t pixels) {
    for (uint32_t i = 0; i < pixels; ++i) {
        std::memmove(target, source, kTaken);
        mergeByte(target[kTaken], source[kTaken], kMask);
        target += kPixelSize;
        source += kPixelSize;
    }
}

class SegmentWriter {
  public:
    SegmentWriter(const BitmapHandle& bitmap, uint32_t column, bool keepTopBits)
        : bits_(static_cast<uint32_t>(bitmap.BitsPerPixel)),
          column_(column),
          insideByte_(((uint64_t{column} * bits_) & 7) != 0),
          keepTopBits_(keepTopBits && (bits_ != 16 || !hasGraySamples(bitmap))) {}

    // The bytes of the row that a segment touches: the first, and the one after the last.
    uint64_t firstByte(Segment segment) const { return columnOffset(uint64_t{column_} + segment.start, bits_); }
    uint64_t endByte(Segment segment) const { return pixelBytes(uint64_t{column_} + segment.end, bits_); }

    // `target` is where the segment's first byte lies.
    void put(uint8_t* target, const uint8_t* buffer, Segment segment) const {
        const uint8_t* source = buffer + static_cast<size_t>(columnOffset(segment.start, bits_));
        const uint32_t pixels = segment.end - segment.start;
        if (insideByte_) {
            const auto phase = static_cast<uint32_t>((uint64_t{column_} + segment.start) * bits_ & 7);
            const uint64_t from = uint64_t{segment.start} * bits_;
            putBits(target, phase, buffer + static_cast<size_t>(from >> 3), from & 7, uint64_t{pixels} * bits_,
                    bits_ == 12);
        } else if (bits_ < 8) {
            putPacked(target, source, segment, bits_);
        } else if (bits_ == 12) {
            put12(target, source, segment);
        } else if (keepTopBits_ && bits_ == 16) {
            putLowPart<2, 1, 0x7F>(target, source, pixels);
        } else if (keepTopBits_ && bits_ == 32) {
            putLowPart<4, 3, 0>(target, source, pixels);
        } else if (keepTopBits_ && bits_ == 64) {
            putLowPart<8, 6, 0>(target, source, pixels);
        } else {
            std::memmove(target, source, size_t{pixels} * (bits_ / 8));
        }
    }

  private:
    uint32_t bits_;
    uint32_t column_;
    bool insideByte_;  // the column does not begin a byte, so that no mask goes by start and end alone
    bool keepTopBits_;
};

// Rows without an address: the span that the segments touch is read, changed and written back.
Result putThroughScratch(BitmapHandle& bitmap, const uint8_t* buffer, int32_t row, uint32_t column,
                         const SegmentList& segments, const SegmentWriter& writer) {
    uint32_t start = UINT32_MAX;
    uint64_t begin = UINT64_MAX;
    uint64_t end = 0;
    segments.forEach([&](Segment segment) {
        start = std::min(start, segment.start);
        begin = std::min(begin, writer.firstByte(segment));
        end = std::max(end, writer.endByte(segment));
    });
    if (end <= begin) return SUCCESS;
    if (end - begin > UINT32_MAX || column > UINT32_MAX - start) return FAILURE;
    const auto bytes = static_cast<uint32_t>(end - begin);
    Scratch<uint8_t> span;
    if (!span.allocate(bytes)) return FAILURE;

    const StorageKind& storage = storageOf(bitmap);
    const int64_t read = storage.read(bitmap, row, column + start, span.data(), bytes);
    if (read < 0) return static_cast<int32_t>(read);
    segments.forEach([&](Segment segment) {
        writer.put(span.data() + static_cast<size_t>(writer.firstByte(segment) - begin), buffer, segment);
    });
    const int64_t written = storage.write(bitmap, row, column + start, span.data(), bytes);
    return written < 0 ? Result(static_cast<int32_t>(written)) : Result(SUCCESS);
}

}  // namespace

Result putRowSegments(BitmapHandle& bitmap, const uint8_t* buffer, int32_t row, uint32_t column, const uint32_t* words,
                      uint32_t count, bool keepTopBits) {
    const SegmentList segments{words, count};
    uint8_t* target = nullptr;
    TRY(storageOf(bitmap).lend(bitmap, row, 1, &target));
    // A depth of no bitmap has no pixels to write.
    if (!isPixelDepth(static_cast<uint32_t>(bitmap.BitsPerPixel))) return SUCCESS;
    const SegmentWriter writer(bitmap, column, keepTopBits);
    if (target == nullptr) return putThroughScratch(bitmap, buffer, row, column, segments, writer);
    seekRow(bitmap, row);
    segments.forEach(
        [&](Segment segment) { writer.put(target + static_cast<size_t>(writer.firstByte(segment)), buffer, segment); });
    return SUCCESS;
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_PutBitmapRowSegments(BitmapHandle* Bitmap, const uint8_t* Buffer, int32_t Row,
                                                   uint32_t Col, const uint32_t* Segments, uint32_t Count,
                                                   uint32_t KeepTopBits) {
    if (Buffer == nullptr || Segments == nullptr) return ERROR_INVALID_PARAMETER;
    const Result entry = checkEntry(kSegmentsEntry, Bitmap);
    if (!entry.ok()) return entry.code;
    return putRowSegments(*Bitmap, Buffer, Row, Col, Segments, Count, KeepTopBits != 0).code;
}
