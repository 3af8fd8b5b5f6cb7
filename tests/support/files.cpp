#include "support/files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <random>

#include "system/settings.h"

namespace tnk::test {

WideString wide(std::string_view text) { return WideString(text.begin(), text.end()); }

TempFolder::TempFolder() {
    std::random_device random;
    do {
        path_ = std::filesystem::temp_directory_path() / ("tnk_test_" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
}

TempFolder::~TempFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
    EXPECT_FALSE(error) << path_ << ": " << error.message();
}

WideString TempFolder::name() const { return path_.string<T_WCHAR>(); }

WideString TempFolder::name(std::string_view file) const { return (path_ / file).string<T_WCHAR>(); }

std::string TempFolder::contents(std::string_view file) const {
    std::ifstream stream(path_ / file, std::ios::binary);
    if (!stream) return "(missing)";
    return {std::istreambuf_iterator<char>(stream), {}};
}

void TempFolder::put(std::string_view file, std::string_view contents) const {
    std::ofstream(path_ / file, std::ios::binary) << contents;
}

int TempFolder::entries() const {
    return static_cast<int>(std::distance(std::filesystem::directory_iterator(path_), {}));
}

// Straight into the settings: the setter refuses the empty directory, which is the default.
TempDirectorySetting::TempDirectorySetting() : previous_(currentSettings().tempDirectory) {
    EXPECT_EQ(T_SetTempDirectory(folder_.name().c_str()), SUCCESS);
}

TempDirectorySetting::~TempDirectorySetting() {
    T_WCHAR(&directory)[kPathChars] = currentSettings().tempDirectory;
    std::fill(std::begin(directory), std::end(directory), T_WCHAR{0});
    std::copy(previous_.begin(), previous_.end(), directory);
}

}  // namespace tnk::test
