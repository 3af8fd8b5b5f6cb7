// Settings of the calling thread: one block a thread, made on first use, and a shared one when none can be made.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/platform.h"
#include "tnkrn.h"

namespace tnk {

struct FileRoutines {
    OpenRoutine open;
    ReadRoutine read;
    WriteRoutine write;
    SeekRoutine seek;
    CloseRoutine close;
};

struct FileRoutineData {
    void* open;
    void* read;
    void* write;
    void* seek;
    void* close;
};

// The order of the fields is part of the interface: T_GetFilterIOData hands the block out.
struct ThreadSettings {
    uint32_t* userMatchTable;
    FileRoutines routines;
    FileRoutineData routineData;
    uint32_t ditherMethod;
    int32_t xResolution;
    int32_t yResolution;
    uint32_t memoryType;
    int32_t maxMemory;   // threshold 2
    int32_t reserve;     // threshold 1
    int32_t tileSize;    // threshold 3; 0 or less: kDefaultTileSize
    int32_t threshold4;  // the most memory that the tiles of a bitmap hold
    int32_t threshold5;  // the least number of its tiles in memory
    T_WCHAR tempDirectory[kPathChars];
    StatusCallback statusCallback;
    void* statusUserData;
    StatusCallback copyStatusCallback;
    void* copyStatusUserData;
    uint8_t* scratch;  // kSettingsScratchBytes
    SubstituteFontCallback substituteFont;
    void* substituteFontUserData;
};
static_assert(sizeof(void*) != 4 || sizeof(ThreadSettings) == 159 * 4);

constexpr uint32_t kDefaultTileSize = 16'777'216;
constexpr uint32_t kSettingsScratchBytes = 4096;

inline uint32_t tileSize(const ThreadSettings& settings) {
    return settings.tileSize > 0 ? static_cast<uint32_t>(settings.tileSize) : kDefaultTileSize;
}

// A threshold in units of `base`, of which a negative one is a percentage.
inline int64_t thresholdAmount(int32_t threshold, uint64_t base) {
    return threshold >= 0 ? int64_t{threshold} : static_cast<int64_t>(base) * -int64_t{threshold} / 100;
}

// The calling thread's block.
ThreadSettings& currentSettings();

// What a higher room keeps for a thread; destroyed with the thread's block.
struct ThreadObject {
    void* object;
    void (*destroy)(void* object);  // only asked for with an object
};
// The calling thread's. Null when the thread has no block of its own, since nothing guards what threads share.
ThreadObject* threadObject();

// Called when the library is loaded, and when it is unloaded or the process ends: threads that still run keep their blocks.
void attachProcess();
void detachProcess();

// Frees the calling thread's block, for systems that tell of a thread's end but do not release its slot.
void detachThread();

// Silences a callback of the thread for the operations inside another one.
template <StatusCallback ThreadSettings::*kCallback>
class Silence {
  public:
    Silence() : settings_(currentSettings()), callback_(settings_.*kCallback) { settings_.*kCallback = nullptr; }
    ~Silence() { settings_.*kCallback = callback_; }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

  private:
    ThreadSettings& settings_;
    StatusCallback callback_;
};
using CallbackOff = Silence<&ThreadSettings::statusCallback>;
using CopyCallbackOff = Silence<&ThreadSettings::copyStatusCallback>;

// Holds the library lock, which guards the row seek cache.
class LibraryLock {
  public:
    LibraryLock() { platform->lock(); }
    ~LibraryLock() { platform->unlock(); }
    LibraryLock(const LibraryLock&) = delete;
    LibraryLock& operator=(const LibraryLock&) = delete;
};

}  // namespace tnk
