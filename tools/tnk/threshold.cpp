#include "threshold.h"

#include <array>
#include <charconv>

#include "bitmap_rows.h"
#include "match_colors.h"
#include "progress.h"

namespace tool {

namespace {

constexpr int kLevels = 256;
constexpr RowForm kGrays = samplesOf(1, 8);

}  // namespace

int thresholdOf(const std::string& text) {
    if (text == "auto") return -1;
    int level = -1;
    const char* const end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, level);
    if (error != std::errc() || at != end || level < 0 || level >= kLevels) {
        throw usageFailure("--threshold " + text + " is no gray level from 0 to 255, nor auto");
    }
    return level;
}

int bestThreshold(Bitmap& bitmap, const std::string& file) {
    std::array<uint64_t, kLevels> histogram = {};
    BitmapRows rows(bitmap, file, kGrays);
    for (int y = 0; y < bitmap->Height; y++) {
        Progress::rowDone(y, bitmap->Height);
        const uint8_t* row = rows.get(y);
        for (int x = 0; x < bitmap->Width; x++) histogram[row[x]]++;
    }
    double sum = 0, sumBelow = 0, below = 0, best = 0;
    const double pixels = static_cast<double>(bitmap->Width) * bitmap->Height;
    for (int level = 0; level < kLevels; level++) sum += level * static_cast<double>(histogram[level]);
    int found = kLevels / 2;
    for (int level = 1; level < kLevels; level++) {
        const double added = static_cast<double>(histogram[level - 1]);
        below += added;
        sumBelow += (level - 1) * added;
        if (below == 0 || below == pixels) continue;
        const double distance = sumBelow / below - (sum - sumBelow) / (pixels - below);
        const double variance = below * (pixels - below) * distance * distance;
        if (variance > best) {
            best = variance;
            found = level;
        }
    }
    return found;
}

Bitmap applyThreshold(Bitmap& bitmap, const std::string& file, int level, uint32_t request) {
    static constexpr PaletteEntry kBlack = {0, 0, 0, 0}, kWhite = {255, 255, 255, 0};
    Bitmap result = blankLike(bitmap, file, 1, {kBlack, kWhite}, request);
    // Levels become one of the two as if they were indexes.
    std::array<PaletteEntry, kLevels> table;
    for (int i = 0; i < kLevels; i++) table[i] = i < level ? kBlack : kWhite;
    BitmapRows rows(bitmap, file, kGrays);
    for (int y = 0; y < bitmap->Height; y++) {
        Progress::rowDone(y, bitmap->Height);
        uint8_t* const row = rows.get(y);
        require(T_ConvertBuffer(row, bitmap->Width, 8, 1, ORDER_RGB, ORDER_RGB, table.data(), result->Palette), file);
        result.putRow(file, row, y, (rows.bytes() + 7) / 8);
    }
    return result;
}

}  // namespace tool
