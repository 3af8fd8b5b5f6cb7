// Buffer conversion with arbitrary formats, orders, flags, windows, palettes and widths, held against the reference form:
// same code, same pixels, in place and apart. Buffers are exactly as long as promised, so that the address sanitizer
// sees any byte too many.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/pixel_format.h"
#include "convert/row_converter.h"
#include "reference/convert.h"
#include "tnkrn.h"

namespace {

using tnk::test::ReferenceColor;
using Bytes = std::vector<uint8_t>;

constexpr int32_t kDepths[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64, 9};
constexpr int32_t kOrders[] = {0, 1, 2, 5, 0, 1, 2, 3};
constexpr size_t kHeader = 10;

void require(bool condition) {
    if (!condition) std::abort();
}

// `count` bytes that repeat the input, changed a little each time round.
Bytes content(const uint8_t* data, size_t size, size_t count) {
    Bytes bytes(count);
    for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>((size != 0 ? data[i % size] : 0) + i / 64);
    return bytes;
}

// One entry for each sample of 16 bits.
std::vector<ReferenceColor> sampleTable() {
    std::vector<ReferenceColor> table(65536);
    for (size_t i = 0; i < table.size(); ++i) {
        const auto mixed = static_cast<uint32_t>(i * 2654435761u);
        table[i] = {static_cast<uint8_t>(mixed), static_cast<uint8_t>(mixed >> 8), static_cast<uint8_t>(mixed >> 16),
                    static_cast<uint8_t>(mixed >> 24)};
    }
    return table;
}

struct Job {
    int32_t width;
    int32_t bitsSrc, bitsDst;
    int32_t orderSrc, orderDst;
    const ReferenceColor* paletteSrc;
    const ReferenceColor* paletteDst;
    uint32_t flags;
    int32_t low, high;
};

const PaletteEntry* entries(const ReferenceColor* palette) { return reinterpret_cast<const PaletteEntry*>(palette); }

void convertApart(const Job& job, const Bytes& source, const Bytes& expected) {
    tnk::RowConverter converter;
    require(converter
                .prepare({job.bitsSrc, job.bitsDst, static_cast<uint32_t>(job.orderSrc),
                          static_cast<uint32_t>(job.orderDst), entries(job.paletteSrc), entries(job.paletteDst),
                          job.flags, job.low, job.high})
                .ok());
    Bytes target(expected.size(), 0xFF);
    require(converter.run(source.data(), target.data(), job.width).ok());
    require(std::equal(target.begin(), target.end() - 1, expected.begin()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < kHeader) return 0;
    const uint8_t* pixels = data + kHeader;
    const size_t pixelBytes = size - kHeader;
    const Bytes paletteBytes = content(pixels, pixelBytes, 320 * sizeof(ReferenceColor));
    const auto* palette = reinterpret_cast<const ReferenceColor*>(paletteBytes.data());

    Job job = {};
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

    const auto count = static_cast<uint64_t>(job.width);
    const auto bytesOf = [&](int32_t bits) {
        return static_cast<size_t>(tnk::pixelBytes(count, bits != 0 ? static_cast<uint32_t>(bits) : 8));
    };
    const Bytes source = content(pixels, pixelBytes, bytesOf(job.bitsSrc));
    Bytes buffer = source;
    buffer.resize(std::max(bytesOf(job.bitsSrc), bytesOf(job.bitsDst)), 0x99);
    Bytes expected = buffer;
    const int32_t code =
        tnk::test::referenceConvert(expected.data(), job.width, job.bitsSrc, job.bitsDst, job.orderSrc, job.orderDst,
                                    job.paletteSrc, job.paletteDst, job.flags, job.low, job.high);
    require(T_ConvertBufferExt(buffer.data(), job.width, job.bitsSrc, job.bitsDst, static_cast<uint32_t>(job.orderSrc),
                               static_cast<uint32_t>(job.orderDst), entries(job.paletteSrc), entries(job.paletteDst),
                               job.flags, job.low, job.high) == code);
    expected.resize(code == SUCCESS ? bytesOf(job.bitsDst) : expected.size());
    require(std::equal(expected.begin(), expected.end(), buffer.begin()));
    if (code == SUCCESS) convertApart(job, source, expected);
    return 0;
}
