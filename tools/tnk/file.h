// Files by name. Names are UTF-8 on Windows and the system's own bytes elsewhere.
#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

namespace tool {

std::filesystem::path pathOf(const std::string& name);

// The extension in lower case, with its dot.
std::string extensionOf(const std::string& name);

// Files above this size are refused; so are pictures with more bytes of pixels.
constexpr uint64_t kMaxBytes = uint64_t{1} << 30;
constexpr const char* kTooManyPixels = "the picture is too large (the limit is 1 GB of pixels)";

std::vector<uint8_t> readWholeFile(const std::string& name);

// A file that appears under its name only when commit() has it whole: until then it has a temporary name in the same
// folder, and without a commit it vanishes.
class OutputFile {
  public:
    explicit OutputFile(const std::string& name);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::string& name() const { return name_; }

    void write(const void* data, size_t bytes);
    // The file is whole, but has its temporary name still.
    void finish();
    void commit();

  private:
    [[noreturn]] void fail();

    std::string name_;
    std::filesystem::path target_;
    std::filesystem::path temporary_;
    std::FILE* file_ = nullptr;
};

}  // namespace tool
