// Memory blocks for callers, one family a kind of memory, and the hooks of resource tracking. Callers name the place of each
// call; nothing is tracked.
#include <cstdio>
#include <cstring>

#include "base/result.h"
#include "base/scratch.h"

namespace tnk {

namespace {

// Stands before the data of a heap block, since the heap's own word on the size is rounded up. Keeps the alignment of what
// follows.
struct alignas(16) HeapHeader {
    uint32_t bytes;
};

HeapHeader* headerOf(void* block) { return static_cast<HeapHeader*>(block) - 1; }

// Bytes of a heap block with its header; 0 when that passes the address space.
size_t heapBytes(uint32_t bytes) {
    const uint64_t all = uint64_t{bytes} + sizeof(HeapHeader);
    return all <= SIZE_MAX ? static_cast<size_t>(all) : 0;
}

void* dataOf(HeapHeader* header, uint32_t bytes) {
    header->bytes = bytes;
    return header + 1;
}

void* allocateHeap(uint32_t bytes, bool zero) {
    const size_t whole = heapBytes(bytes);
    auto* header = static_cast<HeapHeader*>(whole != 0 ? platform->allocateLocal(whole, zero) : nullptr);
    return header != nullptr ? dataOf(header, bytes) : nullptr;
}

void* reallocateHeap(void* block, uint32_t bytes) {
    const uint32_t before = headerOf(block)->bytes;
    const size_t whole = heapBytes(bytes);
    auto* header = static_cast<HeapHeader*>(whole != 0 ? platform->reallocateLocal(headerOf(block), whole) : nullptr);
    if (header == nullptr) return nullptr;
    auto* data = static_cast<uint8_t*>(dataOf(header, bytes));
    if (bytes > before) std::memset(data + before, 0, bytes - before);
    return data;
}

void* refuseKind(uint32_t line, const char* module) {
    char text[256];
    std::snprintf(text, sizeof text, "Invalid resource type used in (%u) %s", static_cast<unsigned>(line),
                  module != nullptr ? module : "");
    platform->diagnose(text);
    return nullptr;
}

}  // namespace

void* LocalBlocks::allocate(size_t bytes, bool zero) {
    return bytes <= UINT32_MAX ? allocateHeap(static_cast<uint32_t>(bytes), zero) : nullptr;
}

void LocalBlocks::free(void* block) { platform->freeLocal(headerOf(block)); }

}  // namespace tnk

using namespace tnk;

extern "C" void* TNK_CALL T_GlobalAlloc(uint32_t Kind, uint32_t Bytes, uint32_t Line, const char* Module) {
    switch (Kind & ~RESOURCE_ZERO) {
        case RESOURCE_GLOBAL:
            return platform->allocateGlobal(Bytes, (Kind & RESOURCE_ZERO) != 0);
        case RESOURCE_HANDLE:
            return reinterpret_cast<void*>(platform->allocateMovable(Bytes, true));
        default:
            return refuseKind(Line, Module);
    }
}

extern "C" void* TNK_CALL T_GlobalReAlloc(void* Block, uint32_t Bytes, uint32_t, const char*) {
    return Block != nullptr ? platform->reallocateGlobal(Block, Bytes) : nullptr;
}

extern "C" uint32_t TNK_CALL T_GlobalSize(const void* Block) {
    return Block != nullptr ? static_cast<uint32_t>(platform->sizeOfGlobal(Block)) : 0;
}

extern "C" int32_t TNK_CALL T_GlobalFree(void* Block, uint32_t, const char*) {
    if (Block != nullptr) platform->freeGlobal(Block);
    return SUCCESS;
}

extern "C" void* TNK_CALL T_LocalAlloc(uint32_t Kind, uint32_t Bytes, uint32_t Line, const char* Module) {
    if ((Kind & ~RESOURCE_ZERO) != RESOURCE_HEAP) return refuseKind(Line, Module);
    return allocateHeap(Bytes, (Kind & RESOURCE_ZERO) != 0);
}

extern "C" void* TNK_CALL T_LocalReAlloc(void* Block, uint32_t Bytes, uint32_t, const char*) {
    return Block != nullptr ? reallocateHeap(Block, Bytes) : nullptr;
}

extern "C" uint32_t TNK_CALL T_LocalSize(const void* Block) {
    return Block != nullptr ? (static_cast<const HeapHeader*>(Block) - 1)->bytes : 0;
}

extern "C" int32_t TNK_CALL T_LocalFree(void* Block, uint32_t, const char*) {
    if (Block != nullptr) LocalBlocks::free(Block);
    return SUCCESS;
}

extern "C" T_HANDLE TNK_CALL T_OsAllocHandle(uint32_t Bytes, uint32_t, const char*) {
    return platform->allocateMovable(Bytes, true);
}

extern "C" T_HANDLE TNK_CALL T_OsReAllocHandle(T_HANDLE Block, uint32_t Bytes, uint32_t, const char*) {
    return Block != 0 ? platform->reallocateMovable(Block, Bytes) : 0;
}

extern "C" void* TNK_CALL T_OsLockHandle(T_HANDLE Block) { return Block != 0 ? platform->lockMovable(Block) : nullptr; }

extern "C" int32_t TNK_CALL T_OsUnlockHandle(T_HANDLE Block) {
    if (Block != 0) platform->unlockMovable(Block);
    return SUCCESS;
}

extern "C" uint32_t TNK_CALL T_OsSizeHandle(T_HANDLE Block) {
    return Block != 0 ? static_cast<uint32_t>(platform->sizeOfMovable(Block)) : 0;
}

extern "C" int32_t TNK_CALL T_OsFreeHandle(T_HANDLE Block, uint32_t, const char*) {
    if (Block != 0) platform->freeMovable(Block);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_ResourceAdd(uint32_t, T_HANDLE, uint32_t, const char*) { return SUCCESS; }

extern "C" int32_t TNK_CALL T_ResourceRemove(uint32_t, T_HANDLE, uint32_t, const char*) { return SUCCESS; }

extern "C" int32_t TNK_CALL T_ResourceLeakDetect(void) { return SUCCESS; }

extern "C" int32_t TNK_CALL T_ResourceLeakReport(void) { return SUCCESS; }
