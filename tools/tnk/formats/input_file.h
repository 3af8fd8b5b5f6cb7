// A file that is read from its start on, or standard input.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

class InputFile {
  public:
    // Throws a Failure for files that cannot be opened and for empty ones.
    explicit InputFile(const std::string& name);

    const std::string& name() const { return name_; }
    // The first bytes, 16 where there are as many; they stay to be read.
    std::string_view head() const { return {head_, headBytes_}; }

    // Bytes that were read; fewer only at the end, or where reading failed or the user stopped it. Throws nothing: decoders
    // that are written in C call it.
    size_t read(void* to, size_t bytes) noexcept;
    // Whatever read() met that is not the end of the file.
    void check() const;

    // From then on bytes are read anywhere instead; the number of them. What cannot be positioned is taken into memory for it.
    uint64_t readAnywhere();
    // The same promises as read().
    size_t readAt(uint64_t at, void* to, size_t bytes) noexcept;

    // All that was not read yet. What standard input holds is limited by memory alone.
    std::vector<uint8_t> rest();

  private:
    struct Closer {
        void operator()(std::FILE* file) const {
            if (file != stdin) std::fclose(file);
        }
    };

    std::string name_;
    std::unique_ptr<std::FILE, Closer> file_;
    char head_[16];
    size_t headBytes_ = 0;
    size_t headRead_ = 0;
    int error_ = 0;
    std::vector<uint8_t> memory_;  // all of it, where it cannot be positioned
    uint64_t position_ = UINT64_MAX;
};

}  // namespace tool
