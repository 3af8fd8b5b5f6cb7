// Dithering of any bitmap description to any palette: rows one by one and in groups give the same, and nothing outside
// the rows is touched.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "color/dither/dither.h"
#include "tnkrn.h"

namespace {

void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

// Numbers from the input while it lasts, from a generator seeded by it afterwards.
class Source {
  public:
    Source(const uint8_t* data, size_t size) : data_(data), size_(size) {
        for (size_t i = 0; i < size; ++i) seed_ = (seed_ ^ data[i]) * 16'777'619u;
    }
    uint8_t byte() {
        if (at_ < size_) return data_[at_++];
        seed_ = seed_ * 1'664'525u + 1'013'904'223u;
        return static_cast<uint8_t>(seed_ >> 24);
    }
    uint32_t below(uint32_t limit) { return (byte() | static_cast<uint32_t>(byte()) << 8) % limit; }
    // One of the wanted values, now and then anything.
    int32_t oneOf(std::initializer_list<int32_t> values) {
        const uint32_t pick = byte();
        return pick > 250 ? static_cast<int8_t>(byte()) : values.begin()[pick % values.size()];
    }

  private:
    const uint8_t* data_;
    size_t size_;
    size_t at_ = 0;
    uint32_t seed_ = 2'166'136'261u;
};

std::vector<PaletteEntry> makePalette(Source& source, uint32_t count) {
    std::vector<PaletteEntry> palette(count);
    const bool gray = source.byte() % 4 == 0;
    for (PaletteEntry& entry : palette) {
        entry = {source.byte(), source.byte(), source.byte(), static_cast<uint8_t>(source.byte() % 8 == 0 ? 1 : 0)};
        if (gray) entry.Red = entry.Green = entry.Blue;
    }
    return palette;
}

constexpr size_t kGuard = 32;
constexpr uint8_t kGuardByte = 0xC3;

// Rows of exact size between guards.
struct GuardedRows {
    std::vector<std::vector<uint8_t>> rows;
    std::vector<uint8_t*> first;

    GuardedRows(uint32_t count, size_t bytes) : rows(count, std::vector<uint8_t>(bytes + 2 * kGuard, kGuardByte)) {
        for (auto& row : rows) first.push_back(row.data() + kGuard);
    }
    GuardedRows(const GuardedRows&) = delete;
    GuardedRows& operator=(const GuardedRows&) = delete;

    void checkGuards() const {
        const auto untouched = [](const uint8_t* guard) {
            return std::all_of(guard, guard + kGuard, [](uint8_t byte) { return byte == kGuardByte; });
        };
        for (const auto& row : rows) {
            require(untouched(row.data()) && untouched(row.data() + row.size() - kGuard),
                    "bytes beyond a row were written");
        }
    }
};

struct Job {
    BitmapHandle bitmap{};
    std::vector<PaletteEntry> sourcePalette;
    std::vector<PaletteEntry> lut;
    std::vector<PaletteEntry> palette;
    uint32_t count = 0;
    uint32_t outputBits = 0;
    std::vector<uint32_t> table;
    uint32_t rows = 0;

    explicit Job(Source& source) {
        bitmap.StructSize = sizeof bitmap;
        bitmap.BitsPerPixel = source.oneOf({24, 8, 1, 32, 16, 12, 48, 64, 2, 3, 4, 5, 6, 7});
        bitmap.Order = static_cast<uint32_t>(source.oneOf({1, 0, 2, 5}));
        bitmap.Width = static_cast<int32_t>(source.byte() % 4 == 0 ? source.below(600) : source.below(72));
        bitmap.DitherMethod = static_cast<uint32_t>(source.oneOf({1, 0, 2, 3, 4, 5, 6, 7, 8}));
        bitmap.LowBit = source.oneOf({0, 3, -1, 20});
        bitmap.HighBit = source.oneOf({-1, 7, 15, 11, 2});
        if (source.byte() % 4 == 0) bitmap.Flags |= BMF_WINDOW;
        if (source.byte() % 32 == 0) bitmap.Flags |= BMF_SIGNED;
        sourcePalette = makePalette(source, source.below(300));
        bitmap.Palette = sourcePalette.empty() ? nullptr : sourcePalette.data();
        bitmap.ColorCount = static_cast<uint32_t>(sourcePalette.size());
        if (source.byte() % 2 == 0) {
            lut = makePalette(source, 1u << source.byte() % 12);
            bitmap.pLUT = lut.data();
            bitmap.LUTLength = static_cast<uint32_t>(lut.size());
        }
        count = source.byte() % 2 == 0 ? 1u << source.byte() % 9 : source.below(258);
        if (source.byte() % 2 == 0) palette = makePalette(source, std::max(count, 1u));
        outputBits = static_cast<uint32_t>(source.oneOf({8, 1, 2, 3, 4, 5, 6, 7}));
        if (source.byte() % 4 == 0) {
            table.resize(32'768);
            for (uint32_t i = source.below(64); i < table.size(); i += 1 + source.below(2048))
                table[i] = source.below(400);
        }
        rows = 1 + source.below(40);
    }

    size_t inputBytes() const {
        return (static_cast<size_t>(bitmap.Width) * static_cast<size_t>(bitmap.BitsPerPixel) + 7) / 8;
    }
    size_t outputBytes() const {
        return outputBits >= 1 && outputBits <= 8 ? (static_cast<size_t>(bitmap.Width) * outputBits + 7) / 8 : 0;
    }
};

// One pass over the rows; `step` rows a call.
int32_t dither(const Job& job, std::vector<uint32_t>& table, uint32_t step, GuardedRows& input, GuardedRows& output) {
    BitmapHandle bitmap = job.bitmap;
    const int32_t started = T_StartDitheringExt(&bitmap, job.palette.empty() ? nullptr : job.palette.data(), job.count,
                                                job.outputBits, table.empty() ? nullptr : table.data());
    require((started == SUCCESS) == (bitmap.pDitherState != nullptr), "a state without success, or the reverse");
    if (started != SUCCESS) return started;
    int32_t result = SUCCESS;
    for (uint32_t row = 0; row < job.rows && result == SUCCESS; row += step) {
        const auto count = static_cast<int32_t>(std::min(step, job.rows - row));
        result = count == 1 ? T_DitherLine(&bitmap, input.first[row], output.first[row])
                            : tnk::ditherRows(bitmap, &input.first[row], &output.first[row], count).code;
    }
    T_StopDithering(&bitmap);
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Source source(data, size);
    const Job job(source);
    const uint32_t step = 2 + source.below(job.rows);
    const int32_t bits = job.bitmap.BitsPerPixel;
    if (bits > 64) return 0;
    const size_t inputBytes = bits > 0 ? job.inputBytes() : 0;
    GuardedRows single(job.rows, inputBytes);
    GuardedRows many(job.rows, inputBytes);
    for (uint32_t row = 0; row < job.rows; ++row) {
        for (size_t i = 0; i < inputBytes; ++i) single.first[row][i] = many.first[row][i] = source.byte();
    }
    GuardedRows singleOutput(job.rows, job.outputBytes());
    GuardedRows manyOutput(job.rows, job.outputBytes());
    std::vector<uint32_t> singleTable = job.table;
    std::vector<uint32_t> manyTable = job.table;
    const int32_t result = dither(job, singleTable, 1, single, singleOutput);
    require(result == dither(job, manyTable, step, many, manyOutput), "results differ");
    require(result == SUCCESS || result == ERROR_INVALID_PARAMETER || result == ERROR_SIGNED_DATA, "an unknown code");
    require(singleTable == manyTable, "match tables differ");
    require(singleOutput.rows == manyOutput.rows, "rows one by one differ from rows together");
    if (result == SUCCESS) require(single.rows == many.rows, "input rows differ");
    for (const GuardedRows* rows : {&single, &many, &singleOutput, &manyOutput}) rows->checkGuards();
    return 0;
}
