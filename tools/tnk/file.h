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

constexpr const char* kStandard = "-";  // standard input or output

// A value of errno in words.
std::string systemReason(int number);

// From here on no file is overwritten: opening and naming one that exists is a failure. Called before threads begin.
void keepExistingFiles();
// Whether a file of this name stays as it is.
bool isKept(const std::string& name);
constexpr const char* kKept = "exists already, and --keep overwrites nothing";

// A file that appears under its name only when commit() has it whole: until then it has a temporary name in the same
// folder, and without a commit it vanishes. Standard output takes the bytes as they come.
class OutputFile {
  public:
    explicit OutputFile(const std::string& name);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    const std::string& name() const { return name_; }
    // Where lines about the result go: never between its bytes.
    std::FILE* reports() const { return name_ == kStandard ? stderr : stdout; }

    void write(const void* data, size_t bytes);
    // Anywhere; not together with write().
    void writeAt(uint64_t at, const void* data, size_t bytes);
    // Of what was written; fewer bytes at its end.
    size_t readAt(uint64_t at, void* to, size_t bytes);
    // The file is whole, but has its temporary name still.
    void finish();
    void commit();

  private:
    [[noreturn]] void fail();
    void moveTo(uint64_t at, bool reading);

    std::string name_;
    std::filesystem::path target_;
    std::filesystem::path temporary_;
    std::FILE* file_ = nullptr;
    uint64_t position_ = 0;  // of writeAt() and readAt()
    bool reading_ = false;
    std::vector<uint8_t> held_;  // of standard output, which has no places, until it is whole
};

}  // namespace tool
