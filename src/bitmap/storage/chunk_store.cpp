#include "bitmap/storage/chunk_store.h"

#include <algorithm>
#include <cstring>

#include "platform/platform.h"

namespace tnk {
namespace {

// Large enough to pack well, small enough that one row in it comes back within a millisecond or two.
constexpr uint32_t kChunkBytes = 256 * 1024;

// Behind every buffer that a codec writes, so that a few bytes too many hurt nothing.
constexpr uint32_t kGuardBytes = 4096;
constexpr uint8_t kGuardValue = 0xA5;

void setGuard(uint8_t* end) { std::memset(end, kGuardValue, kGuardBytes); }

bool guardHolds(const uint8_t* end) {
    return std::all_of(end, end + kGuardBytes, [](uint8_t byte) { return byte == kGuardValue; });
}

// Rows are multiples of 4 bytes. Not against malice: it tells rows from what a faulty codec made of them.
uint64_t checksumOf(const uint8_t* rows, uint32_t bytes) {
    constexpr uint64_t kFactor = 0x9E3779B97F4A7C15;
    uint64_t sum = bytes;
    for (uint32_t i = 0; i < bytes;) {
        uint64_t word = 0;
        const uint32_t step = std::min<uint32_t>(sizeof word, bytes - i);
        std::memcpy(&word, rows + i, step);
        sum = (sum ^ word) * kFactor;
        sum ^= sum >> 29;
        i += step;
    }
    return sum;
}

}  // namespace

ChunkStore::~ChunkStore() {
    for (Chunk& chunk : chunks_.span()) dropChunk(chunk);
    mark_ = 0;
}

Result ChunkStore::open(const BitmapHandle& bitmap) {
    const uint32_t line = bitmap.BytesPerLine;
    if (line == 0 || bitmap.Height < 1) return FAILURE;  // Size was set by hand
    const auto rows = static_cast<int32_t>(std::max(1u, kChunkBytes / line));
    format_ = {sizeof(CodecChunk), bitmap.BitsPerPixel, bitmap.Order, bitmap.Width, rows, line};
    height_ = bitmap.Height;
    TRY(codec_.open(bitmap.BitsPerPixel));
    return chunks_.allocate(chunksOf(height_), true) ? SUCCESS : FAILURE;
}

uint32_t ChunkStore::chunksOf(int32_t height) const {
    return static_cast<uint32_t>((int64_t{height} + format_.Rows - 1) / format_.Rows);
}

int32_t ChunkStore::rowsIn(uint32_t index) const {
    return static_cast<int32_t>(std::min<int64_t>(format_.Rows, height_ - int64_t{index} * format_.Rows));
}

CodecChunk ChunkStore::describe(int32_t rows) const {
    CodecChunk chunk = format_;
    chunk.Rows = rows;
    return chunk;
}

bool ChunkStore::contains(int32_t row, uint64_t offset, uint32_t bytes) const {
    if (row < 0 || row >= height_) return false;
    return offset + bytes <= uint64_t{format_.BytesPerLine} * static_cast<uint32_t>(height_ - row);
}

// Calls visit(chunk index, byte in the chunk, bytes, bytes before it) for each chunk that the span touches.
template <typename Visit>
Result ChunkStore::forPieces(int32_t row, uint64_t offset, uint32_t bytes, Visit visit) {
    const ObjectGuard guard(lock_);
    if (!contains(row, offset, bytes)) return FAILURE;
    const uint64_t chunkBytes = plainBytes(format_.Rows);
    uint64_t position = uint64_t{format_.BytesPerLine} * static_cast<uint32_t>(row) + offset;
    for (uint32_t done = 0; done < bytes;) {
        const auto index = static_cast<uint32_t>(position / chunkBytes);
        const auto start = static_cast<uint32_t>(position % chunkBytes);
        const uint32_t count = std::min(bytes - done, plainBytes(rowsIn(index)) - start);
        TRY(visit(index, start, count, done));
        done += count;
        position += count;
    }
    return SUCCESS;
}

Result ChunkStore::read(int32_t row, uint64_t offset, uint8_t* buffer, uint32_t bytes) {
    return forPieces(row, offset, bytes, [&](uint32_t index, uint32_t start, uint32_t count, uint32_t done) -> Result {
        Slot* slot = find(index);
        if (slot == nullptr && chunks_[index].data == nullptr) {
            std::memset(buffer + done, 0, count);
            return SUCCESS;
        }
        if (slot == nullptr) TRY(bring(index, false, &slot));
        std::memcpy(buffer + done, slot->rows.data() + start, count);
        return SUCCESS;
    });
}

Result ChunkStore::write(int32_t row, uint64_t offset, const uint8_t* buffer, uint32_t bytes) {
    return forPieces(row, offset, bytes, [&](uint32_t index, uint32_t start, uint32_t count, uint32_t done) -> Result {
        Slot* slot = find(index);
        if (slot == nullptr) TRY(bring(index, count == plainBytes(rowsIn(index)), &slot));
        slot->changed = true;
        std::memcpy(slot->rows.data() + start, buffer + done, count);
        return SUCCESS;
    });
}

Result ChunkStore::resize(int32_t height) {
    const ObjectGuard guard(lock_);
    if (height < height_) {
        shrink(height);
        return SUCCESS;
    }
    const uint32_t count = chunksOf(height);
    Scratch<Chunk> table;
    if (count > chunks_.size()) {
        if (!table.allocate(count, true)) return FAILURE;
        std::memcpy(table.data(), chunks_.data(), chunks_.size() * sizeof(Chunk));
    }
    TRY(growLastChunk(height));
    if (table) chunks_ = std::move(table);
    height_ = height;
    return SUCCESS;
}

// Gives the last chunk, where it is plain, room for the rows that it gains. One that is stored gains them when it comes
// back.
Result ChunkStore::growLastChunk(int32_t height) {
    const uint32_t last = chunksOf(height_) - 1;
    Slot* slot = find(last);
    if (slot == nullptr) return SUCCESS;
    const int64_t rows = std::min<int64_t>(format_.Rows, height - int64_t{last} * format_.Rows);
    const uint32_t before = plainBytes(rowsIn(last));
    const uint32_t after = plainBytes(static_cast<int32_t>(rows));
    if (slot->rows.size() < uint64_t{after} + kGuardBytes) {
        Scratch<uint8_t> wider;
        if (!wider.allocate(uint64_t{after} + kGuardBytes)) return FAILURE;
        std::memcpy(wider.data(), slot->rows.data(), before);
        slot->rows = std::move(wider);
    }
    std::memset(slot->rows.data() + before, 0, after - before);
    return SUCCESS;
}

void ChunkStore::shrink(int32_t height) {
    const uint32_t count = chunksOf(height);
    for (uint32_t i = count; i < chunksOf(height_); ++i) {
        if (Slot* slot = find(i); slot != nullptr) *slot = {};
        dropChunk(chunks_[i]);
    }
    height_ = height;
    // Nothing is packed anew: the rows are cut off when the chunk comes back. Plain rows past the end are cleared when
    // the bitmap grows again.
    Chunk& last = chunks_[count - 1];
    last.rows = std::min(last.rows, rowsIn(count - 1));
}

uint64_t ChunkStore::storedBytes() {
    const ObjectGuard guard(lock_);
    uint64_t sum = 0;
    for (const Chunk& chunk : chunks_.span()) sum += chunk.bytes;
    for (Slot& slot : slots_) {
        if (slot.chunk == kNoChunk || !slot.changed) continue;
        sum -= chunks_[slot.chunk].bytes;
        sum += store(slot).ok() ? chunks_[slot.chunk].bytes : plainBytes(rowsIn(slot.chunk));
    }
    return sum;
}

void ChunkStore::dropChunk(Chunk& chunk) {
    if (chunk.data != nullptr) platform->freeLocal(chunk.data);
    chunk = {};
}

ChunkStore::Slot* ChunkStore::find(uint32_t index) {
    for (Slot& slot : slots_) {
        if (slot.chunk != index) continue;
        slot.lastUse = ++uses_;
        return &slot;
    }
    return nullptr;
}

// Makes the chunk plain. With `overwritten` its rows are about to be written whole, and come undefined.
Result ChunkStore::bring(uint32_t index, bool overwritten, Slot** found) {
    const Chunk& chunk = chunks_[index];
    const uint32_t bytes = plainBytes(rowsIn(index));
    const uint64_t room = uint64_t{std::max(bytes, plainBytes(chunk.storedRows))} + kGuardBytes;

    Slot* slot = &slots_[slots_[0].lastUse <= slots_[1].lastUse ? 0 : 1];
    if (!evict(*slot, room).ok()) {
        // Without memory for one place the other may still do.
        slot = slot == &slots_[0] ? &slots_[1] : &slots_[0];
        TRY(evict(*slot, room));
    }
    if (!overwritten) {
        TRY(unpack(chunk, slot->rows.data()));
        const uint32_t used = plainBytes(chunk.rows);
        std::memset(slot->rows.data() + used, 0, bytes - used);
    }
    slot->chunk = index;
    slot->lastUse = ++uses_;
    *found = slot;
    return SUCCESS;
}

// Stores what the slot holds and gives it room for `bytes` bytes.
Result ChunkStore::evict(Slot& slot, uint64_t bytes) {
    if (slot.chunk != kNoChunk && slot.changed) TRY(store(slot));
    slot.chunk = kNoChunk;
    slot.changed = false;
    return slot.rows.size() >= bytes || slot.rows.allocate(bytes) ? SUCCESS : FAILURE;
}

Result ChunkStore::unpack(const Chunk& chunk, uint8_t* rows) const {
    if (chunk.data == nullptr) return SUCCESS;
    if (isPlain(chunk)) {
        std::memcpy(rows, chunk.data, chunk.bytes);
        return SUCCESS;
    }
    const int32_t code = codec_.load(describe(chunk.storedRows), chunk.data, chunk.bytes, rows);
    if (code < 0) return code;
    const bool same = code == SUCCESS && checksumOf(rows, plainBytes(chunk.storedRows)) == chunk.checksum;
    return same ? SUCCESS : FAILURE;
}

// Puts the slot's rows into the table; without memory the slot is left as the only place that has them.
Result ChunkStore::store(Slot& slot) {
    const int32_t rows = rowsIn(slot.chunk);
    const uint32_t plain = plainBytes(rows);
    Scratch<uint8_t> kept;
    uint32_t bytes = pack(describe(rows), slot.rows.data(), kept);
    if (bytes == 0) {
        if (!kept.allocate(plain)) return FAILURE;
        std::memcpy(kept.data(), slot.rows.data(), plain);
        bytes = plain;
    }
    Chunk& chunk = chunks_[slot.chunk];
    dropChunk(chunk);
    const uint64_t checksum = bytes < plain ? checksumOf(slot.rows.data(), plain) : 0;
    chunk = {kept.detach(), bytes, rows, rows, checksum};
    slot.changed = false;
    return SUCCESS;
}

// Bytes of the packed rows in `kept`; 0 when the codec does not make them smaller, or wrongly, or without memory.
uint32_t ChunkStore::pack(const CodecChunk& format, const uint8_t* rows, Scratch<uint8_t>& kept) const {
    const uint32_t plain = plainBytes(format.Rows);
    const uint32_t capacity = plain - 1;
    Scratch<uint8_t> packed;
    Scratch<uint8_t> unpacked;
    if (!packed.allocate(uint64_t{capacity} + kGuardBytes)) return 0;
    if (!unpacked.allocate(uint64_t{plain} + kGuardBytes)) return 0;

    uint32_t bytes = 0;
    setGuard(packed.data() + capacity);
    const int32_t saved = codec_.save(format, rows, packed.data(), capacity, &bytes);
    if (saved != SUCCESS || bytes == 0 || bytes > capacity || !guardHolds(packed.data() + capacity)) return 0;
    // The codec unpacks from a block that ends where the packed bytes do, as it will later.
    if (!kept.allocate(bytes)) return 0;
    std::memcpy(kept.data(), packed.data(), bytes);

    // Every byte begins as a wrong one, so that one that the codec does not write cannot pass.
    uint8_t* const check = unpacked.data();
    std::transform(rows, rows + plain, check, [](uint8_t byte) { return static_cast<uint8_t>(~byte); });
    setGuard(check + plain);
    const int32_t loaded = codec_.load(format, kept.data(), bytes, check);
    const bool same = loaded == SUCCESS && guardHolds(check + plain) && std::memcmp(check, rows, plain) == 0;
    return same ? bytes : 0;
}

}  // namespace tnk
