#include "match_colors.h"

#include <algorithm>

#include "progress.h"

namespace tool {

namespace {

// 256 entries: those that are missing repeat the last one.
std::vector<PaletteEntry> wholePalette(std::vector<PaletteEntry> palette) {
    palette.resize(256, palette.back());
    return palette;
}

// Indexes of a byte each into `bits`, the first pixel in the highest; those above `last` stand for it.
void pack(std::vector<uint8_t>& out, const uint8_t* indexes, int count, int bits, uint8_t last) {
    uint32_t waiting = 0;
    int have = 0;
    size_t at = 0;
    for (int i = 0; i < count; i++) {
        waiting = waiting << bits | std::min(indexes[i], last);
        have += bits;
        if (have >= 8) out[at++] = static_cast<uint8_t>(waiting >> (have -= 8));
    }
    if (have > 0) out[at] = static_cast<uint8_t>(waiting << (8 - have));
}

}  // namespace

Bitmap blankLike(const Bitmap& source, const std::string& file, int bits, const std::vector<PaletteEntry>& palette,
                 uint32_t request) {
    Bitmap result;
    result.create(file, request, source->Width, source->Height, bits, ORDER_RGB);
    std::copy(palette.begin(), palette.end(), result->Palette);
    result->ColorCount = static_cast<uint32_t>(palette.size());
    result->XResolution = source->XResolution;
    result->YResolution = source->YResolution;
    result->ViewPerspective = source->ViewPerspective;
    return result;
}

Bitmap matchColors(Bitmap& source, const std::string& file, int bits, const std::vector<PaletteEntry>& palette,
                   uint32_t request) {
    const std::vector<PaletteEntry> whole = wholePalette(palette);
    const uint8_t last = static_cast<uint8_t>(palette.size() - 1);
    const int width = source->Width, height = source->Height, bitsBefore = source->BitsPerPixel;
    Bitmap result = blankLike(source, file, bits, palette, request);

    // Many rows are converted as one, so that what is found for a colour serves them all. Other rows than those of whole
    // bytes a pixel may end inside a byte.
    constexpr int kPixels = 1 << 20;
    const int rowsAtOnce = bitsBefore % 8 != 0 ? 1 : std::clamp(kPixels / width, 1, height);
    const size_t rowBytes = size_t{static_cast<uint32_t>(width)} * static_cast<uint32_t>(bitsBefore) / 8;
    const uint32_t needed = T_CalcConvertSize(width * rowsAtOnce, bitsBefore, width * rowsAtOnce, 8);
    if (needed == 0) throw fileFailure(file, "the picture is too wide");
    std::vector<uint8_t> rows(needed + source->BytesPerLine), packed(result->BytesPerLine);
    const PaletteEntry* own = bitsBefore <= 8 ? source->Palette : nullptr;
    for (int first = 0; first < height; first += rowsAtOnce) {
        const int count = std::min(rowsAtOnce, height - first);
        for (int i = 0; i < count; i++) source.getRow(file, rows.data() + i * rowBytes, first + i);
        const int32_t code =
            T_ConvertBuffer(rows.data(), width * count, bitsBefore, 8, source->Order, ORDER_RGB, own, whole.data());
        if (code != T_SUCCESS) throw fileFailure(file, describeResult(code));
        for (int i = 0; i < count; i++) {
            Progress::rowDone(first + i, height);
            pack(packed, rows.data() + static_cast<size_t>(i) * width, width, bits, last);
            result.putRow(file, packed.data(), first + i, packed.size());
        }
    }
    return result;
}

}  // namespace tool
