#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include "bytes.h"
#include "exif.h"
#include "file_rows.h"
#include "progress.h"
#include "stb_setup.h"
#include "writer.h"

namespace tool {

namespace {

constexpr uint8_t kGray = 0, kColor = 2, kPalette = 3, kColorAlpha = 6;

// How a bitmap stands in a PNG file.
struct Layout {
    int bits;        // of the rows, as the library counts
    uint32_t order;  // of the rows
    uint8_t channelBits;
    uint8_t type;
    int pixelBytes;  // at least 1; the distance of filters
};

// A palette that is PNG's own gray ramp needs no palette.
bool isGrayRamp(const std::vector<PaletteEntry>& palette, int bits) {
    if (palette.size() != size_t{1} << bits) return false;
    const int step = 255 / static_cast<int>(palette.size() - 1);
    for (size_t i = 0; i < palette.size(); i++) {
        const PaletteEntry& entry = palette[i];
        const size_t level = i * step;
        if (entry.Red != level || entry.Green != level || entry.Blue != level) return false;
    }
    return true;
}

Layout layoutOf(const Bitmap& bitmap, const std::vector<PaletteEntry>& palette, GrayRamp ramp) {
    const int bits = bitmap->BitsPerPixel;
    if (bits <= 8) {
        const uint8_t channelBits = bits > 4 ? 8 : bits == 3 ? 4 : static_cast<uint8_t>(bits);
        const bool gray = ramp == GrayRamp::kAsGrays && isGrayRamp(palette, channelBits);
        return {channelBits, ORDER_RGB, channelBits, gray ? kGray : kPalette, 1};
    }
    if (bitmap->Order == ORDER_GRAY) return {16, ORDER_GRAY, 16, kGray, 2};
    switch (bits) {
        case 32:
            return {32, ORDER_RGB, 8, kColorAlpha, 4};
        case 48:
            return {48, ORDER_RGB, 16, kColor, 6};
        case 64:
            return {64, ORDER_RGB, 16, kColorAlpha, 8};
        default:
            return {24, ORDER_RGB, 8, kColor, 3};  // 16 bits too: PNG has no 5-bit channels
    }
}

uint8_t paeth(int left, int up, int upLeft) {
    const int estimate = left + up - upLeft;
    const int a = std::abs(estimate - left), b = std::abs(estimate - up), c = std::abs(estimate - upLeft);
    return static_cast<uint8_t>(a <= b && a <= c ? left : b <= c ? up : upLeft);
}

// Rows with the filter that leaves the smallest differences, each behind its filter's number. Indexes and packed grays
// are left alone: differences of them mean nothing.
class RowFilter {
  public:
    RowFilter(size_t rowBytes, int pixelBytes, bool filter)
        : bytes_(rowBytes),
          distance_(static_cast<size_t>(pixelBytes)),
          filter_(filter),
          above_(rowBytes),
          trial_(rowBytes) {}

    void append(std::vector<uint8_t>& out, const uint8_t* row) {
        const size_t start = out.size();
        out.push_back(0);
        out.insert(out.end(), row, row + bytes_);
        if (!filter_) return;
        uint64_t best = cost(row);
        for (uint8_t kind = 1; kind <= 4; kind++) {
            apply(kind, row);
            const uint64_t found = cost(trial_.data());
            if (found >= best) continue;
            best = found;
            out[start] = kind;
            std::copy(trial_.begin(), trial_.end(), out.begin() + start + 1);
        }
        std::copy(row, row + bytes_, above_.begin());
    }

  private:
    uint64_t cost(const uint8_t* row) const {
        uint64_t sum = 0;
        for (size_t i = 0; i < bytes_; i++) sum += std::abs(static_cast<int8_t>(row[i]));
        return sum;
    }

    void apply(uint8_t kind, const uint8_t* row) {
        for (size_t i = 0; i < bytes_; i++) {
            const int up = above_[i];
            const int left = i < distance_ ? 0 : row[i - distance_];
            const int upLeft = i < distance_ ? 0 : above_[i - distance_];
            const int predicted = kind == 1   ? left
                                  : kind == 2 ? up
                                  : kind == 3 ? (left + up) / 2
                                              : paeth(left, up, upLeft);
            trial_[i] = static_cast<uint8_t>(row[i] - predicted);
        }
    }

    size_t bytes_, distance_;
    bool filter_;
    std::vector<uint8_t> above_, trial_;
};

std::vector<uint8_t> filteredRows(Bitmap& bitmap, const std::string& file, const Layout& layout) {
    FileRows rows(bitmap, file, layout.bits, layout.order);
    const uint64_t bytes = (rows.bytes() + 1) * static_cast<uint64_t>(bitmap->Height);
    if (bytes > static_cast<uint64_t>(std::numeric_limits<int>::max() / 2)) {
        throw fileFailure(file, "too large for a PNG file written by this program (1 GB of pixels)");
    }
    const bool filter = layout.type != kPalette && layout.channelBits >= 8;
    RowFilter filters(rows.bytes(), layout.pixelBytes, filter);
    std::vector<uint8_t> out, swapped;
    out.reserve(static_cast<size_t>(bytes));
    const Progress progress("filtering", file);
    for (int y = 0; y < bitmap->Height; y++) {
        Progress::rowDone(y, bitmap->Height);
        const uint8_t* row = rows.get(y);
        if (layout.channelBits == 16) {
            // Samples of 16 bits have their high byte first in the file.
            swapped.assign(row, row + rows.bytes());
            for (size_t i = 0; i + 1 < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
            row = swapped.data();
        }
        filters.append(out, row);
    }
    return out;
}

void writeChunk(OutputFile& output, const char* type, const uint8_t* data, size_t bytes) {
    std::vector<uint8_t> head, check;
    putBig32(head, static_cast<uint32_t>(bytes));
    head.insert(head.end(), type, type + 4);
    putBig32(check, crc32(data, bytes, crc32(head.data() + 4, 4)));
    output.write(head.data(), head.size());
    output.write(data, bytes);
    output.write(check.data(), check.size());
}

}  // namespace

void writePng(Bitmap& bitmap, OutputFile& output, Resolution resolution, GrayRamp ramp) {
    const std::string& file = output.name();
    std::vector<PaletteEntry> palette;
    if (bitmap->BitsPerPixel <= 8) palette = filePalette(bitmap, file);
    const Layout layout = layoutOf(bitmap, palette, ramp);

    std::vector<uint8_t> rows = filteredRows(bitmap, file, layout);
    const Progress progress("writing", file);
    int packedBytes = 0;
    const std::unique_ptr<uint8_t, decltype(&std::free)> packed(
        stbi_zlib_compress(rows.data(), static_cast<int>(rows.size()), &packedBytes, 8), &std::free);

    static constexpr uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    output.write(kSignature, sizeof kSignature);
    std::vector<uint8_t> body;
    putBig32(body, static_cast<uint32_t>(bitmap->Width));
    putBig32(body, static_cast<uint32_t>(bitmap->Height));
    body.insert(body.end(), {layout.channelBits, layout.type, 0, 0, 0});
    writeChunk(output, "IHDR", body.data(), body.size());
    if (resolution == Resolution::kWrite) {
        body.clear();
        putBig32(body, static_cast<uint32_t>(std::lround(bitmap->XResolution / 0.0254)));
        putBig32(body, static_cast<uint32_t>(std::lround(bitmap->YResolution / 0.0254)));
        body.push_back(1);  // per metre
        writeChunk(output, "pHYs", body.data(), body.size());
    }
    if (bitmap->ViewPerspective != TOP_LEFT) {
        body = exifOf(static_cast<int>(bitmap->ViewPerspective));
        writeChunk(output, "eXIf", body.data(), body.size());
    }
    if (layout.type == kPalette) {
        body.clear();
        for (const PaletteEntry& entry : palette) body.insert(body.end(), {entry.Red, entry.Green, entry.Blue});
        writeChunk(output, "PLTE", body.data(), body.size());
    }
    writeChunk(output, "IDAT", packed.get(), static_cast<size_t>(packedBytes));
    writeChunk(output, "IEND", nullptr, 0);
}

}  // namespace tool
