// Memory blocks for callers: the same promises for each family.
#include <gtest/gtest.h>

#include <string>

#include "support/failing_platform.h"

namespace tnk::test {
namespace {

void* pointerOf(T_HANDLE handle) { return reinterpret_cast<void*>(handle); }
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
     [](void* b, uint32_t n) { return pointerOf(T_OsReAllocHandle(handleOf(b), n, 1, "m")); },
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
        EXPECT_TRUE(family.reallocate(nullptr, 10) == nullptr && family.size(nullptr) == 0);
        EXPECT_EQ(family.free(nullptr), SUCCESS);
        if (sizeof(void*) == 8) continue;
        EXPECT_EQ(family.allocate(family.kind, UINT32_MAX, 1, "m"), nullptr)
            << "with its header past the address space";
    }
}

TEST(MemoryBlocks, TellOfKindsThatThereAreNot) {
    const uint32_t kinds[] = {0, 4, RESOURCE_ZERO, 0x200 | RESOURCE_GLOBAL, 0x200 | RESOURCE_HEAP, UINT32_MAX};
    for (const uint32_t kind : kinds) {
        for (const auto allocate : {T_GlobalAlloc, T_LocalAlloc}) {
            FailingPlatform catching;
            EXPECT_EQ(allocate(kind, 16, 3'000'000'000u, "RowCol"), nullptr) << kind;
            EXPECT_EQ(catching.diagnostics(), "Invalid resource type used in (3000000000) RowCol");
        }
    }
    FailingPlatform catching;
    EXPECT_EQ(T_GlobalAlloc(RESOURCE_HEAP, 16, 1, nullptr), nullptr) << "the other family's";
    EXPECT_EQ(catching.diagnostics(), "Invalid resource type used in (1) ");
    const std::string longName(1000, 'x');
    EXPECT_EQ(T_LocalAlloc(RESOURCE_GLOBAL, 16, 1, longName.c_str()), nullptr);
    EXPECT_EQ(catching.live(), LiveObjects{});
}

}  // namespace
}  // namespace tnk::test
