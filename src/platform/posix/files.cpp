// Files. Share flags, the hidden and the system attribute have no counterpart here and are not looked at: any number of
// openers share a file.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/native.h"
#include "platform/posix/text.h"

namespace tnk::native {

static_assert(sizeof(off_t) == 8, "files are larger than 2 GB");

namespace {

constexpr size_t kPathBytes = 4096;

int descriptorOf(T_HANDLE file) { return file >= 0 && file <= INT32_MAX ? static_cast<int>(file) : -1; }

// A program that closed its standard streams must not find its output in a bitmap's file.
int aboveStandardStreams(int descriptor) {
    if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(descriptor);
    errno = error;
    return moved;
}

int openFlags(const FileRequest& request) {
    int flags = O_CLOEXEC | O_NOCTTY;
    flags |= request.read && request.write ? O_RDWR : request.write ? O_WRONLY : O_RDONLY;
    if (request.creation == FileCreation::createAlways) flags |= O_CREAT;
    if (request.creation != FileCreation::openExisting) flags |= O_TRUNC;
    return flags;
}

// Directories can be opened, but not as files.
bool isFile(int descriptor) {
    struct stat status;
    if (fstat(descriptor, &status) != 0) return false;
    if (!S_ISDIR(status.st_mode)) return true;
    errno = EACCES;
    return false;
}

// The directory, or the platform's own for temporary files when it is null or empty.
bool temporaryFolder(const T_WCHAR* directory, char (&folder)[kPathBytes]) {
    if (directory != nullptr && directory[0] != 0) return toUtf8(directory, folder, sizeof folder);
    const char* chosen = std::getenv("TMPDIR");
    if (chosen == nullptr || chosen[0] == 0) chosen = "/tmp";
    if (std::strlen(chosen) >= sizeof folder) return false;
    std::strcpy(folder, chosen);
    return true;
}

struct TempFile {
    int descriptor;
    char name[kPathBytes + 32];
};

// A new file, which nobody had a link for, open; a descriptor of -1 when none can be made.
TempFile makeTempFile(const T_WCHAR* directory, const T_WCHAR* prefix) {
    TempFile file;
    file.descriptor = -1;
    char start[16];
    char folder[kPathBytes];
    if (!toUtf8(prefix, start, sizeof start) || !temporaryFolder(directory, folder)) return file;
    std::snprintf(file.name, sizeof file.name, "%s/%sXXXXXX", folder, start);
    file.descriptor = aboveStandardStreams(mkostemp(file.name, O_CLOEXEC));
    return file;
}

// Moves `count` bytes by as many calls as the system wants; stops at the end of the file or at a failure. What was moved
// before a failure counts, and errno keeps the failure's reason.
template <typename Byte, typename Transfer>
int64_t transferAll(Byte* bytes, uint32_t count, Transfer transfer) {
    uint32_t done = 0;
    while (done < count) {
        const ssize_t moved = transfer(bytes + done, count - done);
        if (moved == 0) break;
        if (moved > 0) {
            done += static_cast<uint32_t>(moved);
        } else if (errno != EINTR) {
            return done != 0 ? static_cast<int64_t>(done) : -1;
        }
    }
    return done;
}

}  // namespace

constinit const FileTable fileTable = {
    .openFile = [](const FileRequest& request) -> T_HANDLE {
        char name[kPathBytes];
        if (!toUtf8(request.name, name, sizeof name)) {
            errno = ENOENT;
            return kNoFile;
        }
        const mode_t mode = request.readOnly ? 0444 : 0666;
        const int descriptor = aboveStandardStreams(open(name, openFlags(request), mode));
        if (descriptor < 0) return kNoFile;
        if (!isFile(descriptor)) {
            const int error = errno;
            close(descriptor);
            errno = error;
            return kNoFile;
        }
        // The name goes at once: nothing is left behind however the process ends.
        if (request.deleteOnClose) unlink(name);
        return descriptor;
    },

    .readFile = [](T_HANDLE file, void* buffer, uint32_t count) -> int64_t {
        const int descriptor = descriptorOf(file);
        return transferAll(static_cast<uint8_t*>(buffer), count,
                           [descriptor](uint8_t* to, size_t bytes) { return read(descriptor, to, bytes); });
    },

    .writeFile = [](T_HANDLE file, const void* buffer, uint32_t count) -> int64_t {
        const int descriptor = descriptorOf(file);
        return transferAll(static_cast<const uint8_t*>(buffer), count,
                           [descriptor](const uint8_t* from, size_t bytes) { return write(descriptor, from, bytes); });
    },

    .seekFile = [](T_HANDLE file, int64_t offset, SeekOrigin origin) -> int64_t {
        const int whence = origin == SeekOrigin::start ? SEEK_SET : origin == SeekOrigin::current ? SEEK_CUR : SEEK_END;
        return lseek(descriptorOf(file), offset, whence);
    },

    .readFileAt = [](T_HANDLE file, int64_t position, void* buffer, uint32_t count) -> int64_t {
        auto* const start = static_cast<uint8_t*>(buffer);
        return transferAll(start, count, [=, descriptor = descriptorOf(file)](uint8_t* to, size_t bytes) {
            return pread(descriptor, to, bytes, position + (to - start));
        });
    },

    .writeFileAt = [](T_HANDLE file, int64_t position, const void* buffer, uint32_t count) -> int64_t {
        const auto* const start = static_cast<const uint8_t*>(buffer);
        return transferAll(start, count, [=, descriptor = descriptorOf(file)](const uint8_t* from, size_t bytes) {
            return pwrite(descriptor, from, bytes, position + (from - start));
        });
    },

    .endFileHere = [](T_HANDLE file) -> bool {
        const int descriptor = descriptorOf(file);
        const off_t position = lseek(descriptor, 0, SEEK_CUR);
        return position >= 0 && ftruncate(descriptor, position) == 0;
    },

    .closeFile = [](T_HANDLE file) -> bool {
        // EINTR has closed the file all the same; a second close could hit another thread's file.
        return close(descriptorOf(file)) == 0 || errno == EINTR;
    },

    .deleteFile = [](const T_WCHAR* name) -> bool {
        char path[kPathBytes];
        return toUtf8(name, path, sizeof path) && unlink(path) == 0;
    },

    .isDirectory = [](const T_WCHAR* name) -> bool {
        char path[kPathBytes];
        struct stat status;
        return toUtf8(name, path, sizeof path) && stat(path, &status) == 0 && S_ISDIR(status.st_mode);
    },

    .makeTempName = [](const T_WCHAR* directory, const T_WCHAR* prefix, T_WCHAR (&path)[kPathChars]) -> bool {
        const TempFile file = makeTempFile(directory, prefix);
        if (file.descriptor < 0) return false;
        close(file.descriptor);
        if (toUtf16(file.name, path, kPathChars)) return true;
        unlink(file.name);
        return false;
    },

    // Every file is sparse here.
    .createTempFile = [](const T_WCHAR* directory, const T_WCHAR* prefix, bool) -> T_HANDLE {
        const TempFile file = makeTempFile(directory, prefix);
        if (file.descriptor < 0) return kNoFile;
        // The name goes at once: nothing is left behind however the process ends.
        unlink(file.name);
        return file.descriptor;
    },

    .lastErrorIsDiskFull = []() -> bool { return errno == ENOSPC || errno == EDQUOT; },

    .diskRoom = [](const T_WCHAR* directory, uint64_t* bytes) -> bool {
        char folder[kPathBytes];
        struct statvfs status;
        if (!temporaryFolder(directory, folder) || statvfs(folder, &status) != 0) return false;
        *bytes = uint64_t{status.f_bavail} * status.f_frsize;
        return true;
    },
};

}  // namespace tnk::native
