// What a record without storage has: every operation gives a code and touches nothing.
#include "bitmap/storage/storage.h"

namespace tnk {
namespace {

void releaseNone(BitmapHandle&) {}

int64_t readNone(BitmapHandle&, int32_t, uint32_t, uint8_t*, uint32_t) { return FAILURE; }

int64_t writeNone(BitmapHandle&, int32_t, uint32_t, const uint8_t*, uint32_t) { return FAILURE; }

Result lendNone(BitmapHandle&, int32_t, int32_t, uint8_t** rows) {
    *rows = nullptr;
    return FAILURE;
}

Result resizeNone(BitmapHandle&, int32_t) { return FAILURE; }

}  // namespace

const StorageKind kNoStorage = {MEMKIND_DISK, kPlainRows, releaseNone, readNone,
                                writeNone,    lendNone,   resizeNone,  measureRows};

}  // namespace tnk
