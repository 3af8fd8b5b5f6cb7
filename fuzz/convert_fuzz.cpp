// Buffer conversion with arbitrary formats, orders, flags, windows, palettes and widths, held against the reference form.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "fuzz/convert_properties.h"

namespace {

using tnk::test::ReferenceColor;
using Bytes = std::vector<uint8_t>;

constexpr int32_t kDepths[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 12, 16, 24, 32, 48, 64, 9};
constexpr int32_t kOrders[] = {0, 1, 2, 5, 0, 1, 2, 3};
constexpr size_t kHeader = 10;

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < kHeader) return 0;
    const uint8_t* pixels = data + kHeader;
    const size_t pixelBytes = size - kHeader;
    const Bytes paletteBytes = content(pixels, pixelBytes, 320 * sizeof(ReferenceColor));
    const auto* palette = reinterpret_cast<const ReferenceColor*>(paletteBytes.data());

    tnk::test::RowConversion job = {};
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

    const Bytes source = content(pixels, pixelBytes, job.bytesOf(job.bitsSrc));
    if (tnk::test::brokenConversion(job, source, data[9] / 64u) != nullptr) std::abort();
    return 0;
}
