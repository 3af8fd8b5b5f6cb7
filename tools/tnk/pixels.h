// A decoded picture: rows from the top without padding, samples of 8 or (in the machine's order) 16 bits; 1 channel is
// gray, 2 gray and alpha, 3 red, green, blue, 4 these and alpha.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace tool {

struct Pixels {
    int width = 0;
    int height = 0;
    int channels = 0;
    int fileChannels = 0;  // before a decoder was asked for others
    int bitsPerChannel = 0;
    std::unique_ptr<uint8_t, decltype(&std::free)> data{nullptr, &std::free};

    size_t rowBytes() const { return static_cast<size_t>(width) * channels * (bitsPerChannel / 8); }
};

}  // namespace tool
