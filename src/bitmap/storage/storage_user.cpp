// Memory that belongs to the caller: the library uses it and never frees it.
#include "bitmap/storage/storage.h"

namespace tnk {
namespace {

// The caller's pointer stays in the record, for the caller to free.
void releaseUser(BitmapHandle& bitmap) { endAccess(bitmap); }

Result resizeUser(BitmapHandle&, int32_t) { return ERROR_INVALID_PARAMETER; }

}  // namespace

Result allocateUser(BitmapHandle& bitmap) {
    bitmap.DataHandle = 0;
    bitmap.DataOffset = 0;
    bitmap.pData = nullptr;
    bitmap.Flags |= BMF_ALLOCATED | BMF_MEMORY | BMF_USERDATA;
    return SUCCESS;
}

const StorageKind kUserStorage = {MEMKIND_MEMORY, kPlainRows, releaseUser, readMemory,
                                  writeMemory,    lendMemory, resizeUser,  measureRows};

}  // namespace tnk
