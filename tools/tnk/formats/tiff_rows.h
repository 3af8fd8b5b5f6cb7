// The rows of a TIFF picture from its strips and tiles, and their samples.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "formats/tiff.h"

namespace tool {

struct TiffLayout {
    uint32_t width = 0;
    uint32_t height = 0;
    uint16_t bits = 1;  // a sample
    uint16_t samples = 1;
    bool separate = false;  // each sample has a plane of its own
};

// A row of tiles at a time is in memory, at most.
constexpr uint64_t kMostTiffBytes = uint64_t{1} << 29;
constexpr const char* kTiffBlocksTooLarge = "the strips or tiles of the picture are too large";

class TiffRows {
  public:
    // A handle a plane; one for all that are together. `fail` throws.
    TiffRows(const std::string& file, const std::vector<std::unique_ptr<TiffHandle>>& planes, const TiffLayout& layout,
             std::function<void(const TiffHandle&)> fail);

    // In order; valid until the next call for this plane, and the caller's until then.
    uint8_t* get(uint32_t y, size_t plane);

  private:
    void readTiles(uint32_t y, size_t plane);

    const std::vector<std::unique_ptr<TiffHandle>>& planes_;
    const TiffLayout& layout_;
    std::function<void(const TiffHandle&)> fail_;
    bool tiled_ = false;
    uint32_t tileWidth_ = 0;
    uint32_t tileHeight_ = 1;
    size_t tileRowBytes_ = 0;
    size_t rowBytes_ = 0;
    std::vector<uint8_t> tile_;
    std::vector<std::vector<uint8_t>> bands_;  // a row, or a row of tiles, of each plane
};

// The samples of one row as numbers up to 2^bits - 1.
class TiffSamples {
  public:
    explicit TiffSamples(const TiffLayout& layout);

    void take(const uint8_t* row, size_t plane);
    uint32_t get(size_t x, size_t sample) const {
        return separate_ ? planes_[sample][x] : planes_[0][x * samples_ + sample];
    }

  private:
    bool separate_;
    size_t samples_;
    int bits_;
    size_t count_;  // of a plane
    std::vector<std::vector<uint16_t>> planes_;
};

}  // namespace tool
