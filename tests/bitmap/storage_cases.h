// Bitmaps in each kind of storage, for tests that hold the kinds against each other.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

#include "tnkrn.h"

namespace tnk::test {

enum class Kind { section, disk, user, movable };

constexpr Kind kAllKinds[] = {Kind::section, Kind::disk, Kind::user, Kind::movable};

inline std::string kindName(const ::testing::TestParamInfo<Kind>& info) {
    constexpr const char* kNames[] = {"Section", "Disk", "User", "Movable"};
    return kNames[static_cast<int>(info.param)];
}

// A bitmap that is allocated, accessed and zero, and frees itself.
class StoredBitmap {
  public:
    StoredBitmap(Kind kind, int32_t width, int32_t height, int32_t bits) {
        EXPECT_EQ(T_InitBitmap(&record, sizeof record, width, height, bits), SUCCESS);
        constexpr uint32_t kRequests[] = {MEM_CONVENTIONAL, MEM_NOCONVENTIONAL, MEM_USER};
        if (kind == Kind::movable) {
            record.DataHandle = T_OsAllocHandle(record.Size, 0, nullptr);
            record.Flags = BMF_ALLOCATED | BMF_MEMORY | BMF_MOVABLE;
        } else {
            EXPECT_EQ(T_AllocateBitmap(&record, kRequests[static_cast<int>(kind)]), SUCCESS);
        }
        if (kind == Kind::user) {
            memory_ = std::make_unique<uint8_t[]>(record.Size);
            EXPECT_EQ(T_SetBitmapDataPointer(&record, memory_.get(), record.Size), SUCCESS);
        }
        T_AccessBitmap(&record);
    }
    ~StoredBitmap() { T_FreeBitmap(&record); }
    StoredBitmap(const StoredBitmap&) = delete;
    StoredBitmap& operator=(const StoredBitmap&) = delete;

    BitmapHandle record;

  private:
    std::unique_ptr<uint8_t[]> memory_;
};

}  // namespace tnk::test
