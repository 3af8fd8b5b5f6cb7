// One-bit rows as runs in their plainest form: bytes through a table of their runs, pixels painted one by one.
#pragma once

#include <cstdint>
#include <vector>

namespace tnk::test {

// The runs of pixels `lead` .. `lead` + `pixels` - 1 of a row; lead is 0-7.
std::vector<uint16_t> referenceRuns(const uint8_t* row, uint32_t lead, uint32_t pixels);

// The same as stored: count, then runs.
std::vector<uint8_t> referenceEncode(const uint8_t* row, uint32_t lead, uint32_t pixels);

// Pixels start .. start + pixels - 1 of the runs, in (pixels + 7) / 8 bytes.
std::vector<uint8_t> referenceExpand(const std::vector<uint16_t>& runs, uint32_t start, uint32_t pixels);

}  // namespace tnk::test
