// What the program does, apart from its command line.
#pragma once

#include <array>
#include <string>
#include <vector>

namespace tool {

// Names of the dithering methods; the position is the library's number.
constexpr std::array<const char*, 9> kDitherNames = {
    "none", "floyd-steinberg", "stucki", "burkes", "sierra", "stevenson-arce", "jarvis", "ordered", "clustered"};

struct ConvertOptions {
    std::string in;
    std::string out;                   // {bits} and {dither} stand for the values of a result
    std::vector<int> bits;             // one result for each, and each of the methods
    std::vector<std::string> dithers;  // empty: floyd-steinberg
    std::string palette;               // empty: fixed
    int colors = 0;                    // 0: all
    bool gray = false;
    std::string order;  // empty: that of the file
    bool verbose = false;
};

void convert(const ConvertOptions& options);

void info(const std::string& file);

}  // namespace tool
