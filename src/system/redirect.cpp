// Redirection of file accesses to a caller's routines and to a memory block.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <utility>

#include "base/scratch.h"
#include "platform/platform.h"
#include "system/file.h"
#include "system/settings.h"

namespace tnk {

namespace {

constexpr T_HANDLE kMemoryFile = 5;
constexpr uint32_t kGrowthStep = 32'768;
constexpr uint32_t kGrowAndShrink = REDIRECT_GROW | REDIRECT_SHRINK;

struct MemoryFile {
    T_HANDLE block;
    uint32_t capacity;  // 0 without a block
    uint32_t length;
    uint32_t position;
    uint32_t flags;
    FileRoutines savedRoutines;
    FileRoutineData savedData;
};
static_assert(sizeof(void*) != 4 || sizeof(MemoryFile) == 15 * 4);

// Exchanges a stored routine with the caller's; a null one stays out, but the stored one is told.
template <typename Routine>
void exchangeRoutine(Routine& stored, Routine* given) {
    if (given == nullptr) return;
    const Routine old = stored;
    if (*given != nullptr) stored = *given;
    *given = old;
}

void exchangeData(void*& stored, void** given) {
    if (given != nullptr) std::swap(stored, *given);
}

void exchangeRoutines(FileRoutines& routines, FileRoutineData& data) {
    ThreadSettings& settings = currentSettings();
    exchangeRoutine(settings.routines.open, &routines.open);
    exchangeRoutine(settings.routines.read, &routines.read);
    exchangeRoutine(settings.routines.write, &routines.write);
    exchangeRoutine(settings.routines.seek, &routines.seek);
    exchangeRoutine(settings.routines.close, &routines.close);
    std::swap(settings.routineData, data);
}

// A block that cannot grow stays as it is; the write that asked for it then comes out short.
void grow(MemoryFile& file, uint64_t needed) {
    const uint64_t capacity = (needed + kGrowthStep - 1) / kGrowthStep * kGrowthStep;
    if (capacity > UINT32_MAX) return;
    const T_HANDLE block = file.block != 0 ? platform->reallocateMovable(file.block, static_cast<size_t>(capacity))
                                           : platform->allocateMovable(static_cast<size_t>(capacity), true);
    if (block == 0) return;
    file.block = block;
    file.capacity = static_cast<uint32_t>(capacity);
}

T_HANDLE TNK_CALL memoryOpen(const T_WCHAR*, uint32_t openFlags, uint32_t, void* userData) {
    auto& file = *static_cast<MemoryFile*>(userData);
    file.position = 0;
    if ((openFlags & OPEN_TRUNCATE) != 0) file.length = 0;
    return kMemoryFile;
}

int32_t TNK_CALL memoryRead(T_HANDLE handle, void* buffer, uint32_t count, void* userData) {
    auto& file = *static_cast<MemoryFile*>(userData);
    if (handle != kMemoryFile || buffer == nullptr || file.position > file.length || file.block == 0) return -1;
    const uint32_t bytes = std::min(count, file.length - file.position);
    if (bytes == 0) return 0;
    const auto* data = static_cast<const uint8_t*>(platform->lockMovable(file.block));
    if (data == nullptr) return -1;
    std::memcpy(buffer, data + file.position, bytes);
    platform->unlockMovable(file.block);
    file.position += bytes;
    return static_cast<int32_t>(bytes);
}

int32_t TNK_CALL memoryWrite(T_HANDLE handle, const void* buffer, uint32_t count, void* userData) {
    auto& file = *static_cast<MemoryFile*>(userData);
    if (handle != kMemoryFile || buffer == nullptr || (file.flags & REDIRECT_WRITE) == 0) return -1;
    if (count == 0) {
        file.length = std::min(file.position, file.capacity);
        return 0;
    }
    const uint64_t end = uint64_t{file.position} + count;
    if (end > file.capacity && (file.flags & REDIRECT_GROW) != 0) grow(file, end);
    if (file.position > file.capacity) return -1;
    const uint32_t bytes = std::min(count, file.capacity - file.position);
    if (bytes != 0) {
        auto* data = static_cast<uint8_t*>(platform->lockMovable(file.block));
        if (data == nullptr) return -1;
        std::memcpy(data + file.position, buffer, bytes);
        platform->unlockMovable(file.block);
    }
    // KEEP: also where the file is full and nothing was moved; leaving the length alone would be the tempting repair.
    file.position += bytes;
    file.length = std::max(file.length, file.position);
    return static_cast<int32_t>(bytes);
}

// No bound is checked here: reading and writing look at the position. It is unsigned and wraps.
int32_t TNK_CALL memorySeek(T_HANDLE, int32_t offset, int32_t origin, void* userData) {
    auto& file = *static_cast<MemoryFile*>(userData);
    const auto distance = static_cast<uint32_t>(offset);
    switch (origin) {
        case 0:
            file.position = distance;
            break;
        case 1:
            file.position += distance;
            break;
        case 2:
            file.position = file.length + distance;
            break;
        default:
            return -1;
    }
    return static_cast<int32_t>(file.position);
}

int32_t TNK_CALL memoryClose(T_HANDLE handle, void* userData) {
    auto& file = *static_cast<MemoryFile*>(userData);
    if (handle != kMemoryFile) return -1;
    const bool shrinks = (file.flags & (kGrowAndShrink | REDIRECT_SOURCE)) == kGrowAndShrink;
    if (shrinks && file.length < file.capacity) {
        const T_HANDLE block = platform->reallocateMovable(file.block, file.length);
        if (block != 0) {
            file.block = block;
            file.capacity = file.length;
        }
    }
    return 0;
}

// Open routines with narrow names. Each gets a wide routine of its own, which can then be stored, exchanged and put back
// like any other: the settings have no place for a narrow one.
constexpr size_t kNarrowRoutines = 64;
std::atomic<OpenRoutineA> narrowRoutines[kNarrowRoutines];

template <size_t kIndex>
T_HANDLE TNK_CALL openNarrow(const T_WCHAR* name, uint32_t openFlags, uint32_t shareFlags, void* userData) {
    const OpenRoutineA open = narrowRoutines[kIndex].load(std::memory_order_acquire);
    if (name == nullptr) return open(nullptr, openFlags, shareFlags, userData);
    const uint64_t length = platform->toMultibyte(name, nullptr, 0);
    Scratch<char> narrow;
    if (length > UINT32_MAX || !narrow.allocate(length)) return kNoFile;
    platform->toMultibyte(name, narrow.data(), static_cast<uint32_t>(length));
    return open(narrow.data(), openFlags, shareFlags, userData);
}

template <size_t... kIndices>
constexpr std::array<OpenRoutine, sizeof...(kIndices)> wideRoutines(std::index_sequence<kIndices...>) {
    return {openNarrow<kIndices>...};
}

constexpr auto kWideRoutines = wideRoutines(std::make_index_sequence<kNarrowRoutines>());

// The wide form of a narrow routine, the same one each time; null when all are taken by others.
OpenRoutine wideFormOf(OpenRoutineA narrow) {
    for (size_t i = 0; i < kNarrowRoutines; ++i) {
        OpenRoutineA holder = nullptr;
        if (narrowRoutines[i].compare_exchange_strong(holder, narrow) || holder == narrow) return kWideRoutines[i];
    }
    return nullptr;
}

constexpr FileRoutines kMemoryRoutines = {memoryOpen, memoryRead, memoryWrite, memorySeek, memoryClose};

// Null routines stand for the library's own.
void installRoutines(const FileRoutines& given, void* userData) {
    const FileRoutines& own = kLibraryRoutines;
    ThreadSettings& settings = currentSettings();
    settings.routines = {
        given.open != nullptr ? given.open : own.open,    given.read != nullptr ? given.read : own.read,
        given.write != nullptr ? given.write : own.write, given.seek != nullptr ? given.seek : own.seek,
        given.close != nullptr ? given.close : own.close,
    };
    settings.routineData = {userData, userData, userData, userData, userData};
}

int32_t redirectedRead(T_HANDLE file, void* buffer, uint32_t count) {
    const ThreadSettings& settings = currentSettings();
    return settings.routines.read(file, buffer, count, settings.routineData.read);
}

int32_t redirectedWrite(T_HANDLE file, const void* buffer, uint32_t count) {
    const ThreadSettings& settings = currentSettings();
    return settings.routines.write(file, buffer, count, settings.routineData.write);
}

}  // namespace

}  // namespace tnk

using namespace tnk;

extern "C" void TNK_CALL T_RedirectIO(OpenRoutine Open, ReadRoutine Read, WriteRoutine Write, SeekRoutine Seek,
                                      CloseRoutine Close, void* UserData) {
    installRoutines({Open, Read, Write, Seek, Close}, UserData);
}

extern "C" int32_t TNK_CALL T_RedirectIOA(OpenRoutineA Open, ReadRoutine Read, WriteRoutine Write, SeekRoutine Seek,
                                          CloseRoutine Close, void* UserData) {
    const OpenRoutine wide = Open != nullptr ? wideFormOf(Open) : nullptr;
    if (Open != nullptr && wide == nullptr) return FAILURE;
    installRoutines({wide, Read, Write, Seek, Close}, UserData);
    return SUCCESS;
}

extern "C" void TNK_CALL T_FilterIO(OpenRoutine* Open, ReadRoutine* Read, WriteRoutine* Write, SeekRoutine* Seek,
                                    CloseRoutine* Close, void** OpenData, void** ReadData, void** WriteData,
                                    void** SeekData, void** CloseData) {
    ThreadSettings& settings = currentSettings();
    exchangeRoutine(settings.routines.open, Open);
    exchangeRoutine(settings.routines.read, Read);
    exchangeRoutine(settings.routines.write, Write);
    exchangeRoutine(settings.routines.seek, Seek);
    exchangeRoutine(settings.routines.close, Close);
    exchangeData(settings.routineData.open, OpenData);
    exchangeData(settings.routineData.read, ReadData);
    exchangeData(settings.routineData.write, WriteData);
    exchangeData(settings.routineData.seek, SeekData);
    exchangeData(settings.routineData.close, CloseData);
}

extern "C" void* TNK_CALL T_GetFilterIOData(void** OpenData, void** ReadData, void** WriteData, void** SeekData,
                                            void** CloseData) {
    ThreadSettings& settings = currentSettings();
    const FileRoutineData& data = settings.routineData;
    if (OpenData != nullptr) *OpenData = data.open;
    if (ReadData != nullptr) *ReadData = data.read;
    if (WriteData != nullptr) *WriteData = data.write;
    if (SeekData != nullptr) *SeekData = data.seek;
    if (CloseData != nullptr) *CloseData = data.close;
    return &settings;
}

extern "C" T_HANDLE TNK_CALL T_RedirectedOpen(const T_WCHAR* Name, uint32_t OpenFlags, uint32_t ShareFlags) {
    const ThreadSettings& settings = currentSettings();
    return settings.routines.open(Name, OpenFlags, ShareFlags, settings.routineData.open);
}

extern "C" int32_t TNK_CALL T_RedirectedRead(T_HANDLE File, void* Buffer, uint32_t Count) {
    return redirectedRead(File, Buffer, Count);
}

extern "C" int32_t TNK_CALL T_RedirectedWrite(T_HANDLE File, const void* Buffer, uint32_t Count) {
    return redirectedWrite(File, Buffer, Count);
}

extern "C" int32_t TNK_CALL T_RedirectedSeek(T_HANDLE File, int32_t Offset, int32_t Origin) {
    const ThreadSettings& settings = currentSettings();
    return settings.routines.seek(File, Offset, Origin, settings.routineData.seek);
}

extern "C" int32_t TNK_CALL T_RedirectedClose(T_HANDLE File) {
    const ThreadSettings& settings = currentSettings();
    return settings.routines.close(File, settings.routineData.close);
}

extern "C" int32_t TNK_CALL T_RedirectedReadBig(T_HANDLE File, void* Buffer, uint32_t Count) {
    if (Buffer == nullptr) return -1;
    auto* to = static_cast<uint8_t*>(Buffer);
    return static_cast<int32_t>(
        moveInChunks(Count, [&](uint64_t offset, uint32_t chunk) { return redirectedRead(File, to + offset, chunk); }));
}

extern "C" int32_t TNK_CALL T_RedirectedWriteBig(T_HANDLE File, const void* Buffer, uint32_t Count) {
    if (Buffer == nullptr) return -1;
    const auto* from = static_cast<const uint8_t*>(Buffer);
    return static_cast<int32_t>(moveInChunks(
        Count, [&](uint64_t offset, uint32_t chunk) { return redirectedWrite(File, from + offset, chunk); }));
}

extern "C" int32_t TNK_CALL T_StartRedirectToBuffer(void** Context, T_HANDLE* Handle, uint32_t Flags, T_HANDLE hBuffer,
                                                    uint32_t Capacity) {
    if (Context == nullptr) return ERROR_INVALID_PARAMETER;
    auto* file = static_cast<MemoryFile*>(LocalBlocks::allocate(sizeof(MemoryFile), true));
    if (file == nullptr) return FAILURE;
    // Never past the block, whatever the caller says.
    const size_t held = hBuffer != 0 ? platform->sizeOfMovable(hBuffer) : 0;
    file->block = hBuffer;
    file->capacity = static_cast<uint32_t>(std::min<uint64_t>(Capacity, held));
    file->length = (Flags & REDIRECT_SOURCE) != 0 ? file->capacity : 0;
    file->flags = Flags;
    file->savedRoutines = kMemoryRoutines;
    file->savedData = {file, file, file, file, file};
    exchangeRoutines(file->savedRoutines, file->savedData);
    *Context = file;
    if (Handle != nullptr) *Handle = kMemoryFile;
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_StopRedirectToBuffer(void* Context, T_HANDLE* hBuffer, uint32_t* Length) {
    if (Context == nullptr) return ERROR_INVALID_PARAMETER;
    auto* file = static_cast<MemoryFile*>(Context);
    exchangeRoutines(file->savedRoutines, file->savedData);
    if (hBuffer != nullptr) *hBuffer = file->block;
    if (Length != nullptr) *Length = file->length;
    LocalBlocks::free(file);
    return SUCCESS;
}
