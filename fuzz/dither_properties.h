// What holds for dithering any picture: the reference form's codes, indexes and match table, whether the rows come one by
// one or in groups, by the kernels of every instruction set, and no byte touched outside the rows.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <utility>
#include <vector>

#include "base/pixel_format.h"
#include "color/dither/dither_band.h"
#include "color/dither/dither_modes.h"
#include "reference/dither.h"
#include "tnkrn.h"

namespace tnk::test {

using DitherRows = std::vector<std::vector<uint8_t>>;

struct DitherJob {
    BitmapHandle bitmap{};  // what T_StartDithering reads of it
    const PaletteEntry* palette = nullptr;
    uint32_t count = 0;
    uint32_t outputBits = 8;
    std::vector<uint32_t> table;  // of matches; empty: none
    DitherRows input;
    uint32_t groups = 0;   // what the sizes of groups are drawn from
    bool inPlace = false;  // rows one by one go into the input rows

    size_t outputBytes() const {
        return outputBits >= 1 && outputBits <= 8 ? (static_cast<size_t>(bitmap.Width) * outputBits + 7) / 8 : 0;
    }
};

inline const ReferenceColor* asReference(const PaletteEntry* palette) {
    return reinterpret_cast<const ReferenceColor*>(palette);
}

inline ReferenceDitherSource referenceSource(const BitmapHandle& bitmap) {
    return {.bits = bitmap.BitsPerPixel,
            .order = static_cast<int32_t>(bitmap.Order),
            .width = bitmap.Width,
            .palette = asReference(bitmap.Palette),
            .paletteCount = bitmap.ColorCount,
            .lowBit = bitmap.LowBit,
            .highBit = bitmap.HighBit,
            .window = (bitmap.Flags & BMF_WINDOW) != 0,
            .signedData = (bitmap.Flags & BMF_SIGNED) != 0,
            .lut = asReference(bitmap.pLUT),
            .lutLength = bitmap.LUTLength};
}

// The rows and the table of one run. Input rows end with their block, so that the address sanitizer sees a byte too many;
// output rows do, or lie between guards.
class DitherPass {
  public:
    std::vector<uint32_t> table;
    DitherRows input;

    // `groups`: rows come several at a time. `inPlace`: output rows are input rows.
    DitherPass(const DitherJob& job, bool groups, bool inPlace)
        : table(job.table), input(job.input), job_(job), groups_(groups), guard_(job.groups % 2 * 32) {
        for (size_t y = 0; y < input.size(); ++y) {
            std::vector<uint8_t> row(job.outputBytes(), 0xA5);
            if (job.inPlace) std::copy_n(input[y].begin(), row.size(), row.begin());
            row.reserve(1);  // rows are never null
            row.insert(row.begin(), guard_, 0xC3);
            row.insert(row.end(), guard_, 0xC3);
            output_.push_back(std::move(row));
        }
        for (size_t y = 0; y < input.size(); ++y) {
            in_.push_back(input[y].data());
            out_.push_back(inPlace ? in_[y] : output_[y].data() + guard_);
        }
    }
    DitherPass(const DitherPass&) = delete;
    DitherPass& operator=(const DitherPass&) = delete;

    uint32_t* tableOrNull() { return table.empty() ? nullptr : table.data(); }

    // `rows(in, out, count)` dithers the next rows.
    template <typename Rows>
    int32_t run(Rows rows) {
        uint32_t random = job_.groups;
        for (size_t y = 0, count; y < in_.size(); y += count) {
            random = random * 1'664'525u + 1'013'904'223u;
            const size_t most = random >> 30 == 0 ? std::min<size_t>(in_.size() - y, 5) : in_.size() - y;
            count = groups_ ? 1 + (random >> 8) % most : 1;
            if (const int32_t code = rows(&in_[y], &out_[y], static_cast<int32_t>(count)); code != SUCCESS) return code;
        }
        return SUCCESS;
    }

    int32_t runLibrary(const DitherKernels* kernels) {
        BitmapHandle bitmap = job_.bitmap;
        const int32_t started = T_StartDitheringExt(&bitmap, job_.palette, job_.count, job_.outputBits, tableOrNull());
        if (started != SUCCESS) return bitmap.pDitherState == nullptr ? started : 0;
        const int32_t code = run([&](uint8_t** in, uint8_t** out, int32_t count) {
            return groups_ ? ditherRowsBy(kernels, bitmap, in, out, count).code : T_DitherLine(&bitmap, *in, *out);
        });
        T_StopDithering(&bitmap);
        return code;
    }

    // The pixels that came out, a row each.
    DitherRows output() const {
        DitherRows rows;
        for (const uint8_t* row : out_) rows.emplace_back(row, row + job_.outputBytes());
        return rows;
    }
    bool keptGuards() const {
        return std::all_of(output_.begin(), output_.end(), [&](const auto& row) {
            const auto kept = [](uint8_t byte) { return byte == 0xC3; };
            return std::all_of(row.begin(), row.begin() + static_cast<ptrdiff_t>(guard_), kept) &&
                   std::all_of(row.end() - static_cast<ptrdiff_t>(guard_), row.end(), kept);
        });
    }

  private:
    const DitherJob& job_;
    bool groups_;
    size_t guard_;
    std::vector<uint8_t*> in_, out_;
    DitherRows output_;
};

// Null, or what is broken. `mode` gets the match mode, if the run starts.
inline const char* brokenDithering(const DitherJob& job, uint32_t* mode = nullptr) {
    DitherPass wanted(job, false, false);
    ReferenceDither reference;
    int32_t code = reference.start(referenceSource(job.bitmap), {.palette = asReference(job.palette),
                                                                 .count = job.count,
                                                                 .outputBits = static_cast<int32_t>(job.outputBits),
                                                                 .method = job.bitmap.DitherMethod,
                                                                 .userMatchTable = wanted.tableOrNull()});
    if (mode != nullptr) *mode = reference.mode();
    if (code == SUCCESS)
        code = wanted.run([&](uint8_t** in, uint8_t** out, int32_t) { return reference.line(*in, *out); });
    const auto differs = [&](DitherPass& pass, const DitherKernels* kernels, bool inPlace) -> const char* {
        if (pass.runLibrary(kernels) != code) return "the code";
        if (pass.table != wanted.table) return "the match table";
        if (pass.output() != wanted.output()) return "the indexes";
        if (code == SUCCESS && !inPlace && pass.input != wanted.input) return "the input rows";
        return pass.keptGuards() ? nullptr : "bytes beyond a row";
    };
    DitherPass single(job, false, job.inPlace);
    if (const char* const broken = differs(single, nullptr, job.inPlace)) return broken;
    for (const InstructionSet set :
         {InstructionSet::scalar, InstructionSet::sse2, InstructionSet::ssse3, InstructionSet::avx2}) {
        if (set > instructionSet()) break;
        DitherPass groups(job, true, false);
        if (const char* const broken = differs(groups, ditherKernelsFor(set), false)) {
            std::fprintf(stderr, "groups by instruction set %d: ", static_cast<int>(set));
            return broken;
        }
    }
    return nullptr;
}

// ---- drawing ----

// Numbers from the input while it lasts, from a generator seeded by it afterwards.
class DitherDraws {
  public:
    DitherDraws(const uint8_t* data, size_t size) : data_(data), size_(size) {
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

inline std::vector<PaletteEntry> drawDitherPalette(DitherDraws& source, uint32_t count) {
    std::vector<PaletteEntry> palette(count);
    const bool gray = source.byte() % 4 == 0;
    for (PaletteEntry& entry : palette) {
        entry = {source.byte(), source.byte(), source.byte(), static_cast<uint8_t>(source.byte() % 8 == 0 ? 1 : 0)};
        if (gray) entry.Red = entry.Green = entry.Blue;
    }
    return palette;
}

// Any picture, palettes and request.
struct DrawnDitherJob : DitherJob {
    std::vector<PaletteEntry> sourcePalette;
    std::vector<PaletteEntry> lut;
    std::vector<PaletteEntry> target;

    DrawnDitherJob(const uint8_t* data, size_t size) {
        DitherDraws source(data, size);
        bitmap.StructSize = sizeof bitmap;
        bitmap.BitsPerPixel = source.oneOf({24, 8, 1, 32, 16, 12, 48, 64, 2, 3, 4, 5, 6, 7});
        bitmap.Order = static_cast<uint32_t>(source.oneOf({1, 0, 2, 5}));
        bitmap.Width = static_cast<int32_t>(source.byte() % 4 == 0 ? source.below(600) : source.below(72));
        bitmap.DitherMethod = static_cast<uint32_t>(source.oneOf({1, 0, 2, 3, 4, 5, 6, 7, 8}));
        bitmap.LowBit = source.oneOf({0, 3, -1, 20});
        bitmap.HighBit = source.oneOf({-1, 7, 15, 11, 2});
        if (source.byte() % 4 == 0) bitmap.Flags |= BMF_WINDOW;
        if (source.byte() % 32 == 0) bitmap.Flags |= BMF_SIGNED;
        sourcePalette = drawDitherPalette(source, source.below(300));
        bitmap.Palette = sourcePalette.empty() ? nullptr : sourcePalette.data();
        bitmap.ColorCount = static_cast<uint32_t>(sourcePalette.size());
        if (source.byte() % 2 == 0) {
            lut = drawDitherPalette(source, 1u << source.byte() % 12);
            bitmap.pLUT = lut.data();
            bitmap.LUTLength = static_cast<uint32_t>(lut.size());
        }
        count = source.byte() % 2 == 0 ? 1u << source.byte() % 9 : source.below(258);
        if (source.byte() % 2 == 0) target = drawDitherPalette(source, std::max(count, 1u));
        palette = target.empty() ? nullptr : target.data();
        outputBits = static_cast<uint32_t>(source.oneOf({8, 1, 2, 3, 4, 5, 6, 7}));
        if (source.byte() % 4 == 0) {
            table.resize(32'768);
            for (uint32_t i = source.below(64); i < table.size(); i += 1 + source.below(2048))
                table[i] = source.below(400);
        }
        input.resize(1 + source.below(40));
        groups = source.below(65536);
        const auto bits = static_cast<uint32_t>(std::clamp(bitmap.BitsPerPixel, 0, 64));
        for (auto& row : input) {
            row.resize(std::max<size_t>(1, (static_cast<size_t>(bitmap.Width) * bits + 7) / 8));  // rows are never null
            for (uint8_t& byte : row) byte = source.byte();
        }
        drawKind(source);
    }
    DrawnDitherJob(const DrawnDitherJob&) = delete;
    DrawnDitherJob& operator=(const DrawnDitherJob&) = delete;

  private:
    // What chance seldom makes: levels to black and white, the web palette, slopes with long runs of equal colours that clamp
    // now and then, output over input.
    void drawKind(DitherDraws& source) {
        const bool levels = source.byte() % 4 == 0, slopes = source.byte() % 2 == 0;
        if (levels) {
            sourcePalette.resize(256);
            for (size_t i = 0; i < 256; ++i) {
                const auto level = static_cast<uint8_t>(i);
                sourcePalette[i] = {level, level, level, 0};
            }
            bitmap.Palette = sourcePalette.data();
            bitmap.ColorCount = 256;
            if (source.byte() % 2 == 0) count = 2, outputBits = 1, palette = nullptr;
        }
        if (source.byte() % 8 == 0) palette = T_IntGetNetscapePalette();
        for (size_t y = 0; slopes && y < input.size(); ++y)
            for (size_t x = 0; x < input[y].size(); ++x)
                input[y][x] = static_cast<uint8_t>(x * 2 / 3 + y * 3 + x % 3 * 40);
        // Input rows of some orders are converted first, which changes the bits that a shorter output row keeps.
        inPlace = source.byte() % 2 == 0 && static_cast<int32_t>(outputBits) <= bitmap.BitsPerPixel &&
                  bitmap.Order != ORDER_MATRIX_RGB;
    }
};

}  // namespace tnk::test
