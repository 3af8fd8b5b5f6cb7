#include "file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "failure.h"
#include "progress.h"

#if defined(_WIN32)
#include <io.h>
#include <process.h>
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace tool {

namespace fs = std::filesystem;

namespace {

bool keepExisting = false;

// A new name, in one step where the file system can: EEXIST when there is such a file already.
std::error_code renameToNew(const fs::path& from, const fs::path& to) {
    std::error_code error;
#if defined(_WIN32)
    if (MoveFileExW(from.c_str(), to.c_str(), 0)) return error;
    const DWORD reason = GetLastError();
    if (reason == ERROR_ALREADY_EXISTS || reason == ERROR_FILE_EXISTS) {
        return std::make_error_code(std::errc::file_exists);
    }
    error.assign(static_cast<int>(reason), std::system_category());
#else
    fs::create_hard_link(from, to, error);
    if (!error) {
        fs::remove(from, error);
    } else if (error != std::errc::file_exists) {
        std::error_code ignored;
        if (fs::exists(fs::symlink_status(to, ignored))) return std::make_error_code(std::errc::file_exists);
        fs::rename(from, to, error);
    }
#endif
    return error;
}

// Null with EEXIST in errno when there is such a file already.
std::FILE* createNew(const fs::path& path) {
#if defined(_WIN32)
    const int file = _wopen(path.c_str(), _O_CREAT | _O_EXCL | _O_RDWR | _O_BINARY, _S_IREAD | _S_IWRITE);
    return file < 0 ? nullptr : _fdopen(file, "w+b");
#else
    const int file = open(path.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0666);
    return file < 0 ? nullptr : fdopen(file, "w+b");
#endif
}

// The file that a write to `path` would change: a link keeps pointing where it points.
fs::path writeTarget(const std::string& name) {
    const fs::path path = pathOf(name);
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status)) return path;
    if (fs::is_directory(status)) throw fileFailure(name, "is a folder");
    // Replacing a device or a pipe by a file is never what was meant.
    if (!fs::is_regular_file(status)) throw fileFailure(name, "is not a regular file");
    const fs::path real = fs::is_symlink(path, error) ? fs::canonical(path, error) : path;
    return error ? path : real;
}

}  // namespace

std::string systemReason(int number) { return std::error_code(number, std::generic_category()).message(); }

fs::path pathOf(const std::string& name) {
#if defined(_WIN32)
    return fs::path(std::u8string(name.begin(), name.end()));
#else
    return fs::path(name);
#endif
}

std::string extensionOf(const std::string& name) {
    const size_t dot = name.find_last_of("./\\");
    if (dot == std::string::npos || name[dot] != '.') return {};
    std::string extension = name.substr(dot);
    for (char& c : extension) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return extension;
}

void keepExistingFiles() { keepExisting = true; }

bool isKept(const std::string& name) {
    std::error_code error;
    return keepExisting && name != kStandard && fs::exists(fs::symlink_status(pathOf(name), error));
}

OutputFile::OutputFile(const std::string& name) : name_(name) {
    if (name == kStandard) {
#if defined(_WIN32)
        _setmode(_fileno(stdout), _O_BINARY);
#endif
        file_ = stdout;
        return;
    }
    target_ = writeTarget(name);
    if (isKept(name)) throw fileFailure(name, kKept);
#if defined(_WIN32)
    const int process = _getpid();
#else
    const int process = getpid();
#endif
    for (int attempt = 0; attempt < 100 && !file_; attempt++) {
        temporary_ = target_;
        temporary_ += ".tnk" + std::to_string(process) + "-" + std::to_string(attempt);
        file_ = createNew(temporary_);
        if (!file_ && errno != EEXIST) break;
    }
    if (!file_) throw fileFailure(name, systemReason(errno));
}

OutputFile::~OutputFile() {
    if (file_ && file_ != stdout) std::fclose(file_);
    std::error_code ignored;
    if (!temporary_.empty()) fs::remove(temporary_, ignored);
}

void OutputFile::fail() { throw fileFailure(name_, systemReason(errno)); }

void OutputFile::write(const void* data, size_t bytes) {
    if (interrupted()) throw interruptedFailure();
    if (bytes && std::fwrite(data, 1, bytes, file_) != bytes) fail();
}

// Positioning empties the buffer; between reading and writing it must be.
void OutputFile::moveTo(uint64_t at, bool reading) {
    if (interrupted()) throw interruptedFailure();
    if (at == position_ && reading == reading_) return;
#if defined(_WIN32)
    const bool moved = _fseeki64(file_, static_cast<int64_t>(at), SEEK_SET) == 0;
#else
    const bool moved = fseeko(file_, static_cast<off_t>(at), SEEK_SET) == 0;
#endif
    if (!moved) fail();
    position_ = at;
    reading_ = reading;
}

void OutputFile::writeAt(uint64_t at, const void* data, size_t bytes) {
    if (file_ == stdout) {
        const size_t start = static_cast<size_t>(at);
        held_.resize(std::max(held_.size(), start + bytes));
        if (bytes) std::memcpy(&held_[start], data, bytes);
        return;
    }
    moveTo(at, false);
    if (bytes && std::fwrite(data, 1, bytes, file_) != bytes) fail();
    position_ += bytes;
}

size_t OutputFile::readAt(uint64_t at, void* to, size_t bytes) {
    if (file_ == stdout) {
        const size_t start = static_cast<size_t>(std::min<uint64_t>(at, held_.size()));
        const size_t count = std::min(bytes, held_.size() - start);
        if (count) std::memcpy(to, &held_[start], count);
        return count;
    }
    moveTo(at, true);
    const size_t got = std::fread(to, 1, bytes, file_);
    if (got < bytes && std::ferror(file_)) fail();
    position_ += got;
    return got;
}

void OutputFile::finish() {
    if (file_ == stdout) write(held_.data(), held_.size());
    std::FILE* file = file_;
    file_ = nullptr;
    // A full disk may show only here.
    if (file && (file == stdout ? std::fflush(file) : std::fclose(file)) != 0) fail();
}

void OutputFile::commit() {
    if (interrupted()) throw interruptedFailure();
    finish();
    if (temporary_.empty()) return;
    std::error_code error;
    if (keepExisting) {
        error = renameToNew(temporary_, target_);
        if (error == std::errc::file_exists) throw fileFailure(name_, kKept);
    } else {
        fs::rename(temporary_, target_, error);
    }
    if (error) throw fileFailure(name_, error.message());
    temporary_.clear();
}

}  // namespace tool
