// What exports answer to a record that is null, without storage or of the wrong size. Each family lists its exports with
// the answers of the public header and hands the list to checkEntryCases, which also holds that a refused record is left
// as it was.
#pragma once

#include <functional>
#include <span>

#include "tnkrn.h"

namespace tnk::test {

constexpr int32_t kNotLookedAt = 0;

struct EntryCase {
    const char* name;
    int32_t onNull;
    int32_t onUnallocated;  // kNotLookedAt: storage is not asked for
    int32_t onSize;         // kNotLookedAt: the size field is not checked
    std::function<int32_t(BitmapHandle*)> call;
};

void checkEntryCases(std::span<const EntryCase> cases);

}  // namespace tnk::test
