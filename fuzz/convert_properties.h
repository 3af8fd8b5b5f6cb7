// What holds for every conversion of rows: the reference form's code and pixels, one by one and several at once, in place
// and apart, and no byte touched beside them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/pixel_format.h"
#include "reference/convert.h"
#include "tnkrn.h"

namespace tnk::test {

struct RowConversion {
    int32_t width;
    int32_t bitsSrc, bitsDst;
    int32_t orderSrc, orderDst;
    const ReferenceColor* paletteSrc = nullptr;
    const ReferenceColor* paletteDst = nullptr;
    uint32_t flags = 0;
    int32_t low = -1, high = -1;

    size_t bytesOf(int32_t bits) const {
        return pixelBytes(static_cast<uint64_t>(width), bits > 0 ? static_cast<uint32_t>(bits) : 8);
    }
};

inline const PaletteEntry* entriesOf(const ReferenceColor* palette) {
    return reinterpret_cast<const PaletteEntry*>(palette);
}

// A conversion by the library, with palettes of its own that can be others for a while at the same place.
class LibraryConversion {
  public:
    explicit LibraryConversion(const RowConversion& c) : c_(c) {
        own(c.bitsSrc, c_.paletteSrc, source_);
        own(c.bitsDst, c_.paletteDst, target_);
    }
    ~LibraryConversion() { T_StopConvert(lines_); }
    LibraryConversion(const LibraryConversion&) = delete;
    LibraryConversion& operator=(const LibraryConversion&) = delete;

    int32_t convert(uint8_t* row) const {
        return T_ConvertBufferExt(row, c_.width, c_.bitsSrc, c_.bitsDst, static_cast<uint32_t>(c_.orderSrc),
                                  static_cast<uint32_t>(c_.orderDst), entriesOf(c_.paletteSrc),
                                  entriesOf(c_.paletteDst), c_.flags, c_.low, c_.high);
    }
    int32_t start() {
        return T_StartConvert(&lines_, c_.bitsSrc, c_.bitsDst, static_cast<uint32_t>(c_.orderSrc),
                              static_cast<uint32_t>(c_.orderDst), entriesOf(c_.paletteSrc), entriesOf(c_.paletteDst),
                              c_.flags, c_.low, c_.high);
    }
    T_HANDLE lines() const { return lines_; }
    // Changes the palettes, or back.
    void exchangePalettes() {
        for (auto* palette : {&source_, &target_})
            for (ReferenceColor& color : *palette) color.green ^= 0x81;
    }

  private:
    static void own(int32_t bits, const ReferenceColor*& palette, std::vector<ReferenceColor>& copy) {
        if (bits < 1 || bits > 8 || palette == nullptr) return;
        copy.assign(palette, palette + (ptrdiff_t{1} << bits));
        palette = copy.data();
    }

    RowConversion c_;
    std::vector<ReferenceColor> source_, target_;
    T_HANDLE lines_ = 1;  // none
};

// A row in place at a thread that has just converted by other palettes; `row` becomes what it is converted to. It lies
// `offset` bytes into its block, at odd offsets before guard bytes, at even ones at the block's end.
inline const char* brokenRow(const RowConversion& c, const LibraryConversion& library, std::vector<uint8_t>& row,
                             size_t offset, int32_t* code) {
    const size_t guard = offset % 2 * 40;
    std::vector<uint8_t> buffer(offset, 0x5C);
    buffer.insert(buffer.end(), row.begin(), row.end());
    buffer.resize(offset + std::max(row.size(), c.bytesOf(c.bitsDst)), 0x99);
    buffer.resize(buffer.size() + guard, 0x5C);
    std::vector<uint8_t> expected = buffer;
    *code = referenceConvert(expected.data() + offset, c.width, c.bitsSrc, c.bitsDst, c.orderSrc, c.orderDst,
                             c.paletteSrc, c.paletteDst, c.flags, c.low, c.high);
    if (library.convert(buffer.data() + offset) != *code) return "the code";
    if (*code != SUCCESS) return buffer == expected ? nullptr : "a refused buffer";
    // Bytes of the source past the converted row may hold anything.
    const auto end = static_cast<ptrdiff_t>(offset + c.bytesOf(c.bitsDst));
    if (!std::equal(buffer.begin(), buffer.begin() + end, expected.begin())) return "pixels made in place";
    if (!std::all_of(buffer.end() - static_cast<ptrdiff_t>(guard), buffer.end(), [](uint8_t b) { return b == 0x5C; }))
        return "bytes after the row";
    row.assign(expected.begin() + static_cast<ptrdiff_t>(offset), expected.begin() + end);
    return nullptr;
}

// Rows `stride` bytes apart, the last byte of the last one at the block's end; bottom-up where the stride is negative.
struct ConversionLines {
    ptrdiff_t stride;
    std::vector<uint8_t> block;

    ConversionLines(const std::vector<uint8_t> (&rows)[2], ptrdiff_t lineStride) : stride(lineStride) {
        block.assign(static_cast<size_t>(std::abs(stride)) + rows[0].size(), 0x5C);
        for (size_t y = 0; y < 2; ++y) std::copy(rows[y].begin(), rows[y].end(), at(y));
    }
    uint8_t* at(size_t y) { return block.data() + (stride < 0 ? 1 - y : y) * static_cast<size_t>(std::abs(stride)); }
};

// Both rows at once, apart and in place.
inline const char* brokenLines(const RowConversion& c, T_HANDLE conversion, std::vector<uint8_t> (&sources)[2],
                               std::vector<uint8_t> (&targets)[2], size_t offset) {
    const ptrdiff_t sign = offset % 4 < 2 ? 1 : -1;
    const auto longer = static_cast<ptrdiff_t>(std::max(sources[0].size(), targets[0].size()));
    std::vector<uint8_t> room[2];
    for (size_t y = 0; y < 2; ++y) {
        room[y] = sources[y];
        room[y].resize(static_cast<size_t>(longer), 0x99);
    }
    ConversionLines inPlace(room, sign * (longer + 3));
    const auto stride = static_cast<int32_t>(inPlace.stride);
    if (T_ConvertLines(conversion, inPlace.at(0), stride, inPlace.at(0), stride, c.width, 2) != SUCCESS)
        return "lines in place fail";
    for (size_t y = 0; y < 2; ++y)
        if (!std::equal(targets[y].begin(), targets[y].end(), inPlace.at(y))) return "lines in place";

    // Apart the bits after the last pixel are zero.
    const uint64_t unused = c.bytesOf(c.bitsDst) * 8 -
                            static_cast<uint64_t>(c.width) * (c.bitsDst > 0 ? static_cast<uint32_t>(c.bitsDst) : 8);
    for (auto& row : targets)
        row.back() &= static_cast<uint8_t>(c.bitsDst == 12 && unused != 0 ? 0x0F : 0xFF << unused);
    const auto at = static_cast<ptrdiff_t>(offset);
    ConversionLines from(sources, -sign * (static_cast<ptrdiff_t>(sources[0].size()) + at));
    const ConversionLines wanted(targets, sign * (static_cast<ptrdiff_t>(targets[0].size()) + at % 5));
    for (auto& row : targets) row.assign(row.size(), 0xFF);
    ConversionLines made(targets, wanted.stride);
    if (T_ConvertLines(conversion, from.at(0), static_cast<int32_t>(from.stride), made.at(0),
                       static_cast<int32_t>(made.stride), c.width, 2) != SUCCESS)
        return "lines apart fail";
    return made.block == wanted.block ? nullptr : "lines apart";
}

// Null, or what is broken. `source` holds the row's bytes exactly; a second row has them in reverse.
inline const char* brokenConversion(const RowConversion& c, const std::vector<uint8_t>& source, size_t offset) {
    std::vector<uint8_t> sources[2] = {source, {source.rbegin(), source.rend()}};
    std::vector<uint8_t> targets[2] = {sources[0], sources[1]};
    LibraryConversion library(c);
    std::vector<uint8_t> other = source;
    other.resize(std::max(source.size(), c.bytesOf(c.bitsDst)));
    library.exchangePalettes();
    library.convert(other.data());
    library.exchangePalettes();
    int32_t code = SUCCESS;
    for (auto& row : targets)
        if (const char* const broken = brokenRow(c, library, row, offset, &code)) return broken;
    if (library.start() != code || (code == SUCCESS) != (library.lines() != 0)) return "the code of a start";
    library.exchangePalettes();  // the started conversion has copies
    return code == SUCCESS ? brokenLines(c, library.lines(), sources, targets, offset) : nullptr;
}

// ---- drawing ----

// `count` bytes that repeat the input, changed a little each time round.
inline std::vector<uint8_t> conversionBytes(const uint8_t* data, size_t size, size_t count) {
    std::vector<uint8_t> bytes(count);
    for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>((size != 0 ? data[i % size] : 0) + i / 64);
    return bytes;
}

// One entry for each sample of 16 bits.
inline std::vector<ReferenceColor> sampleTable() {
    std::vector<ReferenceColor> table(65536);
    for (size_t i = 0; i < table.size(); ++i) {
        const auto mixed = static_cast<uint32_t>(i * 2654435761u);
        table[i] = {static_cast<uint8_t>(mixed), static_cast<uint8_t>(mixed >> 8), static_cast<uint8_t>(mixed >> 16),
                    static_cast<uint8_t>(mixed >> 24)};
    }
    return table;
}

// Null, or what is broken of the conversion that the input describes.
inline const char* brokenDrawnConversion(const uint8_t* data, size_t size) {
    constexpr int32_t kDepths[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64, 9};
    constexpr int32_t kOrders[] = {0, 1, 2, 5, 0, 1, 2, 3};
    constexpr size_t kHeader = 10;
    if (size < kHeader) return nullptr;
    const uint8_t* pixels = data + kHeader;
    const size_t pixelBytes = size - kHeader;
    const std::vector<uint8_t> paletteBytes = conversionBytes(pixels, pixelBytes, 320 * sizeof(ReferenceColor));
    const auto* palette = reinterpret_cast<const ReferenceColor*>(paletteBytes.data());

    RowConversion job = {};
    job.width = 1 + (data[0] | data[1] << 8) % (data[1] < 0xF0 ? 600 : 9000);  // now and then past every buffer
    job.bitsSrc = kDepths[data[2] % 16];
    job.bitsDst = kDepths[data[3] % 16];
    job.orderSrc = kOrders[data[4] % 8];
    job.orderDst = kOrders[data[4] / 8 % 8];
    job.flags = data[5];
    job.low = static_cast<int8_t>(data[6]);
    job.high = static_cast<int8_t>(data[7]);
    // A table of samples must reach as far as the window does: 32-bit samples go without.
    static const std::vector<ReferenceColor> samples = sampleTable();
    if ((data[8] & 1) != 0 && job.bitsSrc != 32)
        job.paletteSrc = job.bitsSrc > 8 ? samples.data() : palette + data[9] % 64;
    if ((data[8] & 2) != 0) job.paletteDst = palette + (data[8] / 4) % 64;
    return brokenConversion(job, conversionBytes(pixels, pixelBytes, job.bytesOf(job.bitsSrc)), data[9] / 64u);
}

}  // namespace tnk::test
