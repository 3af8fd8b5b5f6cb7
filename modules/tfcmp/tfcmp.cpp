// Codec module for super-compressed bitmaps: rows through simple predictors, then through zlib at its fastest.
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "tnkrn_codec.h"

namespace tfcmp {
namespace {

// Each packed row is a filter byte and the differences to what the filter expects, modulo 256.
enum Filter : uint8_t { kNone, kLeft, kUp, kFilters };

int32_t checkChunk(const CodecChunk* chunk, const void* rows, const void* packed) {
    if (chunk == nullptr || rows == nullptr || packed == nullptr) return T_ERROR_INVALID_PARAMETER;
    if (chunk->StructSize != sizeof(CodecChunk)) return T_ERROR_STRUCT_SIZE;
    const int32_t bits = chunk->BitsPerPixel;
    if (bits != 1 && bits != 8 && bits != 24) return T_ERROR_BPP_NOT_SUPPORTED;
    const bool valid = chunk->Rows > 0 && chunk->BytesPerLine > 0 &&
                       uint64_t{chunk->BytesPerLine} * static_cast<uint32_t>(chunk->Rows) <= UINT32_MAX;
    return valid ? T_SUCCESS : T_ERROR_INVALID_PARAMETER;
}

// Bytes to the pixel on the left. Packed pixels are left as they are: runs of equal bytes suit zlib.
uint32_t pixelStep(const CodecChunk& chunk) { return chunk.BitsPerPixel == 24 ? 3 : 1; }

void subtract(const uint8_t* row, const uint8_t* expected, uint8_t* out, uint32_t bytes) {
    for (uint32_t i = 0; i < bytes; ++i) out[i] = static_cast<uint8_t>(row[i] - expected[i]);
}

void applyFilter(Filter filter, const uint8_t* row, const uint8_t* above, uint32_t step, uint32_t bytes, uint8_t* out) {
    *out++ = filter;
    const uint32_t first = std::min(step, bytes);
    switch (filter) {
        case kLeft:
            std::memcpy(out, row, first);
            subtract(row + first, row, out + first, bytes - first);
            break;
        case kUp:
            subtract(row, above, out, bytes);
            break;
        default:
            std::memcpy(out, row, bytes);
            break;
    }
}

void undoFilter(uint8_t filter, const uint8_t* packed, const uint8_t* above, uint32_t step, uint32_t bytes,
                uint8_t* row) {
    const uint32_t first = std::min(step, bytes);
    switch (filter) {
        case kLeft:
            std::memcpy(row, packed, first);
            for (uint32_t i = first; i < bytes; ++i) row[i] = static_cast<uint8_t>(packed[i] + row[i - step]);
            break;
        case kUp:
            for (uint32_t i = 0; i < bytes; ++i) row[i] = static_cast<uint8_t>(packed[i] + above[i]);
            break;
        default:
            std::memcpy(row, packed, bytes);
            break;
    }
}

// Small differences of either sign pack well.
uint64_t costOf(const uint8_t* differences, uint32_t bytes) {
    uint64_t sum = 0;
    for (uint32_t i = 0; i < bytes; ++i) {
        const uint32_t value = differences[i];
        sum += std::min(value, 256 - value);
    }
    return sum;
}

// Red and blue of a picture follow green: turns them into their distance from it, and back. The bytes after a row's last
// three stay.
template <int kSign>
void shiftByGreen(const uint8_t* row, uint32_t bytes, uint8_t* out) {
    uint32_t i = 0;
    for (; i + 3 <= bytes; i += 3) {
        const uint8_t green = row[i + 1];
        out[i] = static_cast<uint8_t>(row[i] + kSign * green);
        out[i + 1] = green;
        out[i + 2] = static_cast<uint8_t>(row[i + 2] + kSign * green);
    }
    std::copy(row + i, row + bytes, out + i);
}

struct Free {
    void operator()(uint8_t* block) const { std::free(block); }
};
using Block = std::unique_ptr<uint8_t[], Free>;

Block allocate(uint64_t bytes) {
    const bool fits = bytes <= SIZE_MAX / 2;
    return Block(fits ? static_cast<uint8_t*>(std::malloc(static_cast<size_t>(bytes))) : nullptr);
}

// Two rows with red and blue less green, the one at hand and the one above it; no more than names for the rows of other
// depths.
class GreenRows {
  public:
    explicit GreenRows(const CodecChunk& chunk) : bytes_(chunk.BytesPerLine), colors_(chunk.BitsPerPixel == 24) {}

    bool prepare() {
        if (!colors_) return true;
        for (Block& block : blocks_) block = allocate(bytes_);
        return blocks_[0] != nullptr && blocks_[1] != nullptr;
    }
    const uint8_t* above() const { return above_; }

    // For packing: the form of `row` that the filters see.
    const uint8_t* enter(const uint8_t* row) {
        if (!colors_) return row;
        shiftByGreen<-1>(row, bytes_, blocks_[0].get());
        return blocks_[0].get();
    }
    // For unpacking: where the filters put the form of `row`, and the row made from it.
    uint8_t* place(uint8_t* row) const { return colors_ ? blocks_[0].get() : row; }
    void leave(uint8_t* row) const {
        if (colors_) shiftByGreen<1>(blocks_[0].get(), bytes_, row);
    }
    // Goes on to the next row; `form` is what enter() or place() gave.
    void advance(const uint8_t* form) {
        above_ = form;
        std::swap(blocks_[0], blocks_[1]);
    }

  private:
    uint32_t bytes_;
    bool colors_;
    Block blocks_[2];
    const uint8_t* above_ = nullptr;  // null before the second row
};

// The filtered forms of one row, of which the cheapest is taken.
class RowFilter {
  public:
    explicit RowFilter(const CodecChunk& chunk)
        : bytes_(chunk.BytesPerLine), step_(pixelStep(chunk)), filters_(chunk.BitsPerPixel == 1 ? 1 : kFilters) {}

    bool prepare() {
        forms_ = allocate((uint64_t{bytes_} + 1) * filters_);
        return forms_ != nullptr;
    }

    // bytes + 1 bytes; `above` is null for the first row.
    const uint8_t* filter(const uint8_t* row, const uint8_t* above) {
        const uint8_t* best = nullptr;
        uint64_t bestCost = UINT64_MAX;
        for (uint32_t i = 0; i < filters_; ++i) {
            if (i == kUp && above == nullptr) continue;
            uint8_t* const form = forms_.get() + (size_t{bytes_} + 1) * i;
            applyFilter(static_cast<Filter>(i), row, above, step_, bytes_, form);
            const uint64_t cost = filters_ == 1 ? 0 : costOf(form + 1, bytes_);
            if (cost >= bestCost) continue;
            best = form;
            bestCost = cost;
        }
        return best;
    }

  private:
    uint32_t bytes_;
    uint32_t step_;
    uint32_t filters_;
    Block forms_;
};

// The gzip frame for its CRC: Adler's sum of the zlib frame misses damage among small differences.
constexpr int kGzip = MAX_WBITS + 16;

class Deflater {
  public:
    // Runs only: what the predictors leave has few longer matches, and looking for them takes twice the time.
    bool begin() {
        ready_ = deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, kGzip, MAX_MEM_LEVEL, Z_RLE) == Z_OK;
        return ready_;
    }
    ~Deflater() {
        if (ready_) deflateEnd(&stream);
    }
    z_stream stream{};

  private:
    bool ready_ = false;
};

class Inflater {
  public:
    bool begin() {
        ready_ = inflateInit2(&stream, kGzip) == Z_OK;
        return ready_;
    }
    ~Inflater() {
        if (ready_) inflateEnd(&stream);
    }
    z_stream stream{};

  private:
    bool ready_ = false;
};

int32_t pack(const CodecChunk& chunk, const uint8_t* rows, uint8_t* packed, uint32_t capacity, uint32_t* bytes) {
    GreenRows green(chunk);
    RowFilter filter(chunk);
    Deflater deflater;
    if (!green.prepare() || !filter.prepare() || !deflater.begin()) return T_FAILURE;
    z_stream& stream = deflater.stream;
    stream.next_out = packed;
    stream.avail_out = capacity;
    for (int32_t row = 0; row < chunk.Rows; ++row, rows += chunk.BytesPerLine) {
        const uint8_t* const form = green.enter(rows);
        stream.next_in = const_cast<uint8_t*>(filter.filter(form, green.above()));
        stream.avail_in = chunk.BytesPerLine + 1;
        green.advance(form);
        const bool last = row + 1 == chunk.Rows;
        // Full output shows as input that stays, or as an end that does not come.
        const int result = deflate(&stream, last ? Z_FINISH : Z_NO_FLUSH);
        const bool taken = last ? result == Z_STREAM_END : result == Z_OK && stream.avail_in == 0;
        if (!taken) return T_FAILURE;
    }
    *bytes = capacity - stream.avail_out;
    return T_SUCCESS;
}

// Fills `out`, also where zlib gives it in parts.
bool inflateBytes(z_stream& stream, uint8_t* out, uint32_t bytes) {
    stream.next_out = out;
    stream.avail_out = bytes;
    const int result = inflate(&stream, Z_SYNC_FLUSH);
    return (result == Z_OK || result == Z_STREAM_END) && stream.avail_out == 0;
}

// The data ends here, and zlib's sum of it is right.
bool inflateEnds(z_stream& stream) {
    uint8_t beyond = 0;
    stream.next_out = &beyond;
    stream.avail_out = 1;
    return inflate(&stream, Z_FINISH) == Z_STREAM_END && stream.avail_out == 1 && stream.avail_in == 0;
}

int32_t unpack(const CodecChunk& chunk, const uint8_t* packed, uint32_t bytes, uint8_t* rows) {
    const uint32_t line = chunk.BytesPerLine;
    const Block filtered = allocate(uint64_t{line} + 1);
    GreenRows green(chunk);
    Inflater inflater;
    if (filtered == nullptr || !green.prepare() || !inflater.begin()) return T_FAILURE;
    z_stream& stream = inflater.stream;
    stream.next_in = const_cast<uint8_t*>(packed);
    stream.avail_in = bytes;
    for (int32_t row = 0; row < chunk.Rows; ++row, rows += line) {
        if (!inflateBytes(stream, filtered.get(), line + 1)) return T_FAILURE;
        const uint8_t filter = filtered[0];
        if (filter >= kFilters || (filter == kUp && green.above() == nullptr)) return T_FAILURE;
        uint8_t* const form = green.place(rows);
        undoFilter(filter, filtered.get() + 1, green.above(), pixelStep(chunk), line, form);
        green.leave(rows);
        green.advance(form);
    }
    return inflateEnds(stream) ? T_SUCCESS : T_FAILURE;
}

}  // namespace
}  // namespace tfcmp

using namespace tfcmp;

extern "C" int32_t TNK_CALL fltSaveBuffer(const CodecChunk* Chunk, const uint8_t* Rows, uint8_t* Packed,
                                          uint32_t Capacity, uint32_t* PackedBytes) {
    if (PackedBytes == nullptr) return T_ERROR_INVALID_PARAMETER;
    const int32_t checked = checkChunk(Chunk, Rows, Packed);
    return checked == T_SUCCESS ? pack(*Chunk, Rows, Packed, Capacity, PackedBytes) : checked;
}

extern "C" int32_t TNK_CALL fltLoadBuffer(const CodecChunk* Chunk, const uint8_t* Packed, uint32_t PackedBytes,
                                          uint8_t* Rows) {
    const int32_t checked = checkChunk(Chunk, Rows, Packed);
    return checked == T_SUCCESS ? unpack(*Chunk, Packed, PackedBytes, Rows) : checked;
}
