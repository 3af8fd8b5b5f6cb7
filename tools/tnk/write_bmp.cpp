#include <algorithm>
#include <cmath>

#include "bytes.h"
#include "file_rows.h"
#include "progress.h"
#include "writer.h"

namespace tool {

namespace {

constexpr uint32_t kFileHeader = 14;
constexpr uint32_t kInfoHeader = 40;
constexpr uint32_t kInfoHeaderV4 = 108;

int fileBits(int bits) { return bits > 8 ? bits : bits == 1 ? 1 : bits <= 4 ? 4 : 8; }

uint32_t perMetre(int dotsPerInch) { return static_cast<uint32_t>(std::lround(dotsPerInch / 0.0254)); }

// Masks that name the alpha byte: without them readers take it for padding.
void putV4Fields(std::vector<uint8_t>& out) {
    for (uint32_t mask : {0x00FF0000u, 0x0000FF00u, 0x000000FFu, 0xFF000000u}) putLittle(out, mask, 4);
    putLittle(out, 0x73524742, 4);  // the colour space sRGB
    out.insert(out.end(), 48, 0);   // end points and gammas, unused with it
}

}  // namespace

void writeBmp(Bitmap& bitmap, OutputFile& output, Resolution resolution) {
    const std::string& file = output.name();
    const int bits = fileBits(bitmap->BitsPerPixel);
    FileRows rows(bitmap, file, bits, ORDER_BGR);
    std::vector<PaletteEntry> palette;
    if (bits <= 8) palette = filePalette(bitmap, file);

    const bool alpha = bits == 32;
    const uint32_t header = alpha ? kInfoHeaderV4 : kInfoHeader;
    const uint32_t offset = kFileHeader + header + 4 * static_cast<uint32_t>(palette.size());
    const uint32_t padding = static_cast<uint32_t>(-rows.bytes() & 3);
    const uint64_t dataBytes = (rows.bytes() + padding) * static_cast<uint64_t>(bitmap->Height);
    if (offset + dataBytes > 0xFFFFFFFF) throw fileFailure(file, "too large for a BMP file (4 GB)");

    const bool known = resolution == Resolution::kWrite;
    std::vector<uint8_t> out;
    out.push_back('B');
    out.push_back('M');
    putLittle(out, static_cast<uint32_t>(offset + dataBytes), 4);
    putLittle(out, 0, 4);
    putLittle(out, offset, 4);
    putLittle(out, header, 4);
    putLittle(out, static_cast<uint32_t>(bitmap->Width), 4);
    putLittle(out, static_cast<uint32_t>(bitmap->Height), 4);  // positive: the last row comes first
    putLittle(out, 1, 2);
    putLittle(out, static_cast<uint32_t>(bits), 2);
    putLittle(out, alpha ? 3 : 0, 4);  // by masks, or plain
    putLittle(out, static_cast<uint32_t>(dataBytes), 4);
    putLittle(out, known ? perMetre(bitmap->XResolution) : 0, 4);
    putLittle(out, known ? perMetre(bitmap->YResolution) : 0, 4);
    putLittle(out, static_cast<uint32_t>(palette.size()), 4);
    putLittle(out, 0, 4);
    if (alpha) putV4Fields(out);
    for (const PaletteEntry& entry : palette) {
        out.insert(out.end(), {entry.Blue, entry.Green, entry.Red, 0});
    }

    output.write(out.data(), out.size());
    const Progress progress("writing", file);
    for (int y = bitmap->Height - 1; y >= 0; y--) {
        Progress::rowDone(bitmap->Height - 1 - y, bitmap->Height);
        static constexpr uint8_t kZeros[4] = {};
        output.write(rows.get(y), rows.bytes());
        output.write(kZeros, padding);
    }
}

}  // namespace tool
