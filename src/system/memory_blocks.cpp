// Movable and global blocks for callers, and the hooks of resource tracking. Callers name the place of each call; nothing
// is tracked.
#include "platform/platform.h"

using tnk::platform;

extern "C" T_HANDLE TNK_CALL T_OsAllocHandle(uint32_t Bytes, uint32_t, const char*) {
    return platform->allocateMovable(Bytes);
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

extern "C" int32_t TNK_CALL T_GlobalFree(void* Block, uint32_t, const char*) {
    if (Block != nullptr) platform->freeGlobal(Block);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_ResourceAdd(uint32_t, T_HANDLE, uint32_t, const char*) { return SUCCESS; }

extern "C" int32_t TNK_CALL T_ResourceRemove(uint32_t, T_HANDLE, uint32_t, const char*) { return SUCCESS; }

extern "C" int32_t TNK_CALL T_ResourceLeakDetect(void) { return SUCCESS; }

extern "C" int32_t TNK_CALL T_ResourceLeakReport(void) { return SUCCESS; }
