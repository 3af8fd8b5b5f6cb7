// Counting the distinct colours of a picture in its plainest form: every pixel's colour is looked for in a list.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "reference/dither.h"
#include "reference/palette.h"

namespace tnk::test {

struct ReferencePicture {
    ReferenceDitherSource format;  // indexes at or past the palette's count are black
    std::vector<std::vector<uint8_t>> rows;
};

// The colour of a pixel with 8 bits a channel; `row` must not be in ORDER_MATRIX_RGB.
ReferenceColor referenceColorAt(const ReferenceDitherSource& format, const uint8_t* row, int32_t x);

struct ReferenceCount {
    uint32_t count = 0;
    std::vector<ReferenceColor> colors;  // as many as there is room for, in the order of their first pixels
};

// Pixels of a region, row by row: pairs of a first column and the one after the last.
using ReferenceRegion = std::vector<std::pair<int32_t, std::vector<std::pair<int32_t, int32_t>>>>;

// A capacity stands for an array of as many entries. Null region: every pixel.
ReferenceCount referenceColorCount(const ReferencePicture& picture, std::optional<uint32_t> capacity,
                                   const ReferenceRegion* region = nullptr);

}  // namespace tnk::test
