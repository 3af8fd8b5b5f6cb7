// What holds for every conversion of a row: the reference form's code and pixels, in place and apart, and no byte touched
// beside them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "base/pixel_format.h"
#include "convert/row_converter.h"
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

// Apart, by one converter again and again; `expected` has zeros after the last pixel. Its last byte ends the block, so
// that the address sanitizer sees a byte too many, or a guard follows.
inline const char* brokenApart(const RowConversion& c, const std::vector<uint8_t>& source,
                               std::vector<uint8_t> expected, size_t guard) {
    RowConverter converter;
    const Result prepared =
        converter.prepare({c.bitsSrc, c.bitsDst, static_cast<uint32_t>(c.orderSrc), static_cast<uint32_t>(c.orderDst),
                           entriesOf(c.paletteSrc), entriesOf(c.paletteDst), c.flags, c.low, c.high});
    if (!prepared.ok()) return "the converter refuses";
    const size_t bytes = expected.size();
    const uint64_t unused = c.bytesOf(c.bitsDst) * 8 -
                            static_cast<uint64_t>(c.width) * (c.bitsDst > 0 ? static_cast<uint32_t>(c.bitsDst) : 8);
    expected.back() &= static_cast<uint8_t>(c.bitsDst == 12 && unused != 0 ? 0x0F : 0xFF << unused);
    expected.resize(bytes + guard, 0xFF);
    for (int row = 0; row < 2; ++row) {
        std::vector<uint8_t> target(bytes + guard, 0xFF);
        if (!converter.run(source.data(), target.data(), c.width).ok()) return "the converter fails";
        if (target != expected) return "pixels made apart";
    }
    return nullptr;
}

// Null, or what is broken. `source` holds the row's bytes exactly; the buffer lies `offset` bytes into its block, at odd
// offsets before guard bytes, at even ones at the block's end.
inline const char* brokenConversion(const RowConversion& c, const std::vector<uint8_t>& source, size_t offset) {
    const size_t guard = offset % 2 * 40;
    std::vector<uint8_t> buffer(offset, 0x5C);
    buffer.insert(buffer.end(), source.begin(), source.end());
    buffer.resize(offset + std::max(source.size(), c.bytesOf(c.bitsDst)), 0x99);
    buffer.resize(buffer.size() + guard, 0x5C);
    std::vector<uint8_t> expected = buffer;
    const int32_t code = referenceConvert(expected.data() + offset, c.width, c.bitsSrc, c.bitsDst, c.orderSrc,
                                          c.orderDst, c.paletteSrc, c.paletteDst, c.flags, c.low, c.high);
    if (T_ConvertBufferExt(buffer.data() + offset, c.width, c.bitsSrc, c.bitsDst, static_cast<uint32_t>(c.orderSrc),
                           static_cast<uint32_t>(c.orderDst), entriesOf(c.paletteSrc), entriesOf(c.paletteDst), c.flags,
                           c.low, c.high) != code)
        return "the code";
    if (code != SUCCESS) return buffer == expected ? nullptr : "a refused buffer";
    // Bytes of the source past the converted row may hold anything.
    const auto end = static_cast<ptrdiff_t>(offset + c.bytesOf(c.bitsDst));
    if (!std::equal(buffer.begin(), buffer.begin() + end, expected.begin())) return "pixels made in place";
    if (!std::all_of(buffer.end() - static_cast<ptrdiff_t>(guard), buffer.end(), [](uint8_t b) { return b == 0x5C; }))
        return "bytes after the row";
    return brokenApart(c, source, {expected.begin() + static_cast<ptrdiff_t>(offset), expected.begin() + end}, guard);
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
    job.width = 1 + (data[0] | data[1] << 8) % 600;
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
