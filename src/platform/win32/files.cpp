#include <atomic>

#include "platform/win32/windows_api.h"

namespace tnk::native {

namespace {

DWORD creationOf(FileCreation creation) {
    switch (creation) {
        case FileCreation::createAlways:
            return CREATE_ALWAYS;
        case FileCreation::truncateExisting:
            return TRUNCATE_EXISTING;
        case FileCreation::openExisting:
            break;
    }
    return OPEN_EXISTING;
}

DWORD attributesOf(const FileRequest& request) {
    DWORD attributes = 0;
    if (request.readOnly) attributes |= FILE_ATTRIBUTE_READONLY;
    if (request.hidden) attributes |= FILE_ATTRIBUTE_HIDDEN;
    if (request.system) attributes |= FILE_ATTRIBUTE_SYSTEM;
    // Temporary: kept out of the disk's way as long as memory lasts.
    if (request.deleteOnClose) attributes |= FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE;
    return attributes != 0 ? attributes : FILE_ATTRIBUTE_NORMAL;
}

OVERLAPPED placeOf(int64_t position) {
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(position);
    place.OffsetHigh = static_cast<DWORD>(position >> 32);
    return place;
}

// A wish only: file systems that cannot do it fill the gaps.
void leaveGaps(HANDLE file) {
    DWORD written = 0;
    DeviceIoControl(file, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &written, nullptr);
}

constexpr DWORD kAnyPath = MAX_PATH + 1;

// The directory, or the platform's own for temporary files when it is null or empty; null when that cannot be told.
const T_WCHAR* temporaryFolder(const T_WCHAR* directory, T_WCHAR (&standard)[kAnyPath]) {
    if (directory != nullptr && directory[0] != 0) return directory;
    const DWORD length = GetTempPathW(kAnyPath, standard);
    return length != 0 && length < kAnyPath ? standard : nullptr;
}

}  // namespace

constinit const FileTable fileTable = {
    .openFile = [](const FileRequest& request) -> T_HANDLE {
        const DWORD access = (request.read ? GENERIC_READ : 0) | (request.write ? GENERIC_WRITE : 0);
        const DWORD share = (request.shareRead ? FILE_SHARE_READ : 0) | (request.shareWrite ? FILE_SHARE_WRITE : 0);
        return handleOf(CreateFileW(request.name, access, share, nullptr, creationOf(request.creation),
                                    attributesOf(request), nullptr));
    },

    .readFile = [](T_HANDLE file, void* buffer, uint32_t count) -> int64_t {
        DWORD moved = 0;
        return ReadFile(systemHandle(file), buffer, count, &moved, nullptr) ? static_cast<int64_t>(moved) : -1;
    },

    .writeFile = [](T_HANDLE file, const void* buffer, uint32_t count) -> int64_t {
        DWORD moved = 0;
        return WriteFile(systemHandle(file), buffer, count, &moved, nullptr) ? static_cast<int64_t>(moved) : -1;
    },

    .seekFile = [](T_HANDLE file, int64_t offset, SeekOrigin origin) -> int64_t {
        const DWORD method = origin == SeekOrigin::start     ? FILE_BEGIN
                             : origin == SeekOrigin::current ? FILE_CURRENT
                                                             : FILE_END;
        LARGE_INTEGER distance;
        LARGE_INTEGER position;
        distance.QuadPart = offset;
        return SetFilePointerEx(systemHandle(file), distance, &position, method) ? position.QuadPart : -1;
    },

    .readFileAt = [](T_HANDLE file, int64_t position, void* buffer, uint32_t count) -> int64_t {
        OVERLAPPED place = placeOf(position);
        DWORD moved = 0;
        if (ReadFile(systemHandle(file), buffer, count, &moved, &place)) return moved;
        // Unlike reading at the file's own position, this fails at the end.
        return GetLastError() == ERROR_HANDLE_EOF ? 0 : -1;
    },

    .writeFileAt = [](T_HANDLE file, int64_t position, const void* buffer, uint32_t count) -> int64_t {
        OVERLAPPED place = placeOf(position);
        DWORD moved = 0;
        return WriteFile(systemHandle(file), buffer, count, &moved, &place) ? static_cast<int64_t>(moved) : -1;
    },

    .endFileHere = [](T_HANDLE file) -> bool { return SetEndOfFile(systemHandle(file)) != 0; },
    .closeFile = [](T_HANDLE file) -> bool { return CloseHandle(systemHandle(file)) != 0; },
    .deleteFile = [](const T_WCHAR* name) -> bool { return DeleteFileW(name) != 0; },

    .isDirectory = [](const T_WCHAR* path) -> bool {
        const DWORD attributes = GetFileAttributesW(path);
        return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    },

    .makeTempName = [](const T_WCHAR* directory, const T_WCHAR* prefix, T_WCHAR (&path)[kPathChars]) -> bool {
        static_assert(kPathChars >= MAX_PATH);
        T_WCHAR standard[kAnyPath];
        directory = temporaryFolder(directory, standard);
        if (directory == nullptr) return false;
        return GetTempFileNameW(directory, prefix, 0, path) != 0;
    },

    .createTempFile = [](const T_WCHAR* directory, const T_WCHAR* prefix, bool sparse) -> T_HANDLE {
        T_WCHAR standard[kAnyPath];
        T_WCHAR path[kPathChars];
        directory = temporaryFolder(directory, standard);
        if (directory == nullptr) return kNoFile;
        // With a number other than 0 the system only makes the name. A file of that name that is about to vanish refuses
        // access, and so does a folder that takes none.
        constexpr UINT kNumbers = 0xFFFF;
        constexpr UINT kPatience = 16;
        static std::atomic<UINT> made = 0;
        UINT denied = 0;
        for (UINT tries = 0; tries < kNumbers; ++tries) {
            const UINT number = (GetTickCount() + made.fetch_add(1, std::memory_order_relaxed)) % kNumbers + 1;
            if (GetTempFileNameW(directory, prefix, number, path) == 0) return kNoFile;
            constexpr DWORD kFlags =
                FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OPEN_REPARSE_POINT;
            const HANDLE file =
                CreateFileW(path, GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW, kFlags, nullptr);
            if (file != INVALID_HANDLE_VALUE) {
                if (sparse) leaveGaps(file);
                return handleOf(file);
            }
            const DWORD error = GetLastError();
            const bool taken = error == ERROR_FILE_EXISTS || (error == ERROR_ACCESS_DENIED && ++denied < kPatience);
            if (!taken) return kNoFile;
        }
        return kNoFile;
    },

    .lastErrorIsDiskFull = []() -> bool {
        const DWORD error = GetLastError();
        return error == ERROR_HANDLE_DISK_FULL || error == ERROR_DISK_FULL;
    },

    .diskRoom = [](const T_WCHAR* directory, uint64_t* bytes) -> bool {
        T_WCHAR standard[kAnyPath];
        directory = temporaryFolder(directory, standard);
        if (directory == nullptr) return false;
        ULARGE_INTEGER room;
        if (!GetDiskFreeSpaceExW(directory, &room, nullptr, nullptr)) return false;
        *bytes = room.QuadPart;
        return true;
    },
};

}  // namespace tnk::native
