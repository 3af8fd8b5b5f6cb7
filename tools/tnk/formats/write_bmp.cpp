#include <algorithm>
#include <cstring>

#include "bitmap_rows.h"
#include "bytes.h"
#include "formats/dib_block.h"
#include "formats/writer.h"
#include "progress.h"

namespace tool {

namespace {

constexpr uint32_t kFileHeader = 14;

// Places in the headers.
constexpr size_t kCompression = 16, kPerMetre = 24, kColors = 32, kMasks = 40, kColorSpace = 56;

void put32(uint8_t* at, uint32_t value) {
    for (int i = 0; i < 4; i++) at[i] = static_cast<uint8_t>(value >> 8 * i);
}

uint32_t headerType(BmpHeader header, bool alpha) {
    switch (header) {
        case BmpHeader::kInfo:
            return DIB_HEADER_INFO;
        case BmpHeader::kV4:
            return DIB_HEADER_V4;
        case BmpHeader::kV5:
            return DIB_HEADER_V5;
        default:
            return alpha ? DIB_HEADER_V4 : DIB_HEADER_INFO;
    }
}

// What files say beyond what the library does: the alpha byte by name, since readers take it for padding else, and the colour
// space by name, since its number without end points and gammas says nothing.
void completeHeader(std::vector<uint8_t>& header, bool alpha, Resolution resolution, size_t colors) {
    put32(&header[kColors], static_cast<uint32_t>(colors));
    if (resolution == Resolution::kOmit) std::fill_n(header.begin() + kPerMetre, 8, uint8_t{0});
    if (header.size() <= kColorSpace) return;
    put32(&header[kColorSpace], 0x73524742);  // sRGB
    if (!alpha) return;
    put32(&header[kCompression], 3);  // by masks
    size_t at = kMasks;
    for (uint32_t mask : {0x00FF0000u, 0x0000FF00u, 0x000000FFu, 0xFF000000u}) {
        put32(&header[at], mask);
        at += 4;
    }
}

class BmpEncoder final : public PictureEncoder {
  public:
    using PictureEncoder::PictureEncoder;
    void add(Bitmap& bitmap, const Writing& writing) override;
};

void BmpEncoder::add(Bitmap& bitmap, const Writing& writing) {
    const std::string& name = file();
    std::vector<PaletteEntry> palette;
    if (bitmap->BitsPerPixel <= 8) palette = filePalette(bitmap, name);
    const Progress progress("writing", name);
    const int height = bitmap->Height;
    const bool alpha = bitmap->BitsPerPixel == 32;
    if (uint64_t{bitmap->BytesPerLine} * static_cast<uint32_t>(height) > 0xFFFF0000) {
        throw fileFailure(name, "too large for a BMP file (4 GB)");
    }
    // The rows go into the file as they lie.
    bitmap->ViewPerspective = TOP_LEFT;
    const DibBlock block(T_ChangeToDIB(bitmap.get(), headerType(writing.header, alpha)), name);
    const uint8_t* const dib = block.data();
    std::vector<uint8_t> header(dib, dib + little32(dib));
    const uint8_t* const rows = dib + header.size() + 4 * little32(dib + kColors);
    const size_t rowBytes = (size_t{little32(dib + 4)} * little16(dib + 14) + 31) / 32 * 4;
    completeHeader(header, alpha, writing.resolution, palette.size());

    std::vector<uint8_t> out = {'B', 'M'};
    const size_t offset = kFileHeader + header.size() + 4 * palette.size();
    putLittle(out, static_cast<uint32_t>(offset + rowBytes * static_cast<size_t>(height)), 4);
    putLittle(out, 0, 4);
    putLittle(out, static_cast<uint32_t>(offset), 4);
    out.insert(out.end(), header.begin(), header.end());
    for (const PaletteEntry& entry : palette) out.insert(out.end(), {entry.Blue, entry.Green, entry.Red, 0});
    output_.write(out.data(), out.size());
    for (int y = 0; y < height; y++) {
        Progress::rowDone(y, height);
        output_.write(rows + static_cast<size_t>(y) * rowBytes, rowBytes);
    }
}

}  // namespace

std::unique_ptr<PictureEncoder> makeBmpEncoder(OutputFile& output) { return std::make_unique<BmpEncoder>(output); }

}  // namespace tool
