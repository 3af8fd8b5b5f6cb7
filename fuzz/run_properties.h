// What holds for any encoded row: expanded, turned and put into bitmaps it is what the plain form makes of it. For the fuzz
// target and for tests. Buffers are exactly as long as promised, so that the address sanitizer sees any byte too many.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "reference/runs.h"
#include "tnkrn.h"

namespace tnk::test {

using RunBytes = std::vector<uint8_t>;

// With the count in front.
inline RunBytes encodedRow(const std::vector<uint16_t>& runs) {
    RunBytes row(4 + runs.size() * 2);
    const auto count = static_cast<uint32_t>(runs.size());
    std::memcpy(row.data(), &count, 4);
    if (count != 0) std::memcpy(row.data() + 4, runs.data(), runs.size() * 2);
    return row;
}

inline RunBytes mirroredPixels(const RunBytes& row, uint32_t width) {
    RunBytes mirrored(row.size());
    for (uint32_t x = 0; x < width; ++x) {
        if ((row[x / 8] >> (7 - x % 8) & 1) == 0) continue;
        const uint32_t to = width - 1 - x;
        mirrored[to / 8] |= static_cast<uint8_t>(0x80 >> to % 8);
    }
    return mirrored;
}

inline bool isStored(const RunBytes& encoded, const RunBytes& expected, uint32_t width, uint32_t column) {
    BitmapHandle bitmap;
    if (T_InitBitmap(&bitmap, sizeof bitmap, static_cast<int32_t>(width), 2, 1) != T_SUCCESS) return false;
    if (T_AllocateBitmap(&bitmap, MEM_COMPRESSED) != T_SUCCESS) return false;
    bool good = T_PutBitmapRowCompressed(&bitmap, nullptr, encoded.data(), 1, 1) == 1;
    RunBytes row(expected.size());
    const auto bytes = static_cast<uint32_t>(row.size());
    good = good && T_GetBitmapRow(&bitmap, row.data(), 1, bytes) == static_cast<int32_t>(bytes) && row == expected;
    const uint32_t pixels = width - column;
    const RunBytes wanted = referenceEncode(expected.data() + column / 8, column % 8, pixels);
    RunBytes part(wanted.size());
    good = good && T_GetBitmapRowColCompressed(&bitmap, nullptr, part.data(), 1, column, pixels) == 1 && part == wanted;
    T_FreeBitmap(&bitmap);
    return good;
}

// Three rows, the second of them as the library encodes it, turned apart and in place.
inline bool isTurned(const RunBytes& first, const RunBytes& pixels, uint32_t width) {
    const RunBytes second = referenceEncode(pixels.data(), 0, width);
    const RunBytes turned = referenceEncode(mirroredPixels(pixels, width).data(), 0, width);
    const auto join = [](const RunBytes& a, const RunBytes& b, const RunBytes& c) {
        RunBytes all = a;
        all.insert(all.end(), b.begin(), b.end());
        all.insert(all.end(), c.begin(), c.end());
        return all;
    };
    const RunBytes image = join(first, second, turned), flipped = join(turned, second, first);
    const RunBytes mirrored = join(turned, turned, second);
    for (const bool inPlace : {false, true}) {
        RunBytes out = image;
        if (!inPlace) out.assign(flipped.size(), 0);
        if (T_FlipCompressedBuffer(inPlace ? out.data() : image.data(), out.data(), 3) != T_SUCCESS) return false;
        if (out != flipped) return false;
        out = image;
        out.resize(inPlace ? std::max(image.size(), mirrored.size()) : mirrored.size());
        if (T_MirrorCompressedBuffer(inPlace ? out.data() : image.data(), out.data(), width, 3) != T_SUCCESS)
            return false;
        if (!std::equal(mirrored.begin(), mirrored.end(), out.begin())) return false;
    }
    return true;
}

// Null, or what does not hold of `pixels` pixels from `start` on.
inline const char* brokenRunProperty(const std::vector<uint16_t>& runs, uint32_t start, uint32_t pixels) {
    const RunBytes encoded = encodedRow(runs);
    RunBytes row((size_t{pixels} + 7) / 8 + 1, 0xA5);
    if (T_ExpandRow(encoded.data(), row.data(), start, pixels) != T_SUCCESS || row.back() != 0xA5) return "expanding";
    row.pop_back();
    if (row != referenceExpand(runs, start, pixels)) return "expanded pixels";
    if (pixels == 0) return nullptr;
    const RunBytes whole = referenceExpand(runs, 0, pixels);
    if (!isTurned(encoded, whole, pixels)) return "turned rows";
    return isStored(encoded, whole, pixels, start % pixels) ? nullptr : "stored rows";
}

}  // namespace tnk::test
