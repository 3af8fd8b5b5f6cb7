// The kinds of storage behind a bitmap, and the one interface through which the library reaches pixel data.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "system/section_store.h"
#include "tnkrn.h"

namespace tnk {

// What is particular to a kind.
enum StorageTraits : uint32_t {
    kPlainRows = 0,
    kTable = 1,      // pData names a table, not pixels, and rows that move are not noted in the record
    kPacked = 2,     // Size counts the bytes that are stored, not those of plain rows
    kNoPutCode = 4,  // KEEP: a failed put is no bytes for a whole row and -1 from a column on; its code would be the
                     // tempting repair
};

// Rows are addressed by their stored index. Neither rows, columns nor byte counts are checked against the bitmap.
struct StorageKind {
    uint32_t reportedKind;  // MEMKIND_*
    uint32_t traits;        // StorageTraits
    bool is(StorageTraits trait) const { return (traits & trait) != 0; }

    // Lets go of the storage and of the fields that name it; the flags are the caller's affair.
    void (*release)(BitmapHandle& bitmap);

    // Moves `bytes` bytes from the byte of `column` on; bytes moved, or a code.
    int64_t (*read)(BitmapHandle& bitmap, int32_t row, uint32_t column, uint8_t* buffer, uint32_t bytes);
    int64_t (*write)(BitmapHandle& bitmap, int32_t row, uint32_t column, const uint8_t* buffer, uint32_t bytes);

    // Gives the address of `count` rows from `first` on, BytesPerLine apart; null, with success, when rows of this kind
    // have to be copied. Notes no row.
    Result (*lend)(BitmapHandle& bitmap, int32_t first, int32_t count, uint8_t** rows);

    // Gives the storage room for `height` rows, zero beyond the old ones, and sets Size; Height is still the old one and
    // the caller's to change. The caller has seen that the plain rows fit 32 bits. A failure leaves all as it was.
    Result (*resize)(BitmapHandle& bitmap, int32_t height);

    // Bytes of pixel data that the storage holds.
    Result (*measure)(const BitmapHandle& bitmap, uint32_t* bytes);
};

// What a transfer of `bytes` bytes answered, as a result: a code, or FAILURE when fewer bytes were moved.
inline Result wholeTransfer(int64_t moved, uint64_t bytes) {
    if (moved < 0) return static_cast<int32_t>(moved);
    return static_cast<uint64_t>(moved) == bytes ? SUCCESS : FAILURE;
}

extern const StorageKind kSectionStorage;          // a memory section
extern const StorageKind kMovableStorage;          // a movable block, accessed by locking it
extern const StorageKind kUserStorage;             // memory of the caller
extern const StorageKind kDiskStorage;             // a temporary file
extern const StorageKind kTiledStorage;            // tiles, in memory or in files of their own
extern const StorageKind kCompressedStorage;       // run-compressed rows of 1 bit
extern const StorageKind kSuperCompressedStorage;  // chunks packed by a codec module
extern const StorageKind kNoStorage;               // what an unallocated bitmap has

// Attach storage of bitmap.Size bytes, zero unless asked otherwise, and set the flags of its kind. A failure attaches
// nothing. Movable blocks are made by callers only.
Result allocateSection(BitmapHandle& bitmap, Content content);
Result allocateUser(BitmapHandle& bitmap);
Result allocateDisk(BitmapHandle& bitmap);
Result allocateTiled(BitmapHandle& bitmap);
Result allocateCompressed(BitmapHandle& bitmap);
Result allocateSuper(BitmapHandle& bitmap);

// Before a caller's pointer takes the place of a section's pixels: remembers where these are, for the release of the
// section, until they are put back. FAILURE without memory.
Result keepOwnPixels(const BitmapHandle& bitmap, const void* replacement);

// Rows that nobody reads any more, before the bitmap is freed: gives back the memory that they alone lie in, where the kind has
// a way. Their content is undefined from then on.
void forgetRows(const BitmapHandle& bitmap, int32_t first, int32_t count);

// The flags that say which storage a bitmap has.
constexpr uint32_t kStorageFlags = BMF_ALLOCATED | BMF_MEMORY | BMF_DISK | BMF_LOCKED | BMF_COMPRESSED | BMF_USERDATA |
                                   BMF_MOVABLE | BMF_TILED | BMF_SUPERCOMPRESSED;

const StorageKind& storageOf(const BitmapHandle& bitmap);

// Notes `row` as the last row sought and gives its byte position.
int64_t seekRow(BitmapHandle& bitmap, int32_t row);

// Bytes of `height` rows, at most kSizeLimit - 1; false beyond.
bool dataBytes(const BitmapHandle& bitmap, int32_t height, uint32_t* bytes);

// Bytes of `height` rows with what lies before them in the section, which the caller knows to fit.
// KEEP: Size takes in DataOffset after a change of height and nowhere else.
uint32_t bytesWithOffset(const BitmapHandle& bitmap, int32_t height);

// The parts that the kinds in memory share.
int64_t readMemory(BitmapHandle& bitmap, int32_t row, uint32_t column, uint8_t* buffer, uint32_t bytes);
int64_t writeMemory(BitmapHandle& bitmap, int32_t row, uint32_t column, const uint8_t* buffer, uint32_t bytes);
Result lendMemory(BitmapHandle& bitmap, int32_t first, int32_t count, uint8_t** rows);
Result measureRows(const BitmapHandle& bitmap, uint32_t* bytes);

// Where T_GetBitmapMemoryInfo wants the facts of tiles; null where it does not.
struct TileOutputs {
    uint32_t* tileBytes;
    uint32_t* tileCount;
    uint32_t* tilesInMemory;
    uint32_t* limit1;
    uint32_t* limit2;
};
void reportTiles(const BitmapHandle& bitmap, const TileOutputs& outputs);

// Locks and unlocks movable storage for a caller; nothing for other kinds. Accessing tells whether the caller had done so
// already. Pixels that an operation of this library works on stay where they are until it ends.
bool accessBitmap(BitmapHandle& bitmap);
void releaseBitmap(BitmapHandle& bitmap);
// The same for storage that goes, whoever works on it.
void endAccess(BitmapHandle& bitmap);

}  // namespace tnk
