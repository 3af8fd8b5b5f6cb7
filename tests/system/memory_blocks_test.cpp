// Memory blocks for callers: the same promises for each family. Huge blocks: the same promises wherever they lie.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "support/failing_platform.h"
#include "support/files.h"
#include "support/picture.h"

namespace tnk::test {
namespace {

T_HANDLE handleOf(const void* pointer) { return reinterpret_cast<T_HANDLE>(pointer); }

struct Family {
    uint32_t kind;
    void*(TNK_CALL* allocate)(uint32_t, uint32_t, uint32_t, const char*);
    void* (*reallocate)(void*, uint32_t);
    uint32_t (*size)(const void*);
    int32_t (*free)(void*);
    int LiveObjects::*counter;
};

const Family kFamilies[] = {
    {RESOURCE_GLOBAL, T_GlobalAlloc, [](void* b, uint32_t n) { return T_GlobalReAlloc(b, n, 1, "m"); },
     [](const void* b) { return T_GlobalSize(b); }, [](void* b) { return T_GlobalFree(b, 1, "m"); },
     &LiveObjects::global},
    {RESOURCE_HEAP, T_LocalAlloc, [](void* b, uint32_t n) { return T_LocalReAlloc(b, n, 1, "m"); },
     [](const void* b) { return T_LocalSize(b); }, [](void* b) { return T_LocalFree(b, 1, "m"); }, &LiveObjects::local},
    {RESOURCE_HANDLE, T_GlobalAlloc,
     [](void* b, uint32_t n) { return reinterpret_cast<void*>(T_OsReAllocHandle(handleOf(b), n, 1, "m")); },
     [](const void* b) { return T_OsSizeHandle(handleOf(b)); },
     [](void* b) { return T_OsFreeHandle(handleOf(b), 1, "m"); }, &LiveObjects::movable},
};

// What lies beyond `used` bytes of 0x77 is zero; then the whole block is filled.
void checkBlock(const Family& family, void* block, uint32_t used, uint32_t bytes) {
    EXPECT_GE(family.size(block), bytes);
    const bool handle = family.kind == RESOURCE_HANDLE;
    auto* data = static_cast<uint8_t*>(handle ? T_OsLockHandle(handleOf(block)) : block);
    ASSERT_NE(data, nullptr);
    for (uint32_t i = 0; i < bytes; ++i) {
        ASSERT_EQ(data[i], i < used ? 0x77 : 0) << i;
        data[i] = 0x77;
    }
    if (!handle) return;
    EXPECT_EQ(family.reallocate(block, bytes + 100'000), nullptr) << "its address is in use";
    EXPECT_EQ(T_OsUnlockHandle(handleOf(block)), SUCCESS);
}

TEST(MemoryBlocks, KeepTheirContentsGrowWithZerosAndLoseNothing) {
    for (const Family& family : kFamilies) {
        SCOPED_TRACE(family.kind);
        FailingPlatform failing;
        failing.failAt(1, kMemoryFailures);
        EXPECT_EQ(family.allocate(family.kind, 16, 1, "m"), nullptr);
        const uint32_t others = family.kind == RESOURCE_HEAP ? RESOURCE_GLOBAL : RESOURCE_HEAP;
        for (const uint32_t kind : {others, RESOURCE_ZERO, 0x200 | family.kind}) {
            EXPECT_EQ(family.allocate(kind, 16, 3'000'000'000u, "RowCol;"), nullptr);
        }
        EXPECT_EQ(family.allocate(0, 16, 1, std::string(1000, 'x').c_str()), nullptr);
        const std::string told = "Invalid resource type used in (3000000000) RowCol;";
        EXPECT_EQ(failing.diagnostics().substr(0, 3 * told.size()), told + told + told);
        void* block = family.allocate(family.kind | RESOURCE_ZERO, 16, 1, "m");
        checkBlock(family, block, 0, 16);
        // Small steps stay inside what the heap rounds a block up to; an empty block is one; what was cut is gone.
        const uint32_t sizes[][2] = {{19, 16}, {24, 19}, {100'000, 24}, {10, 10}, {24, 10}, {0, 0}, {48, 0}};
        for (const auto& [bytes, used] : sizes) {
            failing.failAt(1, kMemoryFailures);
            EXPECT_EQ(family.reallocate(block, bytes), nullptr) << "and loses nothing";
            block = family.reallocate(block, bytes);
            ASSERT_NE(block, nullptr);
            checkBlock(family, block, used, bytes);
        }
        EXPECT_EQ(failing.live().*family.counter, 1);
        EXPECT_EQ(family.free(block), SUCCESS);
        EXPECT_EQ(failing.live(), LiveObjects{});
        if (sizeof(void*) == 8) continue;
        for (const uint32_t bytes : {UINT32_MAX, UINT32_MAX / 2 + 1}) {
            EXPECT_EQ(family.allocate(family.kind, bytes, 1, "m"), nullptr) << "distances inside could not be told";
        }
    }
}

// Transfers and resizes, compared with a plain array; the first failure ends it and loses nothing.
int32_t useHugeBlock() {
    T_HANDLE block = 0;
    int32_t result = T_HugeAlloc(&block, 100'000, 1, "m");
    Bytes model(100'000), read;
    for (const uint32_t bytes : {1u, 50'001u, 30'000u, 120'000u}) {
        const Bytes text(std::min<size_t>(model.size(), 5), uint8_t{9});
        const size_t at = model.size() / 3, count = text.size();
        if (result == SUCCESS) result = T_HugeWrite(block, at, text.data(), static_cast<uint32_t>(count));
        if (result != SUCCESS) break;
        std::copy(text.begin(), text.end(), model.begin() + static_cast<ptrdiff_t>(at));
        result = T_HugeReSize(block, bytes, 1, "m");
        if (result == SUCCESS) model.resize(bytes);
        EXPECT_EQ(T_HugeSize(block), model.size());
        read.assign(model.size(), 0xEE);
        const int32_t reading = T_HugeRead(block, 0, read.data(), static_cast<uint32_t>(read.size()));
        EXPECT_TRUE(reading != SUCCESS || read == model);
        if (result == SUCCESS) result = reading;
    }
    EXPECT_EQ(T_HugeFree(block, 1, "m"), SUCCESS);
    return result;
}

TEST(HugeMemory, KeepsItsBytesInMemoryAndInAFile) {
    FailingPlatform failing;
    const TempDirectorySetting setting;
    const auto check = [](int32_t result, bool injected) {
        // A failed section is made good by a file.
        EXPECT_TRUE(result == SUCCESS || (injected && (result == FAILURE || (result <= -4 && result >= -7))));
    };
    for (const int calls : {5, 15}) {
        EXPECT_GT(sweepFailures(failing, kAllFailures, useHugeBlock, check), calls);
        sweepFailures(failing, kSectionFailures, useHugeBlock, check, true);
        EXPECT_EQ(setting.folder().entries(), 0);
        failing.setMemoryStatus({1 << 20, 1 << 10, 0, 0});  // in a file from now on
    }
}

TEST(HugeMemory, ReachesPastFourGigabytesAndTellsAFullDisk) {
    FailingPlatform failing;
    T_HANDLE block = 0;
    failing.failFrom(1, kSectionFailures);
    ASSERT_EQ(T_HugeAlloc(&block, uint64_t{5} << 30, 1, "m"), SUCCESS);
    failing.stopFailing();
    const uint64_t far = (uint64_t{5} << 30) - 3;
    char bytes[4] = {};
    EXPECT_EQ(T_HugeWrite(block, far, "far", 3), SUCCESS);
    EXPECT_EQ(T_HugeRead(block, far - 1, bytes, 4), SUCCESS);
    EXPECT_EQ(std::memcmp(bytes, "\0far", 4), 0);
    for (const uint64_t start : {far + 2, far + 3, UINT64_MAX}) {
        EXPECT_EQ(T_HugeWrite(block, start, bytes, 2), ERROR_INVALID_PARAMETER) << start;
        EXPECT_EQ(T_HugeRead(block, start, bytes, 2), ERROR_INVALID_PARAMETER) << start;
    }
    EXPECT_EQ(T_HugeReSize(block, 0, 1, "m"), ERROR_INVALID_PARAMETER);
    failing.setDiskRoom(2);
    EXPECT_EQ(T_HugeWrite(block, 0, "far", 3), ERROR_DISK_FULL);
    EXPECT_EQ(T_HugeFree(block, 1, "m"), SUCCESS);
    EXPECT_EQ(failing.live(), LiveObjects{});

    for (const uint64_t size : {uint64_t{0}, UINT64_MAX}) {
        EXPECT_EQ(T_HugeAlloc(&block, size, 1, "m"), ERROR_INVALID_PARAMETER);
    }
    const T_HANDLE other = T_DllLoaderOpen(wide("none").c_str());
    for (const T_HANDLE wrong : {T_HANDLE{0}, T_HANDLE{5}, other}) {
        EXPECT_EQ(T_HugeSize(wrong), 0u);
        EXPECT_EQ(T_HugeFree(wrong, 1, "m"), wrong == 0 ? SUCCESS : ERROR_INVALID_PARAMETER);
    }
    EXPECT_EQ(T_DllLoaderClose(other), SUCCESS);
}

}  // namespace
}  // namespace tnk::test
