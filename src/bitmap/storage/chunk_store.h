// Rows kept packed: the state behind a super-compressed bitmap.
#pragma once

#include <cstdint>

#include "base/object_lock.h"
#include "base/result.h"
#include "base/scratch.h"
#include "bitmap/storage/codec_module.h"
#include "tnkrn.h"

namespace tnk {

// The rows lie in chunks, each packed on its own. Two chunks are kept plain, so that work that goes through a bitmap in
// two places at a time (top and bottom, row and next row) does not pack and unpack for each row. A plain chunk that was
// changed is packed when its place is needed.
//
// No answer of the codec loses rows: what was packed is unpacked and compared before the plain rows go, rows that cannot
// be packed are stored as they are, and a checksum tells when a stored chunk comes back as something else.
class ChunkStore {
  public:
    // Tells a store from what else a record may point to.
    static constexpr uint64_t kMark = 0x736B6E7568435423;

    ~ChunkStore();

    // Once, before anything else. ERROR_CODEC_MISSING, or FAILURE without memory.
    Result open(const BitmapHandle& bitmap);

    // `offset` bytes from the start of the row on, over as many rows as `bytes` reach. FAILURE, with nothing moved, when
    // some of it lies outside; the codec's code when a chunk cannot be unpacked; FAILURE when memory ran out. Chunks
    // before the one that failed have been moved.
    Result read(int32_t row, uint64_t offset, uint8_t* buffer, uint32_t bytes);
    Result write(int32_t row, uint64_t offset, const uint8_t* buffer, uint32_t bytes);

    // New rows are zero. Only growing can fail, and then changes nothing.
    Result resize(int32_t height);

    // The lengths of all chunks as they are stored. Changed chunks are packed first; one for which there is no memory
    // counts with its plain length.
    uint64_t storedBytes();

  private:
    struct Chunk {
        uint8_t* data;       // null: never written, all zero
        uint32_t bytes;      // at `data`
        int32_t storedRows;  // that `data` holds; packed rows take fewer bytes than plain ones
        int32_t rows;        // of these are still in the bitmap; what follows them in the chunk is zero
        uint64_t checksum;   // of the stored rows, unpacked
    };

    static constexpr uint32_t kNoChunk = UINT32_MAX;
    struct Slot {
        uint32_t chunk = kNoChunk;
        bool changed = false;
        uint64_t lastUse = 0;
        Scratch<uint8_t> rows;  // with a guard behind them
    };

    uint32_t chunksOf(int32_t height) const;
    int32_t rowsIn(uint32_t index) const;
    uint32_t plainBytes(int32_t rows) const { return static_cast<uint32_t>(rows) * format_.BytesPerLine; }
    bool isPlain(const Chunk& chunk) const { return chunk.bytes == plainBytes(chunk.storedRows); }
    CodecChunk describe(int32_t rows) const;
    bool contains(int32_t row, uint64_t offset, uint32_t bytes) const;
    template <typename Visit>
    Result forPieces(int32_t row, uint64_t offset, uint32_t bytes, Visit visit);

    void dropChunk(Chunk& chunk);
    Result growLastChunk(int32_t height);
    void shrink(int32_t height);

    Slot* find(uint32_t index);
    Result bring(uint32_t index, bool overwritten, Slot** found);
    Result evict(Slot& slot, uint64_t bytes);
    Result unpack(const Chunk& chunk, uint8_t* rows) const;
    Result store(Slot& slot);
    uint32_t pack(const CodecChunk& format, const uint8_t* rows, Scratch<uint8_t>& kept) const;

    uint64_t mark_ = kMark;
    ObjectLock lock_;
    CodecModule codec_;
    CodecChunk format_{};  // of a chunk with all rows
    int32_t height_ = 0;
    Scratch<Chunk> chunks_;  // those past the height are empty
    Slot slots_[2];
    uint64_t uses_ = 0;
};

}  // namespace tnk
