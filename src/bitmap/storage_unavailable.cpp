// Tiled storage, which this build cannot make. A record whose flags claim it, or none at all, gets a code from every
// operation and nothing is touched.
#include "bitmap/storage.h"

namespace tnk {
namespace {

template <int32_t kCode>
Result refuseAllocation(BitmapHandle&) {
    return kCode;
}

void releaseNothing(BitmapHandle&) {}

template <int32_t kCode>
int64_t refuseRead(BitmapHandle&, int32_t, uint32_t, uint8_t*, uint32_t) {
    return kCode;
}

template <int32_t kCode>
int64_t refuseWrite(BitmapHandle&, int32_t, uint32_t, const uint8_t*, uint32_t) {
    return kCode;
}

template <int32_t kCode>
Result refuseLending(BitmapHandle&, int32_t, int32_t, uint8_t** rows) {
    *rows = nullptr;
    return kCode;
}

template <int32_t kCode>
Result refuseResize(BitmapHandle&, int32_t) {
    return kCode;
}

template <int32_t kCode>
constexpr StorageKind unavailable(uint32_t reportedKind, Result (*allocate)(BitmapHandle&),
                                  Result (*measure)(const BitmapHandle&, uint32_t*)) {
    return {reportedKind,        allocate, releaseNothing, refuseRead<kCode>, refuseWrite<kCode>, refuseLending<kCode>,
            refuseResize<kCode>, measure};
}

}  // namespace

const StorageKind kTiledStorage =
    unavailable<ERROR_NOT_ALLOCATED>(MEMKIND_TILED, refuseAllocation<FAILURE>, measureRows);
const StorageKind kNoStorage = unavailable<FAILURE>(MEMKIND_DISK, refuseAllocation<FAILURE>, measureRows);

}  // namespace tnk
