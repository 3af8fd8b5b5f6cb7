// What holds for dithering any picture: the reference form's codes, indexes and match table, whether the rows come one by
// one or in groups, by the kernels of every instruction set, and no byte touched outside the rows.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
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

}  // namespace tnk::test
