// Arbitrary runs, expanded, mirrored and put into bitmaps, held against the plain form. Buffers are exactly as long as
// promised, so that the address sanitizer sees any byte too many.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "reference/runs.h"
#include "tnkrn.h"

namespace {

using Bytes = std::vector<uint8_t>;
using tnk::test::referenceEncode;
using tnk::test::referenceExpand;

constexpr size_t kHeader = 6;

void require(bool condition) {
    if (!condition) std::abort();
}

uint32_t number(const uint8_t* data, size_t bytes) {
    uint32_t value = 0;
    std::memcpy(&value, data, bytes);
    return value;
}

// As many runs as the input holds behind its header, with their count in front.
Bytes encodedRow(const std::vector<uint16_t>& runs) {
    Bytes row(4 + runs.size() * 2);
    const auto count = static_cast<uint32_t>(runs.size());
    std::memcpy(row.data(), &count, 4);
    if (count != 0) std::memcpy(row.data() + 4, runs.data(), runs.size() * 2);
    return row;
}

Bytes mirroredPixels(const Bytes& row, uint32_t width) {
    Bytes mirrored(row.size());
    for (uint32_t x = 0; x < width; ++x) {
        if ((row[x / 8] >> (7 - x % 8) & 1) == 0) continue;
        const uint32_t to = width - 1 - x;
        mirrored[to / 8] |= static_cast<uint8_t>(0x80 >> to % 8);
    }
    return mirrored;
}

void storeAndRead(const Bytes& encoded, const Bytes& expected, uint32_t width, uint32_t column) {
    BitmapHandle bitmap;
    require(T_InitBitmap(&bitmap, sizeof bitmap, static_cast<int32_t>(width), 2, 1) == SUCCESS);
    require(T_AllocateBitmap(&bitmap, MEM_COMPRESSED) == SUCCESS);
    require(T_PutBitmapRowCompressed(&bitmap, nullptr, encoded.data(), 1, 1) == 1);
    Bytes row(expected.size());
    require(T_GetBitmapRow(&bitmap, row.data(), 1, static_cast<uint32_t>(row.size())) ==
            static_cast<int32_t>(row.size()));
    require(row == expected);
    const uint32_t pixels = width - column;
    Bytes part = referenceEncode(expected.data() + column / 8, column % 8, pixels);
    const Bytes wanted = part;
    std::fill(part.begin(), part.end(), uint8_t{0});
    require(T_GetBitmapRowColCompressed(&bitmap, nullptr, part.data(), 1, column, pixels) == 1);
    require(part == wanted);
    T_FreeBitmap(&bitmap);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < kHeader) return 0;
    const uint32_t start = number(data, 3) % 200'000;
    const uint32_t pixels = number(data + 3, 3) % 200'000;
    std::vector<uint16_t> runs((size - kHeader) / 2);
    if (!runs.empty()) std::memcpy(runs.data(), data + kHeader, runs.size() * 2);
    if (runs.size() > 1000) runs.resize(1000);
    const Bytes encoded = encodedRow(runs);

    Bytes row((size_t{pixels} + 7) / 8 + 1, 0xA5);
    require(T_ExpandRow(encoded.data(), row.data(), start, pixels) == SUCCESS);
    require(row.back() == 0xA5);
    row.pop_back();
    require(row == referenceExpand(runs, start, pixels));
    if (pixels == 0) return 0;

    const Bytes whole = referenceExpand(runs, 0, pixels);
    const Bytes expected = referenceEncode(mirroredPixels(whole, pixels).data(), 0, pixels);
    Bytes mirrored(expected.size());
    require(T_MirrorCompressedBuffer(encoded.data(), mirrored.data(), pixels, 1) == SUCCESS);
    require(mirrored == expected);
    storeAndRead(encoded, whole, pixels, start % pixels);
    return 0;
}
