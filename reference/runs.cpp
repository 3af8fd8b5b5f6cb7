#include "reference/runs.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace tnk::test {
namespace {

// Runs of equal bits of a byte's first `bits` bits, from the most significant down.
std::vector<int32_t> runsOfByte(uint8_t byte, uint32_t bits) {
    std::vector<int32_t> runs;
    for (uint32_t bit = 0; bit < bits; ++bit) {
        const bool same = bit > 0 && (byte >> (7 - bit) & 1) == (byte >> (8 - bit) & 1);
        if (!same) runs.push_back(0);
        ++runs.back();
    }
    return runs;
}

}  // namespace

std::vector<uint16_t> referenceRuns(const uint8_t* row, uint32_t lead, uint32_t pixels) {
    // The bits before the first pixel are taken for 0 bits, which the first run's start cancels.
    std::vector<int32_t> runs{-static_cast<int32_t>(lead)};
    uint32_t color = 0;
    const uint64_t end = uint64_t{lead} + pixels;
    for (uint64_t at = 0; at < end; at += 8) {
        uint8_t byte = row[at / 8];
        if (at == 0) byte &= static_cast<uint8_t>(0xFF >> lead);
        const std::vector<int32_t> added = runsOfByte(byte, static_cast<uint32_t>(std::min<uint64_t>(8, end - at)));
        size_t next = 0;
        if (static_cast<uint32_t>(byte >> 7) == color) {
            if (at > 0 && runs.back() + added[0] > 65535) {
                runs.push_back(0);
                runs.push_back(0);
            }
            runs.back() += added[next++];
        }
        for (; next < added.size(); ++next) {
            runs.push_back(added[next]);
            color ^= 1;
        }
    }
    return {runs.begin(), runs.end()};
}

std::vector<uint8_t> referenceEncode(const uint8_t* row, uint32_t lead, uint32_t pixels) {
    const std::vector<uint16_t> runs = referenceRuns(row, lead, pixels);
    const auto count = static_cast<uint32_t>(runs.size());
    std::vector<uint8_t> encoded(4 + 2 * runs.size());
    std::memcpy(encoded.data(), &count, 4);
    std::memcpy(encoded.data() + 4, runs.data(), 2 * runs.size());
    return encoded;
}

std::vector<uint8_t> referenceExpand(const std::vector<uint16_t>& runs, uint32_t start, uint32_t pixels) {
    std::vector<uint8_t> row((size_t{pixels} + 7) / 8);
    uint64_t position = 0;
    for (size_t i = 0; i < runs.size(); ++i) {
        for (uint32_t n = 0; n < runs[i]; ++n, ++position) {
            if (i % 2 == 0 || position < start || position - start >= pixels) continue;
            row[static_cast<size_t>(position - start) / 8] |= static_cast<uint8_t>(0x80 >> (position - start) % 8);
        }
    }
    return row;
}

}  // namespace tnk::test
