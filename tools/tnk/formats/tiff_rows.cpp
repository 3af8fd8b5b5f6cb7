#include "formats/tiff_rows.h"

#include <algorithm>
#include <cstring>

#include "failure.h"

namespace tool {

TiffRows::TiffRows(const std::string& file, const std::vector<std::unique_ptr<TiffHandle>>& planes,
                   const TiffLayout& layout, std::function<void(const TiffHandle&)> fail)
    : planes_(planes), layout_(layout), fail_(std::move(fail)) {
    const TiffHandle& tiff = *planes[0];
    const uint64_t samples = layout.separate ? 1 : layout.samples;
    const uint64_t pixelBits = samples * layout.bits;
    tiled_ = TIFFIsTiled(tiff.get()) != 0;
    rowBytes_ = static_cast<size_t>((layout.width * pixelBits + 7) / 8);
    uint64_t wanted = rowBytes_;
    if (tiled_) {
        tileWidth_ = tiff.tag(TIFFTAG_TILEWIDTH, uint32_t{0});
        tileHeight_ = tiff.tag(TIFFTAG_TILELENGTH, uint32_t{0});
        const uint64_t across = tileWidth_ ? (layout.width + uint64_t{tileWidth_} - 1) / tileWidth_ : 0;
        if (across == 0 || tileHeight_ == 0 || (across > 1 && tileWidth_ * pixelBits % 8 != 0)) {
            throw fileFailure(file, "the file is damaged (impossible size of tiles)");
        }
        tileRowBytes_ = static_cast<size_t>(TIFFTileRowSize(tiff.get()));
        rowBytes_ = static_cast<size_t>(across) * tileRowBytes_;
        wanted = uint64_t{rowBytes_} * tileHeight_;
    } else {
        // What libtiff writes there.
        wanted = std::max(wanted, static_cast<uint64_t>(TIFFScanlineSize64(tiff.get())));
    }
    if (wanted > kMostTiffBytes) throw fileFailure(file, kTiffBlocksTooLarge);
    if (tiled_) tile_.resize(tileRowBytes_ * tileHeight_);
    bands_.assign(planes.size(), std::vector<uint8_t>(static_cast<size_t>(wanted)));
}

uint8_t* TiffRows::get(uint32_t y, size_t plane) {
    const TiffHandle& tiff = *planes_[plane];
    std::vector<uint8_t>& band = bands_[plane];
    if (tiled_) {
        if (y % tileHeight_ == 0) readTiles(y, plane);
        return band.data() + size_t{y % tileHeight_} * rowBytes_;
    }
    const bool done = TIFFReadScanline(tiff.get(), band.data(), y, static_cast<uint16_t>(plane)) > 0;
    if (!done || !tiff.error().empty()) fail_(tiff);
    return band.data();
}

void TiffRows::readTiles(uint32_t y, size_t plane) {
    const TiffHandle& tiff = *planes_[plane];
    const size_t across = rowBytes_ / tileRowBytes_;
    for (size_t i = 0; i < across; i++) {
        const uint32_t number =
            TIFFComputeTile(tiff.get(), static_cast<uint32_t>(i) * tileWidth_, y, 0, static_cast<uint16_t>(plane));
        const tmsize_t bytes = static_cast<tmsize_t>(tile_.size());
        if (TIFFReadEncodedTile(tiff.get(), number, tile_.data(), bytes) < bytes || !tiff.error().empty()) fail_(tiff);
        for (size_t row = 0; row < tileHeight_; row++) {
            std::memcpy(bands_[plane].data() + row * rowBytes_ + i * tileRowBytes_, tile_.data() + row * tileRowBytes_,
                        tileRowBytes_);
        }
    }
}

TiffSamples::TiffSamples(const TiffLayout& layout)
    : separate_(layout.separate),
      samples_(layout.samples),
      bits_(layout.bits),
      count_(size_t{layout.width} * (layout.separate ? 1 : layout.samples)),
      planes_(layout.separate ? layout.samples : 1, std::vector<uint16_t>(count_)) {}

void TiffSamples::take(const uint8_t* row, size_t plane) {
    uint16_t* const out = planes_[plane].data();
    if (bits_ == 16) {
        std::memcpy(out, row, count_ * 2);
    } else if (bits_ == 8) {
        std::copy_n(row, count_, out);
    } else {
        // Packed, the highest bit first.
        uint32_t held = 0;
        int have = 0;
        for (size_t i = 0; i < count_; i++) {
            for (; have < bits_; have += 8) held = held << 8 | *row++;
            have -= bits_;
            out[i] = static_cast<uint16_t>(held >> have & ((1u << bits_) - 1));
        }
    }
}

}  // namespace tool
