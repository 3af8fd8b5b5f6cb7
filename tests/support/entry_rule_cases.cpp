#include "support/entry_rule_cases.h"

#include <gtest/gtest.h>

#include <cstring>

namespace tnk::test {
namespace {

void expectRefusal(const EntryCase& entry, BitmapHandle record, int32_t code, const char* what) {
    const BitmapHandle before = record;
    EXPECT_EQ(entry.call(&record), code) << what;
    EXPECT_EQ(std::memcmp(&record, &before, sizeof record), 0) << what << ": the record was changed";
}

void checkEntryCase(const EntryCase& entry) {
    EXPECT_EQ(entry.call(nullptr), entry.onNull) << "null";
    BitmapHandle bitmap;
    ASSERT_EQ(T_InitBitmap(&bitmap, sizeof bitmap, 9, 5, 8), SUCCESS);
    if (entry.onUnallocated != kNotLookedAt) {
        expectRefusal(entry, bitmap, entry.onUnallocated, "without storage");
        BitmapHandle both = bitmap;
        both.StructSize = 0;
        expectRefusal(entry, both, entry.onUnallocated, "without storage and of the wrong size");
    }
    ASSERT_EQ(T_AllocateBitmap(&bitmap, MEM_CONVENTIONAL), SUCCESS);
    for (const uint32_t size : {uint32_t{0}, uint32_t{sizeof bitmap - 4}, uint32_t{sizeof bitmap + 4}}) {
        if (entry.onSize == kNotLookedAt) break;
        BitmapHandle wrong = bitmap;
        wrong.StructSize = size;
        expectRefusal(entry, wrong, entry.onSize, "of the wrong size");
    }
    T_FreeBitmap(&bitmap);
}

}  // namespace

void checkEntryCases(std::span<const EntryCase> cases) {
    for (const EntryCase& entry : cases) {
        SCOPED_TRACE(entry.name);
        checkEntryCase(entry);
    }
}

}  // namespace tnk::test
