// Files and folders for tests.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "tnkrn.h"

namespace tnk::test {

using WideString = std::basic_string<T_WCHAR>;

// ASCII only.
WideString wide(std::string_view text);

// An empty folder that goes with all that is in it.
class TempFolder {
  public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    WideString name() const;                       // of the folder
    WideString name(std::string_view file) const;  // of a file in it
    int entries() const;                           // files that lie in it
    std::string contents(std::string_view file) const;
    void put(std::string_view file, std::string_view contents) const;

  private:
    std::filesystem::path path_;
};

// While it lives, the calling thread's temporary files go to a folder of their own, so that what is left can be counted.
class TempDirectorySetting {
  public:
    TempDirectorySetting();
    ~TempDirectorySetting();
    TempDirectorySetting(const TempDirectorySetting&) = delete;
    TempDirectorySetting& operator=(const TempDirectorySetting&) = delete;

    const TempFolder& folder() const { return folder_; }

  private:
    TempFolder folder_;
    WideString previous_;
};

}  // namespace tnk::test
