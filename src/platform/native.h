// The routines of the operating system that this library is built for. Each folder beside this file implements all of
// them; platform.cpp puts them into the table, where their contracts stand.
#pragma once

#include "platform/platform.h"

namespace tnk::native {

void* allocateLocal(size_t bytes, bool zero);
void* reallocateLocal(void* block, size_t bytes);
void freeLocal(void* block);
void* allocateGlobal(size_t bytes, bool zero);
void* reallocateGlobal(void* block, size_t bytes);
size_t sizeOfGlobal(const void* block);
void freeGlobal(void* block);

T_HANDLE allocateMovable(size_t bytes);
T_HANDLE reallocateMovable(T_HANDLE block, size_t bytes);
void* lockMovable(T_HANDLE block);
void unlockMovable(T_HANDLE block);
size_t sizeOfMovable(T_HANDLE block);
void freeMovable(T_HANDLE block);

bool createSection(uint64_t bytes, Section* section);
void closeSection(const Section& section);

T_HANDLE openFile(const FileRequest& request);
int64_t readFile(T_HANDLE file, void* buffer, uint32_t count);
int64_t writeFile(T_HANDLE file, const void* buffer, uint32_t count);
int64_t seekFile(T_HANDLE file, int64_t offset, SeekOrigin origin);
int64_t readFileAt(T_HANDLE file, int64_t position, void* buffer, uint32_t count);
int64_t writeFileAt(T_HANDLE file, int64_t position, const void* buffer, uint32_t count);
bool endFileHere(T_HANDLE file);
bool closeFile(T_HANDLE file);
bool deleteFile(const T_WCHAR* name);
bool isDirectory(const T_WCHAR* path);
bool makeTempName(const T_WCHAR* directory, const T_WCHAR* prefix, T_WCHAR (&path)[kPathChars]);
T_HANDLE createTempFile(const T_WCHAR* directory, const T_WCHAR* prefix);
bool lastErrorIsDiskFull();

bool memoryStatus(MemoryStatus* status);
bool handleCount(uint32_t* count);

bool createThreadSlot(void (*release)(void* value));
void* threadValue();
bool setThreadValue(void* value);
void deleteThreadSlot();

uint32_t allocateSlot();
bool freeSlot(uint32_t slot);
void* slotValue(uint32_t slot);
bool setSlotValue(uint32_t slot, void* value);

void lock();
void unlock();

void makeLock(SystemLock* lock);
void destroyLock(SystemLock* lock);
void acquireLock(SystemLock* lock);
void releaseLock(SystemLock* lock);

T_HANDLE createPalette(const PaletteEntry* entries, uint32_t count);
uint32_t paletteSize(T_HANDLE palette);
uint32_t getPaletteEntries(T_HANDLE palette, uint32_t first, uint32_t count, PaletteEntry* entries);
uint32_t setPaletteEntries(T_HANDLE palette, uint32_t first, uint32_t count, const PaletteEntry* entries);
uint32_t nearestPaletteIndex(T_HANDLE palette, uint32_t color);
bool deletePalette(T_HANDLE palette);
uint32_t screenPalette(PaletteEntry (&entries)[256]);
uint32_t screenReserved();

bool deleteRegion(T_HANDLE region);

T_HANDLE createDeviceContext(T_HANDLE palette);
bool deleteDeviceContext(T_HANDLE context);

T_HANDLE loadModule(const T_WCHAR* name);
void* findSymbol(T_HANDLE module, const char* name);
bool unloadModule(T_HANDLE module);
bool diskRoom(const T_WCHAR* directory, uint64_t* bytes);

uint64_t toMultibyte(const T_WCHAR* text, char* out, uint32_t capacity);
uint64_t toWide(const char* text, T_WCHAR* out, uint32_t capacity);

void diagnose(const char* text);

}  // namespace tnk::native
