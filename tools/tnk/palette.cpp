#include <algorithm>

#include "bitmap_list.h"
#include "commands.h"
#include "formats/writer.h"
#include "memory.h"
#include "palette_file.h"
#include "picture.h"
#include "progress.h"

namespace tool {

namespace {

using Entries = std::vector<PaletteEntry>;

constexpr size_t kMost = 256;

// The builder takes lists.
Entries optimizedPalette(Picture& picture, const std::string& file, size_t wanted) {
    BitmapList list;
    list.append(picture.bitmap, file);
    Entries entries(wanted);
    uint32_t count = static_cast<uint32_t>(wanted);
    uint32_t needsDithering = 0;
    const Progress progress("choosing colours of", file);
    require(
        T_CreateBitmapListOptPalExt(list.get(), entries.data(), &count, nullptr, &needsDithering, CRF_FULLPRECISION),
        file);
    if (interrupted()) throw interruptedFailure();
    entries.resize(count);
    return entries;
}

Entries paletteOf(const PaletteOptions& options) {
    const size_t wanted = options.colors ? static_cast<size_t>(options.colors) : kMost;
    FilePalette own = findPalette(options.in);
    if (!own.entries.empty() && (own.entries.size() <= wanted || !own.ofPicture)) {
        own.entries.resize(std::min(own.entries.size(), wanted));
        return own.entries;
    }
    Picture picture = readWide(options.in, GrayAlpha::kDrop, memoryRequest(options.memory));
    return optimizedPalette(picture, options.in, wanted);
}

// A square for each entry, sixteen a row; squares that are left over repeat the last one.
Bitmap swatches(const Entries& entries, const std::string& file) {
    constexpr size_t kSide = 16, kColumns = 16;
    const size_t columns = std::min(entries.size(), kColumns), rows = (entries.size() + columns - 1) / columns;
    const size_t width = columns * kSide;
    Bitmap bitmap;
    bitmap.create(file, MEM_CONVENTIONAL, static_cast<int>(width), static_cast<int>(rows * kSide), 8, ORDER_RGB);
    std::copy(entries.begin(), entries.end(), bitmap->Palette);
    bitmap->ColorCount = static_cast<uint32_t>(entries.size());
    std::vector<uint8_t> line(width);
    for (size_t row = 0; row < rows; row++) {
        for (size_t x = 0; x < width; x++) {
            line[x] = static_cast<uint8_t>(std::min(row * columns + x / kSide, entries.size() - 1));
        }
        for (size_t y = 0; y < kSide; y++) bitmap.putRow(file, line.data(), static_cast<int>(row * kSide + y), width);
    }
    return bitmap;
}

}  // namespace

void palette(const PaletteOptions& options) {
    const bool paletteFile = isPaletteFile(options.out);
    const FileFormat format =
        paletteFile ? FileFormat::kPng : formatOf(options.out, options.output, ".act, .gpl, .pal, ");
    const Entries entries = paletteOf(options);
    OutputFile output(options.out);
    if (paletteFile) {
        writePaletteFile(entries, output);
    } else {
        Bitmap bitmap = swatches(entries, options.out);
        writePicture(format, bitmap, output, {.ramp = GrayRamp::kAsPalette, .quality = options.output.quality});
    }
    output.commit();
}

}  // namespace tool
