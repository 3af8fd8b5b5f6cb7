// Optimized palettes in their plainest form: boxes are lists of colour keys whose figures are summed anew at every cut.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "reference/color_count.h"
#include "reference/palette.h"

namespace tnk::test {

constexpr uint32_t kReferenceBeside = 256;

struct ReferenceOptimized {
    std::vector<ReferenceColor> palette;  // as many entries as were wanted, zero past the count
    uint32_t count = 0;
    bool needsDithering = true;
    // Places from 1 on; those of entries beside the palette are larger by kReferenceBeside.
    std::vector<uint32_t> matchTable;  // empty where none is due, as after an exact answer
};

// `fixed` holds colours that the caller's palette has already. Exact colours are those of reduced pixels, `forPixels`, or
// as they are counted.
ReferenceOptimized referenceOptimizedPalette(const ReferencePicture& picture, uint32_t wanted,
                                             const std::vector<ReferenceColor>& fixed = {}, bool peelToOne = false,
                                             bool forPixels = true,
                                             const std::vector<ReferenceColor>* beside = nullptr);

// One palette for all pictures of a list.
ReferenceOptimized referenceOptimizedPalette(const std::vector<ReferencePicture>& pictures, uint32_t wanted,
                                             bool peelToOne = false, bool forPixels = true,
                                             const std::vector<ReferenceColor>* beside = nullptr);

}  // namespace tnk::test
