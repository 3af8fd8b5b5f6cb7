// The seam to the operating system. Nothing outside src/platform names a platform; this header includes none of
// its headers. Policy (thresholds, retries, result codes) stays above.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tnkrn.h"

namespace tnk {

struct MemoryStatus {
    uint64_t totalPhysical;
    uint64_t availablePhysical;
    uint64_t totalPageFile;
    uint64_t availablePageFile;
};

// Page-backed memory of its own, zero-filled; aligned to a page at least.
struct Section {
    T_HANDLE handle = 0;
    uint8_t* view = nullptr;
};

enum class FileCreation { openExisting, truncateExisting, createAlways };  // truncating an existing one needs write

struct FileRequest {
    const T_WCHAR* name = nullptr;
    bool read = false;
    bool write = false;
    FileCreation creation = FileCreation::openExisting;
    bool shareRead = false;
    bool shareWrite = false;
    bool readOnly = false;
    bool hidden = false;
    bool system = false;
    bool deleteOnClose = false;  // the file vanishes with its last handle, also when the process dies
};

enum class SeekOrigin { start, current, end };

// Room for a lock of the system that belongs to one object. It stays where it was made.
struct SystemLock {
    alignas(void*) unsigned char space[64];
};

constexpr T_HANDLE kNoFile = -1;
constexpr uint32_t kNoSlot = UINT32_MAX;
constexpr uint32_t kPathChars = 264;  // capacity of a path with its terminator

// No block of memory is larger, so that distances inside one can be told.
constexpr size_t kLargestBlock = SIZE_MAX / 2;

// The routines of the system, in groups; every call of the library goes through `platform`. Each folder beside this file
// defines each group in one of its own. Tests put a table in its place that fails the k-th call. A routine that fails
// returns null, 0, false or -1 as its type says and changes nothing.

// Memory: heap blocks, fixed and movable global blocks, sections.
struct MemoryTable {
    // Scratch memory on the runtime heap. A failed reallocation leaves the block alone; growth is not cleared.
    void* (*allocateLocal)(size_t bytes, bool zero);
    void* (*reallocateLocal)(void* block, size_t bytes);
    void (*freeLocal)(void* block);

    // Fixed global blocks: palettes and what else a caller may come to own. Growth is zero-filled; a failed
    // reallocation leaves the block alone.
    void* (*allocateGlobal)(size_t bytes, bool zero);
    void* (*reallocateGlobal)(void* block, size_t bytes);
    size_t (*sizeOfGlobal)(const void* block);
    void (*freeGlobal)(void* block);

    // Movable blocks; growth is zero-filled. A failed reallocation leaves the block alone; a locked block
    // is never reallocated, since its address is in use. A fixed global block serves too: its address is its handle, its
    // lock is nothing, and it stays one of its kind.
    T_HANDLE (*allocateMovable)(size_t bytes, bool zero);
    T_HANDLE (*reallocateMovable)(T_HANDLE block, size_t bytes);
    void* (*lockMovable)(T_HANDLE block);
    void (*unlockMovable)(T_HANDLE block);  // locks count; several threads may lock a block
    size_t (*sizeOfMovable)(T_HANDLE block);
    void (*freeMovable)(T_HANDLE block);

    // Sections: the storage of memory bitmaps. Large ones ask the system for huge pages where it has them.
    bool (*createSection)(uint64_t bytes, Section* section);
    void (*closeSection)(const Section& section);
    size_t (*sizeOfSection)(const Section& section);  // bytes that it has room for; 0 for what is none
    // The content of a part of a section is of no use any more: memory of pages that lie in it whole may go. Where the system
    // has a way; what they read as then is undefined until they are written.
    void (*forgetPages)(uint8_t* start, size_t bytes);
    // Makes a section of `oldBytes` bytes `bytes` bytes long; handle and view may change. What both sizes have stays, growth
    // is zero. Pages that nobody wrote to cost nothing, as far as the system has a way to tell.
    bool (*resizeSection)(Section* section, uint64_t oldBytes, uint64_t bytes);
};

// Files and folders.
struct FileTable {
    // Files. Positions are 64-bit. seekFile returns the new position or -1.
    T_HANDLE (*openFile)(const FileRequest& request);
    int64_t (*readFile)(T_HANDLE file, void* buffer, uint32_t count);
    int64_t (*writeFile)(T_HANDLE file, const void* buffer, uint32_t count);
    int64_t (*seekFile)(T_HANDLE file, int64_t offset, SeekOrigin origin);
    // From `position` (0 or more) on, whatever position other threads leave the file at; its own may move.
    int64_t (*readFileAt)(T_HANDLE file, int64_t position, void* buffer, uint32_t count);
    int64_t (*writeFileAt)(T_HANDLE file, int64_t position, const void* buffer, uint32_t count);
    bool (*endFileHere)(T_HANDLE file);  // truncates or extends the file to the current position
    bool (*closeFile)(T_HANDLE file);
    bool (*deleteFile)(const T_WCHAR* name);
    bool (*isDirectory)(const T_WCHAR* path);
    // Makes an empty file with a unique name in `directory` (null or empty: the platform's own) and writes its path.
    bool (*makeTempName)(const T_WCHAR* directory, const T_WCHAR* prefix, T_WCHAR (&path)[kPathChars]);
    // Opens a new file of that kind for reading and writing, in one step with its making, so that nobody can put a link
    // in its place; it vanishes with its handle. `sparse`: bytes never written take no room, where the file system can
    // do that.
    T_HANDLE (*createTempFile)(const T_WCHAR* directory, const T_WCHAR* prefix, bool sparse);
    bool (*lastErrorIsDiskFull)();  // of the calling thread's last failed file call

    // Bytes that the directory (null or empty: the platform's own for temporary files) has room for.
    bool (*diskRoom)(const T_WCHAR* directory, uint64_t* bytes);
};

// The process, its threads and its locks.
struct ProcessTable {
    // Budgets. false: cannot be read.
    bool (*memoryStatus)(MemoryStatus* status);
    bool (*handleCount)(uint32_t* count);
    bool (*handleLimit)(uint32_t* count);  // that the process may have open

    // One slot of thread-local storage; `release` gets a thread's value when the thread ends, but not when the slot is
    // deleted. Creating it again changes nothing. Before that the value is null. A process may end while threads run: where
    // the system does not stop them first, they find their values after the slot was deleted, too. Reading the value
    // leaves the last error as it was.
    bool (*createThreadSlot)(void (*release)(void* value));
    void* (*threadValue)();
    bool (*setThreadValue)(void* value);
    void (*deleteThreadSlot)();

    // Slots of thread-local storage for callers; the value is null at first in every thread. Reading it leaves the last
    // error as it was.
    uint32_t (*allocateSlot)();  // kNoSlot when there is none left
    bool (*freeSlot)(uint32_t slot);
    void* (*slotValue)(uint32_t slot);
    bool (*setSlotValue)(uint32_t slot, void* value);

    // The library lock, not recursive. Locking needs no earlier call.
    void (*lock)();
    void (*unlock)();

    // Locks of objects, not recursive. Who finds one taken sleeps until it is free.
    void (*makeLock)(SystemLock* lock);
    void (*destroyLock)(SystemLock* lock);
    void (*acquireLock)(SystemLock* lock);
    void (*releaseLock)(SystemLock* lock);

    // Tells a developer something: the debugger, or the standard error stream.
    void (*diagnose)(const char* text);
};

// What belongs to a display: palettes, regions, device contexts.
struct DisplayTable {
    // Logical palettes of 1 to 256 entries. Counts are entries moved; screenPalette returns 0 entries without a palette
    // display.
    T_HANDLE (*createPalette)(const PaletteEntry* entries, uint32_t count);
    uint32_t (*paletteSize)(T_HANDLE palette);
    uint32_t (*getPaletteEntries)(T_HANDLE palette, uint32_t first, uint32_t count, PaletteEntry* entries);
    uint32_t (*setPaletteEntries)(T_HANDLE palette, uint32_t first, uint32_t count, const PaletteEntry* entries);
    uint32_t (*nearestPaletteIndex)(T_HANDLE palette, uint32_t color);  // plain squared distance, first wins
    bool (*deletePalette)(T_HANDLE palette);
    uint32_t (*screenPalette)(PaletteEntry (&entries)[256]);
    uint32_t (*screenReserved)();  // entries of the screen's palette that the system keeps for itself, half at each end
    bool (*screenResolution)(int32_t* x, int32_t* y);  // pixels per metre, more than 0; false without a screen

    bool (*deleteRegion)(T_HANDLE region);

    // A memory device context compatible with the screen. A palette other than 0 is selected into it and belongs to it
    // from then on, also after a failure. 0 where the system has none.
    T_HANDLE (*createDeviceContext)(T_HANDLE palette);
    bool (*deleteDeviceContext)(T_HANDLE context);
};

// Modules that are loaded by name.
struct ModuleTable {
    // Modules. A name without a folder is looked for beside this library first, then where the system keeps its own, never
    // in the current folder, which anyone may have filled; one without an ending gets the platform's (.DLL, .so). 0 when
    // it cannot be loaded; a symbol that the module does not have is null.
    T_HANDLE (*loadModule)(const T_WCHAR* name);
    void* (*findSymbol)(T_HANDLE module, const char* name);
    bool (*unloadModule)(T_HANDLE module);
};

// Text in the encodings of the platform.
struct TextTable {
    // UTF-16 to the platform's multibyte code page and back, zero-terminated, cut to `capacity` between characters; with
    // a capacity of 0 nothing is written. What is malformed becomes replacement characters. Returns the capacity that the
    // whole text takes.
    uint64_t (*toMultibyte)(const T_WCHAR* text, char* out, uint32_t capacity);
    uint64_t (*toWide)(const char* text, T_WCHAR* out, uint32_t capacity);
};

struct Platform : MemoryTable, FileTable, ProcessTable, DisplayTable, ModuleTable, TextTable {};

extern const Platform nativePlatform;
extern const Platform* platform;

}  // namespace tnk
