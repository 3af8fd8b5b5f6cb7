#include "system/settings.h"

#include <algorithm>
#include <string>
#include <utility>

#include "base/result.h"
#include "system/file.h"

namespace tnk {

namespace {

uint8_t sharedScratch[kSettingsScratchBytes];

constexpr ThreadSettings defaultSettings(uint8_t* scratch) {
    ThreadSettings settings{};
    settings.routines = kLibraryRoutines;
    settings.ditherMethod = DITHER_ORDERED;
    settings.xResolution = 150;
    settings.yResolution = 150;
    settings.memoryType = MEM_CONVENTIONAL;
    settings.maxMemory = INT32_MAX;
    settings.threshold4 = -100;
    settings.threshold5 = 1;
    settings.scratch = scratch;
    return settings;
}

// Serves every thread that could not get a block; nothing guards it.
constinit ThreadSettings sharedSettings = defaultSettings(sharedScratch);

// What a thread has: the settings, whose layout is fixed, and beside them what is not for callers.
struct ThreadBlock {
    ThreadSettings settings;
    ThreadObject object;
};

void releaseBlock(void* value) {
    auto* block = static_cast<ThreadBlock*>(value);
    if (block->object.object != nullptr) block->object.destroy(block->object.object);
    platform->freeLocal(block->settings.scratch);
    platform->freeLocal(block);
}

ThreadBlock* makeBlock() {
    if (!platform->createThreadSlot(releaseBlock)) return nullptr;
    auto* block = static_cast<ThreadBlock*>(platform->allocateLocal(sizeof(ThreadBlock), true));
    if (block == nullptr) return nullptr;
    auto* scratch = static_cast<uint8_t*>(platform->allocateLocal(kSettingsScratchBytes, true));
    if (scratch == nullptr || !platform->setThreadValue(block)) {
        if (scratch != nullptr) platform->freeLocal(scratch);
        platform->freeLocal(block);
        return nullptr;
    }
    *block = {defaultSettings(scratch), {}};
    return block;
}

ThreadBlock* currentBlock() {
    auto* block = static_cast<ThreadBlock*>(platform->threadValue());
    return block != nullptr ? block : makeBlock();
}

template <typename T>
void writeOptional(T* output, T value) {
    if (output != nullptr) *output = value;
}

}  // namespace

ThreadSettings& currentSettings() {
    ThreadBlock* const block = currentBlock();
    return block != nullptr ? block->settings : sharedSettings;
}

ThreadObject* threadObject() {
    ThreadBlock* const block = currentBlock();
    return block != nullptr ? &block->object : nullptr;
}

void attachProcess() { currentSettings(); }

void detachThread() {
    void* value = platform->threadValue();
    if (value == nullptr) return;
    platform->setThreadValue(nullptr);
    releaseBlock(value);
}

void detachProcess() {
    // Other threads may be in the middle of a call: at the end of a process nobody waits for them.
    detachThread();
    platform->deleteThreadSlot();
}

}  // namespace tnk

using namespace tnk;

extern "C" int32_t TNK_CALL T_GetDefaultDithering(void) { return static_cast<int32_t>(currentSettings().ditherMethod); }

extern "C" int32_t TNK_CALL T_DefaultDithering(uint32_t Method) {
    if (Method > DITHER_CLUSTERED) return ERROR_INVALID_PARAMETER;
    currentSettings().ditherMethod = Method;
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_GetDefaultXResolution(void) { return currentSettings().xResolution; }

extern "C" int32_t TNK_CALL T_GetDefaultYResolution(void) { return currentSettings().yResolution; }

extern "C" int32_t TNK_CALL T_SetDefaultXResolution(int32_t Resolution) {
    return std::exchange(currentSettings().xResolution, Resolution);
}

extern "C" int32_t TNK_CALL T_SetDefaultYResolution(int32_t Resolution) {
    return std::exchange(currentSettings().yResolution, Resolution);
}

extern "C" int32_t TNK_CALL T_GetDefaultMemoryType(uint32_t* Type) {
    if (Type == nullptr) return ERROR_INVALID_PARAMETER;
    *Type = currentSettings().memoryType;
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_SetDefaultMemoryType(uint32_t Type) {
    if (Type != MEM_CONVENTIONAL && Type != MEM_NOCONVENTIONAL) return ERROR_INVALID_PARAMETER;
    currentSettings().memoryType = Type;
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_GetMemoryThresholds(int32_t* Reserve, int32_t* MaxMemory, int32_t* TileSize,
                                                  int32_t* Threshold4, int32_t* Threshold5) {
    const ThreadSettings& settings = currentSettings();
    writeOptional(Reserve, settings.reserve);
    writeOptional(MaxMemory, settings.maxMemory);
    writeOptional(TileSize, settings.tileSize);
    writeOptional(Threshold4, settings.threshold4);
    writeOptional(Threshold5, settings.threshold5);
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_SetMemoryThresholds(int32_t Reserve, int32_t MaxMemory, int32_t TileSize,
                                                  int32_t Threshold4, int32_t Threshold5, uint32_t Which) {
    ThreadSettings& settings = currentSettings();
    const struct {
        int32_t* stored;
        int32_t value;
        int32_t smallest;
    } thresholds[] = {
        {&settings.reserve, Reserve, -100},       {&settings.maxMemory, MaxMemory, -100},
        {&settings.tileSize, TileSize, 0},        {&settings.threshold4, Threshold4, -100},
        {&settings.threshold5, Threshold5, -100},
    };
    // KEEP: values before the first bad one stay stored; checking all of them first would be the tempting repair.
    for (const auto& threshold : thresholds) {
        const bool selected = (Which & 1) != 0;
        Which >>= 1;
        if (!selected) continue;
        if (threshold.value < threshold.smallest) return ERROR_INVALID_PARAMETER;
        *threshold.stored = threshold.value;
    }
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_GetTempDirectory(T_WCHAR* Buffer, uint32_t Length) {
    if (Buffer == nullptr) return ERROR_INVALID_PARAMETER;
    if (Length == 0) return SUCCESS;
    const T_WCHAR* directory = currentSettings().tempDirectory;
    const size_t length = std::char_traits<T_WCHAR>::length(directory);
    const size_t copied = std::min<size_t>(length, Length - 1);
    std::copy_n(directory, copied, Buffer);
    Buffer[copied] = 0;
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_SetTempDirectory(const T_WCHAR* Path) {
    if (Path == nullptr || !platform->isDirectory(Path)) return ERROR_INVALID_PARAMETER;
    // KEEP: a longer path is cut and then names another directory; refusing it would be the tempting repair.
    T_WCHAR(&stored)[kPathChars] = currentSettings().tempDirectory;
    const size_t copied = std::min<size_t>(std::char_traits<T_WCHAR>::length(Path), kPathChars - 1);
    std::copy_n(Path, copied, stored);
    stored[copied] = 0;
    return SUCCESS;
}

extern "C" void TNK_CALL T_SetStatusCallBack(StatusCallback Callback, void* UserData, StatusCallback* OldCallback,
                                             void** OldUserData) {
    ThreadSettings& settings = currentSettings();
    writeOptional(OldCallback, settings.statusCallback);
    writeOptional(OldUserData, settings.statusUserData);
    settings.statusCallback = Callback;
    settings.statusUserData = UserData;
}

extern "C" StatusCallback TNK_CALL T_GetStatusCallBack(void** UserData) {
    const ThreadSettings& settings = currentSettings();
    writeOptional(UserData, settings.statusUserData);
    return settings.statusCallback;
}

extern "C" void TNK_CALL T_SetCopyStatusCallBack(StatusCallback Callback, void* UserData, StatusCallback* OldCallback,
                                                 void** OldUserData) {
    ThreadSettings& settings = currentSettings();
    writeOptional(OldCallback, settings.copyStatusCallback);
    writeOptional(OldUserData, settings.copyStatusUserData);
    settings.copyStatusCallback = Callback;
    settings.copyStatusUserData = UserData;
}

extern "C" StatusCallback TNK_CALL T_GetCopyStatusCallBack(void** UserData) {
    const ThreadSettings& settings = currentSettings();
    writeOptional(UserData, settings.copyStatusUserData);
    return settings.copyStatusCallback;
}

extern "C" int32_t TNK_CALL T_VecSetSubstituteFontCallback(SubstituteFontCallback Callback, void* UserData) {
    ThreadSettings& settings = currentSettings();
    settings.substituteFont = Callback;
    settings.substituteFontUserData = UserData;
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_VecGetSubstituteFontCallback(SubstituteFontCallback* Callback, void** UserData) {
    if (Callback == nullptr || UserData == nullptr) return ERROR_INVALID_PARAMETER;
    const ThreadSettings& settings = currentSettings();
    *Callback = settings.substituteFont;
    *UserData = settings.substituteFontUserData;
    return SUCCESS;
}
