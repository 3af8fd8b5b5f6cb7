// What holds for dithering any picture: the reference form's codes, indexes and match table, whether the rows come one by
// one, in groups or at strides, by the kernels of every instruction set, and no byte touched outside the rows.
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

// Rows of one length at a stride, bottom-up where that is negative. The block ends with a row, so that the address
// sanitizer sees a byte too many; between the rows are guards, or nothing.
class DitherArea {
  public:
    DitherArea(size_t rows, size_t rowBytes, size_t guard, bool bottomUp)
        : rows_(rows), rowBytes_(rowBytes), step_(rowBytes + guard), bottomUp_(bottomUp) {
        block_.reserve(1);  // rows are never null
        block_.assign(step_ * (rows - 1) + rowBytes, 0xC3);
    }
    uint8_t* at(size_t y) { return block_.data() + (bottomUp_ ? rows_ - 1 - y : y) * step_; }
    int32_t stride() const { return static_cast<int32_t>(step_) * (bottomUp_ ? -1 : 1); }
    bool keptGuards() const {
        for (size_t i = 0; i < block_.size(); ++i)
            if (i % step_ >= rowBytes_ && block_[i] != 0xC3) return false;
        return true;
    }

  private:
    size_t rows_, rowBytes_, step_;
    bool bottomUp_;
    std::vector<uint8_t> block_;
};

enum class DitherCalls { single, groups, lines };

// The rows and the table of one run.
class DitherPass {
  public:
    std::vector<uint32_t> table;

    // `inPlace`: output rows are input rows.
    DitherPass(const DitherJob& job, DitherCalls calls, bool inPlace)
        : table(job.table),
          job_(job),
          calls_(calls),
          inPlace_(inPlace),
          input_(job.input.size(), job.input[0].size(), job.groups % 2 * 32, job.groups % 3 == 0),
          output_(job.input.size(), job.outputBytes(), job.groups % 2 * 32, job.groups % 5 == 0) {
        for (size_t y = 0; y < job.input.size(); ++y) {
            std::copy(job.input[y].begin(), job.input[y].end(), input_.at(y));
            if (inPlace) continue;
            if (job.inPlace)
                std::copy_n(job.input[y].begin(), job.outputBytes(), output_.at(y));
            else
                std::fill_n(output_.at(y), job.outputBytes(), uint8_t{0xA5});
        }
    }
    DitherPass(const DitherPass&) = delete;
    DitherPass& operator=(const DitherPass&) = delete;

    uint32_t* tableOrNull() { return table.empty() ? nullptr : table.data(); }

    // `rows(y, count)` dithers the next rows.
    template <typename Rows>
    int32_t run(Rows rows) {
        uint32_t random = job_.groups;
        const size_t height = job_.input.size();
        for (size_t y = 0, count; y < height; y += count) {
            random = random * 1'664'525u + 1'013'904'223u;
            const size_t most = random >> 30 == 0 ? std::min<size_t>(height - y, 5) : height - y;
            count = calls_ != DitherCalls::single ? 1 + (random >> 8) % most : 1;
            if (const int32_t code = rows(y, static_cast<int32_t>(count)); code != SUCCESS) return code;
        }
        return SUCCESS;
    }
    int32_t runReference(ReferenceDither& reference) {
        return run([&](size_t y, int32_t) { return reference.line(input_.at(y), output().at(y)); });
    }

    int32_t runLibrary(const DitherKernels* kernels) {
        BitmapHandle bitmap = job_.bitmap;
        const int32_t started = T_StartDitheringExt(&bitmap, job_.palette, job_.count, job_.outputBits, tableOrNull());
        if (started != SUCCESS) return bitmap.pDitherState == nullptr ? started : 0;
        const int32_t code = run([&](size_t y, int32_t count) {
            if (calls_ == DitherCalls::groups) return ditherGroup(kernels, bitmap, y, count);
            if (count == 1) return T_DitherLine(&bitmap, input_.at(y), output().at(y));
            return T_DitherLines(&bitmap, input_.at(y), input_.stride(), output().at(y), output().stride(), count);
        });
        T_StopDithering(&bitmap);
        return code;
    }

    // The input rows, and the pixels that came out.
    DitherRows inputRows() { return rowsOf(input_, job_.input[0].size()); }
    DitherRows outputRows() { return rowsOf(output(), job_.outputBytes()); }
    bool keptGuards() const { return input_.keptGuards() && output_.keptGuards(); }

  private:
    DitherArea& output() { return inPlace_ ? input_ : output_; }
    DitherRows rowsOf(DitherArea& area, size_t bytes) const {
        DitherRows rows;
        for (size_t y = 0; y < job_.input.size(); ++y) rows.emplace_back(area.at(y), area.at(y) + bytes);
        return rows;
    }
    int32_t ditherGroup(const DitherKernels* kernels, BitmapHandle& bitmap, size_t first, int32_t count) {
        std::vector<uint8_t*> in, out;
        for (size_t y = first; y < first + static_cast<size_t>(count); ++y) {
            in.push_back(input_.at(y));
            out.push_back(output().at(y));
        }
        return ditherRowsBy(kernels, bitmap, in.data(), out.data(), count).code;
    }

    const DitherJob& job_;
    DitherCalls calls_;
    bool inPlace_;
    DitherArea input_, output_;
};

// Null, or what is broken. `mode` gets the match mode, if the run starts.
inline const char* brokenDithering(const DitherJob& job, uint32_t* mode = nullptr) {
    DitherPass wanted(job, DitherCalls::single, false);
    ReferenceDither reference;
    int32_t code = reference.start(referenceSource(job.bitmap), {.palette = asReference(job.palette),
                                                                 .count = job.count,
                                                                 .outputBits = static_cast<int32_t>(job.outputBits),
                                                                 .method = job.bitmap.DitherMethod,
                                                                 .userMatchTable = wanted.tableOrNull()});
    if (mode != nullptr) *mode = reference.mode();
    if (code == SUCCESS) code = wanted.runReference(reference);
    const auto differs = [&](DitherPass& pass, const DitherKernels* kernels, bool inPlace) -> const char* {
        if (pass.runLibrary(kernels) != code) return "the code";
        if (pass.table != wanted.table) return "the match table";
        if (pass.outputRows() != wanted.outputRows()) return "the indexes";
        if (code == SUCCESS && !inPlace && pass.inputRows() != wanted.inputRows()) return "the input rows";
        return pass.keptGuards() ? nullptr : "bytes beyond a row";
    };
    for (const DitherCalls calls : {DitherCalls::single, DitherCalls::lines}) {
        DitherPass pass(job, calls, job.inPlace);
        if (const char* const broken = differs(pass, nullptr, job.inPlace)) return broken;
    }
    for (const InstructionSet set :
         {InstructionSet::scalar, InstructionSet::sse2, InstructionSet::ssse3, InstructionSet::avx2}) {
        if (set > instructionSet()) break;
        DitherPass groups(job, DitherCalls::groups, false);
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
        const uint32_t wide = source.byte();  // at times wider than the engine's blocks
        bitmap.Width = static_cast<int32_t>(source.below(wide % 4 != 0 ? 72 : wide % 32 != 0 ? 600 : 2500));
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
