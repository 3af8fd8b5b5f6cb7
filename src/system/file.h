// The file layer's inner forms, with 64-bit positions and counts.
#pragma once

#include <cstdint>

#include "base/result.h"
#include "platform/platform.h"
#include "system/settings.h"
#include "tnkrn.h"

namespace tnk {

// The file routines that a thread starts with; see T_OsOpen and its companions.
T_HANDLE TNK_CALL openFile(const T_WCHAR* name, uint32_t openFlags, uint32_t shareFlags, void*);
int32_t TNK_CALL readFile(T_HANDLE file, void* buffer, uint32_t count, void*);
int32_t TNK_CALL writeFile(T_HANDLE file, const void* buffer, uint32_t count, void*);
int32_t TNK_CALL seekFile(T_HANDLE file, int32_t offset, int32_t origin, void*);
int32_t TNK_CALL closeFile(T_HANDLE file, void*);
inline constexpr FileRoutines kLibraryRoutines = {openFile, readFile, writeFile, seekFile, closeFile};

// The disk-full code when that is what the system last said, else `other`.
int32_t lastFileError(int32_t other);

// A new empty file in the thread's temporary directory, for reading and writing, that vanishes when it is closed; `sparse`
// where much of it will never be written. kNoFile
// on failure, and then nothing is left behind. Closed with platform->closeFile.
T_HANDLE createTemporaryFile(bool sparse = false);

// The new position, or -1.
int64_t seekBig(T_HANDLE file, int64_t offset, SeekOrigin origin);

// Bytes moved, fewer at the end of the file or of the disk; -1 on failure.
int64_t readBig(T_HANDLE file, void* buffer, uint64_t bytes);
int64_t writeBig(T_HANDLE file, const void* buffer, uint64_t bytes);

// Move all `bytes` bytes from `position` on, whatever the file's own position, so that threads may share the file.
// ERROR_FILE_SEEK for a place that cannot be, ERROR_FILE_READ; ERROR_DISK_FULL or ERROR_FILE_WRITE.
Result readAt(T_HANDLE file, int64_t position, void* buffer, uint64_t bytes);
Result writeAt(T_HANDLE file, int64_t position, const void* buffer, uint64_t bytes);

// Cuts or extends the file and leaves it positioned at its end.
bool setFileSize(T_HANDLE file, uint64_t bytes);

// Moves `bytes` in chunks of at most kBigChunk; move(offset, count) returns the bytes moved or -1. A chunk that moves
// nothing ends the transfer, since a source without more would never.
constexpr uint32_t kBigChunk = 0x7FFFFFF;

template <typename Move>
int64_t moveInChunks(uint64_t bytes, Move move) {
    uint64_t done = 0;
    while (done < bytes) {
        const uint64_t left = bytes - done;
        const uint32_t chunk = left < kBigChunk ? static_cast<uint32_t>(left) : kBigChunk;
        const int64_t moved = move(done, chunk);
        if (moved < 0) return -1;
        if (moved == 0) break;
        // A caller's routine may claim more than it was asked for.
        done += moved < chunk ? static_cast<uint64_t>(moved) : chunk;
    }
    return static_cast<int64_t>(done);
}

}  // namespace tnk
