#include "formats/input_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "failure.h"
#include "file.h"
#include "progress.h"

#if defined(_WIN32)
#include <fcntl.h>
#include <io.h>
#endif

namespace tool {

namespace fs = std::filesystem;

namespace {

bool seekFile(std::FILE* file, uint64_t offset, int whence) {
#if defined(_WIN32)
    return _fseeki64(file, static_cast<int64_t>(offset), whence) == 0;
#else
    return fseeko(file, static_cast<off_t>(offset), whence) == 0;
#endif
}

std::FILE* openToRead(const std::string& name) {
    if (name == kStandard) {
#if defined(_WIN32)
        _setmode(_fileno(stdin), _O_BINARY);
#endif
        return stdin;
    }
    const fs::path path = pathOf(name);
    std::error_code error;
    if (fs::is_directory(path, error)) throw fileFailure(name, "is a folder");
#if defined(_WIN32)
    std::FILE* const file = _wfopen(path.c_str(), L"rb");
#else
    std::FILE* const file = std::fopen(path.c_str(), "rb");
#endif
    if (!file) throw fileFailure(name, systemReason(errno));
    return file;
}

}  // namespace

InputFile::InputFile(const std::string& name) : name_(name), file_(openToRead(name)) {
    const size_t got = std::fread(head_, 1, sizeof head_, file_.get());
    if (got < sizeof head_ && std::ferror(file_.get())) error_ = errno;
    headBytes_ = got;
    check();
    if (headBytes_ == 0) throw fileFailure(name, "the file is empty");
}

size_t InputFile::read(void* to, size_t bytes) noexcept {
    if (error_ || interrupted()) return 0;
    const size_t first = std::min(bytes, headBytes_ - headRead_);
    std::memcpy(to, head_ + headRead_, first);
    headRead_ += first;
    const size_t more = std::fread(static_cast<char*>(to) + first, 1, bytes - first, file_.get());
    if (more < bytes - first && std::ferror(file_.get())) error_ = errno;
    return first + more;
}

void InputFile::check() const {
    if (interrupted()) throw interruptedFailure();
    if (error_) throw fileFailure(name_, systemReason(error_));
}

std::vector<uint8_t> InputFile::rest() {
    std::error_code unknown;
    const uintmax_t size = name_ == kStandard ? 0 : fs::file_size(pathOf(name_), unknown);
    std::vector<uint8_t> data(unknown ? 0 : static_cast<size_t>(std::min<uintmax_t>(size, PTRDIFF_MAX - 1)) + 1);
    size_t have = 0;
    for (;;) {
        // A pipe has no size: then the buffer grows as it comes.
        if (have == data.size()) data.resize(std::max<size_t>(have + have / 2, size_t{1} << 16));
        const size_t got = read(data.data() + have, data.size() - have);
        have += got;
        if (got == 0) break;
    }
    check();
    data.resize(have);
    return data;
}

uint64_t InputFile::readAnywhere() {
#if defined(_WIN32)
    const auto end = [this] { return static_cast<uint64_t>(_ftelli64(file_.get())); };
#else
    const auto end = [this] { return static_cast<uint64_t>(ftello(file_.get())); };
#endif
    // Standard input may be a file, but then it need not stand at its start.
    if (name_ != kStandard && seekFile(file_.get(), 0, SEEK_END)) return end();
    memory_ = rest();
    return memory_.size();
}

size_t InputFile::readAt(uint64_t at, void* to, size_t bytes) noexcept {
    if (error_ || interrupted()) return 0;
    if (!memory_.empty()) {
        const size_t start = static_cast<size_t>(std::min<uint64_t>(at, memory_.size()));
        const size_t got = std::min(bytes, memory_.size() - start);
        std::memcpy(to, memory_.data() + start, got);
        return got;
    }
    // Positioning throws the buffer away.
    if (at != position_ && (at > INT64_MAX || !seekFile(file_.get(), at, SEEK_SET))) return 0;
    const size_t got = std::fread(to, 1, bytes, file_.get());
    position_ = at + got;
    if (got < bytes && std::ferror(file_.get())) error_ = errno;
    return got;
}

}  // namespace tool
