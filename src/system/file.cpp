#include "system/file.h"

namespace tnk {

namespace {

constexpr T_WCHAR kTempPrefix[] = {'T', 'D', 0};

SeekOrigin seekOrigin(uint32_t origin) {
    return origin == 0 ? SeekOrigin::start : origin == 1 ? SeekOrigin::current : SeekOrigin::end;
}

FileCreation creationOf(uint32_t openFlags) {
    if ((openFlags & OPEN_CREATE) != 0) return FileCreation::createAlways;
    return (openFlags & OPEN_TRUNCATE) != 0 ? FileCreation::truncateExisting : FileCreation::openExisting;
}

// Asked only after a transfer failed: positioned transfers do not tell a bad place from a bad transfer.
bool canSeek(T_HANDLE file, int64_t position) {
    return platform->seekFile(file, position, SeekOrigin::start) == position;
}

}  // namespace

T_HANDLE TNK_CALL openFile(const T_WCHAR* name, uint32_t openFlags, uint32_t shareFlags, void*) {
    if (name == nullptr) return kNoFile;
    const uint32_t access = openFlags & 3;
    FileRequest request;
    request.name = name;
    request.read = access != OPEN_WRITE;
    request.write = access != OPEN_READ;
    request.creation = creationOf(openFlags);
    request.shareRead = (shareFlags & SHARE_READ) != 0;
    // KEEP: SHARE_WRITE alone shares nothing; giving it the other writers would be the tempting repair.
    request.shareWrite = request.shareRead && (shareFlags & SHARE_WRITE) != 0;
    request.readOnly = access == OPEN_READ;
    // Systems differ on truncating without the right to write.
    if (request.creation == FileCreation::truncateExisting && !request.write) return kNoFile;
    return platform->openFile(request);
}

int32_t TNK_CALL readFile(T_HANDLE file, void* buffer, uint32_t count, void*) {
    return buffer != nullptr ? static_cast<int32_t>(platform->readFile(file, buffer, count)) : -1;
}

int32_t TNK_CALL writeFile(T_HANDLE file, const void* buffer, uint32_t count, void*) {
    if (buffer == nullptr) return -1;
    if (count == 0) return platform->endFileHere(file) ? 0 : -1;
    return static_cast<int32_t>(platform->writeFile(file, buffer, count));
}

int32_t TNK_CALL seekFile(T_HANDLE file, int32_t offset, int32_t origin, void*) {
    const int64_t position = platform->seekFile(file, offset, seekOrigin(static_cast<uint32_t>(origin)));
    return position >= 0 ? static_cast<int32_t>(position) : 0;
}

int32_t TNK_CALL closeFile(T_HANDLE file, void*) {
    // A system may take the failed handle for something that can be closed.
    return file != kNoFile && platform->closeFile(file) ? 0 : -1;
}

int32_t lastFileError(int32_t other) { return platform->lastErrorIsDiskFull() ? ERROR_DISK_FULL : other; }

T_HANDLE createTemporaryFile(bool sparse) {
    return platform->createTempFile(currentSettings().tempDirectory, kTempPrefix, sparse);
}

int64_t seekBig(T_HANDLE file, int64_t offset, SeekOrigin origin) { return platform->seekFile(file, offset, origin); }

int64_t readBig(T_HANDLE file, void* buffer, uint64_t bytes) {
    auto* to = static_cast<uint8_t*>(buffer);
    return moveInChunks(bytes,
                        [&](uint64_t offset, uint32_t count) { return platform->readFile(file, to + offset, count); });
}

int64_t writeBig(T_HANDLE file, const void* buffer, uint64_t bytes) {
    const auto* from = static_cast<const uint8_t*>(buffer);
    return moveInChunks(
        bytes, [&](uint64_t offset, uint32_t count) { return platform->writeFile(file, from + offset, count); });
}

Result readAt(T_HANDLE file, int64_t position, void* buffer, uint64_t bytes) {
    if (position < 0) return ERROR_FILE_SEEK;
    auto* to = static_cast<uint8_t*>(buffer);
    const int64_t moved = moveInChunks(bytes, [&](uint64_t offset, uint32_t count) {
        return platform->readFileAt(file, position + static_cast<int64_t>(offset), to + offset, count);
    });
    if (moved == static_cast<int64_t>(bytes)) return SUCCESS;
    return canSeek(file, position) ? ERROR_FILE_READ : ERROR_FILE_SEEK;
}

Result writeAt(T_HANDLE file, int64_t position, const void* buffer, uint64_t bytes) {
    if (position < 0) return ERROR_FILE_SEEK;
    const auto* from = static_cast<const uint8_t*>(buffer);
    const int64_t moved = moveInChunks(bytes, [&](uint64_t offset, uint32_t count) {
        return platform->writeFileAt(file, position + static_cast<int64_t>(offset), from + offset, count);
    });
    if (moved == static_cast<int64_t>(bytes)) return SUCCESS;
    if (platform->lastErrorIsDiskFull()) return ERROR_DISK_FULL;
    return canSeek(file, position) ? ERROR_FILE_WRITE : ERROR_FILE_SEEK;
}

bool setFileSize(T_HANDLE file, uint64_t bytes) {
    if (bytes > INT64_MAX) return false;
    const auto position = static_cast<int64_t>(bytes);
    return seekBig(file, position, SeekOrigin::start) == position && platform->endFileHere(file);
}

}  // namespace tnk

using namespace tnk;

extern "C" T_HANDLE TNK_CALL T_OsOpen(const T_WCHAR* Name, uint32_t OpenFlags, uint32_t ShareFlags, void* UserData) {
    return openFile(Name, OpenFlags, ShareFlags, UserData);
}

extern "C" T_HANDLE TNK_CALL T_OsCreat(const T_WCHAR* Name, uint32_t Attributes) {
    if (Name == nullptr) return kNoFile;
    FileRequest request;
    request.name = Name;
    request.read = true;
    request.write = (Attributes & CREATE_READONLY) == 0;
    request.creation = FileCreation::createAlways;
    request.shareRead = true;
    request.shareWrite = true;
    request.readOnly = (Attributes & CREATE_READONLY) != 0;
    request.hidden = (Attributes & CREATE_HIDDEN) != 0;
    request.system = (Attributes & CREATE_SYSTEM) != 0;
    request.deleteOnClose = (Attributes & CREATE_DELETE_ON_CLOSE) != 0;
    return platform->openFile(request);
}

extern "C" int32_t TNK_CALL T_OsRead(T_HANDLE File, void* Buffer, uint32_t Count, void* UserData) {
    return readFile(File, Buffer, Count, UserData);
}

extern "C" int32_t TNK_CALL T_OsWrite(T_HANDLE File, const void* Buffer, uint32_t Count, void* UserData) {
    return writeFile(File, Buffer, Count, UserData);
}

extern "C" int32_t TNK_CALL T_OsSeek(T_HANDLE File, int32_t Offset, int32_t Origin, void* UserData) {
    return seekFile(File, Offset, Origin, UserData);
}

extern "C" uint64_t TNK_CALL T_OsSeekBig(T_HANDLE File, uint64_t Offset, uint32_t Origin, void*) {
    const int64_t position = seekBig(File, static_cast<int64_t>(Offset), seekOrigin(Origin));
    return position >= 0 ? static_cast<uint64_t>(position) : 0;
}

extern "C" int32_t TNK_CALL T_OsReadBig(T_HANDLE File, void* Buffer, uint32_t Count, void*) {
    return Buffer != nullptr ? static_cast<int32_t>(readBig(File, Buffer, Count)) : -1;
}

extern "C" int32_t TNK_CALL T_OsWriteBig(T_HANDLE File, const void* Buffer, uint32_t Count, void*) {
    return Buffer != nullptr ? static_cast<int32_t>(writeBig(File, Buffer, Count)) : -1;
}

extern "C" int32_t TNK_CALL T_OsSetFileSize(T_HANDLE File, uint32_t Size) { return setFileSize(File, Size) ? 0 : -1; }

extern "C" int32_t TNK_CALL T_OsClose(T_HANDLE File) { return closeFile(File, nullptr); }

extern "C" int32_t TNK_CALL T_OsDelete(const T_WCHAR* Name) {
    return Name != nullptr && platform->deleteFile(Name) ? 0 : -1;
}

extern "C" int32_t TNK_CALL T_OsGetTempName(T_WCHAR* Buffer) {
    if (Buffer == nullptr) return ERROR_INVALID_PARAMETER;
    T_WCHAR name[kPathChars];
    if (!platform->makeTempName(currentSettings().tempDirectory, kTempPrefix, name)) return FAILURE;
    for (uint32_t i = 0; i < kPathChars; ++i) {
        Buffer[i] = name[i];
        if (name[i] == 0) break;
    }
    return SUCCESS;
}

extern "C" int32_t TNK_CALL T_OsGetLastError(int32_t Default) { return lastFileError(Default); }
