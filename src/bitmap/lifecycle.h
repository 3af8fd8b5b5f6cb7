// The bitmap record and its lifecycle, for the other families.
#pragma once

#include <cstdint>

#include "base/entry_rule.h"
#include "base/result.h"
#include "bitmap/storage/storage.h"
#include "tnkrn.h"

namespace tnk {

Result initBitmap(BitmapHandle& bitmap, int32_t width, int32_t height, int32_t bits);
Result allocateBitmap(BitmapHandle& bitmap, uint32_t memoryType, Content content = Content::zero);
void freeBitmap(BitmapHandle& bitmap);

// Release one attachment and clear its field; nothing when there is none.
constexpr uint32_t kByteMapBytes = 256;
void freeByteMap(BitmapHandle& bitmap);
void freeGrayTable(BitmapHandle& bitmap);

// A bitmap of the given size and depth with the source's attributes, and its undoing; see T_DupBitmapNewDim.
Result duplicateBitmap(BitmapHandle& destination, BitmapHandle& source, int32_t width, int32_t height, int32_t bits,
                       uint32_t flags, Content content = Content::zero);
void freeDuplicateBitmap(BitmapHandle& bitmap, uint32_t flags);

// Copies window, value range and lookup table; see T_CopyGrayParams.
Result copyGrayParams(BitmapHandle& destination, const BitmapHandle& source);

// Keeps a bitmap accessed while it lives; nests, also between threads that read one bitmap.
class Locked {
  public:
    explicit Locked(BitmapHandle& bitmap);
    ~Locked();
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

  private:
    static Locked* find(const BitmapHandle& bitmap);
    static void setReleases(const BitmapHandle& bitmap, bool releases);
    friend bool accessBitmap(BitmapHandle& bitmap);
    friend void releaseBitmap(BitmapHandle& bitmap);

    BitmapHandle* bitmap_ = nullptr;  // null: storage that needs no access, or whose block cannot be locked
    Locked* next_ = nullptr;
    bool releases_ = false;  // the access ends with the last operation: no caller has the bitmap accessed
};

// A bitmap built aside: frees itself on every path but the one that hands it over.
class TempBitmap {
  public:
    TempBitmap() = default;
    ~TempBitmap() {
        if (owned_) freeBitmap(record);
    }
    TempBitmap(const TempBitmap&) = delete;
    TempBitmap& operator=(const TempBitmap&) = delete;

    // Gives the record to `destination`, whose old contents the caller has dealt with.
    void moveTo(BitmapHandle& destination) {
        destination = record;
        owned_ = false;
    }

    BitmapHandle record{};

  private:
    bool owned_ = true;
};

}  // namespace tnk
